#pragma once

#include <cstdint>
#include <optional>

#include "hexctrl/hex_data.h"
#include "hexctrl/hex_view.h"

namespace tolvar {

/// The keys that the control acts on, and any other that is pressed with Shift.
enum class HexKey { kPageUp, kPageDown, kHome, kEnd, kLeft, kRight, kUp, kDown, kDelete, kBackspace, kOther };

/// What a key, a character or a move of the mouse has done, for the widget to show.
struct HexEffect {
    bool scrolled = false;
    bool selected = false; ///< the selection was changed by the mouse or with Shift: the host is told
    HexOutcome outcome = HexOutcome::kDone;
};

/// What keys, characters and the mouse do to the caret, the selection and the data. Knows no window: the mouse is a
/// cell of HexView, and the state of the Insert key is told.
class HexInput {
public:
    HexInput(CHexData& data, HexView& view) : m_data(data), m_view(view) {}

    bool isReadOnly = false;
    bool isInserting = false;

    /// A key without Shift.
    HexEffect Press(HexKey key);
    /// A key with Shift: extends the selection. Shift itself is kOther.
    HexEffect PressWithShift(HexKey key);
    /// Shift is let go: puts the two ends of the selection in order.
    HexEffect ReleaseShift();

    /// A typed character: as a digit in the hexadecimal column, as the byte that shows it in the text column.
    /// `byte` is none where no byte does.
    HexEffect Type(char32_t character, std::optional<std::uint8_t> byte);

    /// `isExtending`, with Shift: the selection grows to the cell instead of starting there.
    HexEffect MouseDown(int column, int row, bool isExtending = false);
    /// Moves with the button down. `isAtTop` and `isAtBottom`: in the strip that scrolls.
    HexEffect Drag(int column, int row, bool isAtTop, bool isAtBottom);
    HexEffect MouseUp(int column, int row);

private:
    bool Move(HexKey key);
    void Left();
    void Right();
    void Up();
    void Down();
    HexOutcome Zero();
    HexEffect Backspace();
    [[nodiscard]] std::int64_t ExtendedEnd(HexKey key) const;
    HexEffect Finish(std::int64_t offset);
    void PutCaret(std::int64_t offset, HexZone zone);
    HexOutcome TypeDigit(unsigned digit);
    HexOutcome TypeByte(std::uint8_t byte);
    [[nodiscard]] HexZone Zone() const { return static_cast<HexZone>(m_data.selection.zone); }
    [[nodiscard]] bool IsHex() const { return m_data.pane == HexPane::kHex; }
    [[nodiscard]] bool HasBytes() const { return m_data.mode != HexMode::kNoData && m_data.Size() > 0; }

    CHexData& m_data;
    HexView& m_view;
};

} // namespace tolvar
