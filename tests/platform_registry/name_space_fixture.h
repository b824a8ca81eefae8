#pragma once

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "fixtures/writable_session.h"
#include "platform/registry/stored_value.h"
#include "platform/system/text.h"

namespace tolvar {

/// The subkeys of a key, as they are enumerated.
inline std::vector<std::string> Names(HKEY key)
{
    std::vector<std::string> names;
    char name[256];
    for (DWORD i = 0; RegEnumKeyA(key, i, name, sizeof name) == ERROR_SUCCESS; ++i) {
        names.emplace_back(name);
    }
    return names;
}

/// A writable hive at HKEY_USERS\W, to be filled by paths below it.
class NameSpaceTest : public testing::Test {
protected:
    static constexpr const char* kTop = "HKEY_USERS\\W\\";

    static HKEY Make(const std::string& path, DWORD options = 0)
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExA(HKEY_USERS, ("W\\" + path).c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr,
                                  &key, nullptr),
                  ERROR_SUCCESS)
            << path;
        return key;
    }
    static void Set(const std::string& path, const char* name, BYTE data)
    {
        EXPECT_EQ(SetStoredValue(Make(path), name, REG_BINARY, {&data, 1}), ERROR_SUCCESS);
    }
    /// A stored link to a target in the kernel's spelling.
    static void MakeLink(const std::string& path, const std::string& target)
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, ("W\\" + path).c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                                  KEY_ALL_ACCESS, nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        const std::u16string units = ToUtf16(target).value();
        ASSERT_EQ(SetStoredValue(key, "SymbolicLinkValue", REG_LINK,
                                 {reinterpret_cast<const BYTE*>(units.data()), 2 * units.size()}),
                  ERROR_SUCCESS);
    }
    static LSTATUS Open(const std::string& path, HKEY& key, DWORD options = 0)
    {
        return RegOpenKeyExA(HKEY_USERS, ("W\\" + path).c_str(), options, KEY_READ, &key);
    }
    /// The values of a key, "name=byte".
    static std::vector<std::string> Values(HKEY key)
    {
        std::vector<std::string> values;
        char name[256];
        BYTE data[8];
        DWORD length = sizeof name;
        DWORD size = sizeof data;
        for (DWORD i = 0; RegEnumValueA(key, i, name, &length, nullptr, nullptr, data, &size) == ERROR_SUCCESS; ++i) {
            values.push_back(fmt::format("{}={}", name, data[0]));
            length = sizeof name;
            size = sizeof data;
        }
        return values;
    }

    fixtures::WritableSession session;
};

} // namespace tolvar
