#include "frame/down_tabs.h"

#include <QSignalBlocker>
#include <QTabBar>
#include <QToolButton>

#include "panes/empty_page.h"
#include "panes/pane_messages.h"

namespace tolvar {

CDownTabs::CDownTabs(const PaneContext& paneContext, QWidget* parent)
    : CPaneTabs(paneContext, OutputPages(), "Down Output Tabs", 0, parent)
{
    const WindowContext& context = paneContext.window;
    setAccessibleName(context.language.String(TextId::kDownTabsName));
    tabBar()->setAccessibleName(accessibleName());
    m_pNoPage = new EmptyTabPage(TopicId::kNone, accessibleName(), {}, EmptyTabPage::TabKey::kToNextOutput, this);
    m_pNoPage->hide();
    auto* close = new QToolButton(this);
    close->setIcon(context.theme.StripIcon(StripId::kMenus, CommandId::kClosePane));
    close->setToolTip(context.language.String(CommandId::kClosePane).section(u'\n', 1));
    close->setAccessibleName(context.language.String(CommandId::kClosePane).section(u'\n', 0, 0));
    close->setAutoRaise(true);
    connect(close, &QToolButton::clicked, this, &CDownTabs::CloseWanted);
    setCornerWidget(close);
    connect(this, &QTabWidget::currentChanged, this, &CDownTabs::OnTabShown);
    connect(this, &QTabWidget::tabBarClicked, this, &CDownTabs::OnTabShown);
}

CDownTabs::~CDownTabs()
{
    disconnect(this, &QTabWidget::currentChanged, this, &CDownTabs::OnTabShown);
}

void CDownTabs::ShowOutput(int output)
{
    m_nOutput = output;
    const bool hasPage = output >= 1 && output <= count();
    if (hasPage) {
        const QSignalBlocker quiet(this);
        setCurrentIndex(output - 1);
    }
    PlaceNoPage();
    m_pNoPage->setVisible(!hasPage);
}

void CDownTabs::PlaceNoPage()
{
    const QWidget& page = *currentWidget();
    m_pNoPage->setGeometry(QRect(page.mapTo(this, QPoint()), page.size()));
    m_pNoPage->raise();
}

void CDownTabs::resizeEvent(QResizeEvent* event)
{
    CPaneTabs::resizeEvent(event);
    PlaceNoPage();
}

void CDownTabs::FocusPage()
{
    Pane& pane = m_pNoPage->isHidden() ? CurrentPane() : *m_pNoPage;
    pane.TakeFocus();
}

void CDownTabs::OnTabShown(int index)
{
    if (index < 0) {
        return; // a click beside the tabs
    }
    ShowOutput(index + 1);
    FocusPage();
    emit OutputChosen(m_nOutput);
}

bool CDownTabs::event(QEvent* event)
{
    const auto showNext = [this](NextOutputPageMessage& message) {
        if (!isVisible()) {
            message.result = 1;
            return;
        }
        ShowOutput(m_nOutput % kLastOutput + 1);
        FocusPage();
        emit OutputChosen(m_nOutput);
    };
    return HandleMessage<NextOutputPageMessage>(event, showNext) ||
           HandleMessage<FocusTabMessage>(event, [this](auto& m) { FocusTab(m.index); }) || CPaneTabs::event(event);
}

} // namespace tolvar
