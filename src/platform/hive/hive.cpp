#include "platform/hive/hive.h"

#include <algorithm>

#include <fmt/format.h>

namespace tolvar {

namespace {

NameView KeyNameIn(const CellView& cell) noexcept
{
    NameView name;
    name.data = cell.data + key_fields::kName;
    name.bytes = cell.Get(key_fields::kNameLength);
    name.isLatin1 = (cell.Get(key_fields::kFlags) & key_flags::kLatin1Name) != 0;
    return name;
}

/// What keeps a cell from being a key: all that every use of a key needs checked.
Breach KeyBreach(const Hive& hive, const CellView& cell) noexcept
{
    if (cell.size < kKeyFixedSize) {
        return Breach::kCellTooSmall;
    }
    if (cell.Get(key_fields::kSignature) != signatures::kKey) {
        return Breach::kKeySignature;
    }
    const NameView name = KeyNameIn(cell);
    if (name.bytes > cell.size - kKeyFixedSize) {
        return Breach::kKeyNameLength;
    }
    if (hive.IsUnreadable({cell.data, kKeyFixedSize + name.bytes})) [[unlikely]] {
        return Breach::kMediumFailed;
    }
    return name.empty() || name.size() > kMaxKeyNameUnits ? Breach::kKeyNameLength : Breach::kNone;
}

} // namespace

Result<Hive> Hive::Open(const std::filesystem::path& file)
{
    Result<MappedFile> map = MappedFile::Open(file);
    return map ? FromMap(*std::move(map), file) : tl::unexpected(std::move(map.error()));
}

Result<Hive> Hive::FromMap(MappedFile map, const std::filesystem::path& file)
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

void Hive::Shrink(std::uint32_t length) noexcept
{
    static_cast<void>(m_map.Resize(kBaseBlockSize + length)); // less is always to be had
    m_bytes = m_map.Bytes();
    m_length = length;
    m_base.length = length;
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
    if (m_bytes.size() < 4 || Load(m_bytes, base_fields::kSignature) != signatures::kHive) {
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
            base_fields::kChecksum.at);
    }
    if (m_base.major != kMajor || m_base.minor < kFirstMinor || m_base.minor > kLastMinor) {
        return fail(ErrorCode::kRevisionMismatch,
                    fmt::format("hives of version {}.{} can't be read, only 1.2 to 1.6", m_base.major, m_base.minor),
                    base_fields::kMajor.at);
    }
    if (m_base.type != file_type::kHive) {
        return fail(ErrorCode::kNotRegistryFile, "this is a transaction log, not the hive itself",
                    base_fields::kType.at);
    }
    if (m_base.format != kMemoryFormat) {
        return fail(ErrorCode::kRegistryCorrupt, "the base block names an unknown file format",
                    base_fields::kFormat.at);
    }
    if (m_base.length == 0 || m_base.length % kBinAlignment != 0 || m_base.length > kMaxLength) {
        return fail(ErrorCode::kRegistryCorrupt, "the base block has a length that can't be", base_fields::kLength.at);
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

void Hive::TouchPages(std::span<const std::byte> bytes) const noexcept
{
    const std::byte* const end = bytes.data() + bytes.size();
    for (const std::byte* at = bytes.data(); at < end;) {
        static_cast<void>(*static_cast<const volatile std::byte*>(at));
        at += kBinAlignment - reinterpret_cast<std::uintptr_t>(at) % kBinAlignment; // a page, or a part of one
    }
}

Checked<CellView> Hive::CheckedCell(CellOffset offset) const noexcept
{
    if (offset.value % kCellAlignment != 0 || offset.value > m_length - kLeastCell) {
        return Fault(Breach::kOffsetOutside, offset);
    }
    const std::byte* at = m_bins + offset.value;
    const auto stored = LoadLittle<std::int32_t>(at);
    if (MediumFailed({at, 4})) {
        return Fault(Breach::kMediumFailed, offset);
    }
    if (stored >= 0) {
        return Fault(stored == 0 ? Breach::kCellSize : Breach::kCellFree, offset);
    }
    const std::uint32_t size = 0U - static_cast<std::uint32_t>(stored);
    if (size % kCellAlignment != 0 || size > m_length - offset.value) {
        return Fault(Breach::kCellSize, offset);
    }
    if (MediumFailed({at, size})) {
        return Fault(Breach::kMediumFailed, offset);
    }
    return CellView{at + kCellHeader, size - kCellHeader};
}

KeyNode::KeyNode(const CellView& cell, CellOffset at) noexcept
    : offset(at), flags(cell.Get(key_fields::kFlags)), accessBits(cell.Get(key_fields::kAccessBits)),
      layerBits(cell.Get(key_fields::kLayerBits)), virtualizationFlags(cell.Get(key_fields::kVirtualization)),
      lastWrite(cell.Get(key_fields::kLastWrite)), parent(cell.Offset(key_fields::kParent)),
      subkeyCount(cell.Get(key_fields::kSubkeyCount)), subkeyList(cell.Offset(key_fields::kSubkeyList)),
      valueCount(Is(key_flags::kPredefinedHandle) ? 0 : cell.Get(key_fields::kValueCount)),
      valueList(cell.Offset(key_fields::kValueList)), security(cell.Offset(key_fields::kSecurity)),
      classCell(cell.Offset(key_fields::kClass)), classLength(cell.Get(key_fields::kClassLength)),
      maxNameLength(cell.Get(key_fields::kMaxName)), maxClassLength(cell.Get(key_fields::kMaxClass)),
      maxValueNameLength(cell.Get(key_fields::kMaxValueName)), maxValueDataLength(cell.Get(key_fields::kMaxValueData)),
      name(KeyNameIn(cell))
{}

ValueRecord::ValueRecord(const CellView& cell, CellOffset at) noexcept
    : offset(at), type(cell.Get(value_fields::kType)), size(cell.Get(value_fields::kDataLength) & ~kInlineFlag),
      isInline(size == 0 || size != cell.Get(value_fields::kDataLength)), dataCell(cell.Offset(value_fields::kData)),
      flags(cell.Get(value_fields::kFlags)),
      inlineData(cell.data + value_fields::kData.at), name{cell.data + value_fields::kName,
                                                           cell.Get(value_fields::kNameLength),
                                                           (flags & kLatin1ValueName) != 0}
{}

Checked<NameView> Hive::KeyName(CellOffset offset) const noexcept
{
    const Checked<CellView> cell = Cell(offset);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    if (const Breach breach = KeyBreach(*this, *cell); breach != Breach::kNone) {
        return Fault(breach, offset);
    }
    return KeyNameIn(*cell);
}

Checked<KeyNode> Hive::Key(CellOffset offset) const noexcept
{
    const Checked<CellView> cell = Cell(offset);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    if (const Breach breach = KeyBreach(*this, *cell); breach != Breach::kNone) {
        return Fault(breach, offset);
    }
    return Checked<KeyNode>(tl::in_place, *cell, offset);
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
    if (cell->Get(value_fields::kSignature) != signatures::kValue) {
        return Fault(Breach::kValueSignature, offset);
    }
    const std::uint16_t nameBytes = cell->Get(value_fields::kNameLength);
    if (nameBytes > cell->size - kValueFixedSize) {
        return Fault(Breach::kValueNameLength, offset);
    }
    if (IsUnreadable({cell->data, kValueFixedSize + nameBytes})) [[unlikely]] {
        return Fault(Breach::kMediumFailed, offset);
    }
    const std::uint32_t length = cell->Get(value_fields::kDataLength);
    if ((length & kInlineFlag) != 0 && (length & ~kInlineFlag) > kMaxInline) {
        return Fault(Breach::kValueInline, offset);
    }
    return Checked<ValueRecord>(tl::in_place, *cell, offset);
}

Checked<DataView> Hive::LargeData(const ValueRecord& value) const noexcept
{
    const Checked<CellView> cell = Cell(value.dataCell);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    const bool isBig = m_base.minor >= kBigDataMinor && cell->size >= kBigDataHead &&
                       cell->Get(big_data_fields::kSignature) == signatures::kBigData;
    if (!isBig) {
        if (value.size > cell->size) {
            return Fault(Breach::kValueDataSize, value.dataCell);
        }
        return Checked<DataView>(tl::in_place, std::span(cell->data, value.size));
    }
    DataView data;
    data.size = value.size;
    data.segmentCount = cell->Get(big_data_fields::kCount);
    data.listCell = cell->Offset(big_data_fields::kList);
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

Checked<std::span<const std::byte>> Hive::NextSegment(DataView& data) const noexcept
{
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
    if (cell->Get(security_fields::kSignature) != signatures::kSecurity) {
        return Fault(Breach::kSecuritySignature, key.security);
    }
    const std::uint32_t length = cell->Get(security_fields::kLength);
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
