#include "platform/hive/subkey_list_editor.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kLeastIndex = 4; // leaves that a new index has room for

} // namespace

SubkeyList SubkeyListEditor::Parsed(CellOffset cell) const
{
    return *SubkeyList::Parse(m_hive, cell); // Find has read every list that is changed
}

Checked<SubkeyPlace> SubkeyListEditor::Find(CellOffset list, std::u16string_view name) const
{
    SubkeyPlace place;
    if (list.IsNil()) {
        return place;
    }
    const Checked<SubkeyList> top = SubkeyList::Parse(m_hive, list);
    if (!top) {
        return tl::unexpected(top.error());
    }
    place.leaf = list;
    if (top->kind == ListKind::kIndex) {
        // The last leaf whose first name is not above the one looked for; the first leaf for a name before all.
        std::uint32_t low = 0;
        std::uint32_t high = top->count;
        while (low < high) {
            const std::uint32_t middle = low + (high - low) / 2;
            const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, top->Offset(middle));
            if (!leaf || leaf->count == 0) {
                return leaf ? Fault(Breach::kListCount, top->Offset(middle)) : tl::unexpected(leaf.error());
            }
            const Checked<NameView> first = m_hive.KeyName(leaf->Offset(0));
            if (!first) {
                return tl::unexpected(first.error());
            }
            (CompareNames(*first, name) <= 0 ? low : high) = CompareNames(*first, name) <= 0 ? middle + 1 : middle;
        }
        if (top->count == 0) {
            return Fault(Breach::kListCount, list);
        }
        place.leafIndex = low != 0 ? low - 1 : 0;
        place.leaf = top->Offset(place.leafIndex);
    }
    const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, place.leaf);
    if (!leaf) {
        return tl::unexpected(leaf.error());
    }
    std::uint32_t low = 0;
    std::uint32_t high = leaf->count;
    while (low < high) {
        // Most keys are made in order: the end is looked at first.
        const std::uint32_t middle = high == leaf->count && low == 0 ? high - 1 : low + (high - low) / 2;
        const Checked<NameView> at = m_hive.KeyName(leaf->Offset(middle));
        if (!at) {
            return tl::unexpected(at.error());
        }
        const int order = CompareNames(*at, name);
        if (order == 0) {
            place.found = leaf->Offset(middle);
            place.index = middle;
            return place;
        }
        (order < 0 ? low : high) = order < 0 ? middle + 1 : middle;
    }
    place.index = low;
    return place;
}

Result<CellOffset> SubkeyListEditor::NewLeaf(CellOffset key, std::u16string_view name)
{
    const std::uint32_t minor = m_hive.Base().minor;
    const ListKind kind = minor < kFirstHintMinor   ? ListKind::kOffsets
                          : minor < kFirstHashMinor ? ListKind::kHints
                                                    : ListKind::kHashes;
    const Result<CellOffset> leaf =
        m_editor.Allocate(kListHeader + (kind == ListKind::kOffsets ? kPlainElement : kTaggedElement));
    if (leaf) {
        m_editor.Store(*leaf, list_fields::kSignature, SignatureOf(kind));
        InsertElement(*leaf, Parsed(*leaf), 0, key, TagOf(kind, name));
    }
    return leaf;
}

Result<CellOffset> SubkeyListEditor::Insert(CellOffset list, SubkeyPlace place, CellOffset key,
                                            std::u16string_view name)
{
    if (place.leaf.IsNil()) {
        return NewLeaf(key, name);
    }
    const SubkeyList leaf = Parsed(place.leaf);
    if (leaf.kind == ListKind::kHints && leaf.count >= kMaxHintLeaf) {
        const Result<CellOffset> plain = ConvertToOffsets(place.leaf);
        if (!plain) {
            return plain;
        }
        list = PointTo(list, place.leafIndex, *plain);
        place.leaf = *plain;
    } else if (leaf.count >= kMaxLeaf) {
        const Result<CellOffset> split = Split(list, place);
        if (!split) {
            return split;
        }
        const std::uint32_t half = Parsed(Parsed(*split).Offset(place.leafIndex)).count;
        if (place.index > half) {
            ++place.leafIndex;
            place.index -= half;
        }
        list = *split;
        place.leaf = Parsed(list).Offset(place.leafIndex);
    }
    const SubkeyList target = Parsed(place.leaf);
    const Result<CellOffset> room = RoomForOne(place.leaf, target);
    if (!room) {
        return room;
    }
    InsertElement(*room, Parsed(*room), place.index, key, TagOf(target.kind, name));
    return PointTo(list, place.leafIndex, *room);
}

Result<CellOffset> SubkeyListEditor::RoomForOne(CellOffset cell, const SubkeyList& list)
{
    const std::uint32_t used = kListHeader + list.count * list.elementSize;
    if (m_editor.Capacity(cell) >= used + list.elementSize) {
        return cell;
    }
    // By half, so that a list that grows is not copied for each entry; full lists take no more than they need.
    const std::uint32_t wanted = std::min(list.count + list.count / 2 + 1, std::max(kMaxLeaf, list.count + 1));
    return m_editor.Grow(cell, kListHeader + wanted * list.elementSize, used);
}

void SubkeyListEditor::InsertElement(CellOffset cell, const SubkeyList& list, std::uint32_t index, CellOffset target,
                                     std::uint32_t tag)
{
    const std::uint32_t at = kListHeader + index * list.elementSize;
    const std::uint32_t behind = (list.count - index) * list.elementSize;
    std::byte* place = m_editor.Touch(cell, at, behind + list.elementSize);
    std::memmove(place + list.elementSize, place, behind);
    std::memcpy(place, &target.value, 4);
    if (list.elementSize == kTaggedElement) {
        std::memcpy(place + 4, &tag, 4);
    }
    m_editor.Store(cell, list_fields::kCount, static_cast<std::uint16_t>(list.count + 1));
}

void SubkeyListEditor::RemoveElement(CellOffset cell, const SubkeyList& list, std::uint32_t index)
{
    const std::uint32_t at = kListHeader + index * list.elementSize;
    const std::uint32_t behind = (list.count - index - 1) * list.elementSize;
    std::byte* place = m_editor.Touch(cell, at, behind + list.elementSize);
    std::memmove(place, place + list.elementSize, behind);
    std::memset(place + behind, 0, list.elementSize);
    m_editor.Store(cell, list_fields::kCount, static_cast<std::uint16_t>(list.count - 1));
}

CellOffset SubkeyListEditor::PointTo(CellOffset list, std::uint32_t leafIndex, CellOffset leaf)
{
    const Checked<SubkeyList> top = SubkeyList::Parse(m_hive, list);
    if (!top || top->kind != ListKind::kIndex) { // the list was the leaf, and has perhaps moved
        return leaf;
    }
    m_editor.Store(list, list_fields::Offset(leafIndex, kPlainElement), leaf);
    return list;
}

Result<CellOffset> SubkeyListEditor::ConvertToOffsets(CellOffset leaf)
{
    const SubkeyList hints = Parsed(leaf);
    const Result<CellOffset> plain = m_editor.Allocate(kListHeader + kMaxLeaf * kPlainElement);
    if (!plain) {
        return plain;
    }
    m_editor.Store(*plain, list_fields::kSignature, SignatureOf(ListKind::kOffsets));
    m_editor.Store(*plain, list_fields::kCount, static_cast<std::uint16_t>(hints.count));
    for (std::uint32_t i = 0; i < hints.count; ++i) {
        m_editor.Store(*plain, list_fields::Offset(i, kPlainElement), hints.Offset(i));
    }
    m_editor.Free(leaf);
    return plain;
}

Result<CellOffset> SubkeyListEditor::Split(CellOffset list, const SubkeyPlace& place)
{
    const SubkeyList leaf = Parsed(place.leaf);
    const std::uint32_t kept = leaf.count / 2;
    const std::uint32_t moved = leaf.count - kept;
    // With room for the entry that the split is made for: behind it nothing can fail any more.
    const Result<CellOffset> upper = m_editor.Allocate(kListHeader + (moved + 1) * leaf.elementSize);
    if (!upper) {
        return upper;
    }
    const bool isIndexed = list != place.leaf;
    const Result<CellOffset> index =
        isIndexed ? RoomForOne(list, Parsed(list)) : m_editor.Allocate(kListHeader + kLeastIndex * kPlainElement);
    if (!index) {
        m_editor.Free(*upper);
        return index;
    }
    if (!isIndexed) {
        m_editor.Store(*index, list_fields::kSignature, SignatureOf(ListKind::kIndex));
        InsertElement(*index, Parsed(*index), 0, place.leaf, 0);
    }
    m_editor.Store(*upper, list_fields::kSignature, SignatureOf(leaf.kind));
    m_editor.Store(*upper, list_fields::kCount, static_cast<std::uint16_t>(moved));
    m_editor.StoreBytes(*upper, kListHeader,
                        leaf.cell.Bytes().subspan(kListHeader + kept * leaf.elementSize, moved * leaf.elementSize));
    m_editor.Store(place.leaf, list_fields::kCount, static_cast<std::uint16_t>(kept));
    InsertElement(*index, Parsed(*index), place.leafIndex + 1, *upper, 0);
    return index;
}

CellOffset SubkeyListEditor::Remove(CellOffset list, const SubkeyPlace& place)
{
    const SubkeyList leaf = Parsed(place.leaf);
    if (leaf.count > 1) {
        RemoveElement(place.leaf, leaf, place.index);
        return list;
    }
    m_editor.Free(place.leaf);
    if (list == place.leaf) {
        return {};
    }
    const SubkeyList index = Parsed(list);
    if (index.count > 1) {
        RemoveElement(list, index, place.leafIndex);
        return list;
    }
    m_editor.Free(list);
    return {};
}

void SubkeyListEditor::Replace(const SubkeyPlace& place, CellOffset key)
{
    m_editor.Store(place.leaf, list_fields::Offset(place.index, Parsed(place.leaf).elementSize), key);
}

} // namespace tolvar
