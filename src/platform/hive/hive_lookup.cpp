#include <optional>

#include "platform/hive/hive.h"
#include "platform/hive/subkey_list.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

/// Whether a leaf's hint can stand for the name: its bytes up to a zero, which ends the hint unless the name holds it,
/// are the name's first units. A hint that begins with zero says nothing.
bool HintMatches(std::uint32_t hint, std::u16string_view name) noexcept
{
    for (std::size_t i = 0; i < 4; ++i) {
        const auto unit = static_cast<char16_t>(hint >> (8 * i) & 0xFF);
        if (unit == 0) {
            return i == 0 || i >= name.size() || name[i] == 0;
        }
        if (i >= name.size() || UpCase(unit) != UpCase(name[i])) {
            return false;
        }
    }
    return true;
}

/// A search for one name in the lists of one key.
class Search {
public:
    Search(const Hive& hive, LookupCache& lookups, const KeyNode& parent, std::u16string_view name) noexcept
        : m_hive(hive), m_lookups(lookups), m_parent(parent), m_listCell(parent.subkeyList), m_name(name),
          m_hash(NameHash(name))
    {}

    [[nodiscard]] Checked<CellOffset> Run()
    {
        const Checked<SubkeyList> list = SubkeyList::Parse(m_hive, m_listCell);
        if (!list) {
            return tl::unexpected(list.error());
        }
        const CellOffset found = list->kind == ListKind::kIndex ? InIndex(*list) : InLeaf(*list);
        if (found.IsNil() && m_failure) {
            return tl::unexpected(*m_failure);
        }
        return found;
    }

private:
    /// The order of the key at `offset` and the name; nothing for a key that can't be read.
    [[nodiscard]] std::optional<int> Compare(CellOffset offset) noexcept
    {
        const Checked<NameView> name = m_hive.KeyName(offset);
        if (name) {
            return CompareNames(*name, m_name);
        }
        if (name.error().breach == Breach::kMediumFailed) {
            m_failure = name.error();
        }
        return std::nullopt;
    }

    /// Whether there is nothing more to look at after a bisection without a hit. A short list is looked through.
    [[nodiscard]] bool IsMissFinal(const SubkeyList& list)
    {
        const bool isLong = list.kind == ListKind::kIndex || list.count >= LookupCache::kMany;
        return isLong && m_lookups.IsMissFinal(m_hive, m_parent);
    }

    [[nodiscard]] CellOffset InLeaf(const SubkeyList& leaf)
    {
        const CellOffset found = Bisect(leaf);
        return found.IsNil() && !IsMissFinal(leaf) ? Scan(leaf) : found;
    }

    [[nodiscard]] CellOffset Bisect(const SubkeyList& leaf) noexcept
    {
        std::uint32_t low = 0;
        std::uint32_t high = leaf.count;
        while (low < high) {
            const std::uint32_t middle = low + (high - low) / 2;
            const std::optional<int> order = Compare(leaf.Offset(middle));
            if (!order) {
                break;
            }
            if (*order == 0) {
                return leaf.Offset(middle);
            }
            (*order < 0 ? low : high) = *order < 0 ? middle + 1 : middle;
        }
        return {};
    }

    /// One pass over a leaf, for lists in wrong order and names beside a damaged key. Only candidates are looked at.
    [[nodiscard]] CellOffset Scan(const SubkeyList& leaf) noexcept
    {
        for (std::uint32_t i = 0; i < leaf.count; ++i) {
            if (leaf.kind == ListKind::kHashes && leaf.Tag(i) != m_hash) {
                continue;
            }
            if (leaf.kind == ListKind::kHints && !HintMatches(leaf.Tag(i), m_name)) {
                continue;
            }
            if (Compare(leaf.Offset(i)) == 0) {
                return leaf.Offset(i);
            }
        }
        if (m_hive.MediumFailed(leaf.cell.Bytes())) {
            m_failure = HiveFault{Breach::kMediumFailed, m_listCell};
        }
        return {};
    }

    [[nodiscard]] CellOffset InIndex(const SubkeyList& index)
    {
        // Where all is in order, the leaf that may hold the name is the last one whose first name is not above it.
        std::uint32_t low = 0;
        std::uint32_t high = index.count;
        while (low < high) {
            const std::uint32_t middle = low + (high - low) / 2;
            const std::optional<int> order = CompareFirst(index.Offset(middle));
            if (!order) {
                return InEveryLeaf(index);
            }
            (*order <= 0 ? low : high) = *order <= 0 ? middle + 1 : middle;
        }
        if (low != 0) {
            const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, index.Offset(low - 1));
            const CellOffset found = leaf ? Bisect(*leaf) : CellOffset{};
            if (!found.IsNil()) {
                return found;
            }
        }
        return IsMissFinal(index) ? CellOffset{} : InEveryLeaf(index);
    }

    [[nodiscard]] CellOffset InEveryLeaf(const SubkeyList& index) noexcept
    {
        std::uint32_t rest = m_hive.Length() / kSmallestKeyCell;
        for (std::uint32_t i = 0; i < index.count; ++i) {
            const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, index.Offset(i));
            if (!leaf) {
                m_failure = leaf.error(); // the name may have been in here
                continue;
            }
            if (const CellOffset found = Scan(*leaf); !found.IsNil()) {
                return found;
            }
            if (leaf->count > rest) { // more than can be, so that some were there twice
                m_failure = HiveFault{Breach::kShared, m_listCell};
                return {};
            }
            rest -= leaf->count;
        }
        return {};
    }

    [[nodiscard]] std::optional<int> CompareFirst(CellOffset leafCell) noexcept
    {
        const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, leafCell);
        return leaf && leaf->count != 0 ? Compare(leaf->Offset(0)) : std::nullopt;
    }

    const Hive& m_hive;
    LookupCache& m_lookups;
    const KeyNode& m_parent;
    CellOffset m_listCell;
    std::u16string_view m_name;
    std::uint32_t m_hash;
    std::optional<HiveFault> m_failure; ///< of a list or of the medium: what is looked for may have lain there
};

/// Where `cell` stands in a list: at `before`, where it was once, or anywhere.
std::optional<std::uint32_t> PlaceOf(const ValueListView& values, CellOffset cell, std::uint32_t before) noexcept
{
    if (before < values.count && values[before] == cell) {
        return before;
    }
    constexpr std::uint32_t kBlock = 64; // without a branch for each, so that the compiler takes several at once
    std::uint32_t at = 0;
    for (bool isNear = false; at + kBlock <= values.count; at += kBlock) {
        for (std::uint32_t i = 0; i < kBlock; ++i) {
            isNear |= values[at + i] == cell;
        }
        if (isNear) {
            break;
        }
    }
    for (; at < values.count; ++at) {
        if (values[at] == cell) {
            return at;
        }
    }
    return std::nullopt;
}

} // namespace

Checked<CellOffset> Hive::FindSubkey(const KeyNode& parent, std::u16string_view name) const
{
    if (parent.subkeyCount == 0 || parent.subkeyList.IsNil()) {
        return CellOffset{};
    }
    return Search(*this, *m_lookups, parent, name).Run();
}

Checked<std::optional<std::uint32_t>> Hive::CountInOrder(CellOffset list) const noexcept
{
    SubkeyCursor cursor(*this, list, m_length);
    NameView previous;
    while (true) {
        const Checked<CellOffset> next = cursor.Next();
        if (!next) {
            return tl::unexpected(next.error());
        }
        if (next->IsNil()) {
            return cursor.Index();
        }
        const Checked<NameView> name = KeyName(*next);
        if (!name) {
            return tl::unexpected(name.error());
        }
        if (previous.data != nullptr && CompareNames(previous, *name) >= 0) {
            return std::nullopt;
        }
        previous = *name;
    }
}

Checked<std::optional<PlacedValue>> Hive::ReadForValue(const ValueListView& values, std::u16string_view name) const
{
    std::optional<HiveFault> failure;
    for (std::uint32_t i = 0; i < values.count; ++i) {
        const Checked<ValueRecord> value = Value(values[i]);
        if (value && value->name.size() == name.size() && CompareNames(value->name, name) == 0) {
            return PlacedValue{i, *value};
        }
        if (!value && value.error().breach == Breach::kMediumFailed) {
            failure = value.error();
        }
    }
    if (MediumFailed({values.data, std::size_t{4} * values.count})) {
        failure = HiveFault{Breach::kMediumFailed, values.cell};
    }
    return failure ? tl::unexpected(*failure) : Checked<std::optional<PlacedValue>>(std::nullopt);
}

/// FindPlacedValue, but for a place that may be an older one.
Checked<std::optional<PlacedValue>> Hive::LookUpValue(const KeyNode& key, const ValueListView& values,
                                                      std::u16string_view name) const
{
    if (values.count < LookupCache::kMany) {
        return ReadForValue(values, name);
    }
    const std::optional<LookupCache::KnownValue> known = m_lookups->FindValue(*this, key.offset, values, name);
    if (!known) {
        return ReadForValue(values, name);
    }
    if (known->cell.IsNil()) {
        return std::nullopt;
    }
    const Checked<ValueRecord> record = Value(known->cell);
    return record ? Checked<std::optional<PlacedValue>>(PlacedValue{known->place, *record})
                  : tl::unexpected(record.error());
}

Checked<std::optional<ValueRecord>> Hive::FindValue(const KeyNode& key, std::u16string_view name) const
{
    const Checked<ValueListView> values = Values(key);
    const Checked<std::optional<PlacedValue>> found =
        values ? LookUpValue(key, *values, name) : tl::unexpected(values.error());
    if (!found || !*found) {
        return found ? Checked<std::optional<ValueRecord>>(std::nullopt) : tl::unexpected(found.error());
    }
    return (*found)->record;
}

Checked<std::optional<PlacedValue>> Hive::FindPlacedValue(const KeyNode& key, std::u16string_view name) const
{
    const Checked<ValueListView> values = Values(key);
    Checked<std::optional<PlacedValue>> found =
        values ? LookUpValue(key, *values, name) : tl::unexpected(values.error());
    if (found && *found) {
        const std::optional<std::uint32_t> place = PlaceOf(*values, (*found)->record.offset, (*found)->place);
        return place ? Checked<std::optional<PlacedValue>>(PlacedValue{*place, (*found)->record})
                     : ReadForValue(*values, name);
    }
    return found;
}

} // namespace tolvar
