#include "platform/hive/hive_writer.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/hive/hive_walk.h"
#include "platform/hive/signature.h"

namespace tolvar {

namespace {

// Fields of a key (hive-format.md, chapter 5), by their place in the cell.
namespace field {
constexpr std::uint32_t kFlags = 2;
constexpr std::uint32_t kLastWrite = 4;
constexpr std::uint32_t kParent = 16;
constexpr std::uint32_t kSubkeyCount = 20;
constexpr std::uint32_t kSubkeyList = 28;
constexpr std::uint32_t kVolatileList = 32;
constexpr std::uint32_t kValueList = 40;
constexpr std::uint32_t kSecurity = 44;
constexpr std::uint32_t kClass = 48;
constexpr std::uint32_t kMaxName = 52;
constexpr std::uint32_t kUserFlags = 54;
constexpr std::uint32_t kMaxClass = 56;
constexpr std::uint32_t kNameLength = 72;
constexpr std::uint32_t kClassLength = 74;
constexpr std::uint32_t kName = 76;
} // namespace field

constexpr std::uint32_t kSecurityReferences = 12;
constexpr std::uint8_t kVirtualizeBelow =
    0x80; // of the user flags: what a key says of virtualization holds for its subkeys
constexpr std::size_t kMaxClassUnits = 32767;

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
    m_editor.Store(key, field::kLastWrite, m_clock.Now());
}

Result<void> HiveWriter::SetLastWrite(CellOffset key, std::uint64_t time)
{
    const Result<KeyNode> node = Key(key);
    if (!node) {
        return tl::unexpected(node.error());
    }
    m_editor.Store(key, field::kLastWrite, time);
    return {};
}

void HiveWriter::RaiseField(CellOffset key, std::uint32_t at, std::uint32_t value)
{
    if (m_hive.Cell(key)->Field<std::uint32_t>(at) < value) {
        m_editor.Store(key, at, value);
    }
}

void HiveWriter::StoreName(CellOffset cell, std::u16string_view name)
{
    const std::vector<std::byte> stored = StoredName(name);
    m_editor.Store(cell, field::kNameLength, static_cast<std::uint16_t>(stored.size()));
    m_editor.StoreBytes(cell, field::kName, stored);
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
        if (!cell || cell->size < field::kName) {
            break;
        }
        at = CellOffset{cell->Field<std::uint32_t>(field::kParent)};
        ++level;
    }
    return level;
}

Result<void> HiveWriter::ShareSecurity(CellOffset security, int change)
{
    const Checked<CellView> cell = m_hive.Cell(security);
    if (!cell || cell->size < 20 || cell->Field<std::uint16_t>(0) != Signature('s', 'k')) {
        return tl::unexpected(ToError(cell ? HiveFault{Breach::kSecuritySignature, security} : cell.error()));
    }
    const auto references = cell->Field<std::uint32_t>(kSecurityReferences);
    m_editor.Store(security, kSecurityReferences, references + static_cast<std::uint32_t>(change));
    return {};
}

/// Counts some keys less, and takes a record that no key needs any more out of the ring. The last one stays.
void HiveWriter::ReleaseSecurity(CellOffset security, std::uint32_t keys)
{
    if (!ShareSecurity(security, -static_cast<int>(keys))) {
        return; // a key without one has nothing to release
    }
    const CellView cell = *m_hive.Cell(security);
    const CellOffset next{cell.Field<std::uint32_t>(4)};
    const CellOffset previous{cell.Field<std::uint32_t>(8)};
    if (cell.Field<std::uint32_t>(kSecurityReferences) != 0 || next == security) {
        return;
    }
    const Checked<CellView> after = m_hive.Cell(next);
    const Checked<CellView> before = m_hive.Cell(previous);
    const bool isRing = after && before && after->size >= 20 && before->size >= 20 &&
                        after->Field<std::uint32_t>(8) == security.value &&
                        before->Field<std::uint32_t>(4) == security.value;
    if (isRing) {
        m_editor.Store(next, 8, previous.value);
        m_editor.Store(previous, 4, next.value);
        m_editor.Free(security);
    }
}

Result<CellOffset> HiveWriter::WriteNode(const KeyNode& parent, std::u16string_view name, std::u16string_view className)
{
    const Result<CellOffset> cell =
        m_editor.Allocate(field::kName + static_cast<std::uint32_t>(StoredName(name).size()));
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
    m_editor.Store(*cell, 0, Signature('n', 'k'));
    m_editor.Store(*cell, field::kFlags, FitsLatin1(name) ? key_flags::kLatin1Name : std::uint16_t{0});
    m_editor.Store(*cell, field::kLastWrite, m_clock.Now());
    m_editor.Store(*cell, field::kParent, parent.offset.value);
    for (const std::uint32_t at : {field::kSubkeyList, field::kVolatileList, field::kValueList}) {
        m_editor.Store(*cell, at, CellOffset::kNil);
    }
    m_editor.Store(*cell, field::kSecurity, security.value);
    m_editor.Store(*cell, field::kClass, classCell.value);
    m_editor.Store(*cell, field::kUserFlags,
                   static_cast<std::uint8_t>(inheritsFlags ? parent.virtualizationFlags & 0xF0U : 0U));
    m_editor.Store(*cell, field::kClassLength, static_cast<std::uint16_t>(2 * className.size()));
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
            m_editor.Free(CellOffset{m_hive.Cell(*key)->Field<std::uint32_t>(field::kClass)});
        }
        m_editor.Free(*key);
        return newList;
    }
    m_editor.Store(parent, field::kSubkeyList, newList->value);
    m_editor.Store(parent, field::kSubkeyCount, above->subkeyCount + 1);
    const auto nameBytes = static_cast<std::uint16_t>(2 * name.size());
    if (above->maxNameLength < nameBytes) {
        m_editor.Store(parent, field::kMaxName, nameBytes);
    }
    RaiseField(parent, field::kMaxClass, static_cast<std::uint32_t>(2 * className.size()));
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
    m_editor.Store(parent->offset, field::kSubkeyList, list.value);
    m_editor.Store(parent->offset, field::kSubkeyCount, parent->subkeyCount - 1);
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
    m_editor.Store(key, field::kFlags, static_cast<std::uint16_t>(node->flags | key_flags::kSymbolicLink));
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
        m_editor.Store(parent->offset, field::kSubkeyList, restored.value_or(shorter).value);
        return list;
    }
    m_editor.Store(parent->offset, field::kSubkeyList, list->value);
    const auto nameBytes = static_cast<std::uint16_t>(2 * name.size());
    if (parent->maxNameLength < nameBytes) {
        m_editor.Store(parent->offset, field::kMaxName, nameBytes);
    }
    TouchKey(parent->offset);
    return moved;
}

/// Gives a node another name that its cell has room for.
void HiveWriter::StoreNodeName(CellOffset cell, std::u16string_view name)
{
    const auto flags = m_hive.Cell(cell)->Field<std::uint16_t>(field::kFlags);
    const std::uint32_t width = FitsLatin1(name) ? key_flags::kLatin1Name : 0U;
    m_editor.Store(cell, field::kFlags,
                   static_cast<std::uint16_t>((flags & ~std::uint32_t{key_flags::kLatin1Name}) | width));
    StoreName(cell, name);
}

Result<CellOffset> HiveWriter::MoveNode(const KeyNode& key, std::u16string_view name)
{
    const Result<CellOffset> cell =
        m_editor.Grow(key.offset, field::kName + static_cast<std::uint32_t>(StoredName(name).size()), field::kName);
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
            m_editor.Store(*child, field::kParent, parent.value);
        }
    }
    return {};
}

} // namespace tolvar
