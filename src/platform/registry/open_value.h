#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/registry/registry.h"
#include "platform/registry/value_cursor.h"
#include "platform/registry/winreg.h"
#include "platform/system/error.h"

namespace tolvar {

/// What an open key holds under one name, looked up once for all that is done with it before and while it is changed.
/// Where the registry was changed in between, the name is looked up again. For one thread; the handle must stay open.
class OpenValue {
public:
    /// `code` gets the answer: as RegQueryValueExA, but a missing value is success too. Needs KEY_QUERY_VALUE.
    [[nodiscard]] static OpenValue Find(HKEY key, const std::string& name, LSTATUS& code);

    [[nodiscard]] const std::u16string& Name() const noexcept { return m_name; } ///< as it was asked for
    [[nodiscard]] bool IsThere() const noexcept { return m_found.has_value(); }

    /// Shows the value to `visit`. Answers 2 where there is none, 1015 or 1016 where its data can't be had.
    [[nodiscard]] LSTATUS Visit(const std::function<void(const ValueCursor&)>& visit);

    /// As ImageOfValues of this one name.
    [[nodiscard]] Result<std::vector<std::byte>> Image();

    /// As SetStoredValue.
    [[nodiscard]] LSTATUS Store(DWORD type, std::span<const BYTE> data);

private:
    OpenValue(HKEY key, std::u16string name) : m_key(key), m_name(std::move(name)) {}
    [[nodiscard]] LSTATUS LookUp(const Registry::State& state, const KeyRef& key);

    HKEY m_key;
    std::u16string m_name;
    KeyPart m_part; ///< that has the value
    std::optional<PlacedValue> m_found;
    std::uint64_t m_generation = 0; ///< of the registry at the look-up; 0 for none
};

} // namespace tolvar
