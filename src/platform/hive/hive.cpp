#include "platform/hive/hive.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/hive/signature.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kKeyFixedSize = 76;
constexpr std::uint32_t kValueFixedSize = 20;
constexpr std::uint32_t kSecurityFixedSize = 20;
constexpr std::uint32_t kInlineFlag = 0x80000000;
constexpr std::size_t kMaxKeyNameUnits = 256;    // one more than writers may use
constexpr std::uint32_t kBigDataSegment = 16344; // bytes that each segment but the last one carries
constexpr std::uint32_t kBigDataMinor = 4;       // the first version with big data records

/// The cell of a key, with all that every use of it needs checked, and its name. Inlined by order: without it a walk
/// takes twice the time.
[[gnu::always_inline]] inline Checked<CellView> KeyCell(const Hive& hive, CellOffset offset, NameView& name) noexcept
{
    const Checked<CellView> cell = hive.Cell(offset);
    if (!cell) {
        return cell;
    }
    if (cell->size < kKeyFixedSize) {
        return Fault(Breach::kCellTooSmall, offset);
    }
    if (cell->Field<std::uint16_t>(0) != Signature('n', 'k')) {
        return Fault(Breach::kKeySignature, offset);
    }
    name.bytes = cell->Field<std::uint16_t>(72);
    name.isLatin1 = (cell->Field<std::uint16_t>(2) & key_flags::kLatin1Name) != 0;
    name.data = cell->data + kKeyFixedSize;
    if (name.bytes > cell->size - kKeyFixedSize) {
        return Fault(Breach::kKeyNameLength, offset);
    }
    if (hive.IsUnreadable({cell->data, kKeyFixedSize + name.bytes})) [[unlikely]] {
        return Fault(Breach::kMediumFailed, offset);
    }
    if (name.empty() || name.size() > kMaxKeyNameUnits) {
        return Fault(Breach::kKeyNameLength, offset);
    }
    return cell;
}

} // namespace

Result<Hive> Hive::Open(const std::filesystem::path& file)
{
    Result<MappedFile> map = MappedFile::Open(file);
    if (!map) {
        return tl::unexpected(std::move(map.error()));
    }
    Hive hive;
    hive.m_file = file;
    hive.m_map = std::move(*map);
    hive.m_bytes = hive.m_map.Bytes();
    if (auto read = hive.ReadBaseBlock(); !read) {
        return tl::unexpected(std::move(read.error()));
    }
    return hive;
}

Result<Hive> Hive::FromCopy(MappedFile map, const std::filesystem::path& file)
{
    Hive hive;
    hive.m_file = file;
    hive.m_map = std::move(map);
    hive.m_bytes = hive.m_map.Bytes();
    if (auto read = hive.ReadBaseBlock(); !read) {
        return tl::unexpected(std::move(read.error()));
    }
    return hive;
}

bool Hive::Extend(std::uint32_t size)
{
    if (!m_map.Resize(kBaseBlockSize + m_length + size)) {
        return false;
    }
    m_bytes = m_map.Bytes();
    const std::span<std::byte> added = m_map.Writable().subspan(kBaseBlockSize + m_length, size);
    std::ranges::fill(added, std::byte{0}); // what lay in the file behind the hive is none of its business
    m_bins = m_bytes.data() + kBaseBlockSize;
    m_length += size;
    m_base.length = m_length;
    return true;
}

Result<Hive> Hive::FromBytes(std::span<const std::byte> bytes, std::string name)
{
    Hive hive;
    hive.m_file = std::move(name);
    hive.m_bytes = bytes;
    if (auto read = hive.ReadBaseBlock(); !read) {
        return tl::unexpected(std::move(read.error()));
    }
    return hive;
}

Result<void> Hive::ReadBaseBlock()
{
    const std::string open = "open " + m_file.string();
    const auto fail = [&open](ErrorCode code, std::string_view what, std::size_t offset) {
        return Failure(code, fmt::format("{}: {} (at offset {:#x})", open, what, offset));
    };
    if (m_bytes.empty()) {
        return fail(ErrorCode::kNotRegistryFile, "the file is empty", 0);
    }
    if (IsUnreadable(m_bytes.first(std::min(m_bytes.size(), kBaseBlockChecked)))) {
        return fail(ErrorCode::kRegistryIoFailed, "the base block could not be read", 0);
    }
    if (m_bytes.size() < 4 || LoadLittle<std::uint32_t>(m_bytes.data()) != kHiveSignature) {
        return fail(ErrorCode::kNotRegistryFile, "this is no registry hive, it does not begin with \"regf\"", 0);
    }
    if (m_bytes.size() < kBaseBlockSize + kBinAlignment) {
        return fail(ErrorCode::kRegistryCorrupt, "the file is truncated, it ends before its first hive bin",
                    m_bytes.size());
    }
    m_base = BaseBlock::Parse(m_bytes.first(kBaseBlockChecked));
    const std::uint32_t checksum = BaseBlockChecksum(m_bytes.first(kBaseBlockChecked));
    if (checksum != m_base.checksum) {
        return fail(
            ErrorCode::kRegistryCorrupt,
            fmt::format("the base block has a wrong checksum, {:08x} where {:08x} is right", m_base.checksum, checksum),
            508);
    }
    if (m_base.major != 1 || m_base.minor < 2 || m_base.minor > 6) {
        return fail(ErrorCode::kRevisionMismatch,
                    fmt::format("hives of version {}.{} can't be read, only 1.2 to 1.6", m_base.major, m_base.minor),
                    20);
    }
    if (m_base.type != 0) {
        return fail(ErrorCode::kNotRegistryFile, "this is a transaction log, not the hive itself", 28);
    }
    if (m_base.format != 1) {
        return fail(ErrorCode::kRegistryCorrupt, "the base block names an unknown file format", 32);
    }
    if (m_base.length == 0 || m_base.length % kBinAlignment != 0 || m_base.length > kMaxLength) {
        return fail(ErrorCode::kRegistryCorrupt, "the base block has a length that can't be", 40);
    }
    m_bins = m_bytes.data() + kBaseBlockSize;
    const std::uint64_t present = m_bytes.size() - kBaseBlockSize;
    m_length = static_cast<std::uint32_t>(std::min<std::uint64_t>(present & ~std::uint64_t{7}, m_base.length));
    if (m_length < m_base.length) {
        m_damage = Error{ErrorCode::kRegistryCorrupt,
                         fmt::format("{}: the file is truncated, {} of {} bytes are missing (at offset {:#x})", open,
                                     m_base.length - present, m_base.length + kBaseBlockSize, m_bytes.size())};
    }
    return {};
}

bool Hive::IsUnreadable(std::span<const std::byte> bytes) const noexcept
{
    constexpr std::uintptr_t kPage = 4096; // or a part of one, where pages are larger
    const std::byte* const end = bytes.data() + bytes.size();
    for (const std::byte* at = bytes.data(); at < end;) {
        static_cast<void>(*static_cast<const volatile std::byte*>(at));
        at += kPage - reinterpret_cast<std::uintptr_t>(at) % kPage;
    }
    return MediumFailed(bytes);
}

Checked<CellView> Hive::Cell(CellOffset offset) const noexcept
{
    if (offset.value % 8 != 0 || offset.value > m_length - 8) {
        return Fault(Breach::kOffsetOutside, offset);
    }
    const std::byte* at = m_bins + offset.value;
    const auto stored = LoadLittle<std::int32_t>(at);
    const bool hasFailures = m_map.AnyFailed(); // asked once: this is the way to every record
    if (hasFailures && MediumFailed({at, 4})) [[unlikely]] {
        return Fault(Breach::kMediumFailed, offset);
    }
    if (stored >= 0) {
        return Fault(stored == 0 ? Breach::kCellSize : Breach::kCellFree, offset);
    }
    const std::uint32_t size = 0U - static_cast<std::uint32_t>(stored);
    if (size % 8 != 0 || size > m_length - offset.value) {
        return Fault(Breach::kCellSize, offset);
    }
    if (hasFailures && MediumFailed({at, size})) [[unlikely]] {
        return Fault(Breach::kMediumFailed, offset);
    }
    return CellView{at + 4, size - 4};
}

Checked<NameView> Hive::KeyName(CellOffset offset) const noexcept
{
    NameView name;
    const Checked<CellView> cell = KeyCell(*this, offset, name);
    return cell ? Checked<NameView>(name) : tl::unexpected(cell.error());
}

Checked<KeyNode> Hive::Key(CellOffset offset) const noexcept
{
    KeyNode key;
    const Checked<CellView> cell = KeyCell(*this, offset, key.name);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    key.offset = offset;
    key.flags = cell->Field<std::uint16_t>(2);
    key.lastWrite = cell->Field<std::uint64_t>(4);
    key.accessBits = cell->Field<std::uint8_t>(12);
    key.layerBits = cell->Field<std::uint8_t>(13);
    key.parent = CellOffset{cell->Field<std::uint32_t>(16)};
    key.subkeyCount = cell->Field<std::uint32_t>(20);
    key.subkeyList = CellOffset{cell->Field<std::uint32_t>(28)};
    key.valueCount = key.Is(key_flags::kPredefinedHandle) ? 0 : cell->Field<std::uint32_t>(36);
    key.valueList = CellOffset{cell->Field<std::uint32_t>(40)};
    key.security = CellOffset{cell->Field<std::uint32_t>(44)};
    key.classCell = CellOffset{cell->Field<std::uint32_t>(48)};
    key.maxNameLength = cell->Field<std::uint16_t>(52);
    key.virtualizationFlags = cell->Field<std::uint8_t>(54);
    key.maxClassLength = cell->Field<std::uint32_t>(56);
    key.maxValueNameLength = cell->Field<std::uint32_t>(60);
    key.maxValueDataLength = cell->Field<std::uint32_t>(64);
    key.classLength = cell->Field<std::uint16_t>(74);
    return key;
}

Checked<NameView> Hive::ClassName(const KeyNode& key) const noexcept
{
    NameView name;
    name.isLatin1 = false;
    // Some writers leave 0 or nil behind with a length: there is no class then.
    if (key.classLength < 2 || key.classCell.IsNil() || key.classCell.value == 0) {
        return name;
    }
    const Checked<CellView> cell = Cell(key.classCell);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    if (key.classLength > cell->size) {
        return Fault(Breach::kClassLength, key.classCell);
    }
    name.data = cell->data;
    name.bytes = static_cast<std::uint16_t>(key.classLength & ~1U);
    if (IsUnreadable({name.data, name.bytes})) [[unlikely]] {
        return Fault(Breach::kMediumFailed, key.classCell);
    }
    return name;
}

Checked<ValueListView> Hive::Values(const KeyNode& key) const noexcept
{
    if (key.valueCount == 0) {
        return ValueListView{};
    }
    const Checked<CellView> cell = Cell(key.valueList);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    if (key.valueCount > cell->size / 4) {
        return Fault(Breach::kValueListSize, key.valueList);
    }
    return ValueListView{cell->data, key.valueCount, key.valueList};
}

Checked<ValueRecord> Hive::Value(CellOffset offset) const noexcept
{
    const Checked<CellView> cell = Cell(offset);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    if (cell->size < kValueFixedSize) {
        return Fault(Breach::kCellTooSmall, offset);
    }
    if (cell->Field<std::uint16_t>(0) != Signature('v', 'k')) {
        return Fault(Breach::kValueSignature, offset);
    }
    ValueRecord value;
    value.offset = offset;
    value.name.bytes = cell->Field<std::uint16_t>(2);
    const auto length = cell->Field<std::uint32_t>(4);
    value.dataCell = CellOffset{cell->Field<std::uint32_t>(8)};
    value.type = cell->Field<std::uint32_t>(12);
    value.flags = cell->Field<std::uint16_t>(16);
    value.name.isLatin1 = (value.flags & 1U) != 0;
    value.name.data = cell->data + kValueFixedSize;
    if (value.name.bytes > cell->size - kValueFixedSize) {
        return Fault(Breach::kValueNameLength, offset);
    }
    if (IsUnreadable({cell->data, kValueFixedSize + value.name.bytes})) [[unlikely]] {
        return Fault(Breach::kMediumFailed, offset);
    }
    value.isInline = (length & kInlineFlag) != 0 || length == 0;
    value.size = length & ~kInlineFlag;
    value.inlineData = cell->data + 8;
    if (value.isInline && value.size > 4) {
        return Fault(Breach::kValueInline, offset);
    }
    return value;
}

Checked<DataView> Hive::Data(const ValueRecord& value) const noexcept
{
    DataView data;
    data.size = value.size;
    if (value.isInline) {
        data.flat = {value.inlineData, value.size};
        return data;
    }
    const Checked<CellView> cell = Cell(value.dataCell);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    const bool isBig = value.size > kBigDataSegment && m_base.minor >= kBigDataMinor && cell->size >= 8 &&
                       cell->Field<std::uint16_t>(0) == Signature('d', 'b');
    if (!isBig) {
        if (value.size > cell->size) {
            return Fault(Breach::kValueDataSize, value.dataCell);
        }
        data.flat = {cell->data, value.size};
        return data;
    }
    data.segmentCount = cell->Field<std::uint16_t>(2);
    data.listCell = CellOffset{cell->Field<std::uint32_t>(4)};
    // The whole can't be larger than the hive: a claim of more would have to count some bytes twice.
    if (data.segmentCount != (value.size + kBigDataSegment - 1) / kBigDataSegment || value.size > m_length) {
        return Fault(Breach::kBigDataCount, value.dataCell);
    }
    const Checked<CellView> list = Cell(data.listCell);
    if (!list) {
        return tl::unexpected(list.error());
    }
    if (data.segmentCount > list->size / 4) {
        return Fault(Breach::kBigDataCount, data.listCell);
    }
    data.segments = *list;
    return data;
}

Checked<std::span<const std::byte>> Hive::NextPiece(DataView& data) const noexcept
{
    if (!data.IsSegmented()) {
        const auto piece = data.flatTaken ? std::span<const std::byte>() : data.flat;
        data.flatTaken = true;
        return piece;
    }
    if (data.nextSegment == data.segmentCount) {
        return std::span<const std::byte>();
    }
    const CellOffset segment = data.Segment(data.nextSegment);
    const Checked<CellView> cell = Cell(segment);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    const std::uint32_t rest = data.size - data.nextSegment * kBigDataSegment;
    const std::uint32_t wanted = std::min(rest, kBigDataSegment);
    if (cell->size < wanted) {
        return Fault(Breach::kValueDataSize, segment);
    }
    ++data.nextSegment;
    return cell->Bytes().first(wanted);
}

Checked<void> Hive::CheckPieces(DataView data) const noexcept
{
    while (true) {
        const Checked<std::span<const std::byte>> piece = NextPiece(data);
        if (!piece) {
            return tl::unexpected(piece.error());
        }
        if (piece->empty()) {
            return {};
        }
        if (IsUnreadable(*piece)) {
            const auto at = static_cast<std::uint32_t>(piece->data() - m_bins);
            return Fault(Breach::kMediumFailed, CellOffset{at & ~7U});
        }
    }
}

Checked<std::vector<std::byte>> Hive::ReadData(const ValueRecord& value) const
{
    Checked<DataView> data = Data(value);
    if (!data) {
        return tl::unexpected(data.error());
    }
    std::vector<std::byte> bytes;
    bytes.reserve(data->size);
    while (true) {
        const Checked<std::span<const std::byte>> piece = NextPiece(*data);
        if (!piece) {
            return tl::unexpected(piece.error());
        }
        if (piece->empty()) {
            return bytes;
        }
        bytes.insert(bytes.end(), piece->begin(), piece->end());
        if (MediumFailed(*piece)) {
            return Fault(Breach::kMediumFailed, value.dataCell);
        }
    }
}

Checked<std::span<const std::byte>> Hive::SecurityDescriptor(const KeyNode& key) const noexcept
{
    if (key.security.IsNil()) {
        return std::span<const std::byte>();
    }
    const Checked<CellView> cell = Cell(key.security);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    if (cell->size < kSecurityFixedSize) {
        return Fault(Breach::kCellTooSmall, key.security);
    }
    if (cell->Field<std::uint16_t>(0) != Signature('s', 'k')) {
        return Fault(Breach::kSecuritySignature, key.security);
    }
    const auto length = cell->Field<std::uint32_t>(16);
    if (length > cell->size - kSecurityFixedSize) {
        return Fault(Breach::kSecurityLength, key.security);
    }
    const auto descriptor = cell->Bytes().subspan(kSecurityFixedSize, length);
    if (IsUnreadable(cell->Bytes().first(kSecurityFixedSize + length))) [[unlikely]] {
        return Fault(Breach::kMediumFailed, key.security);
    }
    return descriptor;
}

Error Hive::ToError(const HiveFault& fault) const
{
    const auto code =
        fault.breach == Breach::kMediumFailed ? ErrorCode::kRegistryIoFailed : ErrorCode::kRegistryCorrupt;
    if (fault.at.IsNil()) {
        return {code, fmt::format("{}: {}", m_file.string(), BreachMeaning(fault.breach))};
    }
    return {code, fmt::format("{}: {} (at offset {:#x})", m_file.string(), BreachMeaning(fault.breach),
                              fault.at.FilePosition())};
}

} // namespace tolvar
