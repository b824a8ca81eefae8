#include "hexctrl/ui/hex_painter.h"

#include <algorithm>

#include "hexctrl/hex_change_trace.h"
#include "hexctrl/hex_dump.h"

namespace tolvar {

namespace {

// Of the selection's colour, in the column that isn't typed into; dark colours need more of it to stand out.
constexpr double kQuietSelection = 0.35;
constexpr double kQuietSelectionOnDark = 0.7;
constexpr double kQuiet = 0.5; // of the text's colour, for what steps back behind bytes that say more

} // namespace

const HexPainter::Column HexPainter::kHex{HexPane::kHex,
                                          HexColourIndex::kHexBack,
                                          HexColourIndex::kHexText,
                                          HexColourIndex::kHexSelectedBack,
                                          HexColourIndex::kHexSelectedText,
                                          HexColourIndex::kHexMarkedBack,
                                          HexColourIndex::kHexMarkedText};
const HexPainter::Column HexPainter::kText{HexPane::kText,
                                           HexColourIndex::kTextBack,
                                           HexColourIndex::kTextText,
                                           HexColourIndex::kTextSelectedBack,
                                           HexColourIndex::kTextSelectedText,
                                           HexColourIndex::kTextMarkedBack,
                                           HexColourIndex::kTextMarkedText};

HexPainter::HexPainter(const CHexData& data, const HexView& view, const HexCells& cells, const HexColours& colours,
                       const HexCaretLook& caret)
    : m_data(data), m_view(view), m_cells(cells), m_colours(colours), m_caret(caret), m_selected(data.SelectedRange())
{}

void HexPainter::Paint(QPainter& painter, const QRect& window, const QRect& clip)
{
    PaintBands(painter, window);
    if (m_data.mode == HexMode::kNoData) {
        return;
    }
    const std::int64_t top = m_view.TopOffset();
    const int rows = m_view.RowsInView() + 1; // the last one is cut by the edge
    const std::int64_t inView = std::min<std::int64_t>(m_data.Size() - top, std::int64_t{rows} * m_view.BytesPerRow());
    m_bytes.resize(static_cast<std::size_t>(std::max<std::int64_t>(inView, 0)));
    m_data.Read(top, m_bytes);
    m_changed = ChangedBytes(m_data.Log(), top, static_cast<std::int64_t>(m_bytes.size()));
    const int first = std::max(m_cells.CellAt(clip.topLeft()).y(), 0);
    const int last = std::min(m_cells.CellAt(clip.bottomRight()).y(), rows - 1);
    for (int row = first; row <= last; ++row) {
        PaintRow(painter, row);
    }
    for (const Run& run : m_runs) {
        QGlyphRun glyphs;
        glyphs.setRawFont(m_cells.RawFont());
        glyphs.setGlyphIndexes(run.glyphs);
        glyphs.setPositions(run.places);
        painter.setPen(QColor::fromRgba(run.colour));
        painter.drawGlyphRun({}, glyphs);
    }
}

void HexPainter::PaintBands(QPainter& painter, const QRect& window) const
{
    const int hexLeft = m_cells.XOf(m_view.AddressDigits() + 1);
    const int textLeft = m_cells.XOf(m_view.RowLength() - m_view.BytesPerRow() - 2);
    const auto band = [&](int left, int right, HexColourIndex colour) {
        painter.fillRect(QRect(left, window.top(), right - left, window.height()), m_colours[colour]);
    };
    band(window.left(), hexLeft, HexColourIndex::kAddressBack);
    band(hexLeft, textLeft, HexColourIndex::kHexBack);
    band(textLeft, window.right() + 1, HexColourIndex::kTextBack);
}

void HexPainter::PaintRow(QPainter& painter, int row)
{
    const std::int64_t first = m_view.TopOffset() + std::int64_t{row} * m_view.BytesPerRow();
    if (first > m_data.Size()) {
        return;
    }
    // A row after the data, which is only there for the caret, has no address.
    if (first < m_data.Size() || first == 0) {
        PaintAddress(painter, row);
    }
    for (int byte = 0; byte < m_view.BytesPerRow() && first + byte <= m_data.Size(); ++byte) {
        PaintByte(painter, kHex, row, byte);
        PaintByte(painter, kText, row, byte);
    }
}

void HexPainter::PaintAddress(QPainter& painter, int row)
{
    const std::int64_t first = m_view.TopOffset() + std::int64_t{row} * m_view.BytesPerRow();
    const auto address = static_cast<std::uint64_t>(m_data.baseAddress) + static_cast<std::uint64_t>(first);
    const std::string digits = HexAddress(address, m_view.AddressDigits());
    for (std::size_t digit = 0; digit < digits.size(); ++digit) {
        PutChar(painter, static_cast<int>(digit), row, static_cast<std::uint8_t>(digits[digit]),
                m_colours[HexColourIndex::kAddressText]);
    }
}

void HexPainter::PaintByte(QPainter& painter, const Column& column, int row, int byte)
{
    const std::int64_t offset = m_view.TopOffset() + std::int64_t{row} * m_view.BytesPerRow() + byte;
    const bool isHex = column.pane == HexPane::kHex;
    const Look plain = PlainLook(column, offset);
    const auto zone = static_cast<HexZone>(m_data.selection.zone);
    const Look look = IsSelected(offset) ? SelectedLook(column, offset) : plain;
    if (isHex) {
        const bool isOneDigit = zone == HexZone::kHighDigit || zone == HexZone::kLowDigit;
        PutDigits(painter, row, byte, isOneDigit && zone != HexZone::kHighDigit ? plain : look,
                  isOneDigit && zone != HexZone::kLowDigit ? plain : look);
        const bool joinsNext = look.back.isValid() && !isOneDigit && byte + 1 < m_view.BytesPerRow() &&
                               IsSelected(offset) == IsSelected(offset + 1) &&
                               IsMarked(offset) == IsMarked(offset + 1) && offset + 1 < m_data.Size();
        if (joinsNext) {
            PutBack(painter, m_view.HexColumn(byte) + 2, row, 1, look.back);
        }
        return;
    }
    PutBack(painter, m_view.TextColumn(byte), row, 1, look.back);
    const auto index = static_cast<std::size_t>(offset - m_view.TopOffset());
    if (index < m_bytes.size()) {
        PutChar(painter, m_view.TextColumn(byte), row, m_bytes[index], look.text);
    }
}

void HexPainter::PutDigits(QPainter& painter, int row, int byte, const Look& high, const Look& low)
{
    const int column = m_view.HexColumn(byte);
    PutBack(painter, column, row, 1, high.back);
    PutBack(painter, column + 1, row, 1, low.back);
    const auto index = static_cast<std::size_t>(row * m_view.BytesPerRow() + byte);
    if (index < m_bytes.size()) {
        const std::string pair = HexPair(m_bytes[index]);
        PutChar(painter, column, row, static_cast<std::uint8_t>(pair[0]), high.text);
        PutChar(painter, column + 1, row, static_cast<std::uint8_t>(pair[1]), low.text);
    }
}

HexPainter::Look HexPainter::PlainLook(const Column& column, std::int64_t offset) const
{
    if (IsMarked(offset)) {
        return {m_colours[column.markedText], m_colours[column.markedBack]};
    }
    const auto index = static_cast<std::size_t>(offset - m_view.TopOffset());
    const QColor& text = m_colours[column.text];
    if (m_colours.isHosts || index >= m_bytes.size()) {
        return {text, {}};
    }
    if (m_changed[index]) {
        return {m_colours.changed, {}};
    }
    // Zeros, and the dots that stand for what is no character.
    const bool isQuiet = column.pane == HexPane::kHex
                             ? m_bytes[index] == 0
                             : m_cells.Characters()[m_bytes[index]] == U'.' && m_bytes[index] != '.';
    return {isQuiet ? MixColours(text, m_colours[column.back], kQuiet) : text, {}};
}

HexPainter::Look HexPainter::SelectedLook(const Column& column, std::int64_t offset) const
{
    const bool isTypedInto = m_caret.hasFocus && m_data.pane == column.pane;
    if (HasCaret(column, offset)) {
        if (m_caret.isBlinkedOff) {
            return PlainLook(column, offset);
        }
        if (m_caret.isInserting) {
            return {m_colours[column.selectedText], m_colours[HexColourIndex::kInsertCaretBack]};
        }
    }
    if (isTypedInto || m_colours.isHosts) {
        return {m_colours[column.selectedText], m_colours[column.selectedBack]};
    }
    const QColor& back = m_colours[column.back];
    const double share = back.lightness() < 128 ? kQuietSelectionOnDark : kQuietSelection;
    return {m_colours[column.text], MixColours(m_colours[column.selectedBack], back, share)};
}

/// The caret blinks in its own column, and where all of a byte is marked there only as a character.
bool HexPainter::HasCaret(const Column& column, std::int64_t offset) const
{
    const HexSelection& selection = m_data.selection;
    return m_caret.hasFocus && m_data.pane == column.pane && selection.start == selection.end &&
           selection.start == offset &&
           (column.pane == HexPane::kText || selection.zone != static_cast<std::int64_t>(HexZone::kBytes));
}

bool HexPainter::IsSelected(std::int64_t offset) const
{
    const HexSelection& selection = m_data.selection;
    if (selection.zone == static_cast<std::int64_t>(HexZone::kNone)) {
        return false;
    }
    const bool isAppendCaret = offset == m_data.Size() && selection.start == offset && selection.end == offset;
    return isAppendCaret || (offset >= m_selected.start && offset < m_selected.start + m_selected.size);
}

bool HexPainter::IsMarked(std::int64_t offset) const
{
    return std::ranges::any_of(m_data.marks, [offset](const HexSelection& mark) {
        return offset >= std::min(mark.start, mark.end) && offset <= std::max(mark.start, mark.end);
    });
}

void HexPainter::PutBack(QPainter& painter, int column, int row, int width, const QColor& colour) const
{
    if (colour.isValid()) {
        painter.fillRect(m_cells.XOf(column), m_cells.YOf(row), width * m_cells.CharWidth(), m_cells.CharHeight(),
                         colour);
    }
}

void HexPainter::PutChar(QPainter& painter, int column, int row, std::uint8_t character, const QColor& colour)
{
    const char32_t shown = m_cells.Characters()[character];
    if (shown == U' ') {
        return;
    }
    const QPointF place(m_cells.XOf(column), m_cells.YOf(row) + m_cells.Ascent());
    if (const quint32 glyph = m_cells.GlyphOf(character); glyph != 0) {
        Run& run = RunOf(colour);
        run.glyphs.append(glyph);
        run.places.append(place);
        return;
    }
    painter.setFont(m_cells.Font());
    painter.setPen(colour);
    painter.drawText(place, QString::fromUcs4(&shown, 1));
}

HexPainter::Run& HexPainter::RunOf(const QColor& colour)
{
    const QRgb number = colour.rgba();
    const auto found = std::ranges::find(m_runs, number, &Run::colour);
    return found != m_runs.end() ? *found : m_runs.emplace_back(Run{number, {}, {}});
}

} // namespace tolvar
