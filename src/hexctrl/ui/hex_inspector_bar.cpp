#include "hexctrl/ui/hex_inspector_bar.h"

#include <algorithm>

#include <QEvent>
#include <QLabel>

namespace tolvar {

namespace {

constexpr int kGap = 4;        // between a name and its value, and around the line
constexpr int kColumnGap = 16; // between two readings

// Places wide enough for most values, so that the line doesn't jump while the caret moves.
constexpr std::array<const char*, static_cast<std::size_t>(HexReading::kCount)> kUsualValues = {
    "255 / -1",
    "65535 / -32768",
    "4294967295 / -2147483648",
    "18446744073709551615 / -9223372036854775808",
    "0000-00-00 00:00:00.0000000",
    "{00000000-0000-0000-0000-000000000000}",
    "MMMMMMMMMMMMMMMM"};

constexpr const char* kNoValue = "\u2013";

} // namespace

HexInspectorBar::HexInspectorBar(HexControl& control, const HexTexts& texts, QWidget* parent)
    : QWidget(parent), m_control(control)
{
    for (std::size_t index = 0; index < m_rows.size(); ++index) {
        Row& row = m_rows[index];
        row.name = new QLabel(texts.readings[index], this);
        row.value = new QLabel(this);
        row.value->setTextFormat(Qt::PlainText);
        row.value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        row.value->setAccessibleName(texts.readings[index]);
    }
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    SetColours();
    connect(&control, &HexControl::SelectionChanged, this, &HexInspectorBar::Fill);
    Fill();
}

QString HexInspectorBar::Value(HexReading reading) const
{
    const QString text = m_rows[static_cast<std::size_t>(reading)].value->text();
    return text == QString::fromUtf8(kNoValue) ? QString() : text;
}

void HexInspectorBar::Fill()
{
    const CHexData& content = m_control.Data();
    std::array<std::uint8_t, kHexInspectedBytes> bytes{};
    const std::size_t count = content.Read(std::min(content.selection.start, content.selection.end), bytes);
    const HexReadings readings = InspectBytes(std::span(bytes).first(count));
    for (std::size_t index = 0; index < m_rows.size(); ++index) {
        const bool isEmpty = readings[index].empty();
        m_rows[index].value->setText(isEmpty ? QString::fromUtf8(kNoValue) : QString::fromStdString(readings[index]));
        m_rows[index].value->setEnabled(!isEmpty);
    }
}

void HexInspectorBar::SetColours()
{
    for (const Row& row : m_rows) {
        QPalette quiet = palette();
        const QColor text = quiet.color(QPalette::WindowText);
        quiet.setColor(QPalette::WindowText, MixColours(text, quiet.color(QPalette::Window), 0.65));
        row.name->setPalette(quiet);
    }
}

int HexInspectorBar::ArrangeIn(int width, Arrange arrange) const
{
    int x = kGap;
    int y = kGap;
    const int height = fontMetrics().height();
    for (std::size_t index = 0; index < m_rows.size(); ++index) {
        const Row& row = m_rows[index];
        const int nameWidth = row.name->sizeHint().width();
        const int valueWidth = fontMetrics().horizontalAdvance(QString::fromLatin1(kUsualValues[index])) + kGap;
        if (x > kGap && x + nameWidth + kGap + valueWidth > width) {
            x = kGap;
            y += height + kGap;
        }
        if (arrange == Arrange::kPlace) {
            row.name->setGeometry(x, y, nameWidth, height);
            row.value->setGeometry(x + nameWidth + kGap, y, std::min(valueWidth, width - x - nameWidth - kGap), height);
        }
        x += nameWidth + kGap + valueWidth + kColumnGap;
    }
    return y + height + kGap;
}

int HexInspectorBar::heightForWidth(int width) const
{
    return ArrangeIn(width, Arrange::kMeasure);
}

QSize HexInspectorBar::sizeHint() const
{
    const int width = parentWidget() == nullptr ? 600 : std::max(parentWidget()->width(), 100);
    return {width, heightForWidth(width)};
}

QSize HexInspectorBar::minimumSizeHint() const
{
    return {0, fontMetrics().height() + 2 * kGap};
}

void HexInspectorBar::resizeEvent(QResizeEvent* /*event*/)
{
    ArrangeIn(width(), Arrange::kPlace);
}

void HexInspectorBar::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        SetColours();
    } else if (event->type() == QEvent::FontChange) {
        ArrangeIn(width(), Arrange::kPlace);
        updateGeometry();
    }
}

} // namespace tolvar
