#include "hexctrl/hex_input.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tolvar {

namespace {

constexpr std::uint8_t kByteToTypeOver = 0x30; // what appears at the append position under the first digit

std::optional<unsigned> DigitOf(char32_t character)
{
    if (character >= U'0' && character <= U'9') {
        return character - U'0';
    }
    if (character >= U'a' && character <= U'f') {
        return character - U'a' + 10;
    }
    return std::nullopt;
}

} // namespace

void HexInput::PutCaret(std::int64_t offset, HexZone zone)
{
    m_data.selection = {static_cast<std::int64_t>(zone), offset, offset};
}

HexEffect HexInput::Press(HexKey key)
{
    HexEffect effect;
    const std::int64_t top = m_view.TopRow();
    switch (key) {
    case HexKey::kPageUp:
        m_view.ScrollBy(-m_view.RowsInView());
        break;
    case HexKey::kPageDown:
        m_view.ScrollBy(m_view.RowsInView());
        break;
    case HexKey::kHome:
        m_view.ScrollTo(0);
        break;
    case HexKey::kEnd:
        m_view.ScrollTo(m_view.LastTopRow());
        break;
    case HexKey::kDelete:
        effect.outcome = Zero();
        break;
    case HexKey::kBackspace:
        effect = Backspace();
        break;
    default:
        if (Move(key)) {
            m_view.Show(m_data.selection.start);
        }
        break;
    }
    effect.scrolled = m_view.TopRow() != top;
    return effect;
}

/// The arrow keys. A caret that a click on the addresses has taken away comes back in the hexadecimal column.
bool HexInput::Move(HexKey key)
{
    if (m_data.mode == HexMode::kNoData) {
        return false;
    }
    if (m_data.pane == HexPane::kAddress) {
        m_data.pane = HexPane::kHex;
    }
    switch (key) {
    case HexKey::kLeft:
        Left();
        return true;
    case HexKey::kRight:
        Right();
        return true;
    case HexKey::kUp:
        Up();
        return true;
    case HexKey::kDown:
        Down();
        return true;
    default:
        return false;
    }
}

void HexInput::Left()
{
    const std::int64_t start = m_data.selection.start;
    if (IsHex() && Zone() == HexZone::kLowDigit) {
        PutCaret(start, HexZone::kHighDigit);
    } else if (start == 0) {
        PutCaret(0, HexZone::kHighDigit);
    } else {
        PutCaret(start - 1, IsHex() ? HexZone::kLowDigit : HexZone::kBytes);
    }
}

void HexInput::Right()
{
    const std::int64_t end = std::max(m_data.selection.start, m_data.selection.end);
    if (end >= m_data.Size()) {
        PutCaret(m_data.Size(), HexZone::kHighDigit);
    } else if (IsHex() && Zone() == HexZone::kHighDigit) {
        PutCaret(end, HexZone::kLowDigit);
    } else {
        PutCaret(end + 1, IsHex() || end + 1 == m_data.Size() ? HexZone::kHighDigit : HexZone::kBytes);
    }
}

void HexInput::Up()
{
    const std::int64_t start = m_data.selection.start;
    if (start >= m_view.BytesPerRow()) {
        PutCaret(start - m_view.BytesPerRow(), IsHex() && Zone() == HexZone::kBytes ? HexZone::kHighDigit : Zone());
    }
}

void HexInput::Down()
{
    const std::int64_t below = m_data.selection.start + m_view.BytesPerRow();
    if (below >= m_data.Size()) {
        PutCaret(m_data.Size(), HexZone::kHighDigit);
    } else {
        PutCaret(below, IsHex() && Zone() == HexZone::kBytes ? HexZone::kLowDigit : Zone());
    }
}

/// The key Delete: zeros, and the caret after them. It doesn't shorten the data.
HexOutcome HexInput::Zero()
{
    if (isReadOnly || m_data.pane == HexPane::kAddress || m_data.selection.end >= m_data.Size()) {
        return HexOutcome::kDone;
    }
    const HexOutcome outcome = m_data.OverwriteWithZeros();
    if (outcome == HexOutcome::kDone) {
        m_data.selection.zone = static_cast<std::int64_t>(IsHex() ? HexZone::kLowDigit : HexZone::kBytes);
        Right();
        m_view.Show(m_data.selection.start);
    }
    return outcome;
}

HexEffect HexInput::Backspace()
{
    HexEffect effect;
    if (isReadOnly || !HasBytes() || m_data.pane == HexPane::kAddress) {
        return effect;
    }
    if (m_data.selection.start == m_data.selection.end) {
        Move(HexKey::kLeft);
        effect.outcome = Zero();
        return effect;
    }
    effect.outcome = Zero();
    if (effect.outcome == HexOutcome::kDone) {
        Move(HexKey::kLeft);
        m_view.Show(m_data.selection.start);
    }
    return effect;
}

std::int64_t HexInput::ExtendedEnd(HexKey key) const
{
    const std::int64_t end = m_data.selection.end;
    const std::int64_t last = m_data.Size() - 1; // which an end at the append position lies after
    const std::int64_t row = m_view.BytesPerRow();
    const std::int64_t page = row * m_view.RowsInView();
    switch (key) {
    case HexKey::kPageUp:
        return std::max<std::int64_t>(end - page, 0);
    case HexKey::kPageDown:
        return std::max(std::min(end + page, last), end);
    case HexKey::kHome:
        return 0;
    case HexKey::kEnd:
        return std::max(last, end);
    case HexKey::kLeft:
        return std::max<std::int64_t>(end - 1, 0);
    case HexKey::kRight:
        return std::max(std::min(end + 1, last), end);
    case HexKey::kUp:
        return end >= row ? end - row : end;
    case HexKey::kDown:
        return std::max(std::min(end + row, last), end);
    default:
        return end;
    }
}

HexEffect HexInput::PressWithShift(HexKey key)
{
    HexEffect effect;
    if (!HasBytes() || m_data.pane == HexPane::kAddress) {
        return effect;
    }
    HexSelection& selection = m_data.selection;
    const HexSelection old = selection;
    const bool isAtLast = key == HexKey::kRight && selection.end == m_data.Size() - 1;
    selection.zone =
        static_cast<std::int64_t>(isAtLast && selection.start == selection.end ? HexZone::kHighDigit : HexZone::kBytes);
    if (key != HexKey::kOther && key != HexKey::kDelete && key != HexKey::kBackspace) {
        if (key == HexKey::kPageUp || key == HexKey::kPageDown) {
            effect.scrolled = m_view.ScrollBy(key == HexKey::kPageUp ? -m_view.RowsInView() : m_view.RowsInView());
        }
        selection.end = ExtendedEnd(key);
        effect.scrolled = m_view.Show(selection.end) || effect.scrolled;
    }
    effect.selected = selection != old;
    return effect;
}

HexEffect HexInput::ReleaseShift()
{
    // A caret alone stays where it is, also at the append position, where a capital letter may just have been typed.
    if (!HasBytes() || m_data.pane == HexPane::kAddress || m_data.selection.start == m_data.selection.end) {
        return {};
    }
    return Finish(m_data.selection.end);
}

HexEffect HexInput::Type(char32_t character, std::optional<std::uint8_t> byte)
{
    HexEffect effect;
    if (isReadOnly || m_data.mode == HexMode::kNoData || m_data.pane == HexPane::kAddress ||
        m_data.selection.start != m_data.selection.end) {
        return effect;
    }
    if (!IsHex() && !byte) {
        return effect;
    }
    if (m_data.Log().Count() >= CHexData::kTypingLimit) {
        effect.outcome = HexOutcome::kTooMuchChanged;
        return effect;
    }
    const HexSelection caret = m_data.selection;
    if (caret.start == m_data.Size()) {
        effect.outcome = m_data.Insert(std::array{kByteToTypeOver});
        m_data.selection = caret;
        if (effect.outcome != HexOutcome::kDone) {
            return effect;
        }
        m_view.Layout();
    }
    const auto digit = DigitOf(character);
    if (IsHex() && !digit) {
        return effect;
    }
    effect.outcome = IsHex() ? TypeDigit(*digit) : TypeByte(*byte);
    if (effect.outcome == HexOutcome::kDone) {
        Right();
        m_view.Layout();
        effect.scrolled = m_view.Show(m_data.selection.start);
    }
    return effect;
}

HexOutcome HexInput::TypeByte(std::uint8_t byte)
{
    const HexSelection caret = m_data.selection;
    const HexOutcome outcome = isInserting ? m_data.Insert(std::array{byte}) : m_data.Overwrite(std::array{byte});
    m_data.selection = caret;
    return outcome;
}

HexOutcome HexInput::TypeDigit(unsigned digit)
{
    // A byte that is marked as a whole, as after an undo, is typed from its high digit on.
    const HexZone zone = Zone() == HexZone::kLowDigit ? HexZone::kLowDigit : HexZone::kHighDigit;
    const HexSelection caret{static_cast<std::int64_t>(zone), m_data.selection.start, m_data.selection.start};
    std::uint8_t old = 0;
    m_data.Read(caret.start, {&old, 1});
    const std::array fresh{
        static_cast<std::uint8_t>(zone == HexZone::kHighDigit ? digit << 4 | (old & 0x0FU) : (old & 0xF0U) | digit)};
    if (zone == HexZone::kHighDigit && isInserting) {
        const HexOutcome outcome = m_data.Insert(fresh);
        m_data.selection = caret;
        if (outcome != HexOutcome::kDone) {
            return outcome;
        }
    }
    const HexOutcome outcome = m_data.Overwrite(fresh);
    m_data.selection = caret;
    return outcome;
}

HexEffect HexInput::MouseDown(int column, int row, bool isExtending)
{
    if (!HasBytes()) {
        return {};
    }
    const HexView::Hit hit = m_view.At(column, row);
    if (isExtending && m_data.pane != HexPane::kAddress && hit.pane != HexPane::kAddress) {
        return Drag(column, row, false, false);
    }
    m_data.pane = hit.pane;
    if (hit.pane == HexPane::kAddress) {
        PutCaret(0, HexZone::kNone);
    } else if (hit.offset >= m_data.Size()) {
        PutCaret(m_data.Size() - 1, HexZone::kLowDigit);
    } else {
        PutCaret(hit.offset, hit.zone);
    }
    return {};
}

HexEffect HexInput::Drag(int column, int row, bool isAtTop, bool isAtBottom)
{
    HexEffect effect;
    if (m_data.mode == HexMode::kNoData) {
        return effect;
    }
    if (m_data.Size() == 0) {
        PutCaret(0, HexZone::kHighDigit);
        return effect;
    }
    const HexView::Hit hit = m_view.At(column, std::clamp(row, 0, m_view.RowsInView() - 1));
    if (m_data.pane == HexPane::kAddress || hit.offset >= m_data.Size()) {
        return effect;
    }
    if (isAtTop != isAtBottom) {
        effect.scrolled = m_view.ScrollBy(isAtTop ? -1 : 1);
    }
    HexSelection& selection = m_data.selection;
    const HexSelection old = selection;
    selection.end = row < 0 ? m_view.TopOffset() : std::max(hit.offset, m_view.TopOffset());
    if (selection.start != selection.end) {
        selection.zone = static_cast<std::int64_t>(HexZone::kBytes);
    }
    effect.selected = selection != old;
    return effect;
}

HexEffect HexInput::MouseUp(int column, int row)
{
    if (!HasBytes() || m_data.pane == HexPane::kAddress) {
        return {};
    }
    return Finish(m_view.At(column, std::clamp(row, 0, m_view.RowsInView() - 1)).offset);
}

/// Ends a selection at `offset`, with its two ends in order.
HexEffect HexInput::Finish(std::int64_t offset)
{
    HexSelection& selection = m_data.selection;
    const std::int64_t last = m_data.Size() - 1;
    selection.end = std::min(offset, last);
    if (selection.start > selection.end) {
        std::swap(selection.start, selection.end);
        selection.end = std::min(selection.end, last); // a selection that began at the append position
    }
    if (selection.start != selection.end) {
        selection.zone = static_cast<std::int64_t>(HexZone::kBytes);
    } else if (selection.start == last) {
        selection.zone = static_cast<std::int64_t>(HexZone::kLowDigit);
    }
    return {.scrolled = false, .selected = true, .outcome = HexOutcome::kDone};
}

} // namespace tolvar
