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

inline void WriteBinHeader(std::span<std::byte> bins, std::uint32_t at, std::uint32_t size) noexcept
{
    const std::span<std::byte> bin = bins.subspan(at);
    Store(bin, bin_fields::kSignature, signatures::kBin);
    Store(bin, bin_fields::kOffset, at);
    Store(bin, bin_fields::kSize, size);
}

} // namespace tolvar
