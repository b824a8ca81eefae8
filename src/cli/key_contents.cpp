#include "cli/key_contents.h"

namespace tolvar {

std::vector<std::string> SubkeyNames(HKEY key)
{
    std::vector<std::string> names;
    DWORD longest = 0;
    RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, &longest, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr);
    std::string name(longest + 1, '\0');
    for (DWORD index = 0;; ++index) {
        auto size = static_cast<DWORD>(name.size());
        const LSTATUS code = RegEnumKeyExA(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
        if (code == ERROR_NO_MORE_ITEMS || code == ERROR_INVALID_HANDLE || code == ERROR_ACCESS_DENIED) {
            return names;
        }
        if (code == ERROR_SUCCESS) {
            names.emplace_back(name, 0, size);
        }
    }
}

std::vector<ListedValue> ValuesOf(HKEY key, LSTATUS* failure)
{
    std::vector<ListedValue> values;
    DWORD count = 0;
    DWORD longestName = 0;
    *failure = RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, &longestName,
                                nullptr, nullptr, nullptr);
    std::string name(longestName + 1, '\0');
    for (DWORD index = 0; index < count; ++index) {
        ListedValue value;
        DWORD size = 0;
        auto nameSize = static_cast<DWORD>(name.size());
        LSTATUS code = RegEnumValueA(key, index, name.data(), &nameSize, nullptr, &value.type, nullptr, &size);
        if (code == ERROR_SUCCESS) {
            value.name.assign(name, 0, nameSize);
            value.data.resize(size);
            nameSize = static_cast<DWORD>(name.size());
            code = RegEnumValueA(key, index, name.data(), &nameSize, nullptr, &value.type, value.data.data(), &size);
        }
        if (code == ERROR_SUCCESS) {
            values.push_back(std::move(value));
        } else {
            *failure = code;
        }
    }
    return values;
}

LSTATUS ReadValue(HKEY key, const std::string& name, ListedValue& value)
{
    DWORD size = 0;
    if (const LSTATUS code = RegQueryValueExA(key, name.c_str(), nullptr, &value.type, nullptr, &size);
        code != ERROR_SUCCESS) {
        return code;
    }
    value.name = name;
    value.data.resize(size);
    return RegQueryValueExA(key, name.c_str(), nullptr, &value.type, value.data.data(), &size);
}

} // namespace tolvar
