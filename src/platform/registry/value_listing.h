#pragma once

#include <functional>
#include <string_view>

#include "platform/registry/winreg.h"

namespace tolvar {

/// A value as a list of a key needs it.
struct ListedValue {
    std::string_view name; ///< UTF-8, valid during the call
    DWORD index;           ///< for RegEnumValueA
    DWORD type;
};

/// Hands the values of an open key to `visit`, in the order of enumeration, but those of which RegEnumValueA can't tell
/// name, type and size: the record is damaged, or the data isn't there. Data is neither converted nor measured, and it
/// is done in one pass: a key with 100,000 values takes milliseconds, one with texts of 100 MB too. Answers 5 without
/// KEY_QUERY_VALUE on the handle, 6 for a handle that is not open, 1015 or 1016 for a damaged key or list.
LSTATUS ListValues(HKEY key, const std::function<void(const ListedValue&)>& visit);

} // namespace tolvar
