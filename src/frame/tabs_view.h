#pragma once

#include "frame/pane_view.h"

namespace tolvar {

class CPaneTabs;

/// A view whose child is a tab holder.
class CTabsView : public CPaneView {
    Q_OBJECT

public:
    using CPaneView::CPaneView;

    [[nodiscard]] std::vector<Pane*> Panes() const override;
    [[nodiscard]] Pane& ActivePane() const override;
    [[nodiscard]] Pane* PaneFor(CommandId command) const override;

protected:
    /// Fills the view. Once, in the constructor.
    void SetTabs(CPaneTabs& tabs);

private:
    CPaneTabs* m_pHeldTabs = nullptr; ///< owned by the view
};

} // namespace tolvar
