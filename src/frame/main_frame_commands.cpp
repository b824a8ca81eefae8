#include <algorithm>

#include <QApplication>
#include <QSplitter>
#include <QToolBar>

#include "frame/address_bar.h"
#include "frame/down_tabs.h"
#include "frame/down_view.h"
#include "frame/left_tabs.h"
#include "frame/left_view.h"
#include "frame/main_frame.h"
#include "frame/tolvar_view.h"
#include "registry/path_completion.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

/// The views in the order of Next Pane.
constexpr Receiver kViews[] = {Receiver::kLeftView, Receiver::kRightView, Receiver::kLowerView};

} // namespace

bool CMainFrame::GoToKey(const std::string& path)
{
    GoToKeyMessage message(GoToKeyMessage::Sender::kPane, {path, {}});
    Route(*this, message);
    return message.result == 0;
}

void CMainFrame::ShowRoots()
{
    GoToKeyMessage message(GoToKeyMessage::Sender::kAddressBar, {}); // where an empty address leads
    Route(*this, message);
}

void CMainFrame::Go()
{
    GoToKeyMessage message(GoToKeyMessage::Sender::kAddressBar,
                           {ResolveKeyPath(FromQString(m_pAddressBar->Address())), {}});
    Route(*this, message);
    if (message.result == 0) {
        m_pLeftView->Tabs().setCurrentIndex(CLeftTabs::kKeyTreeTab);
        m_pLeftView->FocusChild();
    }
}

void CMainFrame::GoToParent()
{
    GoToKeyMessage message(GoToKeyMessage::Sender::kPane, {"../", {}});
    Route(*this, message);
}

CommandFacts CMainFrame::Facts() const
{
    CommandFacts facts;
    for (const Pane* pane : Panes()) {
        pane->AddFacts(facts);
    }
    facts.focus = m_focusPane;
    facts.isNT = m_context.m_bIsNT;
    facts.hasAddressBar = !m_pAddressBar->isHidden();
    facts.hasToolBar = !m_wndToolBar->isHidden();
    facts.output = m_nOutput;
    return facts;
}

CPaneView* CMainFrame::View(Receiver view) const
{
    switch (view) {
    case Receiver::kLeftView:
        return m_pLeftView;
    case Receiver::kRightView:
        return m_pRightView;
    case Receiver::kLowerView:
        return m_pLowerView;
    default:
        return nullptr;
    }
}

/// All panes that exist now.
std::vector<Pane*> CMainFrame::Panes() const
{
    std::vector<Pane*> panes;
    for (const Receiver view : kViews) {
        std::ranges::copy(View(view)->Panes(), std::back_inserter(panes));
    }
    return panes;
}

bool CMainFrame::CanRun(Receiver receiver, CommandId command) const
{
    const CPaneView* const view = View(receiver);
    if (view == nullptr || command == CommandId::kHelp) {
        return true;
    }
    const Pane* const pane = view->PaneFor(command);
    return pane != nullptr && pane->IsEnabled(command);
}

void CMainFrame::Run(Receiver receiver, CommandId command)
{
    CPaneView* const view = View(receiver);
    if (command == CommandId::kHelp) {
        m_pLeftView->Tabs().ShowTopic(view->ActivePane().HelpTopic());
    } else if (view != nullptr) {
        view->PaneFor(command)->Run(command);
    } else if (receiver == Receiver::kApplication) {
        emit ApplicationCommand(command);
    } else {
        RunOwn(command);
    }
}

void CMainFrame::RunOwn(CommandId command)
{
    if (const int output = OutputOf(command); output != 0) {
        ToggleOutput(output);
        return;
    }
    switch (command) {
    case CommandId::kGo:
        Go();
        break;
    case CommandId::kTypeAddress:
        m_pAddressBar->show();
        m_pAddressBar->StartTyping();
        break;
    case CommandId::kParentKey:
        GoToParent();
        break;
    case CommandId::kAddressBar:
        m_pAddressBar->setVisible(m_pAddressBar->isHidden());
        break;
    case CommandId::kToolBar:
        m_wndToolBar->setVisible(m_wndToolBar->isHidden());
        break;
    case CommandId::kClosePane:
        CloseOutput();
        break;
    case CommandId::kNextPane:
        MovePane(1);
        break;
    case CommandId::kPreviousPane:
        MovePane(-1);
        break;
    case CommandId::kFind:
        ShowPage(PageId::kSearchForm);
        break;
    case CommandId::kShowList:
        // A page that the right pane does not know, for which it shows the list.
        QMetaObject::invokeMethod(
            this, [this] { ShowPage(PageId::kNoPage); }, Qt::QueuedConnection);
        break;
    case CommandId::kAbout:
        m_pLeftView->Tabs().ShowTopic(TopicId::kAbout);
        break;
    case CommandId::kUpdateProgram:
        emit ApplicationCommand(command);
        break;
    default:
        PostSignal(command);
        break;
    }
}

void CMainFrame::ShowPage(PageId page)
{
    ShowPageMessage message(page);
    Route(*this, message);
}

void CMainFrame::PostSignal(CommandId command)
{
    constexpr int kLastSignal = 16;
    const int number = command == CommandId::kSignal16
                           ? kLastSignal
                           : static_cast<int>(command) - static_cast<int>(CommandId::kSignal1) + 1;
    QCoreApplication::postEvent(&m_pLeftView->Tabs(), new SignalMessage(number));
}

void CMainFrame::ToggleOutput(int output)
{
    if (m_nOutput == output) {
        CloseOutput();
        return;
    }
    SetOutput(output);
    m_pLowerView->Tabs().ShowOutput(output);
    m_pLowerView->FocusChild();
}

void CMainFrame::CloseOutput()
{
    const bool hadFocus = m_focusPane == Receiver::kLowerView;
    SetOutput(0);
    if (hadFocus) {
        FocusView(Receiver::kLeftView); // what was focused is gone
    }
}

void CMainFrame::SetOutput(int output)
{
    m_nOutput = output;
    m_pLowerView->setVisible(output != 0);
    m_wndRows->refresh(); // at once, so that the sizes below are shared out between what is there
    ApplyPaneSizes();
    m_pRouter->Update();
}

void CMainFrame::MovePane(int step)
{
    const int count = m_nOutput > 0 ? 3 : 2;
    const auto place = std::ranges::find(kViews, m_focusPane) - std::begin(kViews);
    // From a lower pane that has been closed, either way leads to the left.
    const auto next = place >= count ? 0 : (place + step + count) % count;
    FocusView(kViews[next]);
}

void CMainFrame::FocusView(Receiver view)
{
    m_focusPane = view;
    View(view)->FocusChild();
}

void CMainFrame::OnFocusChanged(QWidget* now)
{
    for (const Receiver view : kViews) {
        if (View(view)->isAncestorOf(now)) {
            m_focusPane = view;
            m_pRouter->Update();
        }
    }
}

} // namespace tolvar
