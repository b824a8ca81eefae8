#include "frame/left_tabs.h"

#include <QCoreApplication>
#include <QTabBar>

#include "journal/tolvar_doc.h"
#include "keytree/key_tree.h"
#include "panes/empty_page.h"

namespace tolvar {

namespace {

constexpr const char* kTabSetting = "Left Tab";
constexpr int kKeyTreeTitle = 61491;
constexpr int kKeyTreeIcon = 121;
constexpr int kHelpTitle = 61494;
constexpr int kHelpIcon = 184;
constexpr int kHelpTreeId = 1011;
constexpr int kNoTopicsText = 62023;
constexpr int kAccessibleName = 62010;
constexpr int kKeyTreeTopic = 205;
constexpr int kHelpTreeTopic = 196;

} // namespace

CLeftTabs::CLeftTabs(const WindowContext& context, CTolvarDoc& document, QWidget* parent)
    : CThemeTabCtrl(context, "Down Left Tabs", 1, parent), m_context(context), m_document(document),
      m_pKeyTree(new CKeyTree(context, this)),
      m_pHelpTree(new EmptyTabPage(kHelpTreeId, context.language.String(kHelpTitle),
                                   context.language.String(kNoTopicsText), EmptyTabPage::TabKey::kToFirstTab, this))
{
    setAccessibleName(context.language.String(kAccessibleName));
    tabBar()->setAccessibleName(accessibleName());
    addTab(m_pKeyTree, context.theme.Icon(kKeyTreeIcon), context.language.String(kKeyTreeTitle));
    addTab(m_pHelpTree, context.theme.Icon(kHelpIcon), context.language.String(kHelpTitle));
    setCurrentIndex(context.profile.GetInt(kSettingsSection, kTabSetting, kKeyTreeTab));
    connect(this, &QTabWidget::currentChanged, this, &CLeftTabs::OnTabShown);
}

CLeftTabs::~CLeftTabs()
{
    m_context.profile.WriteInt(kSettingsSection, kTabSetting, currentIndex());
    disconnect(this, &QTabWidget::currentChanged, this, &CLeftTabs::OnTabShown); // pages going are no change of pages
}

void CLeftTabs::FocusPage()
{
    currentWidget()->setFocus(Qt::OtherFocusReason);
}

void CLeftTabs::OnTabShown(int index)
{
    FocusPage();
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

int CLeftTabs::HelpTopic() const
{
    return currentIndex() == kKeyTreeTab ? kKeyTreeTopic : kHelpTreeTopic;
}

bool CLeftTabs::event(QEvent* event)
{
    const auto goToKey = [this](GoToKeyMessage& message) {
        QCoreApplication::sendEvent(m_pKeyTree, &message);
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
           CThemeTabCtrl::event(event);
}

} // namespace tolvar
