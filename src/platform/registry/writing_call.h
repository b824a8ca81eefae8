#pragma once

#include <optional>
#include <string>

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
    WritingCall(HKEY handle, REGSAM needed) : m_call(std::in_place, handle, needed, RegistryCall::Purpose::kWrite)
    {
        m_code = m_call->Code();
    }
    ~WritingCall()
    {
        RegistryObserver* observer = m_changed.empty() ? nullptr : m_call->State().observer;
        m_call.reset();
        if (observer != nullptr) {
            observer->OnKeyChanged(m_changed);
        }
    }
    WritingCall(const WritingCall&) = delete;
    WritingCall& operator=(const WritingCall&) = delete;

    [[nodiscard]] LSTATUS Code() const noexcept { return m_code; }
    [[nodiscard]] Registry::State& State() const noexcept { return m_call->State(); }
    [[nodiscard]] OpenKey& Key() const noexcept { return m_call->Key(); }

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

    /// Notes that the key at `path` has other values or subkeys now.
    void NoteChange(std::string path)
    {
        m_changed = std::move(path);
        State().handles.ForEach([](OpenKey& open) { open.isEnumerating = false; });
    }

private:
    std::optional<RegistryCall> m_call;
    std::string m_changed;
    LSTATUS m_code;
};

} // namespace tolvar
