#include "ui/tip_window.h"

#include <algorithm>

#include <QScreen>
#include <QStyleOptionFrame>
#include <QStylePainter>
#include <QTimerEvent>
#include <QToolTip>

namespace tolvar {

namespace {

constexpr QMargins kMargins(5, 3, 5, 5);

} // namespace

CTipWindow::CTipWindow(QWidget* owner) : QLabel(owner, Qt::ToolTip | Qt::WindowTransparentForInput)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setContentsMargins(kMargins);
    owner->installEventFilter(this);
}

void CTipWindow::ShowLines(const QStringList& lines, const QPoint& at)
{
    setFont(QToolTip::font());
    setPalette(QToolTip::palette());
    setForegroundRole(QPalette::ToolTipText);
    setText(lines.join(u'\n'));
    int width = 0;
    for (const QString& line : lines) {
        width = std::max(width, fontMetrics().horizontalAdvance(line));
    }
    const int margins = kMargins.left() + kMargins.right();
    width = std::min(width + margins + 2, kMaxWidth);
    const QSize size(width, heightForWidth(width));
    const QRect screen = parentWidget()->screen()->availableGeometry();
    const QPoint place(std::max(screen.left(), std::min(at.x(), screen.right() - size.width())),
                       std::max(screen.top(), std::min(at.y(), screen.bottom() - size.height())));
    setGeometry(QRect(place, size));
    show();
    m_timer.start(kTime, this);
}

void CTipWindow::paintEvent(QPaintEvent* event)
{
    QStylePainter painter(this);
    QStyleOptionFrame frame;
    frame.initFrom(this);
    painter.drawPrimitive(QStyle::PE_PanelTipLabel, frame);
    painter.end();
    QLabel::paintEvent(event);
}

void CTipWindow::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == m_timer.timerId()) {
        hide();
        return;
    }
    QLabel::timerEvent(event);
}

void CTipWindow::hideEvent(QHideEvent* event)
{
    m_timer.stop();
    QLabel::hideEvent(event);
}

bool CTipWindow::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::FocusOut:
    case QEvent::Hide:
    case QEvent::WindowDeactivate:
    case QEvent::KeyPress:
    case QEvent::Move:
        hide();
        break;
    default:
        break;
    }
    return QLabel::eventFilter(watched, event);
}

} // namespace tolvar
