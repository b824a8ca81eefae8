#include <optional>

#include "platform/hive/hive.h"
#include "platform/hive/subkey_list.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

/// Whether a leaf's hint can stand for the name: its bytes up to a zero are the name's first units. A hint that begins
/// with zero says nothing.
bool HintMatches(std::uint32_t hint, std::u16string_view name) noexcept
{
    for (std::size_t i = 0; i < 4; ++i) {
        const auto unit = static_cast<char16_t>(hint >> (8 * i) & 0xFF);
        if (unit == 0) {
            return i == 0 || name.size() == i;
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
    Search(const Hive& hive, std::u16string_view name) noexcept : m_hive(hive), m_name(name), m_hash(NameHash(name)) {}

    [[nodiscard]] Checked<CellOffset> In(const SubkeyList& list) const noexcept
    {
        return list.kind == ListKind::kIndex ? InIndex(list) : InLeaf(list);
    }

private:
    /// The order of the key at `offset` and the name; nothing for a key that can't be read.
    [[nodiscard]] std::optional<int> Compare(CellOffset offset) const noexcept
    {
        const Checked<KeyNode> key = m_hive.Key(offset);
        return key ? std::optional(CompareNames(key->name, m_name)) : std::nullopt;
    }

    [[nodiscard]] Checked<CellOffset> InLeaf(const SubkeyList& leaf) const noexcept
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
        return Scan(leaf);
    }

    /// One pass over a leaf, for lists in wrong order and names beside a damaged key. Only candidates are looked at.
    [[nodiscard]] CellOffset Scan(const SubkeyList& leaf) const noexcept
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
        return {};
    }

    [[nodiscard]] Checked<CellOffset> InIndex(const SubkeyList& index) const noexcept
    {
        // The leaf that may hold the name is the last one whose first name is not above it.
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
        for (const std::uint32_t leaf : {low - 1, low}) {
            if (leaf >= index.count) {
                continue;
            }
            const Checked<SubkeyList> list = SubkeyList::ParseLeaf(m_hive, index.Offset(leaf));
            if (!list) {
                return InEveryLeaf(index);
            }
            if (const Checked<CellOffset> found = InLeaf(*list); !found || !found->IsNil()) {
                return found;
            }
        }
        return CellOffset{};
    }

    [[nodiscard]] Checked<CellOffset> InEveryLeaf(const SubkeyList& index) const noexcept
    {
        Checked<CellOffset> result = CellOffset{};
        for (std::uint32_t i = 0; i < index.count; ++i) {
            const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, index.Offset(i));
            if (!leaf) {
                result = tl::unexpected(leaf.error()); // the name may have been in here
                continue;
            }
            if (const CellOffset found = Scan(*leaf); !found.IsNil()) {
                return found;
            }
        }
        return result;
    }

    [[nodiscard]] std::optional<int> CompareFirst(CellOffset leafCell) const noexcept
    {
        const Checked<SubkeyList> leaf = SubkeyList::ParseLeaf(m_hive, leafCell);
        return leaf && leaf->count != 0 ? Compare(leaf->Offset(0)) : std::nullopt;
    }

    const Hive& m_hive;
    std::u16string_view m_name;
    std::uint32_t m_hash;
};

} // namespace

Checked<CellOffset> Hive::FindSubkey(const KeyNode& parent, std::u16string_view name) const noexcept
{
    if (parent.subkeyCount == 0 || parent.subkeyList.IsNil()) {
        return CellOffset{};
    }
    const Checked<SubkeyList> list = SubkeyList::Parse(*this, parent.subkeyList);
    if (!list) {
        return tl::unexpected(list.error());
    }
    return Search(*this, name).In(*list);
}

Checked<std::optional<ValueRecord>> Hive::FindValue(const KeyNode& key, std::u16string_view name) const noexcept
{
    const Checked<ValueListView> values = Values(key);
    if (!values) {
        return tl::unexpected(values.error());
    }
    for (std::uint32_t i = 0; i < values->count; ++i) {
        const Checked<ValueRecord> value = Value((*values)[i]);
        if (value && value->name.size() == name.size() && CompareNames(value->name, name) == 0) {
            return std::optional(*value);
        }
    }
    return std::optional<ValueRecord>();
}

} // namespace tolvar
