#include "registry/subtree.h"

#include <vector>

#include "platform/registry/key_image.h"
#include "platform/registry/stored_value.h"
#include "platform/system/version.h"
#include "registry/reg_key.h"

namespace tolvar {

namespace {

constexpr std::size_t kNameRoom = 3 * 16383 + 1; // of the longest name of a value, in UTF-8 with its terminator

/// A name as an enumeration answered it, or its code.
struct EnumeratedName {
    LSTATUS code;
    std::string name;
};

EnumeratedName SubkeyAt(HKEY key, DWORD index)
{
    constexpr DWORD kKeyNameRoom = 3 * 256 + 1;
    std::string name(kKeyNameRoom, '\0');
    DWORD size = kKeyNameRoom;
    const LSTATUS code = RegEnumKeyExA(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    name.resize(code == ERROR_SUCCESS ? size : 0);
    return {code, name};
}

std::string ClassOf(HKEY key)
{
    DWORD size = 0;
    RegQueryInfoKeyA(key, nullptr, &size, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr);
    std::string name(++size, '\0');
    const LSTATUS code = RegQueryInfoKeyA(key, name.data(), &size, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr);
    name.resize(code == ERROR_SUCCESS ? size : 0);
    return name;
}

} // namespace

LSTATUS DeleteKeyTree(HKEY parent, const std::string& name)
{
    if (!GetPlatformVersion().IsNT()) {
        return RegDeleteKeyA(parent, name.c_str());
    }
    RegKey key;
    if (const LSTATUS code = RegOpenKeyExA(parent, name.c_str(), REG_OPTION_OPEN_LINK, KEY_ALL_ACCESS, key.Put());
        code != ERROR_SUCCESS) {
        return code;
    }
    const LSTATUS code = CheckTree(key.Get(), KEY_ALL_ACCESS);
    return code == ERROR_SUCCESS ? RegDeleteTreeA(key.Get(), "") : code;
}

LSTATUS CopyKeyValues(HKEY source, HKEY destination)
{
    DWORD count = 0;
    LSTATUS code = RegQueryInfoKeyA(source, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr,
                                    nullptr, nullptr, nullptr);
    std::string name(kNameRoom, '\0');
    std::vector<BYTE> data;
    for (DWORD index = 0; code == ERROR_SUCCESS && index < count; ++index) {
        DWORD type = 0;
        auto nameSize = static_cast<DWORD>(kNameRoom);
        code = RegEnumValueA(source, index, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr);
        if (code == ERROR_SUCCESS) {
            code = QueryStoredValue(source, name.c_str(), &type, &data);
        }
        if (code == ERROR_SUCCESS) {
            static_cast<void>(SetStoredValue(destination, name.c_str(), type, data));
        }
    }
    return code;
}

LSTATUS CopyKeyTree(HKEY source, HKEY destinationParent, const std::string& name)
{
    RegKey destination;
    LSTATUS code = RegCreateKeyExA(destinationParent, name.c_str(), 0, ClassOf(source).c_str(), 0, KEY_WRITE, nullptr,
                                   destination.Put(), nullptr);
    if (code == ERROR_SUCCESS) {
        code = CopyKeyValues(source, destination.Get());
    }
    for (DWORD index = 0; code == ERROR_SUCCESS; ++index) {
        const EnumeratedName subkey = SubkeyAt(source, index);
        code = subkey.code;
        RegKey child;
        if (code == ERROR_SUCCESS) {
            code = RegOpenKeyExA(source, subkey.name.c_str(), REG_OPTION_OPEN_LINK, KEY_READ, child.Put());
        }
        if (code == ERROR_SUCCESS) {
            static_cast<void>(CopyKeyTree(child.Get(), destination.Get(), subkey.name));
        }
    }
    return code;
}

} // namespace tolvar
