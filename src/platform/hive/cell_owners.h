#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/hive/hive.h"

namespace tolvar {

/// What a writer has to know of a damaged hive before it gives cells back or writes into them: which have more than one
/// owner, where references lead that find nothing, and which security records are counted wrong. Nothing of a sound
/// hive.
///
/// Cost of Survey: one walk over the hive. Memory: in proportion to what is wrong; while it runs a few bits for each 8
/// bytes of the hive.
class CellOwners {
public:
    [[nodiscard]] static CellOwners Survey(const Hive& hive);

    /// Whether anything else uses the cell, or a part of it. It can then be neither changed nor given back.
    [[nodiscard]] bool IsShared(CellOffset cell) const { return m_shared.contains(cell.value); }

    /// Notes that one owner lets go of the cell. Returns what can be given back by that: mostly `cell` itself, nil
    /// where something else uses it.
    [[nodiscard]] CellOffset Release(CellOffset cell);

    /// Whether another key lists this one than the one that it names as its parent.
    [[nodiscard]] bool IsMisplaced(CellOffset key) const { return m_misplaced.contains(key.value); }
    void NotePlaced(CellOffset key) { m_misplaced.erase(key.value); }

    /// Whether a reference that finds nothing leads into these bytes: whatever is put there would be taken for what it
    /// names.
    [[nodiscard]] bool IsAwaited(std::uint32_t begin, std::uint32_t end) const;

    /// How many keys refer to a security record whose own count is another one.
    [[nodiscard]] std::optional<std::uint32_t> TrueCount(CellOffset security) const;

    /// Notes the number of keys that a record is counted with from now on.
    void NoteCount(CellOffset security, std::uint32_t keys);

    /// Whether the hive is sound as far as a writer goes.
    [[nodiscard]] bool IsEmpty() const
    {
        return m_shared.empty() && m_awaited.empty() && m_counts.empty() && m_misplaced.empty();
    }

private:
    friend class OwnerSurvey;

    struct Sharing {
        std::uint32_t further = 0; ///< owners beside the first
        bool isNoCell = false;     ///< it only looks like one, and lies within `within`, or where no cells are
        CellOffset within;
    };

    std::unordered_map<std::uint32_t, Sharing> m_shared;
    std::unordered_set<std::uint32_t> m_misplaced;
    std::vector<std::uint32_t> m_awaited; ///< in order
    std::unordered_map<std::uint32_t, std::uint32_t> m_counts;
};

} // namespace tolvar
