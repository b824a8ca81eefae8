#pragma once

#include <cstdint>

#include "platform/hive/cell.h"
#include "platform/hive/cell_offset.h"
#include "platform/hive/name_view.h"

namespace tolvar {

/// The fields of a key, read once and checked. A value type: copying it is cheap, and its name points into the map.
struct KeyNode {
    KeyNode() = default;

    /// The key in a cell that was checked to hold one.
    KeyNode(const CellView& cell, CellOffset at) noexcept;

    CellOffset offset;
    std::uint16_t flags = 0;
    std::uint8_t accessBits = 0;
    std::uint8_t layerBits = 0;
    std::uint8_t virtualizationFlags = 0; ///< low nibble user flags, high nibble virtualization
    std::uint64_t lastWrite = 0;          ///< 100 ns since 1601-01-01 UTC
    CellOffset parent;
    std::uint32_t subkeyCount = 0; ///< as the key claims; the lists have the last word
    CellOffset subkeyList;
    std::uint32_t valueCount = 0; ///< 0 for a predefined handle
    CellOffset valueList;
    CellOffset security;
    CellOffset classCell;
    std::uint16_t classLength = 0;   ///< bytes
    std::uint32_t maxNameLength = 0; ///< bytes of UTF-16, as the key claims, like the next three
    std::uint32_t maxClassLength = 0;
    std::uint32_t maxValueNameLength = 0;
    std::uint32_t maxValueDataLength = 0;
    NameView name;

    [[nodiscard]] bool Is(std::uint16_t flag) const noexcept { return (flags & flag) != 0; }
};

} // namespace tolvar
