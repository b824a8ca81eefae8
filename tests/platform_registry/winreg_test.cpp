#include "platform/registry/winreg.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "platform/registry/registry.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;

class RefusingCheck final : public AccessCheck {
public:
    [[nodiscard]] bool Grants(std::string_view path, std::span<const std::byte> /*descriptor*/,
                              REGSAM /*desired*/) const override
    {
        return !path.ends_with("closed");
    }
};

/// A session with two hives: one at HKLM\A\Main, the other below a key of the first.
class WinregTest : public testing::Test {
protected:
    void SetUp() override
    {
        const BuiltKey main{
            .name = u"ROOT",
            .values = {{u"", 1,
                        fixtures::TextData(u"d\xE9"
                                           u"fault")},
                       {u"list", 7, fixtures::TextData(std::u16string(u"a\0bc\0", 5))},
                       {u"odd", 2, fixtures::Bytes({'x', 0, 'y'})},
                       {u"lone\xD800", 3, fixtures::Bytes({1, 2, 3, 4, 5})}},
            .subkeys = {{.name = u"closed"}, {.name = u"hidden"}, {.name = u"Sub", .className = u"Klass"}},
            .lastWrite = 0x123456789ABCDEF0};
        const BuiltKey other{.name = u"ROOT", .subkeys = {{.name = u"inner"}}};
        ASSERT_TRUE(m_registry.Mount({Write("main", main), R"(hkey_local_machine\A\Main)"}));
        ASSERT_TRUE(m_registry.Mount({Write("other", other), R"(HKEY_LOCAL_MACHINE\a\main\HIDDEN)"}));
    }
    void TearDown() override
    {
        for (const std::filesystem::path& file : m_files) {
            std::filesystem::remove(file);
        }
    }

    std::filesystem::path Write(const char* name, const BuiltKey& root)
    {
        const auto file = std::filesystem::path(testing::TempDir()) /
                          (std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) + name);
        const auto bytes = HiveBuilder().Build(root);
        std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        m_files.push_back(file);
        return file;
    }

    [[nodiscard]] static HKEY Open(const char* path, REGSAM access = KEY_READ)
    {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, access, &key), ERROR_SUCCESS) << path;
        return key;
    }

    [[nodiscard]] static std::vector<std::string> Names(HKEY key)
    {
        std::vector<std::string> names;
        char name[256];
        for (DWORD i = 0; RegEnumKeyA(key, i, name, sizeof name) == ERROR_SUCCESS; ++i) {
            names.emplace_back(name);
        }
        return names;
    }

    std::vector<std::filesystem::path> m_files;
    Registry m_registry;
    Session m_session{m_registry};
};

TEST_F(WinregTest, ShowsMountsBetweenTheKeysOfHives)
{
    EXPECT_THAT(Names(HKEY_LOCAL_MACHINE), testing::ElementsAre("A"));
    EXPECT_THAT(Names(Open("A")), testing::ElementsAre("Main"));
    EXPECT_THAT(Names(Open("a\\MAIN")), testing::ElementsAre("closed", "Sub", "HIDDEN"));
    EXPECT_THAT(Names(Open("A\\Main\\hidden\\")), testing::ElementsAre("inner"));
    DWORD count = 0;
    EXPECT_EQ(RegQueryInfoKeyA(Open("A\\Main"), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(m_registry.Mount({m_files[0], R"(HKEY_LOCAL_MACHINE\A\Main)"}).error().code, ErrorCode::kAlreadyExists);
    EXPECT_EQ(m_registry.Mount({m_files[0], R"(HKEY_NOWHERE\A)"}).error().code, ErrorCode::kInvalidParameter);
}

TEST_F(WinregTest, AnswersTheCodesOfThePlatform)
{
    const RefusingCheck check;
    m_registry.SetAccessCheck(&check);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A\\no", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A\\Main\\closed", 0, KEY_READ, &key), ERROR_ACCESS_DENIED);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A", 1, KEY_READ, &key), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExA(nullptr, "A", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "\xFF", 0, KEY_READ, &key), ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "new", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
              ERROR_WRITE_PROTECT);
    const HKEY weak = Open("A\\Main", KEY_ENUMERATE_SUB_KEYS);
    EXPECT_EQ(RegQueryValueExA(weak, "list", nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegCloseKey(weak), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(weak), ERROR_INVALID_HANDLE);
    EXPECT_NE(Open("A\\Main"), weak); // the slot is used again, the handle is not
    EXPECT_EQ(RegCloseKey(HKEY_USERS), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(reinterpret_cast<HKEY>(std::uintptr_t{0x1234})), ERROR_INVALID_HANDLE);
}

TEST_F(WinregTest, EnumeratesInAnyOrderOfIndex)
{
    const HKEY key = Open("A\\Main\\hidden");
    char name[16];
    for (const auto& [index, code] :
         {std::pair{1U, ERROR_NO_MORE_ITEMS}, {0U, ERROR_SUCCESS}, {7U, ERROR_NO_MORE_ITEMS}, {0U, ERROR_SUCCESS}}) {
        EXPECT_EQ(RegEnumKeyA(key, index, name, sizeof name), code) << index;
    }
    DWORD size = 5; // "inner" and its terminator need six
    EXPECT_EQ(RegEnumKeyExA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
    size = 6;
    EXPECT_EQ(RegEnumKeyExA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(size, 5U);
}

struct QueryCase {
    const char* name;
    DWORD type;
    std::string data;
};

TEST_F(WinregTest, HandsOutDataByTheRulesOfBuffers)
{
    const HKEY key = Open("A\\Main");
    for (const QueryCase& c : {
             QueryCase{"", REG_SZ,
                       std::string("d\xC3\xA9"
                                   "fault\0",
                                   9)},
             QueryCase{"LIST", REG_MULTI_SZ, std::string("a\0bc\0\0", 6)},
             QueryCase{"odd", REG_EXPAND_SZ, "x"},
             QueryCase{"lone\xED\xA0\x80", REG_BINARY, "\x01\x02\x03\x04\x05"},
         }) {
        SCOPED_TRACE(c.name);
        DWORD type = 0;
        DWORD size = 0;
        ASSERT_EQ(RegQueryValueExA(key, c.name, nullptr, &type, nullptr, &size), ERROR_SUCCESS);
        EXPECT_EQ(type, c.type);
        EXPECT_EQ(size, c.data.size());
        std::string data(size, '\0');
        DWORD small = size - 1;
        EXPECT_EQ(RegQueryValueExA(key, c.name, nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &small),
                  ERROR_MORE_DATA);
        EXPECT_EQ(small, size);
        EXPECT_EQ(RegQueryValueExA(key, c.name, nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(data, c.data);
    }
    BYTE byte = 0;
    EXPECT_EQ(RegQueryValueExA(key, "list", nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(key, "none", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegQueryValueExA(Open("A\\Main\\Sub"), "", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
}

TEST_F(WinregTest, TellsTrueMaximaWhateverTheKeyClaims)
{
    DWORD longestKey = 0;
    DWORD longestClass = 0;
    DWORD values = 0;
    DWORD longestName = 0;
    DWORD longestData = 0;
    FILETIME written = {};
    ASSERT_EQ(RegQueryInfoKeyA(Open("A\\Main"), nullptr, nullptr, nullptr, nullptr, &longestKey, &longestClass, &values,
                               &longestName, &longestData, nullptr, &written),
              ERROR_SUCCESS);
    EXPECT_EQ(longestKey, 6U);
    EXPECT_EQ(longestClass, 5U);
    EXPECT_EQ(values, 4U);
    EXPECT_EQ(longestName, 7U); // "lone" and the three bytes of a lone surrogate
    EXPECT_EQ(longestData, 9U);
    EXPECT_EQ(written.dwHighDateTime, 0x12345678U);
    char name[8];
    DWORD size = 0;
    EXPECT_EQ(RegQueryInfoKeyA(Open("A\\Main\\Sub"), name, &(size = 5), nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);
    EXPECT_EQ(RegQueryInfoKeyA(Open("A\\Main\\Sub"), name, &(size = 6), nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(name, "Klass");
}

TEST(MountRequestTest, SplitsAtTheLastAtSignBeforeARoot)
{
    struct Case {
        const char* argument;
        const char* file;
        const char* key;
    };
    for (const Case& c :
         {Case{"f", "f", ""}, Case{"f@HKEY_USERS", "f", "HKEY_USERS"}, Case{"a@b", "a@b", ""},
          Case{"a@b@hkey_users\\x", "a@b", "hkey_users\\x"}, Case{"f@HKEY_USERSX", "f@HKEY_USERSX", ""}}) {
        const MountRequest request = MountRequest::FromArgument(c.argument);
        EXPECT_EQ(request.file, c.file);
        EXPECT_EQ(request.key, c.key);
    }
}

} // namespace
} // namespace tolvar
