#include "frame/left_view.h"

#include <QCoreApplication>

#include "frame/left_tabs.h"

namespace tolvar {

CLeftView::CLeftView(const PaneContext& context, QWidget* parent)
    : CTabsView(parent), m_pTabs(new CLeftTabs(context, this))
{
    SetTabs(*m_pTabs);
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
        return QCoreApplication::sendEvent(&m_pTabs->Panes().front()->Widget(), event);
    default:
        return CTabsView::event(event);
    }
}

} // namespace tolvar
