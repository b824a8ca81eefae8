#pragma once

#include <string_view>

#include "platform/registry/winreg_access.h"

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

/// A call that changes a hive: alone in the session, and told to the observer once its lock is gone.
class WritingCall {
public:
    WritingCall(HKEY handle, REGSAM needed) : m_call(handle, needed, RegistryCall::Purpose::kWrite) {}
    WritingCall(const WritingCall&) = delete;
    WritingCall& operator=(const WritingCall&) = delete;

    [[nodiscard]] LSTATUS Code() const noexcept { return m_call.Code(); }
    [[nodiscard]] Registry::State& State() const noexcept { return m_call.State(); }
    [[nodiscard]] OpenKey& Key() const noexcept { return m_call.Key(); }

    /// The writer of the hive that `key` lies in, or what stands against writing there.
    [[nodiscard]] tl::expected<HiveWriter*, LSTATUS> WriterOf(const KeyReference& key) const
    {
        if (!key.HasHive()) {
            return tl::unexpected(ERROR_ACCESS_DENIED);
        }
        WritableHive* hive = State().WriterOf(key.hive);
        return hive != nullptr ? tl::expected<HiveWriter*, LSTATUS>(&hive->Writer())
                               : tl::unexpected(ERROR_WRITE_PROTECT);
    }

    /// Notes what is not as it was in the key at `path`.
    void NoteChange(std::string_view path, KeyChange change)
    {
        State().feed.Note(path, change);
        State().handles.ForEach([](OpenKey& open) { open.isEnumerating = false; });
    }

private:
    ChangeScope m_scope; ///< goes behind the call's lock
    RegistryCall m_call;
};

} // namespace tolvar
