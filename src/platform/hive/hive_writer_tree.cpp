#include <algorithm>
#include <map>

#include "platform/hive/hive_writer.h"

namespace tolvar {

/// What goes with keys and all below them.
struct HiveWriter::DoomedTree {
    std::vector<CellOffset> keys;
    std::vector<CellOffset> cells;                   ///< beside those of the keys
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
    std::vector<CellOffset> lists = {node.subkeyList};
    for (std::uint32_t i = 0; list->kind == ListKind::kIndex && i < list->count; ++i) {
        if (const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, list->Offset(i)); !leaf) {
            return tl::unexpected(ToError(leaf.error()));
        }
        lists.push_back(list->Offset(i));
    }
    for (const CellOffset cell : lists) { // the keys of a shared list belong to someone else as well
        if (auto sole = CheckSole(cell); !sole) {
            return sole;
        }
    }
    tree.cells.insert(tree.cells.end(), lists.begin(), lists.end());
    return {};
}

/// Adds what goes with a key beside its own cell, and the run over its subkeys.
Result<void> HiveWriter::Collect(const KeyNode& node, DoomedTree& tree) const
{
    const Result<std::vector<CellOffset>> cells = OwnCells(node);
    if (!cells) {
        return tl::unexpected(cells.error());
    }
    if (tree.levels.size() >= kMaxDepth) {
        return tl::unexpected(ToError({Breach::kDepth, node.offset}));
    }
    tree.cells.insert(tree.cells.end(), cells->begin(), cells->end());
    tree.levels.push_back(m_hive.Subkeys(node));
    return CollectLists(node, tree);
}

/// Adds all keys below those whose subkeys are still to be looked at.
Result<void> HiveWriter::CollectBelow(DoomedTree& tree) const
{
    while (!tree.levels.empty()) {
        const Checked<CellOffset> next = tree.levels.back().Next();
        if (!next) {
            return tl::unexpected(ToError(next.error()));
        }
        if (next->IsNil()) {
            tree.levels.pop_back();
            continue;
        }
        const Result<KeyNode> node = Key(*next);
        if (!node) {
            return tl::unexpected(node.error());
        }
        if (node->Is(key_flags::kNoDelete)) {
            return Failure(ErrorCode::kAccessDenied, "a key that is marked undeletable");
        }
        ++tree.security[node->security.value];
        tree.keys.push_back(*next);
        if (auto collected = Collect(*node, tree); !collected) {
            return collected;
        }
    }
    return {};
}

/// Lets go of all that was collected.
void HiveWriter::LetGo(const DoomedTree& tree)
{
    for (const auto& [record, keys] : tree.security) {
        ReleaseSecurity(CellOffset{record}, keys);
    }
    for (const CellOffset key : tree.keys) {
        m_editor.Lookups().Forget(key);
        m_editor.Free(key);
    }
    std::ranges::for_each(tree.cells, [this](CellOffset cell) { m_editor.Free(cell); });
}

Result<void> HiveWriter::DeleteTree(CellOffset key, const std::function<void(CellOffset)>& onKey)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        if (!node) {
            return tl::unexpected(node.error());
        }
        if (key == m_hive.Root() || node->Is(key_flags::kNoDelete)) {
            return Failure(ErrorCode::kAccessDenied);
        }
        Result<KeyNode> parent = ParentOf(*node);
        const Result<SubkeyPlace> place = parent ? OwnPlace(*parent, *node) : tl::unexpected(parent.error());
        if (!place) {
            return tl::unexpected(place.error());
        }
        DoomedTree tree;
        tree.keys.push_back(key);
        ++tree.security[node->security.value];
        Result<void> collected = Collect(*node, tree);
        collected = collected ? CollectBelow(tree) : collected;
        if (!collected) {
            return collected;
        }
        RemoveFromParent(*parent, *place);
        LetGo(tree);
        std::ranges::for_each(tree.keys, onKey);
        return {};
    });
}

Result<void> HiveWriter::SetClass(CellOffset key, std::u16string_view className)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        return node ? PutClass(*node, className) : tl::unexpected(node.error());
    });
}

Result<void> HiveWriter::PutClass(const KeyNode& node, std::u16string_view className)
{
    if (className.size() > kMaxClassUnits) {
        return Failure(ErrorCode::kInvalidParameter, "a class of more than 32,767 units");
    }
    const Checked<NameView> old = m_hive.ClassName(node);
    if (old && ((old->empty() && className.empty()) || old->ToUtf16() == className)) {
        return {};
    }
    if (node.offset != m_hive.Root()) {
        const Result<KeyNode> parent = ParentOf(node);
        if (!parent || m_editor.Owners().IsMisplaced(node.offset)) {
            return tl::unexpected(parent ? ToError({Breach::kKeyParent, node.offset}) : parent.error());
        }
        RaiseField(parent->offset, key_fields::kMaxClass, static_cast<std::uint32_t>(2 * className.size()));
    }
    const Result<CellOffset> cell = WriteClass(className);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    m_editor.Store(node.offset, key_fields::kClass, cell->value);
    m_editor.Store(node.offset, key_fields::kClassLength, static_cast<std::uint16_t>(2 * className.size()));
    if (old && old->data != nullptr) {
        m_editor.Free(node.classCell);
    }
    return {};
}

Result<void> HiveWriter::Replace(CellOffset target, const Hive& source, CellOffset top)
{
    return AsOne([&]() -> Result<void> {
        if (auto readable = CheckReadable(source, top); !readable) {
            return readable;
        }
        const Result<KeyNode> node = Key(target);
        if (!node) {
            return tl::unexpected(node.error());
        }
        DoomedTree tree;
        Result<void> collected = Collect(*node, tree);
        collected = collected ? CollectBelow(tree) : collected;
        if (!collected) {
            return collected;
        }
        // The new is made beside the old, which is let go at the end.
        for (const Field<std::uint32_t> list : {key_fields::kSubkeyList, key_fields::kValueList, key_fields::kClass}) {
            m_editor.Store(target, list, CellOffset{});
        }
        for (const Field<std::uint32_t> number :
             {key_fields::kSubkeyCount, key_fields::kValueCount, key_fields::kMaxClass, key_fields::kMaxValueName,
              key_fields::kMaxValueData}) {
            m_editor.Store(target, number, 0U);
        }
        m_editor.Store(target, key_fields::kMaxName, std::uint16_t{0});
        m_editor.Store(target, key_fields::kClassLength, std::uint16_t{0});
        m_editor.Lookups().Forget(target);
        if (auto copied = CopyKey(target, true, source, *source.Key(top)); !copied) {
            return copied;
        }
        LetGo(tree);
        return {};
    });
}

Result<void> HiveWriter::Merge(CellOffset target, const Hive& source, CellOffset top)
{
    return AsOne([&]() -> Result<void> {
        if (auto readable = CheckReadable(source, top); !readable) {
            return readable;
        }
        const Result<KeyNode> node = Key(target);
        return node ? CopyKey(target, node->valueCount == 0, source, *source.Key(top)) : tl::unexpected(node.error());
    });
}

} // namespace tolvar
