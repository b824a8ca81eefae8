#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/hive/cell.h"
#include "platform/hive/cell_layout.h"
#include "platform/hive/cell_offset.h"
#include "platform/hive/name_view.h"

namespace tolvar {

/// The value offsets of one key, as they lie in the hive.
struct ValueListView {
    const std::byte* data = nullptr;
    std::uint32_t count = 0;
    CellOffset cell; ///< of the list; nil where there is none

    [[nodiscard]] CellOffset operator[](std::uint32_t index) const noexcept
    {
        return CellOffset{LoadLittle<std::uint32_t>(data + std::size_t{4} * index)};
    }
};

/// The fields of a value, read once and checked. Its name and its inline data point into the map.
struct ValueRecord {
    ValueRecord() = default;

    /// The value in a cell that was checked to hold one.
    ValueRecord(const CellView& cell, CellOffset at) noexcept;

    /// Whether it hides a value of a layer below, and is none itself.
    [[nodiscard]] bool IsTombstone() const noexcept { return size == 0 && (flags & kTombstone) != 0; }

    CellOffset offset;
    std::uint32_t type = 0;
    std::uint32_t size = 0; ///< bytes of data
    bool isInline = true;   ///< up to 4 bytes of data lie in the record itself
    CellOffset dataCell;    ///< where the data lies otherwise
    std::uint16_t flags = 0;
    const std::byte* inlineData = nullptr;
    NameView name;
};

/// A value, and where it stands in its key's list.
struct PlacedValue {
    std::uint32_t place = 0;
    ValueRecord record;
};

/// Where a value's data lies. Small and flat data is one span; big data comes in segments, through Hive::NextPiece.
struct DataView {
    DataView() = default;
    explicit DataView(std::span<const std::byte> bytes) noexcept
        : flat(bytes), size(static_cast<std::uint32_t>(bytes.size()))
    {}

    std::span<const std::byte> flat; ///< all the data, unless IsSegmented
    CellView segments;               ///< the list of segment offsets
    std::uint32_t size = 0;          ///< bytes in all
    std::uint32_t segmentCount = 0;  ///< 0 for flat data
    std::uint32_t nextSegment = 0;
    CellOffset listCell; ///< the cell of the segment list
    bool flatTaken = false;

    [[nodiscard]] bool IsSegmented() const noexcept { return segmentCount != 0; }
    [[nodiscard]] CellOffset Segment(std::uint32_t index) const noexcept { return segments.Offset(OffsetAt(index)); }
};

} // namespace tolvar
