#include "frame/left_tabs.h"

#include <QCoreApplication>
#include <QTabBar>

#include "journal/tolvar_doc.h"
#include "panes/pane_messages.h"

namespace tolvar {

namespace {

constexpr const char* kTabSetting = "Left Tab";
constexpr int kAccessibleName = 62010;

} // namespace

CLeftTabs::CLeftTabs(const PaneContext& context, QWidget* parent)
    : CPaneTabs(context, LeftPages(), "Down Left Tabs", 1, parent), m_context(context.window),
      m_document(context.document)
{
    setAccessibleName(m_context.language.String(kAccessibleName));
    tabBar()->setAccessibleName(accessibleName());
    setCurrentIndex(m_context.profile.GetInt(kSettingsSection, kTabSetting, kKeyTreeTab));
    connect(this, &QTabWidget::currentChanged, this, &CLeftTabs::OnTabShown);
}

CLeftTabs::~CLeftTabs()
{
    m_context.profile.WriteInt(kSettingsSection, kTabSetting, currentIndex());
    disconnect(this, &QTabWidget::currentChanged, this, &CLeftTabs::OnTabShown); // pages going are no change of pages
}

void CLeftTabs::OnTabShown(int index)
{
    CurrentPane().TakeFocus();
    ShowPageMessage page =
        index == kKeyTreeTab ? ShowPageMessage(PageId::kValueList) : ShowPageMessage(PageId::kBrowser, 0);
    SendToParent(*this, page);
}

void CLeftTabs::ShowTopic(int topic)
{
    FocusTab(kHelpTab);
    ShowPageMessage page(PageId::kBrowser, topic);
    SendToParent(*this, page);
}

bool CLeftTabs::event(QEvent* event)
{
    const auto goToKey = [this](GoToKeyMessage& message) {
        QCoreApplication::sendEvent(&Panes().front()->Widget(), &message);
        if (message.result == 0 && message.sender == GoToKeyMessage::Sender::kAddressBar) {
            setCurrentIndex(kKeyTreeTab);
        }
    };
    const auto emptyList = [this](SearchEndedMessage&) {
        ShowKeyMessage nothing(nullptr, {});
        SendToParent(*this, nothing);
    };
    const auto applyChange = [this](ApplyChangeMessage& message) {
        const Result<void> applied = m_document.ApplyChange(*message.record);
        message.result = applied ? 0 : static_cast<int>(applied.error().code);
        message.failure = applied ? std::string() : Describe(applied.error());
    };
    return HandleMessage<GoToKeyMessage>(event, goToKey) || HandleMessage<ApplyChangeMessage>(event, applyChange) ||
           HandleMessage<NextOutputPageMessage>(event, [this](auto&) { OnTabShown(currentIndex()); }) ||
           HandleMessage<FocusTabMessage>(event, [this](auto& m) { FocusTab(m.index); }) ||
           HandleMessage<SearchEndedMessage>(event, emptyList) || HandleMessage<SignalMessage>(event, [](auto&) {}) ||
           CPaneTabs::event(event);
}

} // namespace tolvar
