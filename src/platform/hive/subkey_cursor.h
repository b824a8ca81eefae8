#pragma once

#include <cstdint>

#include "platform/hive/breach.h"
#include "platform/hive/cell_offset.h"
#include "platform/hive/subkey_list.h"

namespace tolvar {

class Hive;

/// Runs over the subkeys of one key, leaf by leaf. A damaged leaf answers a fault for itself, and the run goes on with
/// the next one. The whole run hands out at most as many offsets as keys can lie in the hive.
class SubkeyCursor {
public:
    SubkeyCursor() = default;

    /// `list` is nil for a key without subkeys. No more than `limit` offsets are handed out. `hive` must outlive this.
    SubkeyCursor(const Hive& hive, CellOffset list, std::uint32_t limit) noexcept
        : m_hive(&hive), m_list(list), m_limit(limit)
    {}

    /// The next subkey's offset; nil at the end; a fault for a list that can't be read, or for an element that points
    /// nowhere.
    [[nodiscard]] Checked<CellOffset> Next() noexcept
    {
        const CellOffset subkey = NextInLeaf();
        return subkey.IsNil() ? NextFromLeaves() : subkey;
    }

    /// What Next answers, as long as the leaf that it last read holds out; nil where Next has to look further.
    /// For those who ask a million times.
    [[nodiscard]] CellOffset NextInLeaf() noexcept
    {
        if (m_leafAt == m_leaf.count || m_position >= m_limit) {
            return {};
        }
        const CellOffset subkey = m_leaf.Offset(m_leafAt);
        if (!subkey.IsNil()) {
            ++m_leafAt;
            ++m_position;
        }
        return subkey;
    }

    /// Goes to subkey number `index` from where the cursor stands or, for a smaller number, from the start.
    /// The next call of Next answers it. Cost: one step a leaf on the way.
    void Seek(std::uint32_t index) noexcept;

    /// Passes over the rest of the leaf that Next last read.
    void SkipLeaf() noexcept { m_leafAt = m_leaf.count; }

    /// Number of subkeys that Next has answered, and so the index of the one that it answers next.
    [[nodiscard]] std::uint32_t Index() const noexcept { return m_position; }

    /// What the key names: an index, or the only leaf. Nil where there is nothing.
    [[nodiscard]] CellOffset ListCell() const noexcept { return m_list; }

    /// The leaf that Next last read, and its cell: nil before the first. For walks that keep track of who owns a cell.
    [[nodiscard]] CellOffset LeafCell() const noexcept { return m_leafCell; }
    [[nodiscard]] const SubkeyList& Leaf() const noexcept { return m_leaf; }

    /// Where in Leaf() the offset stands that Next last answered.
    [[nodiscard]] std::uint32_t PlaceInLeaf() const noexcept { return m_leafAt - 1; }

    /// Number of leaves opened so far. Unlike LeafCell it changes when an index names the same leaf twice.
    [[nodiscard]] std::uint32_t LeavesOpened() const noexcept { return m_nextLeaf; }

private:
    [[nodiscard]] bool IsIndexed() const noexcept { return m_index.kind == ListKind::kIndex; }
    [[nodiscard]] Checked<bool> OpenNextLeaf() noexcept;
    [[nodiscard]] Checked<CellOffset> NextFromLeaves() noexcept;

    const Hive* m_hive = nullptr;
    SubkeyList m_index; ///< what the key names: the index, or the only leaf
    SubkeyList m_leaf;
    CellOffset m_list;
    CellOffset m_leafCell;
    std::uint32_t m_leafAt = 0;
    std::uint32_t m_leafTotal = 0;
    std::uint32_t m_nextLeaf = 0;
    std::uint32_t m_position = 0;
    std::uint32_t m_limit = 0;
    bool m_started = false;
};

} // namespace tolvar
