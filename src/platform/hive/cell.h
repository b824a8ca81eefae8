#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace tolvar {

static_assert(std::endian::native == std::endian::little, "hive fields are read as they lie");

/// Reads a little-endian field. The caller has checked that it lies inside.
template <class T>
[[nodiscard]] inline T LoadLittle(const std::byte* at) noexcept
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

/// The payload of one cell: everything behind its size field.
struct CellView {
    CellView() = default;
    CellView(const std::byte* payload, std::uint32_t payloadSize) noexcept : data(payload), size(payloadSize) {}

    const std::byte* data = nullptr;
    std::uint32_t size = 0;

    /// A field that the caller has checked to lie inside.
    template <class T>
    [[nodiscard]] T Field(std::uint32_t at) const noexcept
    {
        return LoadLittle<T>(data + at);
    }
    [[nodiscard]] std::span<const std::byte> Bytes() const noexcept { return {data, size}; }
};

} // namespace tolvar
