#pragma once

#include <span>

#include "platform/hive/breach.h"
#include "platform/hive/cell_layout.h"

namespace tolvar {

// The header of a hive bin. Places count from the start of the hive bins data.

/// What the header of the bin at `at` says of its size. There must be room for a header.
[[nodiscard]] inline std::uint32_t BinSize(std::span<const std::byte> bins, std::uint32_t at) noexcept
{
    return Load(bins.subspan(at), bin_fields::kSize);
}

/// What is wrong with the bin at `at`; kNone if it is one.
[[nodiscard]] inline Breach BinBreach(std::span<const std::byte> bins, std::uint32_t at) noexcept
{
    const std::span<const std::byte> bin = bins.subspan(at);
    if (bin.size() < kBinAlignment) {
        return Breach::kBinSize;
    }
    if (Load(bin, bin_fields::kSignature) != signatures::kBin) {
        return Breach::kBinSignature;
    }
    if (Load(bin, bin_fields::kOffset) != at) {
        return Breach::kBinOffset;
    }
    const std::uint32_t size = BinSize(bins, at);
    return size == 0 || size % kBinAlignment != 0 || size > bin.size() ? Breach::kBinSize : Breach::kNone;
}

/// The room that a cell takes, its size field included; 0 where the size is invalid.
struct CellExtent {
    std::uint32_t size = 0;
    bool isFree = false;
};

/// The cell at `at` in a bin that ends at `end`.
[[nodiscard]] inline CellExtent ExtentAt(std::span<const std::byte> bins, std::uint32_t at, std::uint32_t end) noexcept
{
    const auto stored = LoadLittle<std::int32_t>(bins.data() + at);
    const std::uint32_t size =
        stored < 0 ? 0U - static_cast<std::uint32_t>(stored) : static_cast<std::uint32_t>(stored);
    const bool isValid = size >= kLeastCell && size % kCellAlignment == 0 && size <= end - at;
    return isValid ? CellExtent{size, stored > 0} : CellExtent{};
}

inline void WriteBinHeader(std::span<std::byte> bins, std::uint32_t at, std::uint32_t size) noexcept
{
    const std::span<std::byte> bin = bins.subspan(at);
    Store(bin, bin_fields::kSignature, signatures::kBin);
    Store(bin, bin_fields::kOffset, at);
    Store(bin, bin_fields::kSize, size);
}

} // namespace tolvar
