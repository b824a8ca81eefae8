#pragma once

#include <memory>

#include "frame/pane_view.h"
#include "panes/pane_messages.h"
#include "ui/window_context.h"

namespace tolvar {

class CValueList;

/// The upper right pane: the value list, and one form or the browser in its place. At most one form exists at a time;
/// it is made when its page is shown and gone with the next page. The browser stays once it was made.
class CTolvarView final : public CPaneView {
    Q_OBJECT

public:
    CTolvarView(const WindowContext& context, QWidget* parent);
    ~CTolvarView() override;

    [[nodiscard]] CValueList& List() { return *m_pList; }

    /// What the pane shows: the form that exists, else the browser if it is visible, else the list.
    [[nodiscard]] QWidget* ActiveChild() const;

    void FocusChild() override;
    [[nodiscard]] int HelpTopic() const override;
    [[nodiscard]] bool Offers(CommandId command) const override;
    void RunCommand(CommandId command) override;

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    /// A form may be on the stack that ends it, so it goes once that is done.
    struct DeleteLater {
        void operator()(QWidget* form) const;
    };
    using Form = std::unique_ptr<QWidget, DeleteLater>;

    void ShowPage(const ShowPageMessage& message);
    void ShowBrowser();
    void ShowForm(Form& form, QWidget* made);
    template <class ValueForm>
    void ShowValueForm(Form& form, const ShowPageMessage& message);
    void DropForms();
    void ShowList();
    void PlaceChildren();

    const WindowContext& m_context;
    CValueList* m_pList; ///< owned by the view
    Form m_pSearchForm;
    Form m_pStringForm;
    Form m_pDwordForm;
    Form m_pBinaryForm;
    QWidget* m_pBrowser = nullptr; ///< owned by the view
};

} // namespace tolvar
