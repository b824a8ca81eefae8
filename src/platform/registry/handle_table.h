#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/registry/open_key.h"

namespace tolvar {

/// The open handles of a session. A handle holds its slot's number and age, so that a stale or made-up one is found
/// out.
class HandleTable {
public:
    [[nodiscard]] HKEY Insert(std::shared_ptr<OpenKey> key);
    /// The key of a handle that is open; null for any other.
    [[nodiscard]] std::shared_ptr<OpenKey> Find(HKEY handle) const;
    /// False for a handle that is not open.
    bool Remove(HKEY handle);

    /// Shows every open key to `visit`. Only while nothing else reads or writes.
    template <class Visit>
    void ForEach(Visit&& visit)
    {
        const std::lock_guard lock(m_mutex);
        for (const Slot& slot : m_slots) {
            if (slot.key != nullptr) {
                visit(*slot.key);
            }
        }
    }

private:
    struct Slot {
        std::shared_ptr<OpenKey> key;
        std::uint32_t age = 1;
    };
    /// Number of the slot of a handle that is open.
    [[nodiscard]] std::optional<std::uint32_t> SlotOf(HKEY handle) const;

    mutable std::mutex m_mutex;
    std::vector<Slot> m_slots;
    std::vector<std::uint32_t> m_free;
};

} // namespace tolvar
