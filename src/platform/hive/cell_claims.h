#pragma once

#include <bit>
#include <cstdint>
#include <vector>

#include "platform/hive/cell_offset.h"

namespace tolvar {

/// Who owns which cell, one bit for each 8 bytes of the hive. A walk that claims every list, key and value before it
/// enters it can't run in circles and takes time in proportion to the file, whatever the file claims of itself.
class CellClaims {
public:
    explicit CellClaims(std::uint32_t length) : m_bits((length / 8U + 63U) / 64U) {}

    /// True for the first claim of a cell. `cell` is a checked offset inside the hive.
    bool Claim(CellOffset cell) noexcept
    {
        std::uint64_t& word = m_bits[cell.value / 512U];
        const std::uint64_t bit = std::uint64_t{1} << ((cell.value / 8U) % 64U);
        const bool isFirst = (word & bit) == 0;
        word |= bit;
        return isFirst;
    }
    [[nodiscard]] bool IsClaimed(CellOffset cell) const noexcept
    {
        return (m_bits[cell.value / 512U] >> ((cell.value / 8U) % 64U) & 1U) != 0;
    }

    /// Hands every claimed cell to `visit`, in order of their places.
    template <class Visit>
    void ForEach(Visit&& visit) const
    {
        for (std::size_t word = 0; word < m_bits.size(); ++word) {
            for (std::uint64_t bits = m_bits[word]; bits != 0; bits &= bits - 1) {
                visit(CellOffset{
                    static_cast<std::uint32_t>(512 * word + 8 * static_cast<unsigned>(std::countr_zero(bits)))});
            }
        }
    }

private:
    std::vector<std::uint64_t> m_bits;
};

} // namespace tolvar
