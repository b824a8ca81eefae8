#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/hive/cell_layout.h"
#include "platform/hive/cell_offset.h"

namespace tolvar {

/// The payload of one cell: everything after its size field.
struct CellView {
    CellView() = default;
    CellView(const std::byte* payload, std::uint32_t payloadSize) noexcept : data(payload), size(payloadSize) {}

    const std::byte* data = nullptr;
    std::uint32_t size = 0;

    /// A field that the caller has checked to lie inside.
    template <class T>
    [[nodiscard]] T Get(Field<T> field) const noexcept
    {
        return LoadLittle<T>(data + field.at);
    }
    [[nodiscard]] CellOffset Offset(Field<std::uint32_t> field) const noexcept { return CellOffset{Get(field)}; }
    [[nodiscard]] std::span<const std::byte> Bytes() const noexcept { return {data, size}; }
};

} // namespace tolvar
