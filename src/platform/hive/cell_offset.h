#pragma once

#include <compare>
#include <cstdint>

namespace tolvar {

/// Place of a cell: bytes from the start of the hive bins data, which begins at byte 4096 of the file.
struct CellOffset {
    static constexpr std::uint32_t kNil = 0xFFFFFFFF; ///< points nowhere

    std::uint32_t value = kNil;

    [[nodiscard]] constexpr bool IsNil() const noexcept { return value == kNil; }
    [[nodiscard]] constexpr std::uint64_t FilePosition() const noexcept { return std::uint64_t{value} + 4096; }
    constexpr auto operator<=>(const CellOffset&) const noexcept = default;
};

} // namespace tolvar
