#include "platform/hive/hive_composer.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/hive/bin_header.h"
#include "platform/hive/hive_log.h"
#include "platform/hive/hive_walk.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kBin = 64 * 1024; // few headers, few ends that fit nothing
constexpr std::uint32_t kLeastMinor = 3;  // older ones are read alone

} // namespace

HiveComposer::HiveComposer(const Hive& source, std::u16string rootName, std::function<void(const HiveFault&)> onFault)
    : m_source(source), m_rootName(std::move(rootName)), m_onFault(std::move(onFault)), m_claims(source.Length()),
      m_minor(std::max(source.Base().minor, kLeastMinor))
{}

std::span<std::byte> HiveComposer::Payload(CellOffset cell)
{
    const std::span<std::byte> at = std::span(m_file).subspan(cell.FilePosition());
    return at.subspan(kCellHeader, 0U - LoadLittle<std::uint32_t>(at.data()) - kCellHeader);
}

template <class T>
void HiveComposer::Store(CellOffset cell, Field<T> field, std::type_identity_t<T> value)
{
    tolvar::Store(Payload(cell), field, value);
}

void HiveComposer::StoreBytes(CellOffset cell, std::uint32_t at, std::span<const std::byte> bytes)
{
    std::ranges::copy(bytes, Payload(cell).subspan(at).begin());
}

/// Takes a cell of the source for the one who writes it, and the bytes of it that are written. False, and told, where
/// it was written before, or lies within one that was.
bool HiveComposer::Claim(CellOffset cell, std::uint64_t bytes)
{
    const bool isNew = m_claims.Claim(cell) && bytes <= m_bytesLeft;
    m_bytesLeft -= isNew ? bytes : 0;
    if (!isNew) {
        m_onFault({Breach::kShared, cell});
    }
    return isNew;
}

/// Ends the last bin at the page that its last cell reaches into; what is left there is one free cell.
void HiveComposer::CloseBin()
{
    if (m_file.size() == kBaseBlockSize) {
        return;
    }
    const std::size_t end = RoundUp(m_used, kBinAlignment);
    m_file.resize(end);
    WriteBinHeader(std::span(m_file).subspan(kBaseBlockSize), static_cast<std::uint32_t>(m_binBegin - kBaseBlockSize),
                   static_cast<std::uint32_t>(end - m_binBegin));
    if (end != m_used) {
        tolvar::Store(std::span(m_file).subspan(m_used), Field<std::uint32_t>{0},
                      static_cast<std::uint32_t>(end - m_used));
    }
}

CellOffset HiveComposer::Allocate(std::uint32_t payload)
{
    const std::uint32_t size = CellSize(payload);
    if (m_file.size() == kBaseBlockSize ||
        m_used + size > m_binBegin + std::max<std::size_t>(kBin, m_file.size() - m_binBegin)) {
        CloseBin();
        m_binBegin = m_file.size();
        m_used = m_binBegin + kBinHeaderSize;
    }
    m_file.resize(std::max(m_file.size(), m_used + size));
    const CellOffset cell{static_cast<std::uint32_t>(m_used - kBaseBlockSize)};
    tolvar::Store(std::span(m_file).subspan(m_used), Field<std::uint32_t>{0}, 0U - size);
    m_used += size;
    return cell;
}

CellOffset HiveComposer::ShareSecurity(const KeyNode& node)
{
    Checked<std::span<const std::byte>> descriptor = m_source.SecurityDescriptor(node);
    if (!descriptor || descriptor->empty()) { // a key without one gets that of the hive's root
        m_onFault(descriptor ? HiveFault{Breach::kSecurityMissing, node.offset} : descriptor.error());
        const Checked<KeyNode> root = m_source.Key(m_source.Root());
        descriptor = root ? m_source.SecurityDescriptor(*root) : tl::unexpected(root.error());
    }
    const std::span<const std::byte> bytes = descriptor.value_or(std::span<const std::byte>());
    SecurityRecord& record = m_security[std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size())];
    if (record.references++ == 0) {
        record.cell = Allocate(static_cast<std::uint32_t>(kSecurityFixedSize + bytes.size()));
        m_securityOrder.push_back(record.cell);
        Store(record.cell, security_fields::kSignature, signatures::kSecurity);
        Store(record.cell, security_fields::kLength, static_cast<std::uint32_t>(bytes.size()));
        StoreBytes(record.cell, security_fields::kDescriptor, bytes);
    }
    return record.cell;
}

void HiveComposer::CloseSecurity()
{
    for (const auto& [descriptor, record] : m_security) {
        Store(record.cell, security_fields::kReferences, record.references);
    }
    const std::size_t count = m_securityOrder.size();
    for (std::size_t i = 0; i < count; ++i) {
        Store(m_securityOrder[i], security_fields::kNext, m_securityOrder[(i + 1) % count].value);
        Store(m_securityOrder[i], security_fields::kPrevious, m_securityOrder[(i + count - 1) % count].value);
    }
}

void HiveComposer::Copy(ValueSource& data, std::span<std::byte> to)
{
    if (auto read = data.Read(to); !read && !m_failure) {
        m_failure = std::move(read.error());
    }
}

CellOffset HiveComposer::WriteData(ValueSource data)
{
    const auto size = static_cast<std::uint32_t>(data.Size());
    if (size <= kBigDataSegment || m_minor < kBigDataMinor) {
        const CellOffset cell = Allocate(size);
        Copy(data, Payload(cell).first(size));
        return cell;
    }
    const std::uint32_t count = (size + kBigDataSegment - 1) / kBigDataSegment;
    // Large data does not make the file grow by its own size again.
    const std::size_t wanted = m_file.size() + std::size_t{count} * (CellSize(kBigDataSegmentCell) + 100) + kBin;
    if (wanted > m_file.capacity()) {
        m_file.reserve(wanted);
    }
    const CellOffset head = Allocate(kBigDataHead);
    const CellOffset list = Allocate(4 * count);
    Store(head, big_data_fields::kSignature, signatures::kBigData);
    Store(head, big_data_fields::kCount, static_cast<std::uint16_t>(count));
    Store(head, big_data_fields::kList, list.value);
    for (std::uint32_t i = 0; i < count; ++i) {
        const CellOffset segment = Allocate(kBigDataSegmentCell);
        Copy(data, Payload(segment).first(std::min(kBigDataSegment, size - i * kBigDataSegment)));
        Store(list, OffsetAt(i), segment.value);
    }
    return head;
}

CellOffset HiveComposer::WriteValue(const ValueRecord& value)
{
    const std::u16string name = value.name.ToUtf16();
    const std::vector<std::byte> stored = StoredName(name);
    const CellOffset cell = Allocate(static_cast<std::uint32_t>(kValueFixedSize + stored.size()));
    const bool isTombstone = value.IsTombstone();
    const std::uint32_t width = FitsLatin1(name) && !name.empty() ? kLatin1ValueName : 0U;
    Store(cell, value_fields::kSignature, signatures::kValue);
    Store(cell, value_fields::kNameLength, static_cast<std::uint16_t>(stored.size()));
    Store(cell, value_fields::kDataLength, value.size | (value.size <= kMaxInline && !isTombstone ? kInlineFlag : 0U));
    Store(cell, value_fields::kType, value.type);
    Store(cell, value_fields::kFlags, static_cast<std::uint16_t>(width | (isTombstone ? kTombstone : 0U)));
    StoreBytes(cell, value_fields::kName, stored);
    ValueSource data(m_source, *m_source.Data(value));
    if (isTombstone) {
        Store(cell, value_fields::kData, CellOffset::kNil);
    } else if (value.size <= kMaxInline) {
        Copy(data, Payload(cell).subspan(value_fields::kData.at, value.size));
    } else {
        const CellOffset dataCell = WriteData(data);
        Store(cell, value_fields::kData, dataCell.value);
    }
    return cell;
}

bool HiveComposer::ClaimData(const ValueRecord& value, const DataView& data)
{
    if (!Claim(value.offset, value.name.bytes)) {
        return false;
    }
    if (value.isInline) {
        return true;
    }
    bool isNew = Claim(value.dataCell, value.size) && (!data.IsSegmented() || Claim(data.listCell, 0));
    for (std::uint32_t i = 0; isNew && i < data.segmentCount; ++i) {
        isNew = Claim(data.Segment(i), 0);
    }
    return isNew;
}

/// The values of a key that can be written. All others are told.
std::vector<ValueRecord> HiveComposer::ReadableValues(const KeyNode& node)
{
    std::vector<ValueRecord> readable;
    const Checked<ValueListView> values = m_source.Values(node);
    if (!values) {
        m_onFault(values.error());
        return readable;
    }
    if (values->count == 0 || !Claim(values->cell, 0)) {
        return readable;
    }
    readable.reserve(values->count);
    for (std::uint32_t i = 0; i < values->count; ++i) {
        const Checked<ValueRecord> value = m_source.Value((*values)[i]);
        const Checked<DataView> data = value ? m_source.Data(*value) : tl::unexpected(value.error());
        const Checked<void> pieces = data ? m_source.CheckPieces(*data) : tl::unexpected(data.error());
        if (!pieces) {
            m_onFault(pieces.error());
        } else if (ClaimData(*value, *data)) {
            readable.push_back(*value);
        }
    }
    return readable;
}

void HiveComposer::WriteValues(CellOffset cell, const KeyNode& node)
{
    const std::vector<ValueRecord> values = ReadableValues(node);
    if (values.empty()) {
        return;
    }
    std::uint32_t longestName = 0;
    std::uint32_t longestData = 0;
    std::uint32_t place = 0;
    const CellOffset list = Allocate(static_cast<std::uint32_t>(4 * values.size()));
    for (const ValueRecord& value : values) {
        const CellOffset written = WriteValue(value);
        Store(list, OffsetAt(place++), written.value);
        longestName = std::max(longestName, static_cast<std::uint32_t>(2 * value.name.size()));
        longestData = std::max(longestData, value.size);
    }
    Store(cell, key_fields::kValueCount, place);
    Store(cell, key_fields::kValueList, list.value);
    Store(cell, key_fields::kMaxValueName, longestName);
    Store(cell, key_fields::kMaxValueData, longestData);
}

/// What the lists of a key with so many subkeys are: all of one kind.
ListKind HiveComposer::LeafKindOf(std::size_t subkeys) const
{
    return m_minor >= kFirstHashMinor ? ListKind::kHashes
           : subkeys <= kWrittenLeaf  ? ListKind::kHints
                                      : ListKind::kOffsets;
}

CellOffset HiveComposer::AllocateLists(std::size_t count, std::vector<CellOffset>& leaves)
{
    const std::uint32_t element = LeafKindOf(count) == ListKind::kOffsets ? kPlainElement : kTaggedElement;
    for (std::size_t at = 0; at < count; at += kWrittenLeaf) {
        const auto size = static_cast<std::uint32_t>(std::min<std::size_t>(kWrittenLeaf, count - at));
        leaves.push_back(Allocate(kListHeader + element * size));
    }
    if (leaves.size() == 1) {
        return leaves.front();
    }
    const CellOffset index = Allocate(static_cast<std::uint32_t>(kListHeader + kPlainElement * leaves.size()));
    Store(index, list_fields::kSignature, signatures::kIndex);
    Store(index, list_fields::kCount, static_cast<std::uint16_t>(leaves.size()));
    std::uint32_t place = 0;
    for (const CellOffset leaf : leaves) {
        Store(index, list_fields::Offset(place++, kPlainElement), leaf.value);
    }
    return index;
}

void HiveComposer::FillLeaf(CellOffset leaf, ListKind kind, std::span<const Child> children)
{
    Store(leaf, list_fields::kSignature, SignatureOf(kind));
    Store(leaf, list_fields::kCount, static_cast<std::uint16_t>(children.size()));
    const std::uint32_t element = kind == ListKind::kOffsets ? kPlainElement : kTaggedElement;
    for (std::uint32_t i = 0; i < children.size(); ++i) {
        Store(leaf, list_fields::Offset(i, element), children[i].made.value);
        if (kind != ListKind::kOffsets) {
            Store(leaf, list_fields::Tag(i), TagOf(kind, children[i].name));
        }
    }
}

/// The subkeys of a key that can be written, in order. All others are told.
std::vector<HiveComposer::Child> HiveComposer::ReadableSubkeys(const KeyNode& node)
{
    std::vector<Child> children;
    if (node.subkeyCount != 0 && m_source.Cell(node.subkeyList) && !Claim(node.subkeyList, 0)) {
        return children;
    }
    SubkeyCursor cursor = m_source.Subkeys(node);
    std::uint32_t leaves = 0;
    for (Checked<CellOffset> next = cursor.Next(); !next || !next->IsNil(); next = cursor.Next()) {
        if (next && std::exchange(leaves, cursor.LeavesOpened()) != cursor.LeavesOpened() &&
            cursor.LeafCell() != cursor.ListCell() && !Claim(cursor.LeafCell(), 0)) {
            cursor.SkipLeaf();
            continue;
        }
        const Checked<NameView> name = next ? m_source.KeyName(*next) : tl::unexpected(next.error());
        if (!name) {
            m_onFault(name.error());
        } else if (Claim(*next, name->bytes)) { // a key has one place: a hive that contains itself would never end
            children.push_back({*next, {}, name->ToUtf16()});
        }
    }
    // A damaged hive may have its keys in any order, and a name twice: the first one stays.
    std::ranges::stable_sort(
        children, [](const Child& left, const Child& right) { return CompareNames(left.name, right.name) < 0; });
    const auto isSame = [](const Child& left, const Child& right) { return CompareNames(left.name, right.name) == 0; };
    for (std::size_t i = 1; i < children.size(); ++i) {
        if (isSame(children[i - 1], children[i])) {
            m_onFault({Breach::kListOrder, children[i].source});
        }
    }
    children.erase(std::unique(children.begin(), children.end(), isSame), children.end());
    return children;
}

void HiveComposer::WriteSubkeys(CellOffset cell, const KeyNode& node, unsigned level)
{
    std::vector<Child> children = ReadableSubkeys(node);
    if (children.empty() || level >= kMaxDepth) {
        if (!children.empty()) {
            m_onFault({Breach::kDepth, node.offset});
        }
        return;
    }
    std::vector<CellOffset> leaves;
    const CellOffset list = AllocateLists(children.size(), leaves);
    std::uint32_t longestName = 0;
    std::uint32_t longestClass = 0;
    for (Child& child : children) {
        const KeyNode childNode = *m_source.Key(child.source);
        child.made = WriteKey(childNode, cell, level + 1);
        longestName = std::max(longestName, static_cast<std::uint32_t>(2 * child.name.size()));
        longestClass = std::max<std::uint32_t>(longestClass, childNode.classLength);
    }
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        const std::size_t count = std::min<std::size_t>(kWrittenLeaf, children.size() - i * kWrittenLeaf);
        FillLeaf(leaves[i], LeafKindOf(children.size()), std::span(children).subspan(i * kWrittenLeaf, count));
    }
    Store(cell, key_fields::kSubkeyCount, static_cast<std::uint32_t>(children.size()));
    Store(cell, key_fields::kSubkeyList, list.value);
    Store(cell, key_fields::kMaxName, static_cast<std::uint16_t>(longestName));
    Store(cell, key_fields::kMaxClass, longestClass);
}

void HiveComposer::WriteNode(CellOffset cell, const KeyNode& node, CellOffset parent, std::u16string_view name)
{
    const std::vector<std::byte> stored = StoredName(name);
    const std::uint32_t flags = (node.flags & ~std::uint32_t{key_flags::kOfPlace}) |
                                (parent.IsNil() ? key_flags::kOfRoot : 0U) |
                                (FitsLatin1(name) ? key_flags::kLatin1Name : 0U);
    Store(cell, key_fields::kSignature, signatures::kKey);
    Store(cell, key_fields::kFlags, static_cast<std::uint16_t>(flags));
    Store(cell, key_fields::kLastWrite, node.lastWrite);
    Store(cell, key_fields::kParent, parent.value);
    for (const Field<std::uint32_t> list :
         {key_fields::kSubkeyList, key_fields::kVolatileList, key_fields::kValueList, key_fields::kClass}) {
        Store(cell, list, CellOffset::kNil);
    }
    const CellView source = *m_source.Cell(node.offset);
    for (const Field<std::uint8_t> bits :
         {key_fields::kAccessBits, key_fields::kLayerBits, key_fields::kVirtualization, key_fields::kDebug}) {
        Store(cell, bits, source.Get(bits));
    }
    if (node.Is(key_flags::kPredefinedHandle)) {
        Store(cell, key_fields::kValueCount, source.Get(key_fields::kValueCount)); // the handle
    }
    Store(cell, key_fields::kNameLength, static_cast<std::uint16_t>(stored.size()));
    StoreBytes(cell, key_fields::kName, stored);
}

CellOffset HiveComposer::WriteKey(const KeyNode& node, CellOffset parent, unsigned level)
{
    const std::u16string name = parent.IsNil() && !m_rootName.empty() ? m_rootName : node.name.ToUtf16();
    const CellOffset cell = Allocate(static_cast<std::uint32_t>(kKeyFixedSize + StoredName(name).size()));
    WriteNode(cell, node, parent, name);
    const CellOffset security = ShareSecurity(node);
    Store(cell, key_fields::kSecurity, security.value);
    if (const Checked<NameView> className = m_source.ClassName(node); !className) {
        m_onFault(className.error());
    } else if (!className->empty() && Claim(node.classCell, className->bytes)) {
        const CellOffset classCell = Allocate(className->bytes);
        StoreBytes(classCell, 0, {className->data, className->bytes});
        Store(cell, key_fields::kClass, classCell.value);
        Store(cell, key_fields::kClassLength, className->bytes);
    }
    WriteValues(cell, node);
    WriteSubkeys(cell, node, level);
    return cell;
}

Result<std::vector<std::byte>> HiveComposer::Compose(CellOffset top)
{
    const Checked<KeyNode> node = m_source.Key(top);
    if (!node) {
        return tl::unexpected(m_source.ToError(node.error()));
    }
    try {
        return ComposeFile(*node);
    } catch (const std::bad_alloc&) {
        return Failure(ErrorCode::kNotEnoughMemory, m_source.File().string());
    }
}

Result<std::vector<std::byte>> HiveComposer::ComposeFile(const KeyNode& top)
{
    m_file.assign(kBaseBlockSize, std::byte{0});
    if (top.offset == m_source.Root()) { // which mostly comes out no larger
        m_file.reserve(kBaseBlockSize + m_source.Length());
    }
    m_security.clear();
    m_securityOrder.clear();
    m_claims = CellClaims(m_source.Length());
    m_bytesLeft = m_source.Length();
    m_failure.reset();
    m_claims.Claim(top.offset);
    const CellOffset root = WriteKey(top, {}, 1);
    CloseSecurity();
    CloseBin();
    const std::size_t length = m_file.size() - kBaseBlockSize;
    if (m_failure || length > kMaxLength) {
        return m_failure ? tl::unexpected(*m_failure)
                         : Failure(ErrorCode::kNotEnoughMemory, "a hive of more than two gigabytes");
    }
    const std::span<std::byte> base = std::span(m_file).first(kBaseBlockChecked);
    BeginBaseBlock(base, m_minor, root, m_source.Base().timeStamp);
    if (m_minor >= kFirstLayerMinor) {
        tolvar::Store(base, base_fields::kFlags, m_source.Base().flags & kHasLayers);
    }
    StoreBaseBlock(base, 1, 1, static_cast<std::uint32_t>(length), file_type::kHive);
    return std::move(m_file);
}

} // namespace tolvar
