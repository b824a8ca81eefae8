#pragma once

#include <map>
#include <memory>

#include "frame/pane_table.h"
#include "frame/pane_view.h"

namespace tolvar {

/// The upper right pane: the value list, and one page in its place, a form or the browser. At most one form exists at a
/// time; it is made when its page is shown and gone with the next page. The browser stays once it was made.
class CTolvarView final : public CPaneView {
    Q_OBJECT

public:
    CTolvarView(const PaneContext& context, QWidget* parent);
    ~CTolvarView() override;

    [[nodiscard]] Pane& List() const { return m_list; }

    [[nodiscard]] std::vector<Pane*> Panes() const override;

    /// The form that exists, else the page that stays and is visible, else the list.
    [[nodiscard]] Pane& ActivePane() const override;

    /// Only the pane that is shown: no row is acted on that can't be seen.
    [[nodiscard]] Pane* PaneFor(CommandId command) const override;

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    /// A form may be on the stack that ends it, so it goes once that is done.
    struct DeleteLater {
        void operator()(Pane* form) const;
    };

    void ShowPage(const ShowPageMessage& message);
    [[nodiscard]] Pane& PaneOf(const RightPage& page);
    void ShowList();
    void EndForm();
    void PlaceChildren();

    PaneContext m_context;
    Pane& m_list; ///< owned by the view
    std::unique_ptr<Pane, DeleteLater> m_pForm;
    std::map<PageId, Pane*> m_staying; ///< owned by the view
};

} // namespace tolvar
