#include "frame/main_frame.h"

#include <QApplication>
#include <QDropEvent>
#include <QMenuBar>
#include <QMimeData>
#include <QScreen>
#include <QUrl>

#include "frame/address_bar.h"
#include "frame/down_tabs.h"
#include "frame/down_view.h"
#include "frame/left_view.h"
#include "frame/pane_splitter.h"
#include "frame/pane_table.h"
#include "frame/status_bar.h"
#include "frame/tolvar_view.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

constexpr QSize kIconSize(16, 16);

/// The rectangle, or one of its size on the first screen where no screen shows any of it.
QRect OnScreen(const QRect& rect)
{
    for (const QScreen* screen : QApplication::screens()) {
        if (screen->availableGeometry().intersects(rect)) {
            return rect;
        }
    }
    const QRect screen = QApplication::primaryScreen()->availableGeometry();
    return {screen.topLeft(), rect.size().boundedTo(screen.size())};
}

} // namespace

CMainFrame::CMainFrame(const WindowContext& context, CTolvarDoc& document) : m_context(context), m_document(document)
{
    setWindowTitle(QStringLiteral("Kordo ® Software - Tolvar Studio") + context.language.String(TextId::kVersion));
    setWindowIcon(context.theme.Icon(IconId::kProgram));
    setIconSize(kIconSize);
    setAcceptDrops(true);
    MakePanes();
    m_pRouter = new CommandRouter(context, *this, this);
    MakeBars();
    FollowSelections();
}

CMainFrame::~CMainFrame()
{
    disconnect(qApp, nullptr, this, nullptr);
    if (!m_bFirstShow) {
        CurrentState().Save(m_context.profile);
    }
    // The panes say their last words to the frame while it is still one.
    delete takeCentralWidget();
}

void CMainFrame::MakePanes()
{
    const PaneContext context = {m_context, m_document};
    auto* rows = new PaneSplitter(Qt::Vertical, this);
    m_wndRows = rows;
    m_wndColumns = new PaneSplitter(Qt::Horizontal, rows);
    m_pLeftView = new CLeftView(context, m_wndColumns);
    m_pRightView = new CTolvarView(context, m_wndColumns);
    m_pLowerView = new CDownView(context, rows);
    m_pLowerView->hide();
    setCentralWidget(rows);
    connect(rows, &PaneSplitter::Resized, this, &CMainFrame::ApplyPaneSizes);
    connect(m_wndRows, &QSplitter::splitterMoved, this, &CMainFrame::OnSplitterMoved);
    connect(m_wndColumns, &QSplitter::splitterMoved, this, &CMainFrame::OnSplitterMoved);
    connect(&m_pLowerView->Tabs(), &CDownTabs::OutputChosen, this, &CMainFrame::SetOutput);
    connect(&m_pLowerView->Tabs(), &CDownTabs::CloseWanted, this, [this] { m_pRouter->Run(CommandId::kClosePane); });
}

void CMainFrame::MakeBars()
{
    menuBar()->setAccessibleName(m_context.language.String(TextId::kMainMenuName));
    m_pRouter->FillMenuBar(*menuBar(), MenuId::kMain);
    m_pAddressBar = new CAddressBar(m_context, this);
    addToolBar(m_pAddressBar);
    connect(m_pAddressBar, &CAddressBar::GoWanted, this, &CMainFrame::Go);
    connect(m_pAddressBar, &CAddressBar::Left, this, [this] { FocusView(m_focusPane); });
    addToolBarBreak();
    m_wndToolBar = new QToolBar(m_context.language.String(TextId::kToolBarName), this);
    m_wndToolBar->setObjectName(QString::number(static_cast<int>(ToolbarId::kMain)));
    m_wndToolBar->setAccessibleName(m_wndToolBar->windowTitle());
    m_pRouter->FillToolBar(*m_wndToolBar, ToolbarId::kMain);
    addToolBar(m_wndToolBar);
    setContextMenuPolicy(Qt::NoContextMenu); // the bars are switched by the View menu
    m_wndStatusBar = new CStatusBar(m_context, this);
    setStatusBar(m_wndStatusBar);
}

void CMainFrame::FollowSelections()
{
    const auto update = [this] { m_pRouter->Update(); };
    for (Pane* pane : Panes()) {
        pane->FollowFacts(update);
    }
    connect(m_pAddressBar, &QToolBar::visibilityChanged, this, update);
    connect(m_wndToolBar, &QToolBar::visibilityChanged, this, update);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { OnFocusChanged(now); });
    update();
}

void CMainFrame::OnInitialUpdate()
{
    for (Pane* pane : Panes()) {
        pane->OnInitialUpdate();
    }
}

QString CMainFrame::StatusText() const
{
    return m_wndStatusBar->PathText();
}

void CMainFrame::ActivateFrame()
{
    if (!m_bFirstShow) {
        show();
        return;
    }
    const WindowState state = WindowState::Load(m_context.profile);
    m_nPaneW = state.paneW;
    m_nPaneH = state.paneH;
    m_bFirstShow = false;
    if (!state.bars.empty()) {
        restoreState(QByteArray::fromBase64(QByteArray::fromStdString(state.bars)));
    }
    SetOutput(state.output);
    m_pLowerView->Tabs().ShowOutput(state.output);
    Place(state);
    m_pLeftView->FocusChild();
}

void CMainFrame::Place(const WindowState& state)
{
    setGeometry(OnScreen(state.rect));
    Qt::WindowStates states = Qt::WindowNoState;
    states.setFlag(Qt::WindowMaximized, state.isMaximised);
    states.setFlag(Qt::WindowMinimized, state.isMinimised);
    setWindowState(states);
    show();
    ApplyPaneSizes();
}

WindowState CMainFrame::CurrentState() const
{
    WindowState state;
    state.rect = normalGeometry().isValid() ? normalGeometry() : geometry();
    state.isMinimised = isMinimized();
    state.isMaximised = windowState().testFlag(Qt::WindowMaximized);
    state.output = m_nOutput;
    state.paneW = m_nPaneW;
    state.paneH = m_nPaneH;
    state.bars = saveState().toBase64().toStdString();
    return state;
}

void CMainFrame::ApplyPaneSizes()
{
    if (m_bFirstShow) {
        return;
    }
    const int left = PartOf(m_nPaneW, width());
    m_wndColumns->setSizes({left, m_wndColumns->width() - m_wndColumns->handleWidth() - left});
    if (m_nOutput != 0) {
        const int upper = PartOf(m_nPaneH, height());
        m_wndRows->setSizes({upper, m_wndRows->height() - m_wndRows->handleWidth() - upper});
    }
}

void CMainFrame::OnSplitterMoved()
{
    if (m_bFirstShow) {
        return;
    }
    m_nPaneW = ShareOf(m_wndColumns->sizes().front(), width());
    if (m_nOutput != 0) {
        m_nPaneH = ShareOf(m_wndRows->sizes().front(), height());
    }
}

void CMainFrame::MakePaneRoom(int rightWidth, int upperHeight)
{
    if (rightWidth != 0) {
        const int left = m_wndColumns->width() - m_wndColumns->handleWidth() - rightWidth;
        m_wndColumns->setSizes({left, rightWidth});
    }
    if (upperHeight != 0) {
        m_wndRows->setSizes({upperHeight, m_wndRows->height() - m_wndRows->handleWidth() - upperHeight});
    }
    OnSplitterMoved();
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls()) {
        event->acceptProposedAction();
    }
}

void CMainFrame::dropEvent(QDropEvent* event)
{
    QStringList files;
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile()) {
            files.append(url.toLocalFile());
        }
    }
    event->acceptProposedAction();
    if (!files.isEmpty()) {
        emit FilesDropped(files);
    }
}

} // namespace tolvar
