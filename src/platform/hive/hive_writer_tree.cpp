#include <algorithm>
#include <map>

#include "platform/hive/first_fault.h"
#include "platform/hive/hive_validator.h"
#include "platform/hive/hive_writer.h"

namespace tolvar {

/// What goes with a subtree. A cell that is met twice belongs to more than one key: then nothing can go.
struct HiveWriter::DoomedTree {
    explicit DoomedTree(std::uint32_t length) : claims(length) {}

    [[nodiscard]] bool Add(CellOffset cell) { return claims.Claim(cell); }

    CellClaims claims;
    std::vector<CellOffset> keys;
    std::map<std::uint32_t, std::uint32_t> security; ///< keys that count on a record
    std::vector<SubkeyCursor> levels;
};

Result<void> HiveWriter::CollectLists(const KeyNode& node, DoomedTree& tree) const
{
    if (node.subkeyCount == 0) {
        return {};
    }
    const Checked<SubkeyList> list = SubkeyList::Parse(m_hive, node.subkeyList);
    if (!list) {
        return tl::unexpected(ToError(list.error()));
    }
    bool isOwn = tree.Add(node.subkeyList);
    for (std::uint32_t i = 0; list->kind == ListKind::kIndex && i < list->count; ++i) {
        if (const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, list->Offset(i)); !leaf) {
            return tl::unexpected(ToError(leaf.error()));
        }
        isOwn = tree.Add(list->Offset(i)) && isOwn;
    }
    return isOwn ? Result<void>() : tl::unexpected(ToError({Breach::kShared, node.subkeyList}));
}

Result<void> HiveWriter::CollectKey(CellOffset key, DoomedTree& tree) const
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (node->Is(key_flags::kNoDelete)) {
        return Failure(ErrorCode::kAccessDenied, "a key that is marked undeletable");
    }
    const Result<std::vector<CellOffset>> cells = OwnCells(*node);
    if (!cells) {
        return tl::unexpected(cells.error());
    }
    bool isOwn = tree.Add(key);
    for (const CellOffset cell : *cells) {
        isOwn = tree.Add(cell) && isOwn;
    }
    if (!isOwn || tree.levels.size() >= kMaxDepth) {
        return tl::unexpected(ToError({isOwn ? Breach::kDepth : Breach::kShared, key}));
    }
    ++tree.security[node->security.value];
    tree.keys.push_back(key);
    tree.levels.push_back(m_hive.Subkeys(*node));
    return CollectLists(*node, tree);
}

Result<void> HiveWriter::DeleteTree(CellOffset key, const std::function<void(CellOffset)>& onKey)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (key == m_hive.Root()) {
        return Failure(ErrorCode::kAccessDenied);
    }
    const Result<KeyNode> parent = Key(node->parent);
    if (!parent) {
        return tl::unexpected(parent.error());
    }
    const Result<SubkeyPlace> place = PlaceOf(*parent, node->name.ToUtf16());
    if (!place) {
        return tl::unexpected(place.error());
    }
    if (place->found != key) {
        return tl::unexpected(ToError({Breach::kKeyParent, key}));
    }
    DoomedTree tree(m_hive.Length());
    Result<void> collected = CollectKey(key, tree);
    while (collected && !tree.levels.empty()) {
        const Checked<CellOffset> next = tree.levels.back().Next();
        if (!next) {
            collected = tl::unexpected(ToError(next.error()));
        } else if (next->IsNil()) {
            tree.levels.pop_back();
        } else {
            collected = CollectKey(*next, tree);
        }
    }
    if (!collected) {
        return collected;
    }
    const CellOffset list = SubkeyListEditor(m_editor).Remove(parent->subkeyList, *place);
    m_editor.Store(parent->offset, key_fields::kSubkeyList, list.value);
    m_editor.Store(parent->offset, key_fields::kSubkeyCount, parent->subkeyCount - 1);
    TouchKey(parent->offset);
    for (const auto& [record, keys] : tree.security) {
        ReleaseSecurity(CellOffset{record}, keys);
    }
    for (const CellOffset gone : tree.keys) {
        m_editor.Lookups().Forget(gone);
        onKey(gone);
    }
    m_editor.FreeAll(tree.claims);
    return {};
}

Result<void> HiveWriter::SetClass(CellOffset key, std::u16string_view className)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (className.size() > kMaxClassUnits) {
        return Failure(ErrorCode::kInvalidParameter, "a class of more than 32,767 units");
    }
    const Checked<NameView> old = m_hive.ClassName(*node);
    if (old && ((old->empty() && className.empty()) || old->ToUtf16() == className)) {
        return {};
    }
    CellOffset cell;
    if (!className.empty()) {
        const Result<CellOffset> made = m_editor.Allocate(static_cast<std::uint32_t>(2 * className.size()));
        if (!made) {
            return tl::unexpected(made.error());
        }
        cell = *made;
        m_editor.StoreBytes(cell, 0, std::as_bytes(std::span(className)));
    }
    m_editor.Store(key, key_fields::kClass, cell.value);
    m_editor.Store(key, key_fields::kClassLength, static_cast<std::uint16_t>(2 * className.size()));
    if (key != m_hive.Root()) {
        RaiseField(node->parent, key_fields::kMaxClass, static_cast<std::uint32_t>(2 * className.size()));
    }
    if (old && old->data != nullptr) {
        m_editor.Free(node->classCell);
    }
    return {};
}

Result<void> HiveWriter::InsertValue(CellOffset key, std::uint32_t index, std::u16string_view name, std::uint32_t type,
                                     std::span<const std::byte> data)
{
    const Result<KeyNode> before = Key(key);
    if (!before) {
        return tl::unexpected(before.error());
    }
    if (auto set = SetValue(key, name, type, data); !set) {
        return set;
    }
    const Result<KeyNode> after = Key(key);
    if (after && after->valueCount == before->valueCount + 1 && index < before->valueCount) {
        const std::uint32_t behind = 4 * (before->valueCount - index);
        std::byte* place = m_editor.Touch(after->valueList, 4 * index, behind + 4);
        std::rotate(place, place + behind, place + behind + 4);
    }
    return {};
}

Result<void> HiveWriter::MergeValues(CellOffset target, bool isNew, const Hive& source, const KeyNode& node)
{
    const ValueListView values = *source.Values(node);
    for (std::uint32_t i = 0; i < values.count; ++i) {
        const ValueRecord value = *source.Value(values[i]);
        const auto data = source.ReadData(value);
        if (!data) {
            return tl::unexpected(source.ToError(data.error()));
        }
        // Into a new key without a look for others of that name, whose number would count twice.
        const Result<void> stored = isNew ? AddFreshValue(target, value.name.ToUtf16(), value.type, *data)
                                          : SetValue(target, value.name.ToUtf16(), value.type, *data);
        if (!stored) {
            return stored;
        }
    }
    return {};
}

Result<void> HiveWriter::MergeKey(CellOffset target, bool isNew, const Hive& source, const KeyNode& node)
{
    if (auto merged = MergeValues(target, isNew, source, node); !merged) {
        return merged;
    }
    SubkeyCursor subkeys = source.Subkeys(node);
    for (Checked<CellOffset> next = subkeys.Next(); next && !next->IsNil(); next = subkeys.Next()) {
        const KeyNode child = *source.Key(*next);
        const std::u16string name = child.name.ToUtf16();
        const Result<KeyNode> above = Key(target);
        const Result<SubkeyPlace> place = above ? PlaceOf(*above, name) : tl::unexpected(above.error());
        if (!place) {
            return tl::unexpected(place.error());
        }
        const bool isFresh = place->found.IsNil();
        const Result<CellOffset> key = isFresh ? CreateKey(target, name) : Result<CellOffset>(place->found);
        if (!key) {
            return tl::unexpected(key.error());
        }
        if (auto merged = MergeKey(*key, isFresh, source, child); !merged) {
            return merged;
        }
    }
    const Checked<NameView> className = source.ClassName(node);
    if (className) {
        if (auto classed = SetClass(target, className->ToUtf16()); !classed) {
            return classed;
        }
    }
    const auto descriptor = source.SecurityDescriptor(node);
    const auto own = m_hive.SecurityDescriptor(*m_hive.Key(target)); // mostly what it has from its parent
    if (descriptor && !descriptor->empty() && !(own && std::ranges::equal(*own, *descriptor))) {
        if (auto secured = SetSecurity(target, *descriptor); !secured) {
            return secured;
        }
    }
    const CellView cell = *m_hive.Cell(target);
    const auto flags = cell.Get(key_fields::kFlags);
    m_editor.Store(target, key_fields::kFlags,
                   static_cast<std::uint16_t>(flags | (node.flags & key_flags::kSymbolicLink)));
    m_editor.Store(target, key_fields::kVirtualization, node.virtualizationFlags);
    return SetLastWrite(target, node.lastWrite);
}

Result<void> HiveWriter::Merge(CellOffset target, const Hive& source, CellOffset top)
{
    FirstFault faults;
    HiveWalk(source, faults).Run(top);
    if (faults.first) {
        return tl::unexpected(source.ToError(*faults.first));
    }
    const Result<KeyNode> node = Key(target);
    if (!node) {
        return tl::unexpected(node.error());
    }
    return MergeKey(target, node->valueCount == 0, source, *source.Key(top));
}

} // namespace tolvar
