#include "frame/left_tabs.h"

#include <QTabBar>

#include "panes/pane_messages.h"

namespace tolvar {

namespace {

constexpr const char* kTabSetting = "Left Tab";

} // namespace

CLeftTabs::CLeftTabs(const PaneContext& context, QWidget* parent)
    : CPaneTabs(context, LeftPages(), "Down Left Tabs", 1, parent), m_context(context.window)
{
    setAccessibleName(m_context.language.String(TextId::kLeftTabsName));
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
        index == kKeyTreeTab ? ShowPageMessage(PageId::kValueList) : ShowPageMessage(PageId::kBrowser, TopicId::kNone);
    SendToParent(*this, page);
}

void CLeftTabs::ShowTopic(TopicId topic)
{
    FocusTab(kHelpTab);
    ShowPageMessage page(PageId::kBrowser, topic);
    SendToParent(*this, page);
}

bool CLeftTabs::event(QEvent* event)
{
    const auto emptyList = [this](SearchEndedMessage&) {
        ShowKeyMessage nothing(nullptr, {});
        SendToParent(*this, nothing);
    };
    return HandleMessage<NextOutputPageMessage>(event, [this](auto&) { OnTabShown(currentIndex()); }) ||
           HandleMessage<FocusTabMessage>(event, [this](auto& m) { FocusTab(m.index); }) ||
           HandleMessage<SearchEndedMessage>(event, emptyList) || HandleMessage<SignalMessage>(event, [](auto&) {}) ||
           CPaneTabs::event(event);
}

} // namespace tolvar
