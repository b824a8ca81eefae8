#include "platform/hive/base_block.h"

#include "platform/hive/cell.h"

namespace tolvar {

BaseBlock BaseBlock::Parse(std::span<const std::byte> block) noexcept
{
    const std::byte* at = block.data();
    BaseBlock base;
    base.sequence1 = LoadLittle<std::uint32_t>(at + 4);
    base.sequence2 = LoadLittle<std::uint32_t>(at + 8);
    base.timeStamp = LoadLittle<std::uint64_t>(at + 12);
    base.major = LoadLittle<std::uint32_t>(at + 20);
    base.minor = LoadLittle<std::uint32_t>(at + 24);
    base.type = LoadLittle<std::uint32_t>(at + 28);
    base.format = LoadLittle<std::uint32_t>(at + 32);
    base.rootCell = CellOffset{LoadLittle<std::uint32_t>(at + 36)};
    base.length = LoadLittle<std::uint32_t>(at + 40);
    base.flags = LoadLittle<std::uint32_t>(at + 144);
    base.checksum = LoadLittle<std::uint32_t>(at + 508);
    return base;
}

std::uint32_t BaseBlockChecksum(std::span<const std::byte> block) noexcept
{
    std::uint32_t sum = 0;
    for (std::size_t at = 0; at < 508; at += 4) {
        sum ^= LoadLittle<std::uint32_t>(block.data() + at);
    }
    return sum == 0xFFFFFFFF ? 0xFFFFFFFE : sum == 0 ? 1 : sum;
}

} // namespace tolvar
