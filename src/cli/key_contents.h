#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/registry/winreg.h"

namespace tolvar {

/// One value as the registry's calls hand it out.
struct ListedValue {
    std::string name;
    DWORD type = 0;
    std::vector<BYTE> data;
};

/// Names of all subkeys of an open key, in stored order. A name that can't be read is left out.
[[nodiscard]] std::vector<std::string> SubkeyNames(HKEY key);

/// All values of an open key, in stored order. A value that can't be read is left out, and its code stored in
/// `*failure`.
[[nodiscard]] std::vector<ListedValue> ValuesOf(HKEY key, LSTATUS* failure);

/// The value of that name, or the code.
[[nodiscard]] LSTATUS ReadValue(HKEY key, const std::string& name, ListedValue& value);

} // namespace tolvar
