#include "hexctrl/ui/hex_find_bar.h"

#include <algorithm>

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QStyle>
#include <QToolButton>

#include "hexctrl/hex_dump.h"

namespace tolvar {

namespace {

std::vector<std::uint8_t> Encoded(const QString& text, HexPatternKind kind)
{
    std::vector<std::uint8_t> bytes;
    if (kind == HexPatternKind::kText) {
        const QByteArray utf8 = text.toUtf8();
        bytes.assign(utf8.begin(), utf8.end());
    } else {
        for (const QChar unit : text) {
            bytes.push_back(static_cast<std::uint8_t>(unit.unicode() & 0xFF));
            bytes.push_back(static_cast<std::uint8_t>(unit.unicode() >> 8));
        }
    }
    return bytes;
}

} // namespace

std::optional<HexPattern> MakeHexPattern(const QString& text, HexPatternKind kind, bool matchesCase)
{
    if (kind == HexPatternKind::kHex) {
        const auto bytes = BytesOfHexText(text.toStdString());
        return bytes && !bytes->empty() ? std::optional(HexPattern::Exact(*bytes)) : std::nullopt;
    }
    if (text.isEmpty()) {
        return std::nullopt;
    }
    if (matchesCase) {
        return HexPattern::Exact(Encoded(text, kind));
    }
    HexPattern pattern;
    for (const char32_t letter : text.toUcs4()) {
        const QString character = QString::fromUcs4(&letter, 1);
        const auto lower = Encoded(character.toLower(), kind);
        const auto upper = Encoded(character.toUpper(), kind);
        const auto typed = Encoded(character, kind);
        const bool isPair = lower.size() == upper.size();
        pattern.letters.push_back(typed.size());
        if (isPair) {
            pattern.letters.back() = lower.size();
        }
        std::ranges::copy(isPair ? lower : typed, std::back_inserter(pattern.bytes));
        std::ranges::copy(isPair ? upper : typed, std::back_inserter(pattern.otherCase));
    }
    return pattern;
}

HexFindBar::HexFindBar(HexControl& control, const HexTexts& texts, QWidget* parent)
    : QWidget(parent), m_control(control), m_texts(texts), m_pPattern(new QLineEdit(this)),
      m_pKind(new QComboBox(this)), m_pMatchCase(new QCheckBox(texts.matchCase, this)), m_pMessage(new QLabel(this))
{
    m_pPattern->setPlaceholderText(texts.findPattern);
    m_pPattern->setAccessibleName(texts.findPattern);
    m_pPattern->setClearButtonEnabled(true);
    m_pKind->addItems({texts.findHex, texts.findText, texts.findWideText}); // in the order of HexPatternKind
    m_pMatchCase->setEnabled(false);
    const auto button = [this](Qt::ArrowType arrow, const QString& name) {
        auto* made = new QToolButton(this);
        made->setArrowType(arrow);
        made->setAutoRaise(true);
        made->setToolTip(QString(name).remove(QLatin1Char('&'))); // which a menu would show as an underline
        made->setAccessibleName(made->toolTip());
        return made;
    };
    const auto& commands = texts.commands;
    QToolButton* previous = button(Qt::UpArrow, commands[static_cast<std::size_t>(HexCommand::kFindPrevious)]);
    QToolButton* next = button(Qt::DownArrow, commands[static_cast<std::size_t>(HexCommand::kFindNext)]);
    QToolButton* close = button(Qt::NoArrow, texts.closeFind);
    close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(4, 4, 4, 4);
    row->addWidget(m_pKind);
    row->addWidget(m_pPattern, 3);
    row->addWidget(previous);
    row->addWidget(next);
    row->addWidget(m_pMatchCase);
    row->addWidget(m_pMessage, 1);
    row->addWidget(close);
    connect(previous, &QToolButton::clicked, this, [this] { Find(Direction::kBackward); });
    connect(next, &QToolButton::clicked, this, [this] { Find(Direction::kForward); });
    connect(close, &QToolButton::clicked, this, &HexFindBar::Close);
    connect(m_pPattern, &QLineEdit::textChanged, this, [this] { Say({}); });
    connect(m_pKind, &QComboBox::currentIndexChanged, this, [this](int kind) {
        m_pMatchCase->setEnabled(static_cast<HexPatternKind>(kind) != HexPatternKind::kHex);
        Say({});
    });
}

void HexFindBar::Open()
{
    show();
    m_control.SetFocusFollowsMouse(false); // or the pointer would take the focus from the pattern
    m_pPattern->setFocus(Qt::ShortcutFocusReason);
    m_pPattern->selectAll();
}

void HexFindBar::Close()
{
    hide();
    m_control.SetFocusFollowsMouse(true);
    m_control.setFocus(Qt::OtherFocusReason);
}

void HexFindBar::Say(const QString& text)
{
    m_pMessage->setText(text);
    if (!text.isEmpty()) {
        QAccessibleEvent alert(m_pMessage, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

std::optional<std::uint64_t> HexFindBar::Search(const HexPattern& pattern, Direction direction, bool& hasWrapped) const
{
    const CHexData& content = m_control.Data();
    const auto start = static_cast<std::uint64_t>(std::min(content.selection.start, content.selection.end));
    const std::uint64_t size = content.Store().Size();
    if (direction == Direction::kBackward) {
        const auto hit = FindBackward(content.Store(), pattern, start);
        hasWrapped = !hit;
        return hit ? hit : FindBackward(content.Store(), pattern, size);
    }
    // A hit that is selected isn't found again; one at the mere caret is.
    const bool isHitSelected = content.SelectedRange().size == static_cast<std::int64_t>(pattern.bytes.size()) &&
                               content.selection.zone == static_cast<std::int64_t>(HexZone::kBytes);
    const auto hit = FindForward(content.Store(), pattern, isHitSelected ? start + 1 : start, size);
    hasWrapped = !hit;
    return hit ? hit : FindForward(content.Store(), pattern, 0, size);
}

bool HexFindBar::Find(Direction direction)
{
    const auto pattern = MakeHexPattern(m_pPattern->text(), static_cast<HexPatternKind>(m_pKind->currentIndex()),
                                        m_pMatchCase->isChecked());
    if (!pattern) {
        Open();
        Say(m_pPattern->text().isEmpty() ? QString() : m_texts.badHex);
        return false;
    }
    bool hasWrapped = false;
    const auto hit = Search(*pattern, direction, hasWrapped);
    if (!hit) {
        Say(m_texts.notFound);
        return false;
    }
    m_control.SelectBytes(static_cast<std::int64_t>(*hit), static_cast<std::int64_t>(pattern->bytes.size()));
    const QString& wrapped = direction == Direction::kForward ? m_texts.wrappedToStart : m_texts.wrappedToEnd;
    Say(hasWrapped ? wrapped : QString());
    return true;
}

void HexFindBar::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        Find(event->modifiers().testFlag(Qt::ShiftModifier) ? Direction::kBackward : Direction::kForward);
        return;
    case Qt::Key_Escape:
        Close();
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

} // namespace tolvar
