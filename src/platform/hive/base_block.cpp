#include "platform/hive/base_block.h"

namespace tolvar {

BaseBlock BaseBlock::Parse(std::span<const std::byte> block) noexcept
{
    BaseBlock base;
    base.sequence1 = Load(block, base_fields::kSequence1);
    base.sequence2 = Load(block, base_fields::kSequence2);
    base.timeStamp = Load(block, base_fields::kTimeStamp);
    base.major = Load(block, base_fields::kMajor);
    base.minor = Load(block, base_fields::kMinor);
    base.type = Load(block, base_fields::kType);
    base.format = Load(block, base_fields::kFormat);
    base.rootCell = CellOffset{Load(block, base_fields::kRootCell)};
    base.length = Load(block, base_fields::kLength);
    base.flags = Load(block, base_fields::kFlags);
    base.checksum = Load(block, base_fields::kChecksum);
    return base;
}

std::uint32_t BaseBlockChecksum(std::span<const std::byte> block) noexcept
{
    std::uint32_t sum = 0;
    for (std::size_t at = 0; at < base_fields::kChecksum.at; at += 4) {
        sum ^= LoadLittle<std::uint32_t>(block.data() + at);
    }
    return sum == 0xFFFFFFFF ? 0xFFFFFFFE : sum == 0 ? 1 : sum;
}

void BeginBaseBlock(std::span<std::byte> base, std::uint32_t minor, CellOffset root, std::uint64_t timeStamp) noexcept
{
    Store(base, base_fields::kSignature, signatures::kHive);
    Store(base, base_fields::kTimeStamp, timeStamp);
    Store(base, base_fields::kMajor, kMajor);
    Store(base, base_fields::kMinor, minor);
    Store(base, base_fields::kFormat, kMemoryFormat);
    Store(base, base_fields::kRootCell, root.value);
    Store(base, base_fields::kCluster, 1);
}

void StoreBaseBlock(std::span<std::byte> base, std::uint32_t sequence1, std::uint32_t sequence2, std::uint32_t length,
                    std::uint32_t type) noexcept
{
    Store(base, base_fields::kSequence1, sequence1);
    Store(base, base_fields::kSequence2, sequence2);
    Store(base, base_fields::kType, type);
    Store(base, base_fields::kLength, length);
    Store(base, base_fields::kChecksum, BaseBlockChecksum(base));
}

} // namespace tolvar
