#pragma once

#include <cstdint>

#include "hexctrl/hex_data.h"

namespace tolvar {

/// Where the rows of the data stand in a window that is measured in character cells, and what lies under a cell.
///
/// With d digits of address and n bytes in a row, a row has: the address at 0, byte k as two digits at d + 2 + 3k, and
/// as a character at d + 3n + 3 + k.
class HexView {
public:
    static constexpr int kEmptyAddressDigits = 10;

    explicit HexView(const CHexData& data) : m_data(data) {}

    /// Rows hold a multiple of this many bytes where the window has room for that many; 1 fills the window.
    void SetRowStep(int bytes) { m_nRowStep = bytes; }

    /// Fits the rows into a window of this many cells, keeping the last byte in view in sight. A window too narrow for
    /// two bytes in a row leaves the rows as they are.
    void Layout(int columns, int rows);
    /// The same after the data has changed.
    void Layout() { Layout(m_nColumns, m_nRowsInView); }
    void ScrollToStart() { m_nTopRow = 0; }

    [[nodiscard]] int AddressDigits() const { return m_nAddressDigits; }
    [[nodiscard]] int BytesPerRow() const { return m_nBytesPerRow; }
    [[nodiscard]] int RowLength() const { return m_nAddressDigits + 4 * m_nBytesPerRow + 4; } ///< characters
    [[nodiscard]] int HexColumn(int byte) const { return m_nAddressDigits + 2 + 3 * byte; }
    [[nodiscard]] int TextColumn(int byte) const { return m_nAddressDigits + 3 * m_nBytesPerRow + 3 + byte; }
    [[nodiscard]] int RowsInView() const { return m_nRowsInView; }
    [[nodiscard]] std::uint32_t BytesInView() const
    {
        return static_cast<std::uint32_t>(m_nRowsInView * m_nBytesPerRow);
    }
    /// Rows of the data, with one for the append position.
    [[nodiscard]] std::int64_t RowCount() const { return m_data.Size() / m_nBytesPerRow + 1; }
    [[nodiscard]] std::int64_t LastTopRow() const; ///< the view's last page begins here
    [[nodiscard]] std::int64_t TopRow() const { return m_nTopRow; }
    [[nodiscard]] std::int64_t TopOffset() const { return m_nTopRow * m_nBytesPerRow; }
    [[nodiscard]] std::int64_t RowOf(std::int64_t offset) const { return offset / m_nBytesPerRow; }

    /// Each returns whether the view has moved. No row lies outside 0 to LastTopRow.
    bool ScrollTo(std::int64_t row);
    bool ScrollBy(std::int64_t rows) { return ScrollTo(m_nTopRow + rows); }
    bool Show(std::int64_t offset); ///< as little as brings the offset's row into view

    /// What lies under a cell of the window; `offset` may lie after the data.
    struct Hit {
        HexPane pane = HexPane::kAddress;
        std::int64_t offset = 0;
        HexZone zone = HexZone::kNone; ///< kNone on the blank between two bytes, and in the address column
    };
    [[nodiscard]] Hit At(int column, int row) const;

private:
    const CHexData& m_data;
    int m_nColumns = 0;
    int m_nRowsInView = 1;
    int m_nRowStep = 1;
    int m_nBytesPerRow = 16;
    int m_nAddressDigits = kEmptyAddressDigits;
    std::int64_t m_nTopRow = 0;
};

/// Digits of the address column for addresses up to `last`: 4 to 16.
[[nodiscard]] int HexAddressDigits(std::uint64_t last);

} // namespace tolvar
