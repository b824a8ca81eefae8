#include "app/main_frame.h"

#include <QCoreApplication>
#include <QSplitter>
#include <QStatusBar>

#include "app/path_label.h"
#include "keytree/key_tree.h"
#include "ui/native_text.h"
#include "valuelist/value_list.h"

namespace tolvar {

namespace {

constexpr int kIcon = 128;
constexpr int kVersionText = 61716;
constexpr int kPathLabelName = 62002;
constexpr QRect kDefaultRect(QPoint(40, 30), QPoint(759, 539));
constexpr int kDefaultPaneW = 4000; ///< width of the left pane, in 1/10000

} // namespace

CMainFrame::CMainFrame(const WindowContext& context)
    : m_pColumns(new QSplitter(Qt::Horizontal, this)), m_pKeyTree(new CKeyTree(context, m_pColumns)),
      m_pValueList(new CValueList(context, m_pColumns)),
      m_pPathLabel(new PathLabel(context.language.String(kPathLabelName), this))
{
    setWindowTitle(QStringLiteral("Kordo ® Software - Tolvar Studio") + context.language.String(kVersionText));
    setWindowIcon(context.theme.Icon(kIcon));
    setGeometry(kDefaultRect);
    m_pColumns->setChildrenCollapsible(false);
    const int leftWidth = kDefaultRect.width() * kDefaultPaneW / 10000;
    m_pColumns->setSizes({leftWidth, kDefaultRect.width() - leftWidth});
    m_pColumns->setStretchFactor(0, 0);
    m_pColumns->setStretchFactor(1, 1);
    setCentralWidget(m_pColumns);
    statusBar()->addWidget(m_pPathLabel, 1);
    m_pKeyTree->setFocus();
}

bool CMainFrame::GoToKey(const std::string& path)
{
    GoToKeyMessage message(GoToKeyMessage::Sender::kPane, {path, {}});
    QCoreApplication::sendEvent(m_pKeyTree, &message);
    return message.result == 0;
}

void CMainFrame::ShowRoots()
{
    m_pKeyTree->SelectTreeRoot();
}

QString CMainFrame::StatusText() const
{
    return m_pPathLabel->Text();
}

bool CMainFrame::event(QEvent* event)
{
    const auto forwardTo = [event](QWidget* pane) { return QCoreApplication::sendEvent(pane, event); };
    switch (static_cast<int>(event->type())) {
    case GoToKeyMessage::kType:
    case RefreshKeyMessage::kType:
        return forwardTo(m_pKeyTree);
    case ShowKeyMessage::kType:
    case SelectRowMessage::kType:
        return forwardTo(m_pValueList);
    default:
        break;
    }
    return HandleMessage<ShowPageMessage>(event, [this](ShowPageMessage&) { m_pValueList->show(); }) ||
           HandleMessage<StatusTextMessage>(
               event, [this](const StatusTextMessage& m) { m_pPathLabel->SetText(ToQString(m.text)); }) ||
           QMainWindow::event(event);
}

} // namespace tolvar
