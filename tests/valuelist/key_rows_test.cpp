#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/window_fixture.h"
#include "platform_hive/raw_hive.h"
#include "valuelist/key_rows.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::Bytes;
using fixtures::TextData;
using testing::ElementsAre;
using testing::IsEmpty;

class KeyRowsTest : public testing::Test {
protected:
    /// Name and Data of every row, and what the row is.
    std::vector<std::string> Shown()
    {
        std::vector<std::string> texts;
        for (std::size_t row = 0; row < rows.Count(); ++row) {
            texts.push_back(rows.Cell(row, KeyColumn::kName) + "|" + rows.Cell(row, KeyColumn::kData) + "|" +
                            std::to_string(rows.Row(row).ItemData()) + "," + std::to_string(rows.Row(row).Image()));
        }
        return texts;
    }

    fixtures::WindowFixture fixture;
    KeyRows rows{{"(empty)", "(Default)", "(not set)", "(unknown)"}, true};
};

TEST_F(KeyRowsTest, ListsSubkeysAboveTheValuesInStoredOrder)
{
    fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT",
                                    .values = {{u"z", REG_SZ, TextData(u"text")},
                                               {u"a", REG_DWORD, Bytes({42, 0, 0, 0})},
                                               {u"q", REG_QWORD, Bytes({1, 0, 0, 0, 0, 0, 0, 0})},
                                               {u"t", 0xFFFFFFFE, {}}},
                                    .subkeys = {{.name = u"S1"}, {.name = u"S2"}}});
    fixture.check.refused = {"HKEY_USERS\\K\\S2"};
    EXPECT_EQ(rows.ShowKey(HKEY_USERS, "K", true), ERROR_SUCCESS);
    EXPECT_THAT(Shown(),
                ElementsAre("../||-2,0", "S1||-1,0", "S2||-1,14", "(Default)|(not set)|0,1", "z|text|1,2",
                            "a|0x0000002a (42)|4,5", "q|01 00 00 00 00 00 00 00 |11,12", "t|(empty)|4294967294,13"));
    EXPECT_EQ(rows.ShowKey(HKEY_USERS, "K", false), ERROR_SUCCESS);
    EXPECT_EQ(rows.Count(), 6U);
}

TEST_F(KeyRowsTest, ShowsADefaultValueWhereItStandsAndAMissingOneOnTop)
{
    fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT", .values = {{u"a", REG_SZ, {}}, {u"", REG_SZ, {}}}});
    fixture.Mount("HKEY_USERS\\L", {.name = u"ROOT"});
    rows.ShowKey(HKEY_USERS, "K", false);
    EXPECT_THAT(Shown(), ElementsAre("../||-2,0", "a|(empty)|1,2", "(Default)|(empty)|1,2"));
    rows.ShowKey(HKEY_USERS, "L", false);
    EXPECT_THAT(Shown(), ElementsAre("../||-2,0", "(Default)|(not set)|0,1"));
}

TEST_F(KeyRowsTest, TellsRefusedAndMissingKeysApart)
{
    fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT"});
    fixture.check.refused = {"HKEY_USERS\\K"};
    EXPECT_EQ(rows.ShowKey(HKEY_USERS, "K", true), ERROR_ACCESS_DENIED);
    EXPECT_THAT(Shown(), ElementsAre("ACCESS DENIED||0,14"));
    EXPECT_EQ(rows.ShowKey(HKEY_USERS, "none", true), ERROR_FILE_NOT_FOUND);
    EXPECT_THAT(Shown(), IsEmpty());
}

TEST_F(KeyRowsTest, ShowsSubkeysAndDefaultOfAKeyWhoseValueListIsDamaged)
{
    fixtures::RawHive raw;
    const std::uint32_t subkeys = raw.AddList("li", std::vector{raw.AddKey({.name = "S"})});
    const std::uint32_t root = raw.AddKey({.subkeys = 1, .subkeyList = subkeys, .values = 3, .valueList = 0x7FFFFFF0});
    fixture.Mount("HKEY_USERS\\K", raw.Finish(root));
    EXPECT_EQ(rows.ShowKey(HKEY_USERS, "K", true), ERROR_REGISTRY_CORRUPT);
    EXPECT_THAT(Shown(), ElementsAre("../||-2,0", "S||-1,0", "(Default)|(not set)|0,1"));
}

TEST_F(KeyRowsTest, LeavesOutAValueWhoseNameIsLongerThanAnyMayBe)
{
    fixtures::RawHive raw;
    const std::string tooLong(16384 * 3 / 2, '\xE9'); // two bytes each in UTF-8
    const std::vector values = {raw.AddValue(tooLong, REG_SZ, 0, 0),
                                raw.AddValue(std::string_view(tooLong).substr(2), REG_SZ, 0, 0)};
    const std::uint32_t root = raw.AddKey({.values = 2, .valueList = raw.AddOffsets(values)});
    fixture.Mount("HKEY_USERS\\K", raw.Finish(root));
    EXPECT_EQ(rows.ShowKey(HKEY_USERS, "K", true), ERROR_SUCCESS);
    ASSERT_EQ(rows.Count(), 3U); // "../", the default value, the name that fits
    EXPECT_EQ(rows.Name(2).size(), 2 * (tooLong.size() - 2));
}

TEST_F(KeyRowsTest, ListsTheRootsWithNothingButTheirNames)
{
    rows.ShowRoots();
    EXPECT_THAT(Shown(), ElementsAre("HKEY_CLASSES_ROOT||-1,0", "HKEY_CURRENT_USER||-1,0", "HKEY_LOCAL_MACHINE||-1,0",
                                     "HKEY_USERS||-1,0", "HKEY_CURRENT_CONFIG||-1,0"));
}

TEST_F(KeyRowsTest, CutsLongDataAtAWholeCharacter)
{
    std::vector<std::byte> fits(4096, std::byte{0xAB});
    std::vector<std::byte> isLong(4097, std::byte{0xAB});
    std::u16string text(1, u'x');
    text.append(4000, u'\x20AC'); // of three bytes each
    fixture.Mount(
        "HKEY_USERS\\K",
        {.name = u"ROOT",
         .values = {{u"fits", REG_BINARY, fits}, {u"long", REG_BINARY, isLong}, {u"text", REG_SZ, TextData(text)}}});
    rows.ShowKey(HKEY_USERS, "K", false);
    EXPECT_EQ(rows.Cell(2, KeyColumn::kData).size(), 3U * 4096);
    EXPECT_EQ(rows.Cell(3, KeyColumn::kData).size(), 3U * 4096 + 3);
    EXPECT_EQ(rows.Cell(3, KeyColumn::kLength), "4097");
    const std::string shown = rows.Cell(4, KeyColumn::kData);
    EXPECT_EQ(shown.size(), 1U + 3 * 1365 + 3); // 4096 bytes hold one and 1365 characters
    EXPECT_TRUE(shown.ends_with("\xE2\x82\xAC..."));
}

TEST_F(KeyRowsTest, FillsTheOtherColumns)
{
    fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT",
                                    .values = {{u"v", REG_SZ, TextData(u"ab")}},
                                    .subkeys = {{.name = u"S", .lastWrite = 127'000'000'000'000'000}},
                                    .lastWrite = 126'000'000'000'000'000});
    rows.ShowKey(HKEY_USERS, "K", true);
    const std::size_t subkey = 1;
    const std::size_t value = 3;
    EXPECT_EQ(rows.Cell(subkey, KeyColumn::kType), "Key");
    EXPECT_EQ(rows.Cell(subkey, KeyColumn::kOwner), "Administrators");
    EXPECT_EQ(rows.Cell(subkey, KeyColumn::kLength), "");
    EXPECT_THAT(rows.Cell(subkey, KeyColumn::kLastChange), testing::HasSubstr("2003"));
    EXPECT_EQ(rows.Cell(value, KeyColumn::kType), "REG_SZ");
    EXPECT_EQ(rows.Cell(value, KeyColumn::kOwner), "Administrators");
    EXPECT_EQ(rows.Cell(value, KeyColumn::kLength), "3");
    EXPECT_THAT(rows.Cell(value, KeyColumn::kLastChange), testing::HasSubstr("2000"));
    KeyRows without({"", "", "", "(unknown)"}, false); // a platform that keeps no times
    without.ShowKey(HKEY_USERS, "K", true);
    EXPECT_EQ(without.Cell(value, KeyColumn::kLastChange), "(unknown)");
    fixture.check.refused = {"HKEY_USERS\\K\\S"};
    EXPECT_EQ(rows.Cell(subkey, KeyColumn::kOwner), "Access Denied");
}

TEST_F(KeyRowsTest, FindsTheLastRowOfAName)
{
    fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT", .values = {{u"S", REG_SZ, {}}}, .subkeys = {{.name = u"S"}}});
    rows.ShowKey(HKEY_USERS, "K", true);
    EXPECT_EQ(rows.FindName("S"), 3U);
    EXPECT_EQ(rows.FindName("(Default)"), 2U);
    EXPECT_EQ(rows.FindName("s"), rows.Count());
    EXPECT_EQ(rows.FindName(""), rows.Count());
}

} // namespace
} // namespace tolvar
