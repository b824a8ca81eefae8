#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/hive/cell_layout.h"
#include "platform/hive/cell_offset.h"

namespace tolvar {

/// The fields of the base block that reading needs (docs/hive-format.md, Base block).
struct BaseBlock {
    std::uint32_t sequence1 = 0;
    std::uint32_t sequence2 = 0;
    std::uint64_t timeStamp = 0;
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t type = 0;
    std::uint32_t format = 0;
    CellOffset rootCell;
    std::uint32_t length = 0; ///< bytes of hive bins data
    std::uint32_t flags = 0;
    std::uint32_t checksum = 0;

    /// Takes the fields apart. `block` holds at least kBaseBlockChecked bytes.
    [[nodiscard]] static BaseBlock Parse(std::span<const std::byte> block) noexcept;
};

/// The checksum over the first 508 bytes of `block`: their words by exclusive or, with 0 and 0xFFFFFFFF moved to 1 and
/// 0xFFFFFFFE (docs/hive-format.md, Checksum).
[[nodiscard]] std::uint32_t BaseBlockChecksum(std::span<const std::byte> block) noexcept;

/// Stores what a new base block of a hive begins with, but for what StoreBaseBlock does.
void BeginBaseBlock(std::span<std::byte> base, std::uint32_t minor, CellOffset root, std::uint64_t timeStamp) noexcept;

/// Stores sequence numbers, length and file type into the 512 bytes of a base block, and its checksum.
void StoreBaseBlock(std::span<std::byte> base, std::uint32_t sequence1, std::uint32_t sequence2, std::uint32_t length,
                    std::uint32_t type) noexcept;

} // namespace tolvar
