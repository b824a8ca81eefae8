#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/hive/cell_offset.h"
#include "platform/hive/name_view.h"

namespace tolvar {

/// The hash that a ValueNameTable goes by: of the upper-cased units, so that names that are equal without regard to
/// case have the same one.
[[nodiscard]] std::uint32_t ValueNameHash(std::u16string_view name) noexcept;
[[nodiscard]] std::uint32_t ValueNameHash(const NameView& name) noexcept;

/// The values of one key by the hashes of their names. It knows no names: whoever finds a value compares.
/// Memory: 12 to 24 bytes and 24 more a value, up to 48 while it grows.
class ValueNameTable {
public:
    struct Entry {
        std::uint32_t hash = 0;
        CellOffset cell;         ///< of the value's record; nil in a slot that is free
        std::uint32_t place = 0; ///< in the key's list when it was entered
    };

    explicit ValueNameTable(std::uint32_t values);

    /// False where too many hashes meet, as only names do that were chosen to: the table is then of no use any more.
    [[nodiscard]] bool Insert(const Entry& entry);

    /// Takes the value in this cell out, if it is there.
    void Remove(std::uint32_t hash, CellOffset cell) noexcept;

    /// Hands `visit` the entries with this hash until it returns true.
    template <class Visit>
    void ForEach(std::uint32_t hash, Visit&& visit) const
    {
        for (std::size_t at = SlotOf(hash); !m_slots[at].cell.IsNil(); at = After(at)) {
            if (m_slots[at].hash == hash && visit(m_slots[at])) {
                return;
            }
        }
    }

    [[nodiscard]] std::size_t Slots() const noexcept { return m_slots.size(); }

private:
    [[nodiscard]] std::size_t SlotOf(std::uint32_t hash) const noexcept { return hash & (m_slots.size() - 1); }
    [[nodiscard]] std::size_t After(std::size_t slot) const noexcept { return (slot + 1) & (m_slots.size() - 1); }
    [[nodiscard]] bool Grow();

    std::vector<Entry> m_slots; ///< a power of two, at most half of them taken
    std::size_t m_taken = 0;
};

} // namespace tolvar
