#include "frame/down_view.h"

#include <QCoreApplication>
#include <QVBoxLayout>

#include "frame/down_tabs.h"
#include "journal/ui/journal_list.h"
#include "panes/pane_messages.h"

namespace tolvar {

CDownView::CDownView(const WindowContext& context, CTolvarDoc& document, QWidget* parent)
    : CPaneView(parent), m_pTabs(new CDownTabs(context, document, this))
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

void CDownView::OnInitialUpdate()
{
    m_pTabs->JournalList().FillFromJournal();
}

bool CDownView::Offers(CommandId command) const
{
    return m_pTabs->JournalList().Offers(command);
}

void CDownView::RunCommand(CommandId command)
{
    CommandMessage message(command);
    QCoreApplication::sendEvent(&m_pTabs->JournalList(), &message);
}

} // namespace tolvar
