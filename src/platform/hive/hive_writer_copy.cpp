#include <algorithm>

#include "platform/hive/first_fault.h"
#include "platform/hive/hive_validator.h"
#include "platform/hive/hive_writer.h"

namespace tolvar {

/// The record with this descriptor in the ring that `ring` belongs to, one key more counted; a new one where there is
/// none.
Result<CellOffset> HiveWriter::FindOrMakeSecurity(CellOffset ring, std::span<const std::byte> descriptor)
{
    CellOffset at = ring;
    std::uint32_t steps = m_hive.Length() / kSecurityFixedSize; // no ring has more records
    do {
        const Checked<CellView> cell = m_hive.Cell(at);
        if (!cell || cell->size < kSecurityFixedSize ||
            cell->Get(security_fields::kSignature) != signatures::kSecurity) {
            return tl::unexpected(ToError(cell ? HiveFault{Breach::kSecuritySignature, at} : cell.error()));
        }
        const std::uint32_t length = cell->Get(security_fields::kLength);
        if (length == descriptor.size() && length <= cell->size - kSecurityFixedSize &&
            std::ranges::equal(cell->Bytes().subspan(kSecurityFixedSize, length), descriptor)) {
            m_editor.Store(at, security_fields::kReferences, cell->Get(security_fields::kReferences) + 1);
            return at;
        }
        at = cell->Offset(security_fields::kNext);
    } while (at != ring && --steps != 0);
    const Result<CellOffset> made =
        m_editor.Allocate(static_cast<std::uint32_t>(kSecurityFixedSize + descriptor.size()));
    if (!made) {
        return made;
    }
    const CellOffset next = m_hive.Cell(ring)->Offset(security_fields::kNext);
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
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (descriptor.empty() || descriptor.size() > kMaxDescriptor) {
        return Failure(ErrorCode::kInvalidParameter, "a security descriptor of no bytes or more than 64 KiB");
    }
    const std::vector<std::byte> own(descriptor.begin(), descriptor.end()); // it may lie in the record that is let go
    const Result<CellOffset> record = FindOrMakeSecurity(node->security, own);
    if (!record) {
        return tl::unexpected(record.error());
    }
    ReleaseSecurity(node->security);
    m_editor.Store(key, key_fields::kSecurity, *record);
    TouchKey(key);
    return {};
}

/// Deletes everything in a key, deepest keys first.
Result<void> HiveWriter::Empty(CellOffset key)
{
    std::vector<CellOffset> pending = {key};
    while (!pending.empty() && pending.size() <= kMaxDepth) {
        const Result<KeyNode> node = Key(pending.back());
        if (!node) {
            return tl::unexpected(node.error());
        }
        const Checked<CellOffset> first = m_hive.Subkeys(*node).Next();
        if (!first) {
            return tl::unexpected(ToError(first.error()));
        }
        if (!first->IsNil()) {
            pending.push_back(*first);
            continue;
        }
        if (pending.size() > 1) {
            if (auto deleted = DeleteKey(pending.back()); !deleted) {
                return deleted;
            }
        }
        pending.pop_back();
    }
    while (true) {
        const Result<KeyNode> node = Key(key);
        const Checked<ValueListView> values = node ? m_hive.Values(*node) : Checked<ValueListView>(ValueListView{});
        const Checked<ValueRecord> last =
            values && values->count != 0 ? m_hive.Value((*values)[values->count - 1]) : Fault(Breach::kNone, key);
        if (!last) {
            return last.error().breach == Breach::kNone ? Result<void>() : tl::unexpected(ToError(last.error()));
        }
        if (auto deleted = DeleteValue(key, last->name.ToUtf16()); !deleted) {
            return deleted;
        }
    }
}

Result<void> HiveWriter::CopyInto(CellOffset target, const Hive& source, const KeyNode& node)
{
    const ValueListView values = *source.Values(node);
    for (std::uint32_t i = 0; i < values.count; ++i) {
        const ValueRecord value = *source.Value(values[i]);
        const auto data = source.ReadData(value);
        if (!data) {
            return tl::unexpected(source.ToError(data.error()));
        }
        if (auto set = SetValue(target, value.name.ToUtf16(), value.type, *data); !set) {
            return set;
        }
    }
    SubkeyCursor subkeys = source.Subkeys(node);
    for (Checked<CellOffset> next = subkeys.Next(); next && !next->IsNil(); next = subkeys.Next()) {
        const KeyNode child = *source.Key(*next);
        const Checked<NameView> className = source.ClassName(child);
        const Result<CellOffset> made =
            CreateKey(target, child.name.ToUtf16(), className ? className->ToUtf16() : std::u16string());
        if (!made) {
            return tl::unexpected(made.error());
        }
        if (auto copied = CopyInto(*made, source, child); !copied) {
            return copied;
        }
    }
    if (const auto descriptor = source.SecurityDescriptor(node); descriptor && !descriptor->empty()) {
        if (auto secured = SetSecurity(target, *descriptor); !secured) {
            return secured;
        }
    }
    return SetLastWrite(target, node.lastWrite);
}

Result<void> HiveWriter::Replace(CellOffset target, const Hive& source, CellOffset top)
{
    FirstFault faults;
    HiveWalk(source, faults).Run(top);
    if (faults.first) {
        return tl::unexpected(source.ToError(*faults.first));
    }
    if (auto emptied = Empty(target); !emptied) {
        return emptied;
    }
    return CopyInto(target, source, *source.Key(top));
}

} // namespace tolvar
