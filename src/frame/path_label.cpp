#include "frame/path_label.h"

#include <QPainter>

#include "ui/shown_text_delegate.h"

namespace tolvar {

namespace {

constexpr int kMargin = 4;
constexpr int kLeastWidth = 60;

} // namespace

PathLabel::PathLabel(const QString& accessibleName, QWidget* parent) : QWidget(parent)
{
    setAccessibleName(accessibleName);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void PathLabel::SetText(const QString& text)
{
    m_text = text;
    setToolTip(ShownText(text, text.size()).toHtmlEscaped());
    setAccessibleDescription(text);
    update();
}

QSize PathLabel::sizeHint() const
{
    return {kLeastWidth, fontMetrics().height() + kMargin};
}

QSize PathLabel::minimumSizeHint() const
{
    return sizeHint();
}

void PathLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    const QRect room = rect().adjusted(kMargin, 0, -kMargin, 0);
    const QString shown = ShownText(m_text, m_text.size());
    painter.drawText(room, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                     fontMetrics().elidedText(shown, Qt::ElideMiddle, room.width()));
}

} // namespace tolvar
