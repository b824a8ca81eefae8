#include <algorithm>

#include "platform/hive/first_fault.h"
#include "platform/hive/hive_writer.h"

namespace tolvar {

/// The record with this descriptor in the ring that `ring` belongs to, one key more counted; a new one where there is
/// none.
Result<CellOffset> HiveWriter::FindOrMakeSecurity(CellOffset ring, std::span<const std::byte> descriptor)
{
    CellOffset at = ring;
    std::uint32_t steps = m_hive.Length() / kSecurityFixedSize; // no ring has more records
    do {
        const Result<CellView> cell = SecurityRecord(at);
        if (!cell) {
            return tl::unexpected(cell.error());
        }
        const std::uint32_t length = cell->Get(security_fields::kLength);
        if (length == descriptor.size() && length <= cell->size - kSecurityFixedSize &&
            std::ranges::equal(cell->Bytes().subspan(kSecurityFixedSize, length), descriptor)) {
            const Result<void> shared = ShareSecurity(at, 1);
            return shared ? Result<CellOffset>(at) : tl::unexpected(shared.error());
        }
        at = cell->Offset(security_fields::kNext);
    } while (at != ring && --steps != 0);
    const Result<CellOffset> made =
        m_editor.Allocate(static_cast<std::uint32_t>(kSecurityFixedSize + descriptor.size()));
    if (!made) {
        return made;
    }
    const CellOffset next = m_hive.Cell(ring)->Offset(security_fields::kNext); // every record of the ring was read
    if (at != ring || m_hive.Cell(next)->Offset(security_fields::kPrevious) != ring) {
        return tl::unexpected(ToError({Breach::kSecurityRing, ring}));
    }
    m_editor.Store(*made, security_fields::kSignature, signatures::kSecurity);
    m_editor.Store(*made, security_fields::kNext, next);
    m_editor.Store(*made, security_fields::kPrevious, ring);
    m_editor.Store(*made, security_fields::kReferences, 1U);
    m_editor.Store(*made, security_fields::kLength, static_cast<std::uint32_t>(descriptor.size()));
    m_editor.StoreBytes(*made, security_fields::kDescriptor, descriptor);
    m_editor.Store(ring, security_fields::kNext, *made);
    m_editor.Store(next, security_fields::kPrevious, *made);
    return made;
}

Result<void> HiveWriter::SetSecurity(CellOffset key, std::span<const std::byte> descriptor)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        const Result<void> put = node ? PutSecurity(*node, descriptor) : tl::unexpected(node.error());
        if (put) {
            TouchKey(key);
        }
        return put;
    });
}

Result<void> HiveWriter::PutSecurity(const KeyNode& node, std::span<const std::byte> descriptor)
{
    if (descriptor.empty() || descriptor.size() > kMaxDescriptor) {
        return Failure(ErrorCode::kInvalidParameter, "a security descriptor of no bytes or more than 64 KiB");
    }
    // The ring is that of the root's record: a record that has strayed from it gets no company.
    const Checked<KeyNode> root = m_hive.Key(m_hive.Root());
    const Result<CellOffset> record =
        root ? FindOrMakeSecurity(root->security, descriptor) : tl::unexpected(ToError(root.error()));
    if (!record) {
        return tl::unexpected(record.error());
    }
    ReleaseSecurity(node.security); // which stays what it is until the change is kept, and so does `descriptor` in it
    m_editor.Store(node.offset, key_fields::kSecurity, *record);
    return {};
}

Result<void> HiveWriter::CheckReadable(const Hive& source, CellOffset top)
{
    FirstFault faults;
    HiveWalk(source, faults).Run(top);
    return faults.first ? tl::unexpected(source.ToError(*faults.first)) : Result<void>();
}

Result<void> HiveWriter::CopyValues(CellOffset target, bool isNew, const Hive& source, const KeyNode& node)
{
    const ValueListView values = *source.Values(node);
    for (std::uint32_t i = 0; i < values.count; ++i) {
        const ValueRecord value = *source.Value(values[i]);
        const std::u16string name = value.name.ToUtf16();
        // Into a new key without a look for others of that name, whose number would count twice.
        if (auto put = PutValue(target, isNew,
                                {name, value.type, ValueSource(source, *source.Data(value)), value.IsTombstone()});
            !put) {
            return put;
        }
    }
    return {};
}

Result<void> HiveWriter::CopySubkeys(CellOffset target, const Hive& source, const KeyNode& node)
{
    SubkeyCursor subkeys = source.Subkeys(node);
    for (Checked<CellOffset> next = subkeys.Next(); next && !next->IsNil(); next = subkeys.Next()) {
        const KeyNode child = *source.Key(*next);
        const std::u16string name = child.name.ToUtf16();
        Result<KeyNode> above = Key(target);
        const Result<SubkeyPlace> place = above ? PlaceOf(*above, name) : tl::unexpected(above.error());
        if (!place) {
            return tl::unexpected(place.error());
        }
        const bool isNew = place->found.IsNil();
        const Result<CellOffset> key = isNew ? AddKey(target, name, {}) : Result<CellOffset>(place->found);
        const Result<void> copied = key ? CopyKey(*key, isNew, source, child) : tl::unexpected(key.error());
        if (!copied) {
            return copied;
        }
    }
    return {};
}

/// Gives a key the flags and bits of the one that it is a copy of. The root of a hive is marked as such, which says
/// nothing of its copy.
Result<void> HiveWriter::CopyFlags(const KeyNode& target, bool isNew, const Hive& source, const KeyNode& node)
{
    const bool isRoot = node.Is(key_flags::kHiveEntry);
    const std::uint32_t kept = key_flags::kOfPlace | (isRoot ? key_flags::kNoDelete : 0U) |
                               (isNew ? 0U : std::uint32_t{key_flags::kSymbolicLink});
    const CellView cell = *source.Cell(node.offset);
    if (node.Is(key_flags::kPredefinedHandle)) {
        if (target.valueCount != 0) {
            return Failure(ErrorCode::kNotSupported,
                           node.name.ToUtf8() + ": a predefined handle over a key that holds values");
        }
        m_editor.Store(target.offset, key_fields::kValueCount, cell.Get(key_fields::kValueCount));
    }
    m_editor.Store(
        target.offset, key_fields::kFlags,
        static_cast<std::uint16_t>((target.flags & kept) |
                                   (node.flags & ~(key_flags::kOfPlace | (isRoot ? key_flags::kNoDelete : 0U)))));
    for (const Field<std::uint8_t> bits :
         {key_fields::kAccessBits, key_fields::kLayerBits, key_fields::kVirtualization, key_fields::kDebug}) {
        m_editor.Store(target.offset, bits, cell.Get(bits));
    }
    return {};
}

Result<void> HiveWriter::CopyKey(CellOffset target, bool isNew, const Hive& source, const KeyNode& node)
{
    Result<void> copied = CopyValues(target, isNew, source, node);
    copied = copied ? CopySubkeys(target, source, node) : copied;
    const Result<KeyNode> made = copied ? Key(target) : tl::unexpected(copied.error());
    if (!made) {
        return tl::unexpected(made.error());
    }
    const Checked<NameView> className = source.ClassName(node);
    copied = className ? PutClass(*made, className->ToUtf16()) : tl::unexpected(source.ToError(className.error()));
    const auto descriptor = source.SecurityDescriptor(node);
    const auto own = m_hive.SecurityDescriptor(*made); // mostly what it has from its parent
    if (copied && !descriptor) {
        return tl::unexpected(source.ToError(descriptor.error()));
    }
    if (copied && !descriptor->empty() && !(own && std::ranges::equal(*own, *descriptor))) {
        copied = PutSecurity(*made, *descriptor);
    }
    copied = copied ? CopyFlags(*made, isNew, source, node) : copied;
    if (copied) {
        m_editor.Store(target, key_fields::kLastWrite, node.lastWrite);
    }
    return copied;
}

} // namespace tolvar
