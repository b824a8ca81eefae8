#include "platform/hive/hive_composer.h"

#include <algorithm>
#include <cstring>

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

template <class T>
void HiveComposer::Store(CellOffset cell, Field<T> field, std::type_identity_t<T> value)
{
    std::memcpy(m_bins.data() + cell.value + kCellHeader + field.at, &value, sizeof value);
}

void HiveComposer::StoreBytes(CellOffset cell, std::uint32_t at, std::span<const std::byte> bytes)
{
    std::ranges::copy(bytes, m_bins.begin() + cell.value + kCellHeader + at);
}

/// Ends the last bin at the page that its last cell reaches into; what is left there is one free cell.
void HiveComposer::CloseBin()
{
    if (m_bins.empty()) {
        return;
    }
    const std::size_t end = RoundUp(m_used, kBinAlignment);
    m_bins.resize(end);
    WriteBinHeader(m_bins, static_cast<std::uint32_t>(m_binBegin), static_cast<std::uint32_t>(end - m_binBegin));
    if (end != m_used) {
        const auto rest = static_cast<std::uint32_t>(end - m_used);
        std::memcpy(m_bins.data() + m_used, &rest, sizeof rest);
    }
}

CellOffset HiveComposer::Allocate(std::uint32_t payload)
{
    const std::uint32_t size = CellSize(payload);
    if (m_bins.empty() || m_used + size > m_binBegin + std::max<std::size_t>(kBin, m_bins.size() - m_binBegin)) {
        CloseBin();
        m_binBegin = m_bins.size();
        m_used = m_binBegin + kBinHeaderSize;
    }
    m_bins.resize(std::max(m_bins.size(), m_used + size));
    const CellOffset cell{static_cast<std::uint32_t>(m_used)};
    const auto stored = -static_cast<std::int32_t>(size);
    std::memcpy(m_bins.data() + cell.value, &stored, sizeof stored);
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

CellOffset HiveComposer::WriteData(std::span<const std::byte> data)
{
    const auto size = static_cast<std::uint32_t>(data.size());
    if (size <= kBigDataSegment || m_minor < kBigDataMinor) {
        const CellOffset cell = Allocate(size);
        StoreBytes(cell, 0, data);
        return cell;
    }
    const std::uint32_t count = (size + kBigDataSegment - 1) / kBigDataSegment;
    const CellOffset head = Allocate(kBigDataHead);
    const CellOffset list = Allocate(4 * count);
    Store(head, big_data_fields::kSignature, signatures::kBigData);
    Store(head, big_data_fields::kCount, static_cast<std::uint16_t>(count));
    Store(head, big_data_fields::kList, list.value);
    for (std::uint32_t i = 0; i < count; ++i) {
        const CellOffset segment = Allocate(kBigDataSegmentCell);
        StoreBytes(
            segment, 0,
            data.subspan(std::size_t{i} * kBigDataSegment, std::min(kBigDataSegment, size - i * kBigDataSegment)));
        Store(list, OffsetAt(i), segment.value);
    }
    return head;
}

CellOffset HiveComposer::WriteValue(const ValueRecord& value, std::span<const std::byte> data)
{
    const std::u16string name = value.name.ToUtf16();
    const std::vector<std::byte> stored = StoredName(name);
    const auto size = static_cast<std::uint32_t>(data.size());
    const CellOffset cell = Allocate(static_cast<std::uint32_t>(kValueFixedSize + stored.size()));
    Store(cell, value_fields::kSignature, signatures::kValue);
    Store(cell, value_fields::kNameLength, static_cast<std::uint16_t>(stored.size()));
    Store(cell, value_fields::kDataLength, size | (size <= kMaxInline ? kInlineFlag : 0U));
    Store(cell, value_fields::kType, value.type);
    Store(cell, value_fields::kFlags, FitsLatin1(name) && !name.empty() ? kLatin1ValueName : 0);
    StoreBytes(cell, value_fields::kName, stored);
    if (size <= kMaxInline) {
        StoreBytes(cell, value_fields::kData.at, data);
    } else {
        const CellOffset dataCell = WriteData(data);
        Store(cell, value_fields::kData, dataCell.value);
    }
    return cell;
}

void HiveComposer::WriteValues(CellOffset cell, const KeyNode& node)
{
    const Checked<ValueListView> values = m_source.Values(node);
    if (!values) {
        m_onFault(values.error());
        return;
    }
    std::vector<std::pair<ValueRecord, std::vector<std::byte>>> readable;
    std::uint32_t longestName = 0;
    std::uint32_t longestData = 0;
    for (std::uint32_t i = 0; i < values->count; ++i) {
        const Checked<ValueRecord> value = m_source.Value((*values)[i]);
        Checked<std::vector<std::byte>> data = value ? m_source.ReadData(*value) : tl::unexpected(value.error());
        if (!data) {
            m_onFault(data.error());
            continue;
        }
        longestName = std::max(longestName, static_cast<std::uint32_t>(2 * value->name.size()));
        longestData = std::max(longestData, value->size);
        readable.emplace_back(*value, *std::move(data));
    }
    if (readable.empty()) {
        return;
    }
    const CellOffset list = Allocate(static_cast<std::uint32_t>(4 * readable.size()));
    for (std::size_t i = 0; i < readable.size(); ++i) {
        const CellOffset value = WriteValue(readable[i].first, readable[i].second);
        Store(list, OffsetAt(static_cast<std::uint32_t>(i)), value.value);
    }
    Store(cell, key_fields::kValueCount, static_cast<std::uint32_t>(readable.size()));
    Store(cell, key_fields::kValueList, list.value);
    Store(cell, key_fields::kMaxValueName, longestName);
    Store(cell, key_fields::kMaxValueData, longestData);
}

CellOffset HiveComposer::AllocateLists(std::size_t count, std::vector<CellOffset>& leaves)
{
    const bool isTagged = m_minor >= kFirstHashMinor || count <= kWrittenLeaf; // an index is of plain lists or hashes
    const std::uint32_t element = isTagged ? kTaggedElement : kPlainElement;
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

void HiveComposer::FillLeaf(CellOffset leaf, std::span<const Child> children)
{
    const bool hasHashes = m_minor >= kFirstHashMinor;
    const std::uint32_t room = 0U - LoadLittle<std::uint32_t>(m_bins.data() + leaf.value) - kCellHeader;
    const bool hasTags = hasHashes || room >= kListHeader + kTaggedElement * children.size();
    Store(leaf, list_fields::kSignature,
          hasHashes ? signatures::kHashList
          : hasTags ? signatures::kHintList
                    : signatures::kOffsetList);
    Store(leaf, list_fields::kCount, static_cast<std::uint16_t>(children.size()));
    const std::uint32_t element = hasTags ? kTaggedElement : kPlainElement;
    for (std::uint32_t i = 0; i < children.size(); ++i) {
        Store(leaf, list_fields::Offset(i, element), children[i].made.value);
        if (hasTags) {
            Store(leaf, list_fields::Tag(i), hasHashes ? NameHash(children[i].name) : NameHint(children[i].name));
        }
    }
}

void HiveComposer::WriteSubkeys(CellOffset cell, const KeyNode& node, unsigned level)
{
    std::vector<Child> children;
    SubkeyCursor cursor = m_source.Subkeys(node);
    for (Checked<CellOffset> next = cursor.Next(); !next || !next->IsNil(); next = cursor.Next()) {
        const Checked<NameView> name = next ? m_source.KeyName(*next) : tl::unexpected(next.error());
        if (name && !m_claims.Claim(*next)) { // a key has one place: a hive that contains itself would never end
            m_onFault({Breach::kShared, *next});
        } else if (name) {
            children.push_back({*next, {}, name->ToUtf16()});
        } else {
            m_onFault(name.error());
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
        FillLeaf(leaves[i],
                 std::span(children).subspan(i * kWrittenLeaf,
                                             std::min<std::size_t>(kWrittenLeaf, children.size() - i * kWrittenLeaf)));
    }
    Store(cell, key_fields::kSubkeyCount, static_cast<std::uint32_t>(children.size()));
    Store(cell, key_fields::kSubkeyList, list.value);
    Store(cell, key_fields::kMaxName, static_cast<std::uint16_t>(longestName));
    Store(cell, key_fields::kMaxClass, longestClass);
}

void HiveComposer::WriteNode(CellOffset cell, const KeyNode& node, CellOffset parent, std::u16string_view name)
{
    constexpr std::uint16_t kPlace = key_flags::kVolatile | key_flags::kHiveExit | key_flags::kHiveEntry |
                                     key_flags::kLatin1Name | key_flags::kPredefinedHandle;
    constexpr std::uint16_t kRoot = key_flags::kHiveEntry | key_flags::kNoDelete;
    const std::vector<std::byte> stored = StoredName(name);
    const std::uint32_t flags = (node.flags & ~std::uint32_t{kPlace}) | (parent.IsNil() ? kRoot : 0U) |
                                (FitsLatin1(name) ? key_flags::kLatin1Name : 0U);
    Store(cell, key_fields::kSignature, signatures::kKey);
    Store(cell, key_fields::kFlags, static_cast<std::uint16_t>(flags));
    Store(cell, key_fields::kLastWrite, node.lastWrite);
    Store(cell, key_fields::kParent, parent.value);
    for (const Field<std::uint32_t> list :
         {key_fields::kSubkeyList, key_fields::kVolatileList, key_fields::kValueList, key_fields::kClass}) {
        Store(cell, list, CellOffset::kNil);
    }
    Store(cell, key_fields::kVirtualization, node.virtualizationFlags);
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
    } else if (!className->empty()) {
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
    m_bins.clear();
    m_security.clear();
    m_securityOrder.clear();
    m_binBegin = m_used = 0;
    m_claims.Claim(top);
    const CellOffset root = WriteKey(*node, {}, 1);
    CloseSecurity();
    CloseBin();
    if (m_bins.size() > kMaxLength) {
        return Failure(ErrorCode::kNotEnoughMemory, "a hive of more than two gigabytes");
    }
    std::vector<std::byte> file(kBaseBlockSize + m_bins.size());
    std::ranges::copy(m_bins, file.begin() + kBaseBlockSize);
    const std::span<std::byte> base = std::span(file).first(kBaseBlockChecked);
    BeginBaseBlock(base, m_minor, root, m_source.Base().timeStamp);
    StoreBaseBlock(base, 1, 1, static_cast<std::uint32_t>(m_bins.size()), file_type::kHive);
    return file;
}

} // namespace tolvar
