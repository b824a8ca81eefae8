#include "platform/registry/winreg.h"

#include <algorithm>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/scratch_folder.h"
#include "platform/registry/registry.h"
#include "platform/registry/value_listing.h"
#include "platform_hive/raw_hive.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;

class RefusingCheck final : public AccessCheck {
public:
    [[nodiscard]] REGSAM Granted(std::string_view path, std::span<const std::byte> /*descriptor*/,
                                 REGSAM desired) const override
    {
        return path != R"(HKEY_LOCAL_MACHINE\A\Main\closed)" ? desired : 0;
    }
};

/// A session with two hives: one at HKLM\A\Main, the other below a key of the first.
class WinregTest : public testing::Test {
protected:
    void SetUp() override
    {
        const BuiltKey main{.name = u"ROOT",
                            .values = {{u"", 1,
                                        fixtures::TextData(u"d\xE9"
                                                           u"fault")},
                                       {u"list", 7, fixtures::TextData(std::u16string(u"a\0bc\0", 5))},
                                       {u"odd", 2, fixtures::Bytes({'x', 0, 'y'})},
                                       {u"lone\xD800", 3, fixtures::Bytes({1, 2, 3, 4, 5})}},
                            .subkeys = {{.name = u"closed"},
                                        {.name = u"hidden"},
                                        {.name = u"Sub",
                                         .values = {{u"kept", 4, fixtures::Bytes({1, 2, 3, 4})}},
                                         .subkeys = {{.name = u"under"}},
                                         .className = u"Klass"}},
                            .lastWrite = 0x123456789ABCDEF0};
        const BuiltKey other{.name = u"ROOT", .subkeys = {{.name = u"inner"}}};
        ASSERT_TRUE(m_registry.Mount({Write("main", main), R"(hkey_local_machine\A\Main)"}));
        ASSERT_TRUE(m_registry.Mount({Write("other", other), R"(HKEY_LOCAL_MACHINE\a\main\HIDDEN)"}));
    }

    std::filesystem::path Write(const char* name, const BuiltKey& root)
    {
        return Write(name, HiveBuilder().Build(root));
    }
    std::filesystem::path Write(const char* name, const std::vector<std::byte>& bytes)
    {
        return m_folder.Write(name, bytes);
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

    fixtures::ScratchFolder m_folder;
    Registry m_registry;
    Session m_session{m_registry};
};

TEST_F(WinregTest, ShowsMountsBetweenTheKeysOfHives)
{
    EXPECT_THAT(Names(HKEY_LOCAL_MACHINE), testing::ElementsAre("A"));
    EXPECT_THAT(Names(Open("A")), testing::ElementsAre("Main"));
    EXPECT_THAT(Names(Open("a\\MAIN")), testing::ElementsAre("closed", "HIDDEN", "Sub"));
    EXPECT_THAT(Names(Open("A\\Main\\hidden\\")), testing::ElementsAre("inner"));
    DWORD count = 0;
    EXPECT_EQ(RegQueryInfoKeyA(Open("A\\Main"), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(m_registry.Mount({m_folder / "main", R"(HKEY_LOCAL_MACHINE\A\Main)"}).error().code,
              ErrorCode::kAlreadyExists);
    EXPECT_EQ(m_registry.Mount({m_folder / "main", R"(HKEY_NOWHERE\A)"}).error().code, ErrorCode::kInvalidParameter);
    std::string deep = "HKEY_USERS";
    for (int i = 0; i < 60000; ++i) {
        deep += "\\a";
    }
    EXPECT_EQ(m_registry.Mount({m_folder / "main", deep}).error().code, ErrorCode::kInvalidParameter);
}

TEST_F(WinregTest, KeepsTheKeysOfAHiveOnTheWayToAMountBelowThem)
{
    ASSERT_TRUE(m_registry.Mount({m_folder / "other", R"(HKEY_LOCAL_MACHINE\A\Main\SUB\Deep\Mount)"}));
    const HKEY main = Open("A\\Main");
    EXPECT_THAT(Names(main), testing::UnorderedElementsAre("closed", "SUB", "HIDDEN"));
    EXPECT_THAT(Names(Open("A\\Main\\Sub")), testing::UnorderedElementsAre("under", "Deep"));
    EXPECT_THAT(Names(Open("A\\Main\\Sub\\Deep\\Mount")), testing::ElementsAre("inner"));
    char className[8];
    DWORD size = sizeof className;
    EXPECT_EQ(RegQueryInfoKeyA(Open("A\\Main\\Sub"), className, &size, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_STREQ(className, "Klass");
    EXPECT_EQ(RegQueryValueExA(Open("A\\Main\\Sub"), "kept", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    for (const auto& [index, code] : {std::pair{2U, ERROR_SUCCESS},
                                      {0U, ERROR_SUCCESS},
                                      {1U, ERROR_SUCCESS},
                                      {3U, ERROR_NO_MORE_ITEMS},
                                      {2U, ERROR_SUCCESS}}) {
        char name[16];
        EXPECT_EQ(RegEnumKeyA(main, index, name, sizeof name), code) << index;
        EXPECT_TRUE(index != 0 || std::string_view(name) == "closed");
    }
}

TEST_F(WinregTest, AnswersTheCodesOfThePlatform)
{
    const RefusingCheck check;
    m_registry.SetAccessCheck(&check);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A\\no", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    for (const char* way : {"A\\Main\\closed", "A\\Main\\closed\\", "A\\\\Main\\closed"}) {
        EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, way, 0, KEY_READ, &key), ERROR_ACCESS_DENIED) << way;
    }
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A", 1, KEY_READ, &key), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "A", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExA(nullptr, "A", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "\xFF", 0, KEY_READ, &key), ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "new", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
              ERROR_ACCESS_DENIED);
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
        SCOPED_TRACE(testing::PrintToString(c.name)); // one of them is no UTF-8
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

std::vector<std::byte> Units(std::u16string_view text)
{
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

TEST_F(WinregTest, ConvertsTextsOfEverySizeAndLeavesAllElseAlone)
{
    using namespace std::string_literals;
    // A segment of big data ends between the halves of a pair.
    std::u16string large(8171, u'x');
    large += u"\xD83D\xDE00\x20AC";
    large.resize(20000, u'\xDC00');
    std::string largeText = std::string(8171, 'x') + "\xF0\x9F\x98\x80\xE2\x82\xAC";
    for (std::size_t i = 8174; i < 20000; ++i) {
        largeText += "\xED\xB0\x80";
    }
    const std::vector<std::byte> bytes(40001, std::byte{0xD8});
    const std::string plain(40001, '\xD8');
    struct Case {
        DWORD type;
        std::vector<std::byte> stored;
        std::string data;
    };
    const Case cases[] = {
        {REG_SZ, {}, ""},
        {REG_SZ, fixtures::Bytes({'x'}), ""},
        {REG_SZ, Units(u"ab"), "ab"},
        {REG_SZ, Units(u"\xD800"), "\xED\xA0\x80"},
        {REG_EXPAND_SZ, Units(std::u16string(u"a\0b", 3)), "a\0b"s},
        {REG_MULTI_SZ, Units(std::u16string(u"\xE9\0\0", 3)), "\xC3\xA9\0\0"s},
        {REG_MULTI_SZ, fixtures::Bytes({'a', 0, 0}), "a"},
        {REG_SZ, Units(large), largeText},
        {REG_BINARY, bytes, plain},
        {REG_LINK, Units(u"ab"), "a\0b\0"s},
        {12345, Units(u"\xD800"), "\0\xD8"s},
    };
    BuiltKey root{.name = u"ROOT"};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        root.values.push_back({std::u16string(1, static_cast<char16_t>(u'a' + i)), cases[i].type, cases[i].stored});
    }
    ASSERT_TRUE(m_registry.Mount({Write("texts", root), R"(HKEY_LOCAL_MACHINE\Texts)"}));
    const HKEY key = Open("Texts");
    DWORD longest = 0;
    EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longest,
                               nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(longest, largeText.size());
    for (DWORD i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        char name[2];
        DWORD nameSize = sizeof name;
        DWORD type = 0;
        ASSERT_EQ(RegEnumValueA(key, i, name, &nameSize, nullptr, &type, nullptr, nullptr), ERROR_SUCCESS);
        EXPECT_EQ(type, cases[i].type);
        DWORD size = 7;
        ASSERT_EQ(RegEnumValueA(key, i, name, &(nameSize = 2), nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
        EXPECT_EQ(size, cases[i].data.size());
        std::string data(size + 1, '#'); // with a mark behind the data
        auto* const out = reinterpret_cast<BYTE*>(data.data());
        if (size != 0) {
            DWORD small = size - 1;
            EXPECT_EQ(RegQueryValueExA(key, name, nullptr, nullptr, out, &small), ERROR_MORE_DATA);
            EXPECT_EQ(small, size);
            EXPECT_EQ(data[size - 1], '#');
        }
        EXPECT_EQ(RegEnumValueA(key, i, name, &(nameSize = 2), nullptr, nullptr, out, &size), ERROR_SUCCESS);
        EXPECT_EQ(data, cases[i].data + "#");
    }
    char name[1];
    DWORD nameSize = 1; // no room for "a" and its terminator
    EXPECT_EQ(RegEnumValueA(key, 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
}

TEST_F(WinregTest, HandsOutTheAskedPartsOfADescriptor)
{
    const HKEY key = Open("A\\Main");
    EXPECT_EQ(RegGetKeySecurity(key, OWNER_SECURITY_INFORMATION, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    DWORD size = 0;
    EXPECT_EQ(RegGetKeySecurity(key, OWNER_SECURITY_INFORMATION, nullptr, &size), ERROR_INSUFFICIENT_BUFFER);
    ASSERT_EQ(size, 36U); // a header and the identifier of the administrators
    std::vector<BYTE> descriptor(size);
    EXPECT_EQ(RegGetKeySecurity(key, OWNER_SECURITY_INFORMATION, descriptor.data(), &(size = 35)),
              ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(RegGetKeySecurity(key, OWNER_SECURITY_INFORMATION, descriptor.data(), &(size = 100)), ERROR_SUCCESS);
    EXPECT_EQ(size, 36U);
    EXPECT_EQ(descriptor[4], 20U);
    EXPECT_EQ(descriptor[8], 0U);
    DWORD whole = 0;
    EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &whole, nullptr),
              ERROR_SUCCESS);
    EXPECT_GT(whole, size);
    EXPECT_EQ(RegGetKeySecurity(Open("A\\Main", KEY_QUERY_VALUE), OWNER_SECURITY_INFORMATION, nullptr, &size),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegGetKeySecurity(HKEY_USERS, OWNER_SECURITY_INFORMATION, descriptor.data(), &(size = 100)),
              ERROR_SUCCESS);
    EXPECT_EQ(size, 36U); // the session's own keys belong to the administrators too
}

TEST_F(WinregTest, NamesAValueWhoseDataCanNotBeRead)
{
    fixtures::RawHive raw;
    const std::uint32_t value = raw.AddValue("v", REG_SZ, 0x7FFFFFF0, 4);
    ASSERT_TRUE(m_registry.Mount(
        {Write("broken", raw.Finish(raw.AddKey({.values = 1, .valueList = raw.AddOffsets(std::vector{value})}))),
         R"(HKEY_LOCAL_MACHINE\Broken)"}));
    const HKEY key = Open("Broken");
    char name[8];
    DWORD nameSize = sizeof name;
    DWORD type = 0;
    EXPECT_EQ(RegEnumValueA(key, 0, name, &nameSize, nullptr, &type, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_STREQ(name, "v");
    EXPECT_EQ(type, REG_SZ);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, &size), ERROR_REGISTRY_CORRUPT);
    EXPECT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &size,
                               nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(size, 0U); // nobody needs room for what can't be had
    EXPECT_EQ(ListValues(key, [](const ListedValue& listed) { ADD_FAILURE() << listed.index; }), ERROR_SUCCESS);
}

TEST_F(WinregTest, ListsValuesInTheOrderOfEnumeration)
{
    std::vector<std::string> listed;
    const auto list = [&listed](const ListedValue& value) {
        listed.push_back(std::to_string(value.index) + " " + std::to_string(value.type) + " " +
                         std::string(value.name));
    };
    EXPECT_EQ(ListValues(Open("A\\Main"), list), ERROR_SUCCESS);
    EXPECT_THAT(listed, testing::ElementsAre("0 1 ", "1 7 list", "2 2 odd", "3 3 lone\xED\xA0\x80"));
    EXPECT_EQ(ListValues(Open("A\\Main", KEY_ENUMERATE_SUB_KEYS), list), ERROR_ACCESS_DENIED);
    EXPECT_EQ(ListValues(nullptr, list), ERROR_INVALID_HANDLE);
}

TEST_F(WinregTest, ListsTheValuesThatCanBeEnumeratedWithTheirSize)
{
    fixtures::RawHive raw;
    constexpr std::uint32_t kSize = kBigDataSegment + 2;
    const auto addBig = [&raw](std::uint32_t second) {
        const std::uint32_t segments = raw.AddOffsets(std::vector{raw.Allocate(kBigDataSegment), second});
        const std::uint32_t cell = raw.Allocate(kBigDataHead);
        raw.Put(cell, big_data_fields::kSignature, signatures::kBigData);
        raw.Put(cell, big_data_fields::kCount, 2);
        raw.Put(cell, big_data_fields::kList, segments);
        return cell;
    };
    const std::uint32_t whole = addBig(raw.Allocate(8));
    const std::uint32_t torn = addBig(0x7FFFFFF0); // its second segment lies nowhere
    const std::vector<std::uint32_t> values = {
        raw.AddValue("whole", REG_SZ, kSize, whole),     raw.AddValue("torn", REG_SZ, kSize, torn),
        raw.AddValue("list", REG_MULTI_SZ, kSize, torn), raw.AddValue("bytes", REG_BINARY, kSize, torn),
        raw.AddValue("none", REG_BINARY, 8, 0x7FFFFFF0), raw.AddKey({}),
        raw.AddValue("last", REG_SZ, kSize, whole)};
    const auto count = static_cast<std::uint32_t>(values.size());
    const std::uint32_t damagedList = raw.AddKey({.name = "lost", .values = 4, .valueList = 0x7FFFFFF0});
    ASSERT_TRUE(
        m_registry.Mount({Write("raw", raw.Finish(raw.AddKey({.subkeys = 1,
                                                              .subkeyList = raw.AddList("li", std::vector{damagedList}),
                                                              .values = count,
                                                              .valueList = raw.AddOffsets(values)}))),
                          R"(HKEY_LOCAL_MACHINE\Raw)"}));
    const HKEY key = Open("Raw");
    std::vector<std::string> enumerated;
    for (DWORD index = 0; index < count; ++index) {
        char name[16];
        DWORD nameSize = sizeof name;
        DWORD size = 0;
        if (RegEnumValueA(key, index, name, &nameSize, nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS) {
            enumerated.emplace_back(name);
        }
    }
    std::vector<std::string> listed;
    const auto list = [&listed](const ListedValue& value) { listed.emplace_back(value.name); };
    EXPECT_EQ(ListValues(key, list), ERROR_SUCCESS);
    EXPECT_THAT(listed, testing::ElementsAre("whole", "bytes", "last")); // of bytes, the size is known without a look
    EXPECT_EQ(listed, enumerated);
    EXPECT_EQ(ListValues(Open("Raw\\lost"), list), ERROR_REGISTRY_CORRUPT);
}

TEST_F(WinregTest, CountsATextWithoutRoomAsItIsHandedOut)
{
    // Pairs lie across the blocks in which a text is read, and across the segments of a large one.
    std::u16string text(1, u'x');
    for (int i = 0; i < 10'000; ++i) {
        text += u"\xE9\x20AC\xD800\xDC00\xD800";
    }
    ASSERT_TRUE(
        m_registry.Mount({Write("text", BuiltKey{.name = u"ROOT", .values = {{u"t", 1, fixtures::TextData(text)}}}),
                          R"(HKEY_LOCAL_MACHINE\Text)"}));
    const HKEY key = Open("Text");
    DWORD whole = 0;
    EXPECT_EQ(RegQueryValueExA(key, "t", nullptr, nullptr, nullptr, &whole), ERROR_SUCCESS);
    EXPECT_EQ(whole, 1 + 10'000U * (2 + 3 + 4 + 3) + 1);
    std::vector<BYTE> data(whole);
    DWORD size = whole;
    EXPECT_EQ(RegQueryValueExA(key, "t", nullptr, nullptr, data.data(), &size), ERROR_SUCCESS);
    for (const DWORD room : {1U, 2U, 4095U, 4096U, whole - 1}) {
        std::vector<BYTE> part(room);
        size = room;
        EXPECT_EQ(RegQueryValueExA(key, "t", nullptr, nullptr, part.data(), &size), ERROR_MORE_DATA) << room;
        EXPECT_EQ(size, whole) << room;
        EXPECT_TRUE(std::equal(part.begin(), part.end(), data.begin())) << room;
    }
}

TEST_F(WinregTest, TellsMaximaOfAKeyThatListsOneValueOverAndOver)
{
    fixtures::RawHive raw;
    constexpr std::uint32_t kSize = 1 << 20;
    const std::uint32_t data = raw.Allocate(kSize);
    const std::string valueName(60000, 'n');
    const std::uint32_t value = raw.AddValue(valueName, REG_SZ, kSize, data);
    const std::uint32_t classCell = raw.Allocate(65534);
    const std::uint32_t child = raw.AddKey({.classCell = classCell, .classLength = 65534});
    ASSERT_TRUE(m_registry.Mount(
        {Write("hostile", raw.Finish(raw.AddKey({.subkeys = 65535,
                                                 .subkeyList = raw.AddList("li", std::vector(65535, child)),
                                                 .values = 262143,
                                                 .valueList = raw.AddOffsets(std::vector(262143, value))}))),
         R"(HKEY_LOCAL_MACHINE\Hostile)"}));
    DWORD longestClass = 0;
    DWORD values = 0;
    DWORD longestName = 0;
    DWORD longestData = 0;
    ASSERT_EQ(RegQueryInfoKeyA(Open("Hostile"), nullptr, nullptr, nullptr, nullptr, nullptr, &longestClass, &values,
                               &longestName, &longestData, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(values, 262143U);
    EXPECT_GE(longestClass, 65534U); // units of zero, which take two bytes each
    EXPECT_GE(longestName, 60000U);
    EXPECT_GE(longestData, kSize / 2);
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
    for (const Case& c : {Case{"f", "f", ""}, Case{"f@HKEY_USERS", "f", "HKEY_USERS"}, Case{"a@b", "a@b", ""},
                          Case{"a@b@hkey_users\\x", "a@b", "hkey_users\\x"}, Case{"f@HKEY_USERSX", "f@HKEY_USERSX", ""},
                          Case{"a@b@HKEY_USERS\\c@d", "a@b", "HKEY_USERS\\c@d"}}) {
        const MountRequest request = MountRequest::FromArgument(c.argument);
        EXPECT_EQ(request.file, c.file);
        EXPECT_EQ(request.key, c.key);
    }
}

} // namespace
} // namespace tolvar
