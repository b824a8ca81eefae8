#include "platform/hive/scratch_hive.h"

#include <algorithm>

#include "platform/hive/bin_header.h"

namespace tolvar {

namespace {

// Owner Administrators, group SYSTEM; SYSTEM and Administrators may do all, Users read; subkeys inherit that.
constexpr unsigned char kDescriptor[] = {
    1, 0, 4,    0x80, 0x60, 0, 0,   0, 0x70, 0, 0, 0, 0,    0, 0, 0, 0x14, 0, 0, 0,                // header
    2, 0, 0x4C, 0,    3,    0, 0,   0,                                                             // three entries
    0, 2, 0x14, 0,    0x3F, 0, 0xF, 0, 1,    1, 0, 0, 0,    0, 0, 5, 0x12, 0, 0, 0,                // S-1-5-18
    0, 2, 0x18, 0,    0x3F, 0, 0xF, 0, 1,    2, 0, 0, 0,    0, 0, 5, 0x20, 0, 0, 0, 0x20, 2, 0, 0, // -544
    0, 2, 0x18, 0,    0x19, 0, 2,   0, 1,    2, 0, 0, 0,    0, 0, 5, 0x20, 0, 0, 0, 0x21, 2, 0, 0, // -545
    1, 2, 0,    0,    0,    0, 0,   5, 0x20, 0, 0, 0, 0x20, 2, 0, 0,                               // the owner
    1, 1, 0,    0,    0,    0, 0,   5, 0x12, 0, 0, 0,                                              // the group
};

/// Stores the size of a cell, below 0 for an allocated one, and hands out its payload.
std::span<std::byte> MakeCell(std::span<std::byte> bins, std::uint32_t cell, std::uint32_t size, bool isFree)
{
    const auto stored = static_cast<std::int32_t>(size);
    Store(bins.subspan(cell), Field<std::int32_t>{0}, isFree ? stored : -stored);
    return bins.subspan(cell + kCellHeader, size - kCellHeader);
}

} // namespace

std::vector<std::byte> EmptyHive(std::u16string_view rootName, std::uint64_t time, std::uint32_t minor)
{
    constexpr CellOffset kRoot{kBinHeaderSize};
    const std::vector<std::byte> name = StoredName(rootName);
    const std::uint32_t keySize = CellSize(static_cast<std::uint32_t>(kKeyFixedSize + name.size()));
    const std::uint32_t security = kRoot.value + keySize;
    const std::uint32_t securitySize = CellSize(kSecurityFixedSize + std::uint32_t{sizeof kDescriptor});
    const std::uint32_t rest = security + securitySize;

    std::vector<std::byte> file(kBaseBlockSize + kBinAlignment);
    const std::span<std::byte> base = std::span(file).first(kBaseBlockChecked);
    BeginBaseBlock(base, minor, kRoot, time);
    StoreBaseBlock(base, 1, 1, kBinAlignment, file_type::kHive);
    const std::span<std::byte> bins = std::span(file).subspan(kBaseBlockSize);
    WriteBinHeader(bins, 0, kBinAlignment);
    Store(bins, bin_fields::kTimeStamp, time);

    const std::span<std::byte> key = MakeCell(bins, kRoot.value, keySize, false);
    const std::uint32_t width = FitsLatin1(rootName) ? key_flags::kLatin1Name : 0U;
    Store(key, key_fields::kSignature, signatures::kKey);
    Store(key, key_fields::kFlags, static_cast<std::uint16_t>(key_flags::kOfRoot | width));
    Store(key, key_fields::kLastWrite, time);
    for (const Field<std::uint32_t> nil : {key_fields::kParent, key_fields::kSubkeyList, key_fields::kVolatileList,
                                           key_fields::kValueList, key_fields::kClass}) {
        Store(key, nil, CellOffset::kNil);
    }
    Store(key, key_fields::kSecurity, security);
    Store(key, key_fields::kNameLength, static_cast<std::uint16_t>(name.size()));
    std::ranges::copy(name, key.begin() + key_fields::kName);

    const std::span<std::byte> record = MakeCell(bins, security, securitySize, false);
    Store(record, security_fields::kSignature, signatures::kSecurity);
    Store(record, security_fields::kNext, security);
    Store(record, security_fields::kPrevious, security);
    Store(record, security_fields::kReferences, 1);
    Store(record, security_fields::kLength, std::uint32_t{sizeof kDescriptor});
    std::ranges::copy(std::as_bytes(std::span(kDescriptor)), record.begin() + security_fields::kDescriptor);
    static_cast<void>(MakeCell(bins, rest, kBinAlignment - rest, true));
    return file;
}

Result<std::unique_ptr<ScratchHive>> ScratchHive::Make(std::span<const std::byte> file, std::size_t room,
                                                       const std::string& name, const Clock& clock)
{
    Result<MappedFile> copy = MappedFile::CopyOf(file, room);
    Result<Hive> hive = copy ? Hive::FromMap(std::move(*copy), name) : tl::unexpected(copy.error());
    if (!hive) {
        return tl::unexpected(hive.error());
    }
    return std::unique_ptr<ScratchHive>(new ScratchHive(std::move(*hive), clock));
}

} // namespace tolvar
