#include "frame/down_tabs.h"

#include <QSignalBlocker>
#include <QTabBar>
#include <QToolButton>

#include "journal/ui/journal_list.h"
#include "panes/empty_page.h"
#include "ui/image_menu.h"

namespace tolvar {

namespace {

constexpr int kAccessibleName = 62011;

struct OutputPage {
    int title;
    int icon;
    int id;
    int emptyText; ///< of a page that has nothing to show yet; 0: the journal
    int topic;
};
constexpr OutputPage kPages[] = {
    {61572, 179, 1010, 62020, 202}, {61573, 106, 1116, 62021, 198}, {61574, 178, 172, 0, 204}};

} // namespace

CDownTabs::CDownTabs(const WindowContext& context, CTolvarDoc& document, QWidget* parent)
    : CThemeTabCtrl(context, "Down Output Tabs", 0, parent)
{
    setAccessibleName(context.language.String(kAccessibleName));
    tabBar()->setAccessibleName(accessibleName());
    m_pJournalList = new CJournalList(context, document, this);
    for (const OutputPage& page : kPages) {
        const QString title = context.language.String(page.title);
        QWidget* shown = m_pJournalList;
        if (page.emptyText != 0) {
            shown = new EmptyTabPage(page.id, title, context.language.String(page.emptyText),
                                     EmptyTabPage::TabKey::kToNextOutput, this);
        }
        shown->setProperty("pageId", page.id);
        addTab(shown, context.theme.Icon(page.icon), title);
    }
    m_pNoPage = new EmptyTabPage(0, accessibleName(), {}, EmptyTabPage::TabKey::kToNextOutput, this);
    m_pNoPage->hide();
    constexpr int kClose = static_cast<int>(CommandId::kClosePane);
    auto* close = new QToolButton(this);
    close->setIcon(context.theme.StripIcon(kMenuStrip, kClose));
    close->setToolTip(context.language.String(kClose).section(u'\n', 1));
    close->setAccessibleName(context.language.String(kClose).section(u'\n', 0, 0));
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
    CThemeTabCtrl::resizeEvent(event);
    PlaceNoPage();
}

int CDownTabs::HelpTopic() const
{
    return kPages[currentIndex()].topic;
}

void CDownTabs::FocusPage()
{
    QWidget* const page = m_pNoPage->isHidden() ? currentWidget() : m_pNoPage;
    page->setFocus(Qt::OtherFocusReason);
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
           HandleMessage<FocusTabMessage>(event, [this](auto& m) { FocusTab(m.index); }) || CThemeTabCtrl::event(event);
}

} // namespace tolvar
