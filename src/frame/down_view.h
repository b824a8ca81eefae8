#pragma once

#include "frame/pane_view.h"
#include "ui/window_context.h"

namespace tolvar {

class CDownTabs;
class CTolvarDoc;

/// The lower pane: the tabs with bookmarks, search results and journal.
class CDownView final : public CPaneView {
    Q_OBJECT

public:
    CDownView(const WindowContext& context, CTolvarDoc& document, QWidget* parent);

    [[nodiscard]] CDownTabs& Tabs() { return *m_pTabs; }

    /// Shows what the document has read.
    void OnInitialUpdate();

    void FocusChild() override;
    [[nodiscard]] int HelpTopic() const override;
    [[nodiscard]] bool Offers(CommandId command) const override;
    void RunCommand(CommandId command) override;

private:
    CDownTabs* m_pTabs; ///< owned by the view
};

} // namespace tolvar
