#include "frame/down_view.h"

#include "frame/down_tabs.h"

namespace tolvar {

CDownView::CDownView(const PaneContext& context, QWidget* parent)
    : CTabsView(parent), m_pTabs(new CDownTabs(context, this))
{
    SetTabs(*m_pTabs);
}

void CDownView::FocusChild()
{
    m_pTabs->FocusPage();
}

} // namespace tolvar
