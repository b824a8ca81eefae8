// The events of the hex control that come from the user.

#include "hexctrl/ui/hex_control.h"

#include <algorithm>
#include <array>
#include <utility>

#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMouseEvent>

namespace tolvar {

namespace {

constexpr int kScrollStrip = 10; // pixels along the top and the bottom in which a held mouse scrolls
constexpr int kDragMilliseconds = 50;
constexpr int kRowsPerTurn = 3;
constexpr int kWheelTurn = 120; // one notch of a wheel; smooth devices report parts of it
constexpr int kWheelRow = kWheelTurn / kRowsPerTurn;

constexpr std::array kKeys = {
    std::pair{Qt::Key_PageUp, HexKey::kPageUp}, std::pair{Qt::Key_PageDown, HexKey::kPageDown},
    std::pair{Qt::Key_Home, HexKey::kHome},     std::pair{Qt::Key_End, HexKey::kEnd},
    std::pair{Qt::Key_Left, HexKey::kLeft},     std::pair{Qt::Key_Right, HexKey::kRight},
    std::pair{Qt::Key_Up, HexKey::kUp},         std::pair{Qt::Key_Down, HexKey::kDown},
    std::pair{Qt::Key_Delete, HexKey::kDelete}, std::pair{Qt::Key_Backspace, HexKey::kBackspace},
};

std::optional<HexKey> KeyOf(int key)
{
    const auto found = std::ranges::find(kKeys, key, [](const auto& row) { return static_cast<int>(row.first); });
    return found == kKeys.end() ? std::nullopt : std::optional(found->second);
}

bool IsTyped(const QString& text)
{
    return !text.isEmpty() && text[0].isPrint();
}

/// Of the host: the control's accelerators are all plain keys.
bool IsShortcut(Qt::KeyboardModifiers modifiers)
{
    return modifiers.testAnyFlags(Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
}

} // namespace

bool HexControl::IsOwnKey(const QKeyEvent& event) const
{
    const bool isInsert = event.key() == Qt::Key_Insert && !event.modifiers().testFlag(Qt::ShiftModifier);
    return !IsShortcut(event.modifiers()) && (KeyOf(event.key()) || isInsert || IsTyped(event.text()));
}

bool HexControl::event(QEvent* event)
{
    // A plain key that is typed here isn't a shortcut of the window, like Delete for the selected registry key.
    if (event->type() == QEvent::ShortcutOverride && IsOwnKey(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QAbstractScrollArea::event(event);
}

void HexControl::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Shift) {
        ActOn([&] { return m_input.PressWithShift(HexKey::kOther); });
        return;
    }
    if (!IsOwnKey(*event)) {
        event->ignore();
        return;
    }
    if (event->key() == Qt::Key_Insert) {
        SetInserting(!IsInserting());
        return;
    }
    if (const auto key = KeyOf(event->key())) {
        const bool isShift = event->modifiers().testFlag(Qt::ShiftModifier);
        ActOn([&] { return isShift ? m_input.PressWithShift(*key) : m_input.Press(*key); });
        return;
    }
    TypeText(event->text());
}

void HexControl::keyReleaseEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Shift && !event->isAutoRepeat()) {
        ActOn([&] { return m_input.ReleaseShift(); });
        return;
    }
    event->ignore();
}

void HexControl::TypeText(const QString& text)
{
    for (const char32_t character : text.toUcs4()) {
        ActOn([&] { return m_input.Type(character, ByteOf(m_cells.Characters(), character)); });
    }
}

void HexControl::inputMethodEvent(QInputMethodEvent* event)
{
    TypeText(event->commitString());
    event->accept();
}

QVariant HexControl::inputMethodQuery(Qt::InputMethodQuery query) const
{
    if (query != Qt::ImCursorRectangle) {
        return QAbstractScrollArea::inputMethodQuery(query);
    }
    const auto inRow = static_cast<int>(m_data.selection.start % m_view.BytesPerRow());
    const auto row = static_cast<int>(
        std::clamp<std::int64_t>(m_view.RowOf(m_data.selection.start) - m_view.TopRow(), 0, m_view.RowsInView()));
    const int column = m_data.pane == HexPane::kText ? m_view.TextColumn(inRow) : m_view.HexColumn(inRow);
    return QRect(m_cells.XOf(column), m_cells.YOf(row), m_cells.CharWidth(), m_cells.CharHeight());
}

void HexControl::focusInEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusInEvent(event);
    RestartCaret();
    viewport()->update();
    // A host that has taken the marking away leaves no caret to see; who comes here by a key needs one.
    const bool isUnmarked = m_data.selection.zone == static_cast<std::int64_t>(HexZone::kNone);
    if (isUnmarked && m_data.mode != HexMode::kNoData && event->reason() != Qt::MouseFocusReason) {
        PutCaret(m_data.selection.start);
    }
}

void HexControl::focusOutEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusOutEvent(event);
    RestartCaret();
    viewport()->update();
}

void HexControl::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || m_data.mode == HexMode::kNoData || m_data.Size() == 0) {
        event->ignore(); // the other buttons are the host's, for its menu
        return;
    }
    setFocus(Qt::MouseFocusReason);
    m_bMousePressed = true;
    const QPoint cell = m_cells.CellAt(event->position().toPoint());
    ActOn([&] { return m_input.MouseDown(cell.x(), cell.y(), event->modifiers().testFlag(Qt::ShiftModifier)); });
}

void HexControl::mouseMoveEvent(QMouseEvent* event)
{
    if (m_bFocusFollowsMouse && !hasFocus()) {
        setFocus(Qt::MouseFocusReason);
    }
    if (m_bMousePressed) {
        DragTo(event->position().toPoint());
    } else if (event->buttons() == Qt::NoButton) {
        Hover(event->position().toPoint());
    }
}

void HexControl::DragTo(QPoint point)
{
    m_dragPoint = point;
    const bool isAtTop = point.y() < kScrollStrip;
    const bool isAtBottom = point.y() >= viewport()->height() - kScrollStrip;
    const QPoint cell = m_cells.CellAt(point);
    ActOn([&] { return m_input.Drag(cell.x(), cell.y(), isAtTop, isAtBottom); });
    if (isAtTop || isAtBottom) {
        m_dragTimer.start(kDragMilliseconds, this);
    } else {
        m_dragTimer.stop();
    }
}

void HexControl::Hover(QPoint point)
{
    const QPoint cell = m_cells.CellAt(point);
    const HexView::Hit hit = m_view.At(cell.x(), cell.y());
    if (m_data.Read(hit.offset, {&m_pAnswers->hoverByte, 1}) == 1) {
        m_pAnswers->hoverOffset = hit.offset;
        SendNotice(m_pHost, HexNotice::kHovered, reinterpret_cast<quintptr>(&m_pAnswers->hoverByte),
                   reinterpret_cast<quintptr>(&m_pAnswers->hoverOffset));
    }
}

void HexControl::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !std::exchange(m_bMousePressed, false)) {
        event->ignore();
        return;
    }
    m_dragTimer.stop();
    const QPoint cell = m_cells.CellAt(event->position().toPoint());
    ActOn([&] { return m_input.MouseUp(cell.x(), cell.y()); });
}

void HexControl::wheelEvent(QWheelEvent* event)
{
    const int turn = event->angleDelta().y();
    int rows = 0;
    if (std::abs(turn) >= kWheelTurn) {
        rows = turn > 0 ? kRowsPerTurn : -kRowsPerTurn;
    } else {
        m_nWheelRest += turn;
        rows = m_nWheelRest / kWheelRow;
        m_nWheelRest %= kWheelRow;
    }
    if (rows != 0) {
        ActOn([&] { return HexEffect{.scrolled = m_view.ScrollBy(-rows)}; });
    }
    event->accept();
}

void HexControl::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == m_caretTimer.timerId()) {
        m_caret.isBlinkedOff = !m_caret.isBlinkedOff;
        UpdateCaretRow();
    } else if (event->timerId() == m_dragTimer.timerId()) {
        DragTo(m_dragPoint);
    } else {
        QAbstractScrollArea::timerEvent(event);
    }
}

} // namespace tolvar
