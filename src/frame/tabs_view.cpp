#include "frame/tabs_view.h"

#include <algorithm>

#include <QVBoxLayout>

#include "frame/pane_tabs.h"

namespace tolvar {

void CTabsView::SetTabs(CPaneTabs& tabs)
{
    m_pHeldTabs = &tabs;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_pHeldTabs);
}

std::vector<Pane*> CTabsView::Panes() const
{
    return {m_pHeldTabs->Panes().begin(), m_pHeldTabs->Panes().end()};
}

Pane& CTabsView::ActivePane() const
{
    return m_pHeldTabs->CurrentPane();
}

Pane* CTabsView::PaneFor(CommandId command) const
{
    if (ActivePane().Offers(command)) {
        return &ActivePane();
    }
    const auto pane = std::ranges::find_if(m_pHeldTabs->Panes(), [command](Pane* p) { return p->Offers(command); });
    return pane != m_pHeldTabs->Panes().end() ? *pane : nullptr;
}

} // namespace tolvar
