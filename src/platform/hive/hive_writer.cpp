#include "platform/hive/hive_writer.h"

#include <algorithm>

namespace tolvar {

namespace {

Result<void> CheckKeyName(std::u16string_view name)
{
    if (name.empty() || name.size() > kMaxKeyName || name.find(u'\\') != std::u16string_view::npos) {
        return Failure(ErrorCode::kInvalidParameter, "a key's name has 1 to 255 units and no backslash");
    }
    return {};
}

Result<void> CheckClass(std::u16string_view className)
{
    return className.size() <= kMaxClassUnits
               ? Result<void>()
               : Failure(ErrorCode::kInvalidParameter, "a class of more than 32,767 units");
}

} // namespace

/// A key that is about to be changed.
Result<KeyNode> HiveWriter::Key(CellOffset key) const
{
    const Checked<KeyNode> node = m_hive.Key(key);
    if (!node) {
        return tl::unexpected(ToError(node.error()));
    }
    if (auto sound = CheckPathTo(key); !sound) {
        return tl::unexpected(sound.error());
    }
    if (node->Is(key_flags::kPredefinedHandle)) {
        return Failure(ErrorCode::kNotSupported, m_hive.File().string() + ": a predefined handle can't be changed");
    }
    return *node;
}

/// Whether a key and all above it are records of their own, which nothing else uses: what is put below others is lost
/// with them.
Result<void> HiveWriter::CheckPathTo(CellOffset key) const
{
    if (m_editor.Owners().IsEmpty()) {
        return {}; // as in every sound hive
    }
    CellOffset at = key;
    for (unsigned level = 1; level <= kMaxDepth; ++level) {
        const Checked<CellView> cell = m_hive.Cell(at);
        if (!cell || cell->size < kKeyFixedSize) {
            return {}; // a wrong parent, which no reader needs
        }
        const bool hasSubkeys = at != key && cell->Get(key_fields::kSubkeyCount) != 0;
        for (const CellOffset used : {at, hasSubkeys ? cell->Offset(key_fields::kSubkeyList) : CellOffset{}}) {
            if (auto sole = CheckSole(used); !sole) {
                return sole;
            }
        }
        if (at == m_hive.Root()) {
            return {};
        }
        at = cell->Offset(key_fields::kParent);
    }
    return tl::unexpected(ToError({Breach::kDepth, key}));
}

/// Whether only one record refers to a cell, so that it can be written into.
Result<void> HiveWriter::CheckSole(CellOffset cell) const
{
    return m_editor.Owners().IsShared(cell) ? tl::unexpected(ToError({Breach::kShared, cell})) : Result<void>();
}

Result<KeyNode> HiveWriter::ParentOf(const KeyNode& key) const
{
    return Key(key.parent);
}

void HiveWriter::TouchKey(CellOffset key)
{
    m_editor.Store(key, key_fields::kLastWrite, m_clock.Now());
}

Result<void> HiveWriter::SetLastWrite(CellOffset key, std::uint64_t time)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        if (node) {
            m_editor.Store(key, key_fields::kLastWrite, time);
        }
        return node ? Result<void>() : tl::unexpected(node.error());
    });
}

void HiveWriter::RaiseField(CellOffset key, Field<std::uint32_t> field, std::uint32_t value)
{
    if (m_hive.Cell(key)->Get(field) < value) {
        m_editor.Store(key, field, value);
    }
}

void HiveWriter::RaiseMaxName(const KeyNode& parent, std::u16string_view name)
{
    const auto bytes = static_cast<std::uint16_t>(2 * name.size());
    if (parent.maxNameLength < bytes) {
        m_editor.Store(parent.offset, key_fields::kMaxName, bytes);
    }
}

void HiveWriter::StoreName(CellOffset cell, std::u16string_view name)
{
    const std::vector<std::byte> stored = StoredName(name);
    const auto flags = m_hive.Cell(cell)->Get(key_fields::kFlags);
    const std::uint32_t width = FitsLatin1(name) ? key_flags::kLatin1Name : 0U;
    m_editor.Store(cell, key_fields::kFlags,
                   static_cast<std::uint16_t>((flags & ~std::uint32_t{key_flags::kLatin1Name}) | width));
    m_editor.Store(cell, key_fields::kNameLength, static_cast<std::uint16_t>(stored.size()));
    m_editor.StoreBytes(cell, key_fields::kName, stored);
}

/// Where a name stands in the lists of a key, which are about to be changed. A count that is not theirs is mended.
Result<SubkeyPlace> HiveWriter::PlaceOf(KeyNode& parent, std::u16string_view name)
{
    const CellOffset list = parent.subkeyCount != 0 ? parent.subkeyList : CellOffset{};
    if (!m_editor.Lookups().IsKnownInOrder(parent.offset)) {
        const Checked<std::optional<std::uint32_t>> count = m_hive.CountInOrder(list);
        if (!count || !*count) {
            return tl::unexpected(ToError(count ? HiveFault{Breach::kListOrder, list} : count.error()));
        }
        if (parent.subkeyCount != **count) {
            parent.subkeyCount = **count;
            m_editor.Store(parent.offset, key_fields::kSubkeyCount, parent.subkeyCount);
        }
        m_editor.Lookups().NoteInOrder(parent.offset);
    }
    const Checked<SubkeyPlace> place = SubkeyListEditor(m_editor).Find(list, name);
    if (!place) {
        return tl::unexpected(ToError(place.error()));
    }
    for (const CellOffset cell : {list, place->leaf}) {
        if (auto sole = CheckSole(cell); !sole) {
            return tl::unexpected(sole.error());
        }
    }
    return *place;
}

/// The place of a key that is there.
Result<SubkeyPlace> HiveWriter::OwnPlace(KeyNode& parent, const KeyNode& key)
{
    const Result<SubkeyPlace> place = PlaceOf(parent, key.name.ToUtf16());
    if (place && (place->found != key.offset || m_editor.Owners().IsMisplaced(key.offset))) {
        return tl::unexpected(ToError({Breach::kKeyParent, key.offset}));
    }
    return place;
}

unsigned HiveWriter::LevelOf(const KeyNode& key) const
{
    unsigned level = m_rootLevel;
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

/// The cell of a security record that is about to be changed.
Result<CellView> HiveWriter::SecurityRecord(CellOffset security) const
{
    const Checked<CellView> cell = m_hive.Cell(security);
    if (!cell || cell->size < kSecurityFixedSize || cell->Get(security_fields::kSignature) != signatures::kSecurity) {
        return tl::unexpected(ToError(cell ? HiveFault{Breach::kSecuritySignature, security} : cell.error()));
    }
    const Result<void> sole = CheckSole(security);
    return sole ? Result<CellView>(*cell) : tl::unexpected(sole.error());
}

/// Counts more or fewer keys. A count that was wrong is right afterwards.
Result<void> HiveWriter::ShareSecurity(CellOffset security, int change)
{
    const Result<CellView> cell = SecurityRecord(security);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    const std::uint32_t before =
        m_editor.Owners().TrueCount(security).value_or(cell->Get(security_fields::kReferences));
    const auto after = static_cast<std::uint32_t>(std::max<std::int64_t>(0, std::int64_t{before} + change));
    m_editor.Store(security, security_fields::kReferences, after);
    m_editor.Owners().NoteCount(security, after);
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
    const Result<CellView> after = SecurityRecord(next);
    const Result<CellView> before = SecurityRecord(previous);
    const bool isRing = after && before && after->Offset(security_fields::kPrevious) == security &&
                        before->Offset(security_fields::kNext) == security;
    if (isRing) {
        m_editor.Store(next, security_fields::kPrevious, previous);
        m_editor.Store(previous, security_fields::kNext, next);
        m_editor.Free(security);
    }
}

/// A cell with a class; nil for an empty one.
Result<CellOffset> HiveWriter::WriteClass(std::u16string_view className)
{
    Result<CellOffset> cell = CellOffset{};
    if (!className.empty()) {
        cell = m_editor.Allocate(static_cast<std::uint32_t>(2 * className.size()));
    }
    if (cell && !className.empty()) {
        m_editor.StoreBytes(*cell, 0, std::as_bytes(std::span(className)));
    }
    return cell;
}

Result<CellOffset> HiveWriter::WriteNode(const KeyNode& parent, std::u16string_view name, std::u16string_view className)
{
    const Result<CellOffset> cell =
        m_editor.Allocate(key_fields::kName + static_cast<std::uint32_t>(StoredName(name).size()));
    const Result<CellOffset> classCell = cell ? WriteClass(className) : cell;
    if (!classCell) {
        return classCell;
    }
    if (auto shared = ShareSecurity(parent.security, 1); !shared) {
        return tl::unexpected(shared.error());
    }
    const bool inheritsFlags = (parent.virtualizationFlags & kVirtualizeBelow) != 0;
    m_editor.Store(*cell, key_fields::kSignature, signatures::kKey);
    m_editor.Store(*cell, key_fields::kLastWrite, m_clock.Now());
    m_editor.Store(*cell, key_fields::kParent, parent.offset.value);
    for (const Field<std::uint32_t> list :
         {key_fields::kSubkeyList, key_fields::kVolatileList, key_fields::kValueList}) {
        m_editor.Store(*cell, list, CellOffset{});
    }
    m_editor.Store(*cell, key_fields::kSecurity, parent.security.value);
    m_editor.Store(*cell, key_fields::kClass, classCell->value);
    m_editor.Store(*cell, key_fields::kVirtualization,
                   static_cast<std::uint8_t>(inheritsFlags ? parent.virtualizationFlags & kVirtualizationMask : 0));
    m_editor.Store(*cell, key_fields::kClassLength, static_cast<std::uint16_t>(2 * className.size()));
    StoreName(*cell, name);
    return cell;
}

Result<CellOffset> HiveWriter::CreateKey(CellOffset parent, std::u16string_view name, std::u16string_view className)
{
    return AsOne([&] { return AddKey(parent, name, className); });
}

Result<CellOffset> HiveWriter::AddKey(CellOffset parent, std::u16string_view name, std::u16string_view className)
{
    Result<KeyNode> above = Key(parent);
    if (!above) {
        return tl::unexpected(above.error());
    }
    for (const Result<void>& valid : {CheckKeyName(name), CheckClass(className)}) {
        if (!valid) {
            return tl::unexpected(valid.error());
        }
    }
    if (LevelOf(*above) >= kMaxDepth) {
        return Failure(ErrorCode::kInvalidParameter, "a key below level 512");
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
        return newList;
    }
    m_editor.Store(parent, key_fields::kSubkeyList, newList->value);
    m_editor.Store(parent, key_fields::kSubkeyCount, above->subkeyCount + 1);
    RaiseMaxName(*above, name);
    RaiseField(parent, key_fields::kMaxClass, static_cast<std::uint32_t>(2 * className.size()));
    TouchKey(parent);
    m_editor.Lookups().NoteInOrder(*key); // it has no subkeys yet
    return key;
}

/// Takes the entry at `place` out of the lists of a key.
void HiveWriter::RemoveFromParent(const KeyNode& parent, const SubkeyPlace& place)
{
    const CellOffset list = SubkeyListEditor(m_editor).Remove(parent.subkeyList, place);
    m_editor.Store(parent.offset, key_fields::kSubkeyList, list.value);
    m_editor.Store(parent.offset, key_fields::kSubkeyCount, parent.subkeyCount - 1);
    TouchKey(parent.offset);
}

Result<void> HiveWriter::DeleteKey(CellOffset key)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        if (!node) {
            return tl::unexpected(node.error());
        }
        if (key == m_hive.Root() || node->Is(key_flags::kNoDelete) || node->subkeyCount != 0) {
            return Failure(ErrorCode::kAccessDenied);
        }
        Result<KeyNode> parent = ParentOf(*node);
        const Result<SubkeyPlace> place = parent ? OwnPlace(*parent, *node) : tl::unexpected(parent.error());
        const Result<std::vector<CellOffset>> cells = place ? OwnCells(*node) : tl::unexpected(place.error());
        if (!cells) {
            return tl::unexpected(cells.error());
        }
        RemoveFromParent(*parent, *place);
        std::ranges::for_each(*cells, [this](CellOffset cell) { m_editor.Free(cell); });
        ReleaseSecurity(node->security);
        m_editor.Free(key);
        m_editor.Lookups().Forget(key);
        return {};
    });
}

Result<void> HiveWriter::MakeLink(CellOffset key)
{
    return AsOne([&]() -> Result<void> {
        const Result<KeyNode> node = Key(key);
        if (!node) {
            return tl::unexpected(node.error());
        }
        if (key == m_hive.Root() || node->subkeyCount != 0 || node->valueCount != 0) {
            return Failure(ErrorCode::kAccessDenied);
        }
        m_editor.Store(key, key_fields::kFlags, static_cast<std::uint16_t>(node->flags | key_flags::kSymbolicLink));
        return {};
    });
}

Result<CellOffset> HiveWriter::RenameKey(CellOffset key, std::u16string_view name)
{
    return AsOne([&] { return MoveKey(key, name); });
}

Result<CellOffset> HiveWriter::MoveKey(CellOffset key, std::u16string_view name)
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
    Result<KeyNode> parent = ParentOf(*node);
    const Result<SubkeyPlace> oldPlace = parent ? OwnPlace(*parent, *node) : tl::unexpected(parent.error());
    const Result<SubkeyPlace> newPlace = oldPlace ? PlaceOf(*parent, name) : oldPlace;
    if (!newPlace) {
        return tl::unexpected(newPlace.error());
    }
    if (!newPlace->found.IsNil() && newPlace->found != key) {
        return Failure(ErrorCode::kAlreadyExists);
    }
    const Result<CellOffset> moved = MoveNode(*node, name);
    if (!moved) {
        return moved;
    }
    // The old entry goes first, so that a list of one never holds two.
    SubkeyListEditor lists(m_editor);
    lists.Replace(*oldPlace, *moved);
    const CellOffset shorter = lists.Remove(parent->subkeyList, *oldPlace);
    const Checked<SubkeyPlace> place = lists.Find(shorter, name);
    if (!place) {
        return tl::unexpected(ToError(place.error()));
    }
    const Result<CellOffset> list = lists.Insert(shorter, *place, *moved, name);
    if (!list) {
        return list;
    }
    m_editor.Store(parent->offset, key_fields::kSubkeyList, list->value);
    RaiseMaxName(*parent, name);
    TouchKey(parent->offset);
    return moved;
}

Result<CellOffset> HiveWriter::MoveNode(const KeyNode& key, std::u16string_view name)
{
    const Result<CellOffset> cell = m_editor.Grow(
        key.offset, key_fields::kName + static_cast<std::uint32_t>(StoredName(name).size()), key_fields::kName);
    if (!cell) {
        return cell;
    }
    StoreName(*cell, name);
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
    for (Checked<CellOffset> next = children.Next(); !next || !next->IsNil(); next = children.Next()) {
        const Checked<NameView> child = next ? m_hive.KeyName(*next) : tl::unexpected(next.error());
        if (!child) {
            return tl::unexpected(ToError(child.error()));
        }
        for (const CellOffset cell : {children.ListCell(), children.LeafCell(), *next}) {
            if (auto sole = CheckSole(cell); !sole) {
                return sole;
            }
        }
        m_editor.Store(*next, key_fields::kParent, parent.value);
        m_editor.Owners().NotePlaced(*next);
    }
    return {};
}

} // namespace tolvar
