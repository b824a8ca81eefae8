#include "hexctrl/hex_view.h"

#include <algorithm>

namespace tolvar {

int HexAddressDigits(std::uint64_t last)
{
    int digits = 4;
    for (std::uint64_t rest = last >> 16; rest != 0; rest >>= 4) {
        ++digits;
    }
    return digits;
}

void HexView::Layout(int columns, int rows)
{
    m_nColumns = columns;
    m_nAddressDigits = m_data.mode == HexMode::kNoData
                           ? kEmptyAddressDigits
                           : HexAddressDigits(static_cast<std::uint64_t>(m_data.baseAddress) +
                                              static_cast<std::uint64_t>(m_data.Size()));
    int fitting = (columns - m_nAddressDigits - 3) / 4;
    if (fitting >= 2) {
        if (fitting > m_nRowStep) {
            fitting -= fitting % m_nRowStep;
        }
        const std::int64_t behindView = std::min((m_nTopRow + m_nRowsInView) * m_nBytesPerRow, m_data.Size());
        const bool isChanged = fitting != m_nBytesPerRow || rows != m_nRowsInView;
        m_nBytesPerRow = fitting;
        m_nRowsInView = std::max(rows, 1);
        if (m_nTopRow > 0 && isChanged) {
            m_nTopRow = (behindView + fitting - 1) / fitting - m_nRowsInView;
        }
    }
    ScrollTo(m_nTopRow);
}

std::int64_t HexView::LastTopRow() const
{
    return std::max<std::int64_t>(RowCount() - m_nRowsInView, 0);
}

bool HexView::ScrollTo(std::int64_t row)
{
    const std::int64_t old = m_nTopRow;
    m_nTopRow = std::clamp<std::int64_t>(row, 0, LastTopRow());
    return m_nTopRow != old;
}

bool HexView::Show(std::int64_t offset)
{
    const std::int64_t row = RowOf(offset);
    if (row < m_nTopRow) {
        return ScrollTo(row);
    }
    return row >= m_nTopRow + m_nRowsInView && ScrollTo(row - m_nRowsInView + 1);
}

HexView::Hit HexView::At(int column, int row) const
{
    const std::int64_t first = (m_nTopRow + row) * m_nBytesPerRow;
    const int inHex = column - m_nAddressDigits - 2;
    if (inHex < 0) {
        return {HexPane::kAddress, first, HexZone::kNone};
    }
    if (column < m_nAddressDigits + 3 * (m_nBytesPerRow + 1)) {
        constexpr HexZone kZones[] = {HexZone::kHighDigit, HexZone::kLowDigit, HexZone::kNone};
        const int byte = inHex / 3;
        // The column's last cell is the blank after its last byte.
        return byte < m_nBytesPerRow ? Hit{HexPane::kHex, first + byte, kZones[inHex % 3]}
                                     : Hit{HexPane::kHex, first + m_nBytesPerRow - 1, HexZone::kNone};
    }
    return {HexPane::kText, first + std::clamp(column - TextColumn(0), 0, m_nBytesPerRow - 1), HexZone::kBytes};
}

} // namespace tolvar
