#pragma once

#include <cstdint>

#include "platform/hive/cell.h"
#include "platform/hive/cell_offset.h"
#include "platform/hive/name_view.h"

namespace tolvar {

/// Flags of a key (hive-format.md, 5.1).
namespace key_flags {
inline constexpr std::uint16_t kVolatile = 0x0001;
inline constexpr std::uint16_t kHiveExit = 0x0002;
inline constexpr std::uint16_t kHiveEntry = 0x0004;
inline constexpr std::uint16_t kNoDelete = 0x0008;
inline constexpr std::uint16_t kSymbolicLink = 0x0010;
inline constexpr std::uint16_t kLatin1Name = 0x0020;
inline constexpr std::uint16_t kPredefinedHandle = 0x0040;
} // namespace key_flags

/// Bytes of the smallest cell that holds a key: how many of these a hive's length holds bounds the number of its keys.
inline constexpr std::uint32_t kSmallestKeyCell = 80;

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
