#pragma once

#include <string_view>

#include "platform/registry/winreg_access.h"

namespace tolvar {

/// A call that changes a store: alone in the session, and told to the observer once its lock is gone.
class WritingCall {
public:
    WritingCall(HKEY handle, Call call) : m_call(handle, call, RegistryCall::Purpose::kWrite) {}
    WritingCall(const WritingCall&) = delete;
    WritingCall& operator=(const WritingCall&) = delete;

    [[nodiscard]] LSTATUS Code() const noexcept { return m_call.Code(); }
    [[nodiscard]] Registry::State& State() const noexcept { return m_call.State(); }
    [[nodiscard]] OpenKey& Key() const noexcept { return m_call.Key(); }

    /// Notes what is not as it was in a key.
    void NoteChange(const KeyPart& part, KeyChange change)
    {
        ++State().generation;
        if (State().observer != nullptr) {
            State().feed.Note(State().names.PathOf(part), change);
        }
    }

private:
    ChangeScope m_scope; ///< goes behind the call's lock
    RegistryCall m_call;
};

} // namespace tolvar
