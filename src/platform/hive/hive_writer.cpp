#include "platform/hive/hive_writer.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/hive/hive_walk.h"

namespace tolvar {

namespace {

Result<void> CheckKeyName(std::u16string_view name)
{
    if (name.empty() || name.size() > kMaxKeyName || name.find(u'\\') != std::u16string_view::npos) {
        return Failure(ErrorCode::kInvalidParameter, "a key's name has 1 to 255 units and no backslash");
    }
    return {};
}

} // namespace

Result<KeyNode> HiveWriter::Key(CellOffset key) const
{
    const Checked<KeyNode> node = m_hive.Key(key);
    return node ? Result<KeyNode>(*node) : tl::unexpected(ToError(node.error()));
}

void HiveWriter::TouchKey(CellOffset key)
{
    m_editor.Store(key, key_fields::kLastWrite, m_clock.Now());
}

Result<void> HiveWriter::SetLastWrite(CellOffset key, std::uint64_t time)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    m_editor.Store(key, key_fields::kLastWrite, time);
    return {};
}

void HiveWriter::RaiseField(CellOffset key, Field<std::uint32_t> field, std::uint32_t value)
{
    if (m_hive.Cell(key)->Get(field) < value) {
        m_editor.Store(key, field, value);
    }
}

void HiveWriter::StoreName(CellOffset cell, std::u16string_view name)
{
    const std::vector<std::byte> stored = StoredName(name);
    m_editor.Store(cell, key_fields::kNameLength, static_cast<std::uint16_t>(stored.size()));
    m_editor.StoreBytes(cell, key_fields::kName, stored);
}

Result<SubkeyPlace> HiveWriter::PlaceOf(const KeyNode& parent, std::u16string_view name)
{
    const SubkeyListEditor lists(m_editor);
    const CellOffset list = parent.subkeyCount != 0 ? parent.subkeyList : CellOffset{};
    if (!m_editor.Lookups().IsKnownInOrder(parent.offset)) {
        const Checked<bool> isInOrder = m_hive.AreInOrder(list);
        if (!isInOrder || !*isInOrder) {
            return tl::unexpected(ToError(isInOrder ? HiveFault{Breach::kListOrder, list} : isInOrder.error()));
        }
        m_editor.Lookups().NoteInOrder(parent.offset);
    }
    const Checked<SubkeyPlace> place = lists.Find(list, name);
    return place ? Result<SubkeyPlace>(*place) : tl::unexpected(ToError(place.error()));
}

unsigned HiveWriter::LevelOf(const KeyNode& key) const
{
    unsigned level = 1;
    CellOffset at = key.offset;
    while (at != m_hive.Root() && level <= kMaxDepth) {
        const Checked<CellView> cell = m_hive.Cell(at);
        if (!cell || cell->size < key_fields::kName) {
            break;
        }
        at = CellOffset{cell->Get(key_fields::kParent)};
        ++level;
    }
    return level;
}

Result<void> HiveWriter::ShareSecurity(CellOffset security, int change)
{
    const Checked<CellView> cell = m_hive.Cell(security);
    if (!cell || cell->size < kSecurityFixedSize || cell->Get(security_fields::kSignature) != signatures::kSecurity) {
        return tl::unexpected(ToError(cell ? HiveFault{Breach::kSecuritySignature, security} : cell.error()));
    }
    const auto references = cell->Get(security_fields::kReferences);
    m_editor.Store(security, security_fields::kReferences, references + static_cast<std::uint32_t>(change));
    return {};
}

/// Counts some keys less, and takes a record that no key needs any more out of the ring. The last one stays.
void HiveWriter::ReleaseSecurity(CellOffset security, std::uint32_t keys)
{
    if (!ShareSecurity(security, -static_cast<int>(keys))) {
        return; // a key without one has nothing to release
    }
    const CellView cell = *m_hive.Cell(security);
    const CellOffset next = cell.Offset(security_fields::kNext);
    const CellOffset previous = cell.Offset(security_fields::kPrevious);
    if (cell.Get(security_fields::kReferences) != 0 || next == security) {
        return;
    }
    const Checked<CellView> after = m_hive.Cell(next);
    const Checked<CellView> before = m_hive.Cell(previous);
    const bool isRing = after && before && after->size >= kSecurityFixedSize && before->size >= kSecurityFixedSize &&
                        after->Offset(security_fields::kPrevious) == security &&
                        before->Offset(security_fields::kNext) == security;
    if (isRing) {
        m_editor.Store(next, security_fields::kPrevious, previous);
        m_editor.Store(previous, security_fields::kNext, next);
        m_editor.Free(security);
    }
}

Result<CellOffset> HiveWriter::WriteNode(const KeyNode& parent, std::u16string_view name, std::u16string_view className)
{
    const Result<CellOffset> cell =
        m_editor.Allocate(key_fields::kName + static_cast<std::uint32_t>(StoredName(name).size()));
    if (!cell) {
        return cell;
    }
    CellOffset classCell;
    if (!className.empty()) {
        const Result<CellOffset> made = m_editor.Allocate(static_cast<std::uint32_t>(2 * className.size()));
        if (!made) {
            m_editor.Free(*cell);
            return made;
        }
        classCell = *made;
        m_editor.StoreBytes(classCell, 0, std::as_bytes(std::span(className)));
    }
    const CellOffset security = parent.security;
    if (auto shared = ShareSecurity(security, 1); !shared) {
        m_editor.Free(*cell);
        if (!classCell.IsNil()) {
            m_editor.Free(classCell);
        }
        return tl::unexpected(shared.error());
    }
    const bool inheritsFlags = (parent.virtualizationFlags & kVirtualizeBelow) != 0;
    m_editor.Store(*cell, key_fields::kSignature, signatures::kKey);
    m_editor.Store(*cell, key_fields::kFlags, FitsLatin1(name) ? key_flags::kLatin1Name : std::uint16_t{0});
    m_editor.Store(*cell, key_fields::kLastWrite, m_clock.Now());
    m_editor.Store(*cell, key_fields::kParent, parent.offset.value);
    for (const Field<std::uint32_t> list :
         {key_fields::kSubkeyList, key_fields::kVolatileList, key_fields::kValueList}) {
        m_editor.Store(*cell, list, CellOffset{});
    }
    m_editor.Store(*cell, key_fields::kSecurity, security.value);
    m_editor.Store(*cell, key_fields::kClass, classCell.value);
    m_editor.Store(*cell, key_fields::kVirtualization,
                   static_cast<std::uint8_t>(inheritsFlags ? parent.virtualizationFlags & kVirtualizationMask : 0));
    m_editor.Store(*cell, key_fields::kClassLength, static_cast<std::uint16_t>(2 * className.size()));
    StoreName(*cell, name);
    return cell;
}

Result<CellOffset> HiveWriter::CreateKey(CellOffset parent, std::u16string_view name, std::u16string_view className)
{
    const Result<KeyNode> above = Key(parent);
    if (!above) {
        return tl::unexpected(above.error());
    }
    if (auto valid = CheckKeyName(name); !valid) {
        return tl::unexpected(valid.error());
    }
    if (className.size() > kMaxClassUnits || LevelOf(*above) >= kMaxDepth) {
        return Failure(ErrorCode::kInvalidParameter, "a class of more than 32,767 units, or a key below level 512");
    }
    const Result<SubkeyPlace> place = PlaceOf(*above, name);
    if (!place) {
        return tl::unexpected(place.error());
    }
    if (!place->found.IsNil()) {
        return Failure(ErrorCode::kAlreadyExists);
    }
    const Result<CellOffset> key = WriteNode(*above, name, className);
    if (!key) {
        return key;
    }
    const CellOffset list = above->subkeyCount != 0 ? above->subkeyList : CellOffset{};
    const Result<CellOffset> newList = SubkeyListEditor(m_editor).Insert(list, *place, *key, name);
    if (!newList) {
        ReleaseSecurity(above->security);
        if (!className.empty()) {
            m_editor.Free(CellOffset{m_hive.Cell(*key)->Get(key_fields::kClass)});
        }
        m_editor.Free(*key);
        return newList;
    }
    m_editor.Store(parent, key_fields::kSubkeyList, newList->value);
    m_editor.Store(parent, key_fields::kSubkeyCount, above->subkeyCount + 1);
    const auto nameBytes = static_cast<std::uint16_t>(2 * name.size());
    if (above->maxNameLength < nameBytes) {
        m_editor.Store(parent, key_fields::kMaxName, nameBytes);
    }
    RaiseField(parent, key_fields::kMaxClass, static_cast<std::uint32_t>(2 * className.size()));
    TouchKey(parent);
    m_editor.Lookups().NoteInOrder(*key); // it has no subkeys yet
    return key;
}

Result<std::vector<CellOffset>> HiveWriter::OwnCells(const KeyNode& node) const
{
    const Checked<ValueListView> values = m_hive.Values(node);
    if (!values) {
        return tl::unexpected(ToError(values.error()));
    }
    std::vector<CellOffset> cells;
    for (std::uint32_t i = 0; i < values->count; ++i) {
        const Checked<ValueRecord> value = m_hive.Value((*values)[i]);
        if (!value) {
            return tl::unexpected(ToError(value.error()));
        }
        const Result<std::vector<CellOffset>> data = DataCells(*value);
        if (!data) {
            return tl::unexpected(data.error());
        }
        cells.insert(cells.end(), data->begin(), data->end());
        cells.push_back(value->offset);
    }
    if (values->count != 0) {
        cells.push_back(values->cell);
    }
    if (const Checked<NameView> name = m_hive.ClassName(node); name && name->data != nullptr) {
        cells.push_back(node.classCell);
    }
    return cells;
}

Result<void> HiveWriter::DeleteKey(CellOffset key)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (key == m_hive.Root() || node->Is(key_flags::kNoDelete) || node->subkeyCount != 0) {
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
    // All that has to be freed is read before anything is.
    const Result<std::vector<CellOffset>> cells = OwnCells(*node);
    if (!cells) {
        return tl::unexpected(cells.error());
    }
    const CellOffset list = SubkeyListEditor(m_editor).Remove(parent->subkeyList, *place);
    m_editor.Store(parent->offset, key_fields::kSubkeyList, list.value);
    m_editor.Store(parent->offset, key_fields::kSubkeyCount, parent->subkeyCount - 1);
    TouchKey(parent->offset);
    for (const CellOffset cell : *cells) {
        m_editor.Free(cell);
    }
    ReleaseSecurity(node->security);
    m_editor.Free(key);
    m_editor.Lookups().Forget(key);
    return {};
}

Result<void> HiveWriter::MakeLink(CellOffset key)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (key == m_hive.Root() || node->subkeyCount != 0 || node->valueCount != 0) {
        return Failure(ErrorCode::kAccessDenied);
    }
    m_editor.Store(key, key_fields::kFlags, static_cast<std::uint16_t>(node->flags | key_flags::kSymbolicLink));
    return {};
}

Result<CellOffset> HiveWriter::RenameKey(CellOffset key, std::u16string_view name)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    if (key == m_hive.Root()) {
        return Failure(ErrorCode::kAccessDenied);
    }
    if (auto valid = CheckKeyName(name); !valid) {
        return tl::unexpected(valid.error());
    }
    const Result<KeyNode> parent = Key(node->parent);
    if (!parent) {
        return tl::unexpected(parent.error());
    }
    const Result<SubkeyPlace> oldPlace = PlaceOf(*parent, node->name.ToUtf16());
    const Result<SubkeyPlace> newPlace = PlaceOf(*parent, name);
    if (!oldPlace || !newPlace) {
        return tl::unexpected(oldPlace ? newPlace.error() : oldPlace.error());
    }
    if (oldPlace->found != key) {
        return tl::unexpected(ToError({Breach::kKeyParent, key}));
    }
    if (!newPlace->found.IsNil() && newPlace->found != key) {
        return Failure(ErrorCode::kAlreadyExists);
    }
    const std::u16string oldName = node->name.ToUtf16();
    const Result<CellOffset> moved = MoveNode(*node, name);
    if (!moved) {
        return moved;
    }
    SubkeyListEditor lists(m_editor);
    lists.Replace(*oldPlace, *moved);
    // The old entry goes first, so that a list of one never holds two; entering it again needs no more room than it
    // gave.
    const CellOffset shorter = lists.Remove(parent->subkeyList, *oldPlace);
    const Checked<SubkeyPlace> place = lists.Find(shorter, name);
    Result<CellOffset> list = lists.Insert(shorter, place.value_or(SubkeyPlace{}), *moved, name);
    if (!list) { // the key goes back to where it was; there is room for that
        StoreNodeName(*moved, oldName);
        const Checked<SubkeyPlace> back = lists.Find(shorter, oldName);
        const Result<CellOffset> restored = lists.Insert(shorter, back.value_or(SubkeyPlace{}), *moved, oldName);
        m_editor.Store(parent->offset, key_fields::kSubkeyList, restored.value_or(shorter).value);
        return list;
    }
    m_editor.Store(parent->offset, key_fields::kSubkeyList, list->value);
    const auto nameBytes = static_cast<std::uint16_t>(2 * name.size());
    if (parent->maxNameLength < nameBytes) {
        m_editor.Store(parent->offset, key_fields::kMaxName, nameBytes);
    }
    TouchKey(parent->offset);
    return moved;
}

/// Gives a node another name that its cell has room for.
void HiveWriter::StoreNodeName(CellOffset cell, std::u16string_view name)
{
    const auto flags = m_hive.Cell(cell)->Get(key_fields::kFlags);
    const std::uint32_t width = FitsLatin1(name) ? key_flags::kLatin1Name : 0U;
    m_editor.Store(cell, key_fields::kFlags,
                   static_cast<std::uint16_t>((flags & ~std::uint32_t{key_flags::kLatin1Name}) | width));
    StoreName(cell, name);
}

Result<CellOffset> HiveWriter::MoveNode(const KeyNode& key, std::u16string_view name)
{
    const Result<CellOffset> cell = m_editor.Grow(
        key.offset, key_fields::kName + static_cast<std::uint32_t>(StoredName(name).size()), key_fields::kName);
    if (!cell) {
        return cell;
    }
    StoreNodeName(*cell, name);
    if (*cell != key.offset) {
        const bool isInOrder = m_editor.Lookups().IsKnownInOrder(key.offset);
        m_editor.Lookups().Forget(key.offset);
        if (isInOrder) {
            m_editor.Lookups().NoteInOrder(*cell);
        }
        if (auto pointed = PointChildrenTo(key, *cell); !pointed) {
            return tl::unexpected(pointed.error());
        }
    }
    return cell;
}

Result<void> HiveWriter::PointChildrenTo(const KeyNode& key, CellOffset parent)
{
    SubkeyCursor children = m_hive.Subkeys(key);
    for (Checked<CellOffset> child = children.Next(); !child || !child->IsNil(); child = children.Next()) {
        if (child && m_hive.KeyName(*child)) {
            m_editor.Store(*child, key_fields::kParent, parent.value);
        }
    }
    return {};
}

} // namespace tolvar
