#include "platform/registry/handle_table.h"

namespace tolvar {

namespace {

// A handle is age, slot and two bits: above the 32 bits that the predefined handles occupy, and never null.
constexpr unsigned kSlotBits = 24;
constexpr std::uintptr_t kSlotMask = (std::uintptr_t{1} << kSlotBits) - 1;
constexpr unsigned kAgeShift = kSlotBits + 2;

HKEY MakeHandle(std::size_t slot, std::uint32_t age)
{
    return reinterpret_cast<HKEY>(std::uintptr_t{age} << (kAgeShift + 6) | slot << 2 | 2U);
}

} // namespace

std::optional<std::uint32_t> HandleTable::SlotOf(HKEY handle) const
{
    const auto slot = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle) >> 2 & kSlotMask);
    const bool isOpen =
        slot < m_slots.size() && m_slots[slot].key != nullptr && MakeHandle(slot, m_slots[slot].age) == handle;
    return isOpen ? std::optional(slot) : std::nullopt;
}

HKEY HandleTable::Insert(std::shared_ptr<OpenKey> key)
{
    const std::lock_guard lock(m_mutex);
    if (m_free.empty()) {
        m_free.push_back(static_cast<std::uint32_t>(m_slots.size()));
        m_slots.emplace_back();
    }
    const std::uint32_t slot = m_free.back();
    m_free.pop_back();
    m_slots[slot].key = std::move(key);
    return MakeHandle(slot, m_slots[slot].age);
}

std::shared_ptr<OpenKey> HandleTable::Find(HKEY handle) const
{
    const std::lock_guard lock(m_mutex);
    const std::optional<std::uint32_t> slot = SlotOf(handle);
    return slot ? m_slots[*slot].key : nullptr;
}

bool HandleTable::Remove(HKEY handle)
{
    const std::lock_guard lock(m_mutex);
    const std::optional<std::uint32_t> slot = SlotOf(handle);
    if (slot) {
        m_slots[*slot].key.reset();
        ++m_slots[*slot].age;
        m_free.push_back(*slot);
    }
    return slot.has_value();
}

} // namespace tolvar
