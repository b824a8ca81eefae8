#include "app/down_view.h"

#include <QVBoxLayout>

#include "app/down_tabs.h"

namespace tolvar {

CDownView::CDownView(const WindowContext& context, QWidget* parent)
    : CPaneView(parent), m_pTabs(new CDownTabs(context, this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_pTabs);
}

void CDownView::FocusChild()
{
    m_pTabs->FocusPage();
}

int CDownView::HelpTopic() const
{
    return m_pTabs->HelpTopic();
}

bool CDownView::Offers(CommandId /*command*/) const
{
    return false; // none of the pages has anything to act on yet
}

void CDownView::RunCommand(CommandId /*command*/) {}

} // namespace tolvar
