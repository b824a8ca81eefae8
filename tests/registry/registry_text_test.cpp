#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/scratch_folder.h"
#include "platform/registry/registry.h"
#include "registry/environment_strings.h"
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
    for (std::uintptr_t handle = 0x80000000; handle <= 0x80000006; ++handle) {
        std::string name;
        EXPECT_TRUE(RootKeyName(name, reinterpret_cast<HKEY>(handle)));
        EXPECT_EQ(RootKeyFromName(name), reinterpret_cast<HKEY>(handle)) << name;
    }
    std::string name = "kept";
    EXPECT_FALSE(RootKeyName(name, reinterpret_cast<HKEY>(std::uintptr_t{7})));
    EXPECT_EQ(name, "kept");
}

TEST(RootKeys, AreShownAsThePlatformHasThem)
{
    struct Case {
        const char* platform;
        const char* sixth; ///< nothing: there are five
    };
    for (const Case& c : {Case{"5.1", nullptr}, Case{"6.1", nullptr}, Case{"4.0", "HKEY_PERFORMANCE_DATA"},
                          Case{"9x", "HKEY_DYN_DATA"}}) {
        setenv("TOLVAR_PLATFORM", c.platform, 1);
        std::vector<std::string> names;
        for (const RootKey& root : ShownRootKeys()) {
            names.emplace_back(root.name);
            EXPECT_EQ(RootKeyFromName(root.name), root.handle);
        }
        std::vector<std::string> expected = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE",
                                             "HKEY_USERS", "HKEY_CURRENT_CONFIG"};
        if (c.sixth != nullptr) {
            expected.emplace_back(c.sixth);
        }
        EXPECT_EQ(names, expected) << c.platform;
    }
    unsetenv("TOLVAR_PLATFORM");
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
    EXPECT_EQ(CreateKeyPath("HKEY_USERS", key, KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(key, HKEY_USERS);
    EXPECT_EQ(CreateKeyPath("HKEY_USERS\\x", key, KEY_READ), ERROR_ACCESS_DENIED);
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
             TextCase{REG_DWORD, "\x2a\0\0\0\x07\x07"s, "0000002a", "0x0000002a (42)"},
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

fixtures::BuiltValue Variable(std::u16string_view name, std::u16string_view text, DWORD type = REG_SZ)
{
    return {std::u16string(name), type, fixtures::TextData(text)};
}

TEST(EnvironmentText, IsExpandedFromTheRegistryThatIsOpen)
{
    const fixtures::BuiltKey user{.name = u"ROOT",
                                  .subkeys = {{.name = u"Environment",
                                               .values = {Variable(u"A", u"1"), Variable(u"B", u"%A%", REG_EXPAND_SZ),
                                                          Variable(u"No", u"x", REG_BINARY), Variable(u"Empty", u""),
                                                          Variable(u"Large", std::u16string(30000, u'L')),
                                                          Variable(u"TooLarge", std::u16string(40000, u'T'))}}}};
    const fixtures::ScratchFolder folder;
    const std::filesystem::path file = folder.Write("hive", fixtures::HiveBuilder().Build(user));
    Registry registry;
    const Session session(registry);
    ASSERT_TRUE(registry.Mount({file, "HKEY_CURRENT_USER"}));
    struct Case {
        const char* text;
        const char* expanded;
    };
    for (const Case& c : {Case{"", ""}, Case{"%", "%"}, Case{"%%", "%%"}, Case{"%A%", "1"}, Case{"-%a%%A%-", "-11-"},
                          Case{"%B%", "%A%"}, Case{"50% of %A%", "50% of 1"}, Case{"%A", "%A"}, Case{"%x%A%", "%x1"},
                          Case{"%No%", "%No%"}, Case{"[%Empty%]", "[]"}, Case{"%PATH%", "%PATH%"},
                          Case{"%TooLarge%", "%TooLarge%"}, Case{"\xFF%\xFF%", "\xFF%\xFF%"}}) {
        EXPECT_EQ(ExpandEnvironmentText(c.text), c.expanded);
    }
    // A text that would grow without end is expanded to a point, and goes on as it stands.
    std::string many;
    for (int i = 0; i < 1000; ++i) {
        many += "%Large%";
    }
    const std::string expanded = ExpandEnvironmentText(many);
    EXPECT_GT(expanded.size(), 60000U);
    EXPECT_LT(expanded.size(), 200000U);
    EXPECT_TRUE(expanded.starts_with("LLL") && expanded.ends_with("%Large%%Large%"));
    std::filesystem::remove(file);
}

} // namespace
} // namespace tolvar
