#pragma once

#include <utility>

#include "platform/registry/winreg.h"

namespace tolvar {

/// Owns an open key handle and closes it at the end. A predefined handle may be held too: closing it does no harm.
class RegKey {
public:
    RegKey() = default;
    explicit RegKey(HKEY key) noexcept : m_hKey(key) {}
    RegKey(RegKey&& other) noexcept : m_hKey(other.Release()) {}
    RegKey& operator=(RegKey&& other) noexcept
    {
        if (this != &other) {
            Close();
            m_hKey = other.Release();
        }
        return *this;
    }
    RegKey(const RegKey&) = delete;
    RegKey& operator=(const RegKey&) = delete;
    ~RegKey() { Close(); }

    [[nodiscard]] HKEY Get() const noexcept { return m_hKey; }
    [[nodiscard]] explicit operator bool() const noexcept { return m_hKey != nullptr; }

    /// Where a call stores a new handle. Closes the one that is held.
    [[nodiscard]] HKEY* Put() noexcept
    {
        Close();
        return &m_hKey;
    }
    void Close() noexcept
    {
        if (m_hKey != nullptr) {
            RegCloseKey(std::exchange(m_hKey, nullptr));
        }
    }
    /// Hands the handle to the caller, who closes it.
    [[nodiscard]] HKEY Release() noexcept { return std::exchange(m_hKey, nullptr); }

private:
    HKEY m_hKey = nullptr;
};

} // namespace tolvar
