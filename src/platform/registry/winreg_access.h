#pragma once

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string_view>

#include "platform/registry/registry_state.h"

namespace tolvar {

/// One call's look at the current session: holds its lock, and knows the key behind the caller's handle.
class RegistryCall {
public:
    enum class Purpose {
        kRead,  ///< beside other readers
        kWrite, ///< alone
    };

    /// Looks `handle` up. Afterwards Code answers ERROR_SUCCESS, or what the call has to answer: 6 for a handle that is
    /// not open or no session, 5 where the handle lacks one of the rights in `needed`, 1018 for a key that was deleted.
    RegistryCall(HKEY handle, REGSAM needed, Purpose purpose = Purpose::kRead);

    [[nodiscard]] LSTATUS Code() const noexcept { return m_code; }
    [[nodiscard]] Registry::State& State() const noexcept { return *m_state; }
    [[nodiscard]] OpenKey& Key() const noexcept { return *m_key; }

    /// The hive's side of the key: its node, or a fault's code.
    [[nodiscard]] tl::expected<KeyNode, LSTATUS> Node() const noexcept;

    /// The code that a fault of a hive answers.
    [[nodiscard]] static LSTATUS CodeOf(const HiveFault& fault) noexcept
    {
        return fault.breach == Breach::kMediumFailed ? ERROR_REGISTRY_IO_FAILED : ERROR_REGISTRY_CORRUPT;
    }

private:
    Registry::State* m_state = nullptr;
    std::shared_lock<std::shared_mutex> m_shared;
    std::unique_lock<std::shared_mutex> m_alone;
    std::shared_ptr<OpenKey> m_key;
    LSTATUS m_code = ERROR_SUCCESS;
};

/// Stores a name for the caller: text, terminator, and its length in `*size`, which held the room.
/// Answers 234, and changes nothing, where the room is too small.
[[nodiscard]] LSTATUS StoreName(std::string_view name, char* buffer, DWORD* size);

} // namespace tolvar
