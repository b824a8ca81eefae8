#pragma once

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string_view>

#include "platform/registry/call_rights.h"
#include "platform/registry/registry_state.h"

namespace tolvar {

[[nodiscard]] inline LSTATUS CodeOf(const Error& error)
{
    return static_cast<LSTATUS>(error.code);
}

template <class T>
[[nodiscard]] LSTATUS CodeOf(const Result<T>& result)
{
    return result ? ERROR_SUCCESS : CodeOf(result.error());
}

/// One call's look at the current session: holds its lock, and knows the key behind the caller's handle.
class RegistryCall {
public:
    enum class Purpose {
        kRead,  ///< beside other readers
        kWrite, ///< alone
    };

    /// Looks `handle` up. Afterwards Code answers ERROR_SUCCESS, or what the call has to answer: 6 for a handle that is
    /// not open or no session, 5 where the rights of the handle don't allow `call`, or for a predefined handle those
    /// that the user has on the root now, 1018 for a key that was deleted.
    RegistryCall(HKEY handle, Call call, Purpose purpose = Purpose::kRead);

    [[nodiscard]] LSTATUS Code() const noexcept { return m_code; }
    [[nodiscard]] Registry::State& State() const noexcept { return *m_state; }
    [[nodiscard]] OpenKey& Key() const noexcept { return *m_key; }

    /// The stored key, of a merged one the first: its node, or a fault's code.
    [[nodiscard]] tl::expected<KeyNode, LSTATUS> Node() const noexcept;

    /// The code that a fault of a hive answers.
    [[nodiscard]] static LSTATUS CodeOf(const HiveFault& fault) noexcept
    {
        return fault.breach == Breach::kMediumFailed ? ERROR_REGISTRY_IO_FAILED : ERROR_REGISTRY_CORRUPT;
    }

private:
    Registry::State* m_state = nullptr;
    std::shared_lock<RegistryLock> m_shared;
    std::unique_lock<RegistryLock> m_alone;
    std::shared_ptr<OpenKey> m_key;
    LSTATUS m_code = ERROR_SUCCESS;
};

/// Stores a name for the caller: text, terminator, and its length in `*size`, which held the room.
/// Answers 234, and changes nothing, where the room is too small.
[[nodiscard]] LSTATUS StoreName(std::string_view name, char* buffer, DWORD* size);

} // namespace tolvar
