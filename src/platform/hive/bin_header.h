#pragma once

#include <cstring>
#include <span>

#include "platform/hive/base_block.h"
#include "platform/hive/breach.h"
#include "platform/hive/cell.h"

namespace tolvar {

// The header of a hive bin (hive-format.md, chapter 3). Places count from the start of the hive bins data.

inline constexpr std::uint32_t kBinHeaderSize = 32;
inline constexpr std::uint32_t kBinSignature = 0x6E696268; ///< "hbin"

/// What the header of the bin at `at` says of its size. There must be room for a header.
[[nodiscard]] inline std::uint32_t BinSize(std::span<const std::byte> bins, std::uint32_t at) noexcept
{
    return LoadLittle<std::uint32_t>(bins.data() + at + 8);
}

/// What is wrong with the bin at `at`; kNone if it is one.
[[nodiscard]] inline Breach BinBreach(std::span<const std::byte> bins, std::uint32_t at) noexcept
{
    const std::size_t rest = bins.size() - at;
    if (rest < kBinAlignment) {
        return Breach::kBinSize;
    }
    if (LoadLittle<std::uint32_t>(bins.data() + at) != kBinSignature) {
        return Breach::kBinSignature;
    }
    if (LoadLittle<std::uint32_t>(bins.data() + at + 4) != at) {
        return Breach::kBinOffset;
    }
    const std::uint32_t size = BinSize(bins, at);
    return size == 0 || size % kBinAlignment != 0 || size > rest ? Breach::kBinSize : Breach::kNone;
}

inline void WriteBinHeader(std::span<std::byte> bins, std::uint32_t at, std::uint32_t size) noexcept
{
    for (const auto& [field, value] : {std::pair{0U, kBinSignature}, {4U, at}, {8U, size}}) {
        std::memcpy(bins.data() + at + field, &value, sizeof value);
    }
}

} // namespace tolvar
