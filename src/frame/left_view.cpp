#include "frame/left_view.h"

#include "frame/left_tabs.h"

namespace tolvar {

CLeftView::CLeftView(const PaneContext& context, QWidget* parent)
    : CTabsView(parent), m_pTabs(new CLeftTabs(context, this))
{
    SetTabs(*m_pTabs);
}

} // namespace tolvar
