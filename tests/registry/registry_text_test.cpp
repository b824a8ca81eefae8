#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/registry/registry.h"
#include "registry/root_keys.h"
#include "registry/value_text.h"

namespace tolvar {
namespace {

TEST(RootKeys, AreTakenFromTheBeginningOfATextWithoutRegardToCase)
{
    struct Case {
        const char* text;
        HKEY root;
    };
    for (const Case& c : {Case{"hkey_local_machine\\x", HKEY_LOCAL_MACHINE}, Case{"HKEY_USERS", HKEY_USERS},
                          Case{"HKEY_USERS.OLD", HKEY_USERS}, Case{"HKEY_USER", nullptr}, Case{"", nullptr}}) {
        EXPECT_EQ(RootKeyFromName(c.text), c.root) << c.text;
    }
    std::string name = "kept";
    EXPECT_FALSE(RootKeyName(name, reinterpret_cast<HKEY>(std::uintptr_t{7})));
    EXPECT_EQ(name, "kept");
}

TEST(KeyPaths, OpenABareRootWithoutOpeningAnything)
{
    Registry registry;
    const Session session(registry);
    HKEY key = nullptr;
    EXPECT_EQ(OpenKeyPath("HKEY_USERS", key, KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(key, HKEY_USERS);
    EXPECT_EQ(OpenKeyPath("HKEY_USERS\\", key, KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(OpenKeyPath("HKEY_USERS\\x", key, KEY_READ), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenKeyPath("NOWHERE\\x", key, KEY_READ), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(key, nullptr);
}

struct TextCase {
    DWORD type;
    std::string data;
    const char* text;
    const char* listText;
};

TEST(ValueText, HasOneFormForEachType)
{
    Registry registry;
    const Session session(registry);
    using namespace std::string_literals;
    for (const TextCase& c : {
             TextCase{REG_SZ, "", "", ""},
             TextCase{REG_SZ, "\0"s, "", ""},
             TextCase{REG_SZ, "ab\0cd"s, "ab", "ab"},
             TextCase{REG_LINK, "ab", "ab", "ab"},
             TextCase{REG_EXPAND_SZ, "%none%\\%\0"s, "%none%\\%", "%none%\\%"},
             TextCase{REG_MULTI_SZ, "a\0b\0\0"s, "a;b", "a;b"},
             TextCase{REG_MULTI_SZ, "a\0\0b\0\0"s, "a", "a"},
             TextCase{REG_MULTI_SZ, "a\0b"s, "a;b", "a;b"},
             TextCase{REG_MULTI_SZ, "\0\0"s, "", ""},
             TextCase{REG_DWORD, "\x2a\0\0\0"s, "0000002a", "0x0000002a (42)"},
             TextCase{REG_DWORD, "\xff\xff\xff\xff", "ffffffff", "0xffffffff (4294967295)"},
             TextCase{REG_DWORD, "\x2a\x01", "2a 01 ", "2a 01 "},
             TextCase{REG_DWORD_BIG_ENDIAN, "\0\0\0\x2a"s, "0000002a", "0000002a"},
             TextCase{REG_BINARY, "\x01\xab", "01 ab ", "01 ab "},
             TextCase{11, "\x01", "01 ", "01 "},
         }) {
        const std::span data(reinterpret_cast<const BYTE*>(c.data.data()), c.data.size());
        EXPECT_EQ(ValueToText(c.type, data, ExpandStrings::kNo), c.text);
        EXPECT_EQ(ValueToListText(c.type, data), c.listText);
    }
    EXPECT_EQ(ValueTypeName(10), "REG_RESOURCE_REQUIREMENTS_LIST");
    EXPECT_EQ(ValueTypeName(11), "Custom type - 11");
    EXPECT_EQ(ValueTypeName(0xFFFF0011), "Custom type - -65519");
}

} // namespace
} // namespace tolvar
