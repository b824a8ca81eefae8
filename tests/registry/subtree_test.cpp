#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "fixtures/writable_session.h"
#include "platform/registry/stored_value.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"
#include "registry/subtree.h"
#include "registry/value_text.h"

namespace tolvar {
namespace {

class Subtree : public testing::Test {
protected:
    Subtree()
    {
        Make("HKEY_USERS\\W\\from\\a\\deep", "one");
        Make("HKEY_USERS\\W\\from\\b", "two");
    }

    static void Make(const char* path, const char* text)
    {
        RegKey key;
        EXPECT_EQ(CreateKeyPath(path, *key.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExA(key.Get(), "v", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), 3), ERROR_SUCCESS);
    }

    static RegKey Open(const char* path)
    {
        RegKey key;
        OpenKeyPath(path, *key.Put(), KEY_ALL_ACCESS);
        return key;
    }

    static std::string Value(const char* path)
    {
        char data[16] = {};
        DWORD size = sizeof data;
        const LSTATUS code =
            RegQueryValueExA(Open(path).Get(), "v", nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size);
        return code == ERROR_SUCCESS ? data : "";
    }

    fixtures::WritableSession session;
};

TEST_F(Subtree, CopiesAKeyWithAllBelowItOntoWhatIsThere)
{
    Make("HKEY_USERS\\W\\to\\b", "old");
    Make("HKEY_USERS\\W\\to\\own", "own");
    const RegKey parent = Open("HKEY_USERS\\W");
    EXPECT_EQ(CopyKeyTree(Open("HKEY_USERS\\W\\from").Get(), parent.Get(), "to"), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(Value("HKEY_USERS\\W\\to\\a\\deep"), "one");
    EXPECT_EQ(Value("HKEY_USERS\\W\\to\\b"), "two");
    EXPECT_EQ(Value("HKEY_USERS\\W\\to\\own"), "own");
}

TEST_F(Subtree, CopiesDataOfAnySize)
{
    const std::vector<BYTE> large(300'000, BYTE{7});
    const RegKey key = Open("HKEY_USERS\\W\\from");
    ASSERT_EQ(RegSetValueExA(key.Get(), "large", 0, REG_BINARY, large.data(), 300'000), ERROR_SUCCESS);
    EXPECT_EQ(CopyKeyTree(key.Get(), Open("HKEY_USERS\\W").Get(), "to"), ERROR_NO_MORE_ITEMS);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(Open("HKEY_USERS\\W\\to").Get(), "large", nullptr, nullptr, nullptr, &size),
              ERROR_SUCCESS);
    EXPECT_EQ(size, 300'000U);
}

TEST_F(Subtree, LeavesWhatAStoredLinkLeadsTo)
{
    RegKey link;
    ASSERT_EQ(RegCreateKeyExA(Open("HKEY_USERS\\W").Get(), "gone\\link", 0, nullptr, REG_OPTION_CREATE_LINK,
                              KEY_ALL_ACCESS, nullptr, link.Put(), nullptr),
              ERROR_SUCCESS);
    const std::u16string target = u"\\Registry\\User\\W\\from";
    ASSERT_EQ(SetStoredValue(link.Get(), "SymbolicLinkValue", REG_LINK,
                             {reinterpret_cast<const BYTE*>(target.data()), 2 * target.size()}),
              ERROR_SUCCESS);
    ASSERT_EQ(Value("HKEY_USERS\\W\\gone\\link\\b"), "two");
    const RegKey parent = Open("HKEY_USERS\\W");
    EXPECT_EQ(CopyKeyTree(Open("HKEY_USERS\\W\\gone").Get(), parent.Get(), "copy"), ERROR_NO_MORE_ITEMS);
    EXPECT_FALSE(Open("HKEY_USERS\\W\\copy\\link\\b"));
    EXPECT_EQ(DeleteKeyTree(parent.Get(), "gone"), ERROR_SUCCESS);
    EXPECT_FALSE(Open("HKEY_USERS\\W\\gone"));
    EXPECT_EQ(Value("HKEY_USERS\\W\\from\\a\\deep"), "one");
}

TEST_F(Subtree, CopiesTheVeryBytes)
{
    const BYTE odd[] = {'x', 0, 'y'}; // the platform's own call would close it
    ASSERT_EQ(SetStoredValue(Open("HKEY_USERS\\W\\from").Get(), "odd", REG_SZ, odd), ERROR_SUCCESS);
    EXPECT_EQ(CopyKeyValues(Open("HKEY_USERS\\W\\from").Get(), Open("HKEY_USERS\\W").Get()), ERROR_SUCCESS);
    std::vector<BYTE> data;
    EXPECT_EQ(QueryStoredValue(Open("HKEY_USERS\\W").Get(), "odd", nullptr, &data), ERROR_SUCCESS);
    EXPECT_THAT(data, testing::ElementsAreArray(odd));
}

TEST_F(Subtree, DeletesAKeyWithAllBelowItOnEitherPlatform)
{
    for (const char* platform : {"5.1", "9x"}) {
        SCOPED_TRACE(platform);
        setenv("TOLVAR_PLATFORM", platform, 1);
        Make("HKEY_USERS\\W\\gone\\a\\deep", "one");
        const RegKey parent = Open("HKEY_USERS\\W");
        EXPECT_EQ(DeleteKeyTree(parent.Get(), "gone"), ERROR_SUCCESS);
        EXPECT_FALSE(Open("HKEY_USERS\\W\\gone"));
        EXPECT_EQ(DeleteKeyTree(parent.Get(), "gone"), ERROR_FILE_NOT_FOUND);
    }
    unsetenv("TOLVAR_PLATFORM");
    EXPECT_EQ(Value("HKEY_USERS\\W\\from\\b"), "two");
    ASSERT_TRUE(session.registry.Flush());
    EXPECT_EQ(fixtures::Findings(Hive::Open(session.File()).value()), "");
}

/// Refuses the right to delete one key.
class ProtectingCheck final : public AccessCheck {
public:
    REGSAM Granted(std::string_view path, std::span<const std::byte> /*descriptor*/, REGSAM desired) const override
    {
        return path.ends_with("\\deep") ? desired & ~DELETE : desired;
    }
};

TEST_F(Subtree, DeletesNothingWhereOneKeyRefuses)
{
    const RegKey parent = Open("HKEY_USERS\\W");
    const ProtectingCheck check;
    session.registry.SetAccessCheck(&check);
    EXPECT_EQ(DeleteKeyTree(parent.Get(), "from"), ERROR_ACCESS_DENIED);
    session.registry.SetAccessCheck(nullptr);
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\W\\from\\b\\link", "HKEY_LOCAL_MACHINE"));
    EXPECT_EQ(DeleteKeyTree(parent.Get(), "from"), ERROR_ACCESS_DENIED); // it holds something of the session's
    EXPECT_EQ(DeleteKeyTree(HKEY_USERS, "W"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Value("HKEY_USERS\\W\\from\\a\\deep"), "one");
    EXPECT_EQ(Value("HKEY_USERS\\W\\from\\b"), "two");
    EXPECT_EQ(DeleteKeyTree(Open("HKEY_USERS\\W\\from").Get(), "a"), ERROR_SUCCESS);
    EXPECT_FALSE(Open("HKEY_USERS\\W\\from\\a"));
}

TEST(ValueFromText, IsTheWayBackOfTheTextForm)
{
    struct Case {
        DWORD type;
        const char* text;
        std::vector<BYTE> bytes;
    };
    for (const Case& c : {
             Case{REG_SZ, "ab", {'a', 'b'}},
             Case{REG_MULTI_SZ, "a;b", {'a', 0, 'b'}},
             Case{REG_DWORD, "00001234", {0x34, 0x12, 0, 0}},
             Case{REG_DWORD, "", {0, 0, 0, 0}},
             Case{REG_DWORD_BIG_ENDIAN, "00001234", {0, 0, 0x12, 0x34}},
             Case{REG_BINARY, "01 02 FF", {1, 2, 0xFF}},
             Case{REG_BINARY, "01 02 ff ", {1, 2, 0xFF}},
             Case{REG_QWORD, "", {}},
         }) {
        EXPECT_EQ(ValueFromText(c.type, c.text), c.bytes) << c.type << " " << c.text;
    }
    for (const auto& [type, text] :
         {std::pair{REG_DWORD, "xyz"}, {REG_DWORD, "123456789"}, {REG_BINARY, "0"}, {REG_BINARY, "0g "}}) {
        EXPECT_EQ(ValueFromText(type, text), std::nullopt) << type << " " << text;
    }
    EXPECT_EQ(ValueTypeFromName("reg_multi_sz"), REG_MULTI_SZ);
    EXPECT_EQ(ValueTypeFromName("4294967295"), 0xFFFFFFFFU);
    EXPECT_EQ(ValueTypeFromName("REG_NOTHING"), std::nullopt);
    EXPECT_EQ(ValueTypeFromName("1x"), std::nullopt);
}

} // namespace
} // namespace tolvar
