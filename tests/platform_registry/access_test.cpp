#include <functional>

#include <gtest/gtest.h>

#include "fixtures/writable_session.h"
#include "platform/registry/key_image.h"
#include "platform/registry/open_value.h"
#include "platform/registry/stored_value.h"
#include "platform/registry/subkey_listing.h"

namespace tolvar {
namespace {

constexpr const char* kKey = "HKEY_USERS\\W\\k";

/// Grants the rights of a mask on one key, and all on any other.
class MaskCheck final : public AccessCheck {
public:
    std::string path = kKey;
    REGSAM mask = KEY_ALL_ACCESS;

    [[nodiscard]] REGSAM Granted(std::string_view asked, std::span<const std::byte> /*descriptor*/,
                                 REGSAM desired) const override
    {
        const REGSAM rights = asked == path ? mask : KEY_ALL_ACCESS;
        return (desired & MAXIMUM_ALLOWED) != 0 ? rights : desired & rights;
    }
};

class Access : public testing::Test {
protected:
    void SetUp() override { MakeKey(); }

    /// The key as it was in the beginning, with a value and a subkey.
    static void MakeKey()
    {
        static_cast<void>(RegDeleteTreeA(HKEY_USERS, "W\\k"));
        static_cast<void>(RegDeleteTreeA(HKEY_USERS, "W\\renamed"));
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\k", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
        const BYTE data = 1;
        ASSERT_EQ(SetStoredValue(key, "v", REG_BINARY, {&data, 1}), 0);
        ASSERT_EQ(RegCloseKey(key), 0);
    }
    static HKEY Open(REGSAM access)
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_USERS, "W\\k", 0, access, &key), ERROR_SUCCESS) << access;
        return key;
    }
    template <class T>
    static LSTATUS Code(const Result<T>& result)
    {
        return result ? ERROR_SUCCESS : static_cast<LSTATUS>(result.error().code);
    }

    fixtures::WritableSession session;
};

TEST_F(Access, EachCallNeedsItsRightOnTheHandleAndNoOther)
{
    const std::string saved = session.File().string() + ".saved";
    ASSERT_EQ(RegSaveKeyA(Open(0), saved.c_str(), nullptr), ERROR_SUCCESS);
    const std::vector<std::byte> keyBytes = ImageOfKey(Open(KEY_QUERY_VALUE)).value();
    const std::vector<std::byte> valueBytes =
        ImageOfValues(Open(KEY_QUERY_VALUE), std::vector<std::string>{"v"}).value();
    const KeyImage keyImage = KeyImage::FromBytes(keyBytes, "key").value();
    const KeyImage valueImage = KeyImage::FromBytes(valueBytes, "values").value();
    static char name[64];
    static BYTE data[256];
    static DWORD size;
    static DWORD dataSize;
    static HKEY opened;
    const auto queried = [](const auto& call) {
        size = sizeof name;
        dataSize = sizeof data;
        return call();
    };
    struct Case {
        const char* what;
        REGSAM right;
        std::function<LSTATUS(HKEY)> call;
    };
    const Case cases[] = {
        {"open below", 0, [](HKEY key) { return RegOpenKeyExA(key, "", 0, 0, &opened); }},
        {"create below", 0,
         [](HKEY key) { return RegCreateKeyExA(key, "new", 0, nullptr, 0, 0, nullptr, &opened, nullptr); }},
        {"delete below", 0,
         [](HKEY key) {
             static_cast<void>(RegCreateKeyExA(key, "new", 0, nullptr, 0, 0, nullptr, &opened, nullptr));
             return RegDeleteKeyA(key, "new");
         }},
        {"info", KEY_QUERY_VALUE,
         [](HKEY key) {
             return RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &size, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, nullptr);
         }},
        {"enumerate keys", KEY_ENUMERATE_SUB_KEYS,
         [](HKEY key) {
             const LSTATUS code = RegEnumKeyA(key, 0, name, sizeof name);
             return code == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : code;
         }},
        {"list keys", KEY_ENUMERATE_SUB_KEYS, [](HKEY key) { return ListSubkeys(key, KEY_READ, [](const auto&) {}); }},
        {"enumerate values", KEY_QUERY_VALUE,
         [&](HKEY key) {
             return queried([key] { return RegEnumValueA(key, 0, name, &size, nullptr, nullptr, data, &dataSize); });
         }},
        {"query", KEY_QUERY_VALUE,
         [&](HKEY key) {
             return queried([key] { return RegQueryValueExA(key, "v", nullptr, nullptr, data, &dataSize); });
         }},
        {"query stored", KEY_QUERY_VALUE, [](HKEY key) { return QueryStoredValue(key, "v", nullptr, nullptr); }},
        {"look up", KEY_QUERY_VALUE,
         [](HKEY key) {
             LSTATUS code = ERROR_SUCCESS;
             static_cast<void>(OpenValue::Find(key, "v", code));
             return code;
         }},
        {"set", KEY_SET_VALUE, [](HKEY key) { return RegSetValueExA(key, "v", 0, REG_BINARY, data, 1); }},
        {"set stored", KEY_SET_VALUE,
         [](HKEY key) {
             return SetStoredValue(key, "v", REG_BINARY, {data, 1});
         }},
        {"delete a value", KEY_SET_VALUE, [](HKEY key) { return RegDeleteValueA(key, "v"); }},
        {"rename a value", KEY_SET_VALUE, [](HKEY key) { return RegRenameValue(key, "v", "w"); }},
        {"delete", DELETE, [](HKEY key) { return RegDeleteKeyA(key, ""); }},
        {"delete the tree", DELETE, [](HKEY key) { return RegDeleteTreeA(key, ""); }},
        {"rename", DELETE, [](HKEY key) { return RegRenameKey(key, "", "renamed"); }},
        {"security", READ_CONTROL,
         [&](HKEY key) {
             return queried([key] { return RegGetKeySecurity(key, OWNER_SECURITY_INFORMATION, data, &dataSize); });
         }},
        {"flush", 0, [](HKEY key) { return RegFlushKey(key); }},
        {"save", 0,
         [file = saved + "2"](HKEY key) {
             std::filesystem::remove(file);
             return RegSaveKeyA(key, file.c_str(), nullptr);
         }},
        {"restore", KEY_ALL_ACCESS, [&saved](HKEY key) { return RegRestoreKeyA(key, saved.c_str(), 0); }},
        {"image", KEY_QUERY_VALUE, [](HKEY key) { return Code(ImageOfKey(key)); }},
        {"image of values", KEY_QUERY_VALUE,
         [](HKEY key) { return Code(ImageOfValues(key, std::vector<std::string>{"v"})); }},
        {"lay an image", KEY_SET_VALUE, [&keyImage](HKEY key) { return Code(LayKeyImage(key, keyImage)); }},
        {"replace by an image", KEY_ALL_ACCESS,
         [&keyImage](HKEY key) { return Code(ReplaceByKeyImage(key, keyImage)); }},
        {"lay values", KEY_SET_VALUE, [&valueImage](HKEY key) { return Code(LayValueImage(key, valueImage)); }},
        {"inspect", 0, [](HKEY key) { return CheckWritable(key); }},
        {"inspect the tree", 0, [](HKEY key) { return CheckTree(key, KEY_ALL_ACCESS); }},
        {"stored name", 0, [](HKEY key) { return Code(StoredKeyName(key)); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        for (REGSAM bit = 1; bit != 0; bit <<= 1) {
            if ((c.right & bit) != 0) {
                MakeKey();
                EXPECT_EQ(c.call(Open(KEY_ALL_ACCESS & ~bit)), ERROR_ACCESS_DENIED) << "without " << bit;
            }
        }
        MakeKey();
        EXPECT_EQ(c.call(Open(c.right)), ERROR_SUCCESS);
        EXPECT_EQ(c.call(nullptr), ERROR_INVALID_HANDLE);
    }
}

TEST_F(Access, IsWhatTheCheckGrants)
{
    MaskCheck check;
    session.registry.SetAccessCheck(&check);
    constexpr REGSAM kMost = MAXIMUM_ALLOWED;
    struct Case {
        REGSAM mask;
        REGSAM desired;
        LSTATUS code;
        REGSAM granted; ///< of the rights to query and to set
    };
    constexpr REGSAM kBoth = KEY_QUERY_VALUE | KEY_SET_VALUE;
    for (const Case& c : {
             Case{KEY_ALL_ACCESS, KEY_READ, ERROR_SUCCESS, KEY_QUERY_VALUE},
             Case{KEY_ALL_ACCESS, kMost, ERROR_SUCCESS, kBoth},
             Case{KEY_READ, KEY_READ, ERROR_SUCCESS, KEY_QUERY_VALUE},
             Case{KEY_READ, kMost, ERROR_SUCCESS, KEY_QUERY_VALUE},
             Case{KEY_READ, kMost | KEY_QUERY_VALUE, ERROR_SUCCESS, KEY_QUERY_VALUE},
             Case{KEY_READ, kMost | KEY_SET_VALUE, ERROR_ACCESS_DENIED, 0},
             Case{KEY_READ, KEY_READ | KEY_SET_VALUE, ERROR_ACCESS_DENIED, 0}, // a part of them is not enough
             Case{KEY_SET_VALUE, kMost, ERROR_SUCCESS, KEY_SET_VALUE},
             Case{KEY_SET_VALUE, KEY_SET_VALUE, ERROR_SUCCESS, KEY_SET_VALUE},
             Case{0, kMost, ERROR_ACCESS_DENIED, 0},
             Case{0, KEY_NOTIFY, ERROR_ACCESS_DENIED, 0},
             Case{0, 0, ERROR_SUCCESS, 0},
         }) {
        SCOPED_TRACE(testing::Message() << std::hex << c.mask << " for " << c.desired);
        check.mask = KEY_ALL_ACCESS;
        MakeKey();
        check.mask = c.mask;
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_USERS, "W\\k", 0, c.desired, &key), c.code);
        EXPECT_EQ(key != nullptr, c.code == ERROR_SUCCESS);
        if (key == nullptr) {
            continue;
        }
        const bool canQuery = (c.granted & KEY_QUERY_VALUE) != 0;
        const bool canSet = (c.granted & KEY_SET_VALUE) != 0;
        EXPECT_EQ(QueryStoredValue(key, "v", nullptr, nullptr), canQuery ? ERROR_SUCCESS : ERROR_ACCESS_DENIED);
        EXPECT_EQ(RegDeleteValueA(key, "v"), canSet ? ERROR_SUCCESS : ERROR_ACCESS_DENIED);
        check.mask = 0; // an open handle keeps what it was granted
        EXPECT_EQ(QueryStoredValue(key, "w", nullptr, nullptr), canQuery ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED);
    }
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyA(HKEY_USERS, "W\\k", &key), ERROR_ACCESS_DENIED);
    check.mask = KEY_QUERY_VALUE;
    EXPECT_EQ(RegOpenKeyA(HKEY_USERS, "W\\k", &key), ERROR_SUCCESS); // asks for the most
}

TEST_F(Access, IsJudgedAtTheKeyThatACallNames)
{
    MaskCheck check;
    struct Case {
        const char* what;
        REGSAM right; ///< on the key that is named, or on the parent of a new one
        std::function<LSTATUS()> call;
    };
    const Case cases[] = {
        {"create", KEY_CREATE_SUB_KEY,
         [] {
             HKEY made = nullptr;
             return RegCreateKeyExA(HKEY_USERS, "W\\k\\a\\b", 0, nullptr, 0, 0, nullptr, &made, nullptr);
         }},
        {"delete", DELETE, [] { return RegDeleteKeyA(HKEY_USERS, "W\\k"); }},
        {"delete the tree", DELETE, [] { return RegDeleteTreeA(HKEY_USERS, "W\\k"); }},
        {"rename", DELETE, [] { return RegRenameKey(HKEY_USERS, "W\\k", "renamed"); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        session.registry.SetAccessCheck(nullptr);
        MakeKey();
        session.registry.SetAccessCheck(&check);
        check.mask = KEY_ALL_ACCESS & ~c.right;
        EXPECT_EQ(c.call(), ERROR_ACCESS_DENIED);
        check.mask = c.right;
        EXPECT_EQ(c.call(), ERROR_SUCCESS);
    }
}

TEST_F(Access, OfARootIsJudgedAtTheCall)
{
    MaskCheck check;
    check.path = "HKEY_USERS";
    check.mask = KEY_ALL_ACCESS & ~KEY_ENUMERATE_SUB_KEYS;
    session.registry.SetAccessCheck(&check);
    char name[16];
    EXPECT_EQ(RegEnumKeyA(HKEY_USERS, 0, name, sizeof name), ERROR_ACCESS_DENIED);
    EXPECT_EQ(ListSubkeys(HKEY_USERS, KEY_READ, [](const auto&) {}), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegQueryValueExA(HKEY_USERS, "v", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
    Open(KEY_READ); // what lies below is another matter
    check.mask = KEY_ENUMERATE_SUB_KEYS;
    EXPECT_EQ(RegEnumKeyA(HKEY_USERS, 0, name, sizeof name), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExA(HKEY_USERS, "v", nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
}

TEST_F(Access, OfATreeIsJudgedAtEachKeyOfIt)
{
    HKEY made = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\k\\a\\b", 0, nullptr, 0, 0, nullptr, &made, nullptr), ERROR_SUCCESS);
    ASSERT_EQ(RegCreateKeyExA(HKEY_USERS, "W\\k\\c", 0, nullptr, 0, 0, nullptr, &made, nullptr), ERROR_SUCCESS);
    const HKEY key = Open(KEY_ALL_ACCESS);
    MaskCheck check;
    session.registry.SetAccessCheck(&check);
    check.mask = KEY_READ;
    for (const auto& [path, code] : {std::pair{"HKEY_USERS\\W", ERROR_SUCCESS},
                                     {"HKEY_USERS\\W\\k", ERROR_ACCESS_DENIED},
                                     {"HKEY_USERS\\W\\k\\a", ERROR_ACCESS_DENIED},
                                     {"HKEY_USERS\\W\\k\\a\\b", ERROR_ACCESS_DENIED},
                                     {"HKEY_USERS\\W\\k\\c", ERROR_ACCESS_DENIED}}) {
        SCOPED_TRACE(path);
        check.path = path;
        EXPECT_EQ(CheckTree(key, DELETE), code);
        EXPECT_EQ(CheckTree(key, KEY_READ), ERROR_SUCCESS);
        EXPECT_EQ(CheckWritable(key), ERROR_SUCCESS);
    }
    session.registry.SetAccessCheck(nullptr);
    HKEY top = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_USERS, "W", 0, KEY_ALL_ACCESS, &top), ERROR_SUCCESS);
    EXPECT_EQ(CheckWritable(top), ERROR_SUCCESS);
    EXPECT_EQ(CheckTree(top, DELETE), ERROR_ACCESS_DENIED); // where a hive is mounted
    EXPECT_EQ(CheckWritable(HKEY_USERS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(CheckTree(HKEY_USERS, DELETE), ERROR_ACCESS_DENIED);
    ASSERT_TRUE(session.registry.Link("HKEY_USERS\\W\\k\\c\\link", "HKEY_LOCAL_MACHINE"));
    EXPECT_EQ(CheckTree(Open(KEY_READ), DELETE), ERROR_ACCESS_DENIED); // it holds something of the session's
}

} // namespace
} // namespace tolvar
