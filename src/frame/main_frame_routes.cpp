#include "frame/address_bar.h"
#include "frame/down_tabs.h"
#include "frame/down_view.h"
#include "frame/left_tabs.h"
#include "frame/left_view.h"
#include "frame/main_frame.h"
#include "frame/status_bar.h"
#include "frame/tolvar_view.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

constexpr int kSearchOutput = 2;

} // namespace

void CMainFrame::Route(const QWidget& sender, PaneMessage& message)
{
    switch (static_cast<int>(message.type())) {
    case GoToKeyMessage::kType:
    case DeleteValueMessage::kType:
    case RefreshKeyMessage::kType:
    case RenameMessage::kType:
    case DeleteSubkeyMessage::kType:
    case PasteValueMessage::kType:
        return Deliver(Tree(), message);
    case FormDoneMessage::kType:
        Deliver(*m_pRightView, message); // takes the form down before its value is stored
        return Deliver(Tree(), message);
    case ShowPageMessage::kType:
        return Deliver(*m_pRightView, message);
    case SelectRowMessage::kType:
        Deliver(*m_pRightView, message);
        return Deliver(m_pRightView->List().Widget(), message);
    case ShowKeyMessage::kType:
        if (static_cast<ShowKeyMessage&>(message).root == nullptr) {
            m_pAddressBar->ShowPath({}); // the status bar keeps the last key's path
        }
        return Deliver(m_pRightView->List().Widget(), message);
    case StartSearchMessage::kType:
        Deliver(*m_pRightView, message);
        if (static_cast<StartSearchMessage&>(message).options != nullptr && m_nOutput != kSearchOutput) {
            ToggleOutput(kSearchOutput);
        }
        return;
    case StatusTextMessage::kType:
        return ShowPath(static_cast<StatusTextMessage&>(message).text);
    case CommandMessage::kType:
        return m_pRightView->List().Run(static_cast<CommandMessage&>(message).command);
    case FocusTabMessage::kType:
    case NextOutputPageMessage::kType:
        return Deliver(HolderOf(sender), message);
    case SearchEndedMessage::kType:
        return Deliver(m_pLeftView->Tabs(), message);
    default:
        return;
    }
}

void CMainFrame::OnChanged(std::span<const ChangedKey> keys)
{
    for (Pane* pane : Panes()) {
        pane->OnKeysChanged(keys);
    }
}

QWidget& CMainFrame::Tree() const
{
    return m_pLeftView->Tabs().Panes().front()->Widget();
}

QWidget& CMainFrame::HolderOf(const QWidget& page) const
{
    if (m_pLowerView->isAncestorOf(&page)) {
        return m_pLowerView->Tabs();
    }
    return m_pLeftView->Tabs();
}

void CMainFrame::ShowPath(const std::string& path)
{
    m_wndStatusBar->SetPathText(ToQString(path));
    m_pAddressBar->ShowPath(ToQString(path));
}

} // namespace tolvar
