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

std::uint32_t AgeOf(HKEY handle)
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle) >> (kAgeShift + 6));
}

} // namespace

std::size_t HandleTable::IndexOf(HKEY handle) const
{
    const auto bits = reinterpret_cast<std::uintptr_t>(handle);
    const std::size_t slot = bits >> 2 & kSlotMask;
    return slot < m_slots.size() && MakeHandle(slot, AgeOf(handle)) == handle && m_slots[slot].age == AgeOf(handle)
               ? slot
               : m_slots.size();
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
    const std::size_t slot = IndexOf(handle);
    return slot < m_slots.size() ? m_slots[slot].key : nullptr;
}

bool HandleTable::Remove(HKEY handle)
{
    const std::lock_guard lock(m_mutex);
    const std::size_t slot = IndexOf(handle);
    if (slot == m_slots.size() || m_slots[slot].key == nullptr) {
        return false;
    }
    m_slots[slot].key.reset();
    ++m_slots[slot].age;
    m_free.push_back(static_cast<std::uint32_t>(slot));
    return true;
}

} // namespace tolvar
