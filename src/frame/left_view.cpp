#include "frame/left_view.h"

#include <QCoreApplication>
#include <QVBoxLayout>

#include "frame/left_tabs.h"
#include "keytree/key_tree.h"

namespace tolvar {

CLeftView::CLeftView(const WindowContext& context, CTolvarDoc& document, QWidget* parent)
    : CPaneView(parent), m_pTabs(new CLeftTabs(context, document, this)), m_pKeyTree(&m_pTabs->KeyTree())
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_pTabs);
}

void CLeftView::FocusChild()
{
    m_pTabs->FocusPage();
}

int CLeftView::HelpTopic() const
{
    return m_pTabs->HelpTopic();
}

bool CLeftView::Offers(CommandId command) const
{
    return m_pKeyTree->Offers(command);
}

void CLeftView::RunCommand(CommandId command)
{
    CommandMessage message(command);
    QCoreApplication::sendEvent(m_pKeyTree, &message);
}

bool CLeftView::event(QEvent* event)
{
    switch (static_cast<int>(event->type())) {
    case GoToKeyMessage::kType:
    case FocusTabMessage::kType:
    case SearchEndedMessage::kType:
    case SignalMessage::kType:
        return QCoreApplication::sendEvent(m_pTabs, event);
    case DeleteValueMessage::kType:
    case RefreshKeyMessage::kType:
    case FormDoneMessage::kType:
    case RenameMessage::kType:
    case DeleteSubkeyMessage::kType:
    case PasteValueMessage::kType:
        return QCoreApplication::sendEvent(m_pKeyTree, event);
    default:
        return CPaneView::event(event);
    }
}

} // namespace tolvar
