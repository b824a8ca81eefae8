#include "platform/hive/value_name_table.h"

#include <bit>
#include <utility>

#include "platform/system/text.h"

namespace tolvar {

namespace {

constexpr std::size_t kLeastSlots = 16;
constexpr unsigned kMaxRun = 256; // slots; half full by chance, runs of a hundred are not met
constexpr unsigned kMaxEqual = 4; // hashes; among all values that a key can have, three equal ones are rare

template <class Name>
std::uint32_t HashOf(const Name& name) noexcept
{
    std::uint64_t hash = 0xCBF29CE484222325; // Fowler, Noll and Vo, by units
    for (std::size_t i = 0; i < name.size(); ++i) {
        hash = (hash ^ UpCase(name[i])) * 0x100000001B3;
    }
    return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

} // namespace

std::uint32_t ValueNameHash(std::u16string_view name) noexcept
{
    return HashOf(name);
}

std::uint32_t ValueNameHash(const NameView& name) noexcept
{
    return HashOf(name);
}

ValueNameTable::ValueNameTable(std::uint32_t values)
    : m_slots(std::bit_ceil(std::max(kLeastSlots, 2 * std::size_t{values} + 2)))
{}

bool ValueNameTable::Insert(const Entry& entry)
{
    if (2 * m_taken >= m_slots.size() && !Grow()) {
        return false;
    }
    std::size_t at = SlotOf(entry.hash);
    unsigned equal = 0;
    for (unsigned run = 0; !m_slots[at].cell.IsNil(); at = After(at)) {
        equal += m_slots[at].hash == entry.hash ? 1 : 0;
        if (++run == kMaxRun || equal == kMaxEqual) {
            return false;
        }
    }
    m_slots[at] = entry;
    ++m_taken;
    return true;
}

bool ValueNameTable::Grow()
{
    const std::vector<Entry> old = std::exchange(m_slots, std::vector<Entry>(2 * m_slots.size()));
    m_taken = 0;
    for (const Entry& entry : old) {
        if (!entry.cell.IsNil() && !Insert(entry)) {
            return false;
        }
    }
    return true;
}

void ValueNameTable::Remove(std::uint32_t hash, CellOffset cell) noexcept
{
    std::size_t hole = SlotOf(hash);
    while (m_slots[hole].cell != cell) {
        if (m_slots[hole].cell.IsNil()) {
            return;
        }
        hole = After(hole);
    }
    // What stands after the hole and would be looked for before it moves up, so that no run has a gap.
    for (std::size_t at = After(hole); !m_slots[at].cell.IsNil(); at = After(at)) {
        const std::size_t mask = m_slots.size() - 1;
        const std::size_t fromHome = (at - SlotOf(m_slots[at].hash)) & mask;
        if (fromHome >= ((at - hole) & mask)) {
            m_slots[hole] = m_slots[at];
            hole = at;
        }
    }
    m_slots[hole] = {};
    --m_taken;
}

} // namespace tolvar
