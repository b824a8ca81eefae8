#include <cstring>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "platform/hive/hive.h"
#include "platform/hive/hive_validator.h"
#include "platform/system/text.h"
#include "platform_hive/walk_counter.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;
using fixtures::LeafKind;
using fixtures::WalkCounter;
using File = std::vector<std::byte>;

std::u16string Numbered(unsigned number)
{
    const std::string digits = std::to_string(100000 + number);
    return u"Key" + std::u16string(digits.begin(), digits.end());
}

TEST(HiveLookup, FindsEveryKeyInEveryKindOfListAndNoOther)
{
    for (const LeafKind kind : {LeafKind::kOffsets, LeafKind::kHints, LeafKind::kHashes}) {
        for (const unsigned count : {1U, 2U, 3U, 507U, 1200U}) {
            BuiltKey root{.name = u"ROOT"};
            for (unsigned i = 0; i < count; ++i) {
                root.subkeys.push_back({.name = Numbered(2 * i + 1)});
            }
            const File file = HiveBuilder(5, kind).Build(root);
            const Result<Hive> hive = Hive::FromBytes(file, "test");
            ASSERT_TRUE(hive);
            const KeyNode key = *hive->Key(hive->Root());
            for (unsigned i = 0; i < count; ++i) {
                std::u16string name = Numbered(2 * i + 1);
                name[0] = u'k'; // without regard to case
                const Checked<CellOffset> found = hive->FindSubkey(key, name);
                ASSERT_TRUE(found && !found->IsNil()) << i;
                EXPECT_EQ(hive->Key(*found)->name.ToUtf16(), Numbered(2 * i + 1));
            }
            for (unsigned i = 0; i <= count; ++i) {
                EXPECT_TRUE(hive->FindSubkey(key, Numbered(2 * i))->IsNil());
            }
            EXPECT_TRUE(hive->FindSubkey(key, u"Key")->IsNil());
        }
    }
}

TEST(HiveLookup, FindsAKeyInAListThatIsOutOfOrder)
{
    const BuiltKey root{.name = u"ROOT", .subkeys = {{.name = u"d"}, {.name = u"a"}, {.name = u"c"}, {.name = u"b"}}};
    for (const LeafKind kind : {LeafKind::kOffsets, LeafKind::kHints, LeafKind::kHashes}) {
        const File file = HiveBuilder(5, kind).Build(root);
        const Result<Hive> hive = Hive::FromBytes(file, "test");
        for (const char16_t* name : {u"a", u"B", u"c", u"D"}) {
            EXPECT_FALSE(hive->FindSubkey(*hive->Key(hive->Root()), name)->IsNil());
        }
    }
}

TEST(HiveLookup, SeekReachesTheSameSubkeyAsCountingDoes)
{
    BuiltKey root{.name = u"ROOT"};
    for (unsigned i = 0; i < 40; ++i) {
        root.subkeys.push_back({.name = Numbered(i)});
    }
    const File file = HiveBuilder(5, LeafKind::kHashes, 7).Build(root);
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    SubkeyCursor cursor = hive->Subkeys(*hive->Key(hive->Root()));
    for (const unsigned index : {0U, 39U, 7U, 8U, 6U, 20U, 20U}) {
        cursor.Seek(index);
        EXPECT_EQ(hive->Key(*cursor.Next())->name.ToUtf16(), Numbered(index));
    }
    cursor.Seek(40);
    EXPECT_TRUE(cursor.Next()->IsNil());
}

TEST(HiveRead, HandsOutDataOfAnySizeInEveryVersion)
{
    for (const std::uint32_t minor : {2U, 3U, 4U, 5U, 6U}) {
        BuiltKey root{.name = u"ROOT", .className = u"Klass"};
        for (const std::size_t size : {0U, 1U, 4U, 5U, 16343U, 16344U, 16345U, 32688U, 32689U, 100000U}) {
            File data(size);
            for (std::size_t i = 0; i < size; ++i) {
                data[i] = static_cast<std::byte>(i * 7 + size);
            }
            root.values.push_back({Numbered(static_cast<unsigned>(size)), 3, data});
        }
        const File file = HiveBuilder(minor).Build(root);
        const Result<Hive> hive = Hive::FromBytes(file, "test");
        const KeyNode key = *hive->Key(hive->Root());
        EXPECT_EQ(hive->ClassName(key)->ToUtf16(), u"Klass");
        for (const auto& value : root.values) {
            const auto found = hive->FindValue(key, value.name);
            ASSERT_TRUE(found && *found);
            const auto data = hive->ReadData(**found);
            ASSERT_TRUE(data);
            EXPECT_EQ(*data, value.data);
        }
    }
}

TEST(HiveRead, KeepsNamesThatAreNoText)
{
    const std::u16string names[] = {u"",          std::u16string(u"nu\0l", 4), u"\xD81D", u"\xDC00\xD800", u"\r\n",
                                    u"\x41F\x440"};
    BuiltKey root{.name = u"ROOT"};
    for (const std::u16string& name : names) {
        root.values.push_back({name, 4, fixtures::Bytes({1, 2, 3, 4})});
    }
    const File file = HiveBuilder().Build(root);
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    const KeyNode key = *hive->Key(hive->Root());
    for (const std::u16string& name : names) {
        const auto found = hive->FindValue(key, name);
        ASSERT_TRUE(found && *found);
        EXPECT_EQ((*found)->name.ToUtf16(), name);
        EXPECT_EQ(ToUtf16((*found)->name.ToUtf8()), name);
    }
}

/// Where in `file` the first cell with this signature keeps its payload.
std::size_t FindRecord(const File& file, const char* signature)
{
    for (std::size_t at = 4096 + 32 + 4; at + 2 < file.size(); at += 8) {
        if (std::memcmp(file.data() + at, signature, 2) == 0) {
            return at;
        }
    }
    return 0;
}

TEST(HiveWalkTest, ADamagedKeyAnswersForItselfAlone)
{
    const BuiltKey root{.name = u"ROOT", .subkeys = {{.name = u"a"}, {.name = u"bad"}, {.name = u"c"}}};
    File file = HiveBuilder().Build(root);
    const Result<Hive> before = Hive::FromBytes(file, "test");
    const CellOffset bad = *before->FindSubkey(*before->Key(before->Root()), u"bad");
    for (const std::size_t at : {4U, 76U}) { // signature; name length
        File broken = file;
        broken[bad.FilePosition() + at] = broken[bad.FilePosition() + at + 1] = std::byte{0};
        const Result<Hive> hive = Hive::FromBytes(broken, "test");
        const WalkCounter counter = WalkCounter::Walk(*hive);
        EXPECT_EQ(counter.keys, 3);
        EXPECT_EQ(counter.faults, 1);
        EXPECT_FALSE(hive->FindSubkey(*hive->Key(hive->Root()), u"c")->IsNil());
    }
}

TEST(HiveWalkTest, AnElementThatPointsNowhereHidesNothingBehindIt)
{
    const BuiltKey root{.name = u"ROOT", .subkeys = {{.name = u"a"}, {.name = u"lost"}, {.name = u"z"}}};
    File file = HiveBuilder().Build(root);
    const Result<Hive> before = Hive::FromBytes(file, "test");
    const CellOffset list = before->Key(before->Root())->subkeyList;
    const std::uint32_t nil = CellOffset::kNil;
    std::memcpy(file.data() + list.FilePosition() + 4 + 4 + 8, &nil, sizeof nil); // the second element
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    const WalkCounter counter = WalkCounter::Walk(*hive);
    EXPECT_EQ(counter.keys, 3);
    EXPECT_EQ(counter.faults, 1);
    SubkeyCursor cursor = hive->Subkeys(*hive->Key(hive->Root()));
    cursor.Seek(2);
    EXPECT_EQ(hive->Key(*cursor.Next())->name.ToUtf16(), u"z");
}

TEST(HiveWalkTest, EndsInAHiveThatRefersToItself)
{
    const BuiltKey root{.name = u"ROOT", .subkeys = {{.name = u"a", .subkeys = {{.name = u"b"}}}, {.name = u"c"}}};
    File file = HiveBuilder().Build(root);
    const Result<Hive> before = Hive::FromBytes(file, "test");
    const KeyNode rootKey = *before->Key(before->Root());
    const CellOffset a = *before->FindSubkey(rootKey, u"a");
    const CellOffset b = *before->FindSubkey(*before->Key(a), u"b");
    // b lists the root's own list: everything lies below itself.
    const std::uint32_t list = rootKey.subkeyList.value;
    const std::uint32_t count = 2;
    std::memcpy(file.data() + b.FilePosition() + 4 + 20, &count, 4);
    std::memcpy(file.data() + b.FilePosition() + 4 + 28, &list, 4);
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    const WalkCounter counter = WalkCounter::Walk(*hive);
    EXPECT_EQ(counter.keys, 4);
    EXPECT_GE(counter.faults, 1);
}

TEST(HiveWalkTest, SurvivesFieldsOverwrittenOneByOne)
{
    BuiltKey root{.name = u"ROOT",
                  .values = {{u"big", 3, File(40000, std::byte{1})}, {u"x", 1, fixtures::TextData(u"text")}},
                  .className = u"c"};
    for (unsigned i = 0; i < 12; ++i) {
        root.subkeys.push_back({.name = Numbered(i), .values = {{u"v", 4, fixtures::Bytes({1, 2, 3, 4})}}});
    }
    const File whole = HiveBuilder(5, LeafKind::kHashes, 5).Build(root);
    const std::size_t records = FindRecord(whole, "nk");
    ASSERT_NE(records, 0U);
    for (std::size_t at = records - 4; at + 4 <= whole.size();
         at += at < 12288 || at > whole.size() - 8192 ? 4 : 2048) {
        for (const std::uint32_t value : {0U, 0xFFFFFFFFU, 0x80000020U}) {
            File file = whole;
            std::memcpy(file.data() + at, &value, 4);
            const Result<Hive> hive = Hive::FromBytes(file, "test");
            ASSERT_TRUE(hive);
            const WalkCounter counter = WalkCounter::Walk(*hive);
            EXPECT_LE(counter.keys, 13);
            EXPECT_LE(counter.dataBytes, file.size());
            static_cast<void>(ValidateHive(*hive, [](const Finding&) {}));
            static_cast<void>(hive->FindSubkey(counter.keys != 0 ? *hive->Key(hive->Root()) : KeyNode{}, u"Key100007"));
        }
    }
}

TEST(Names, AreComparedHashedHintedAndWrittenAsThePlatformDoes)
{
    struct Case {
        std::u16string name;
        std::uint32_t hash;
        std::uint32_t hint;
        std::string utf8;
    };
    const auto zero = std::u16string(u"a\0b", 3);
    for (const Case& c : {
             Case{u"Select", 0x5f0024a0, 0x656C6553, "Select"},
             Case{u"currentcontrolset", 0x23b1b3f4, 0x72727563, "currentcontrolset"},
             Case{u"a", 0x41, 0x61, "a"},
             Case{u"\xFF", 0x178, 0xFF, "\xC3\xBF"},
             Case{u"\xB5", 0xB5, 0xB5, "\xC2\xB5"},
             Case{u"\x7F\x80", 0x7F * 37 + 0x80, 0x807F, "\x7F\xC2\x80"},
             Case{u"stra\xDF\x65", 0x60b1bf06, 0x61727473, "stra\xC3\x9F\x65"},
             Case{u"\x41F\x440\x438\x432\x435\x442", 0x81c3d610, 0, "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82"},
             Case{zero, 0x41 * 37 * 37 + 0x42, 0x620061, {}},
         }) {
        SCOPED_TRACE(testing::PrintToString(c.name));
        const File stored = StoredName(c.name);
        EXPECT_EQ(stored.size(), c.name.size() * (FitsLatin1(c.name) ? 1 : 2));
        const NameView view{stored.data(), static_cast<std::uint16_t>(stored.size()), FitsLatin1(c.name)};
        EXPECT_EQ(view.ToUtf16(), c.name);
        EXPECT_EQ(NameHash(c.name), c.hash);
        EXPECT_EQ(NameHash(view), c.hash);
        EXPECT_EQ(NameHint(c.name), c.hint);
        EXPECT_EQ(NameHint(view), c.hint);
        EXPECT_EQ(ToUtf16(view.ToUtf8()), c.name);
        if (!c.utf8.empty()) {
            EXPECT_EQ(view.ToUtf8(), c.utf8);
        }
    }
    const std::u16string rising[] = {u"", u"A", u"aa", u"AB", u"b", u"B\x431", u"_", u"\xE4", u"\x432"};
    for (std::size_t i = 0; i < std::size(rising); ++i) {
        const File stored = StoredName(rising[i]);
        const NameView left{stored.data(), static_cast<std::uint16_t>(stored.size()), FitsLatin1(rising[i])};
        for (std::size_t j = 0; j < std::size(rising); ++j) {
            const int order = CompareNames(left, std::u16string_view(rising[j]));
            EXPECT_EQ(order < 0, i < j) << i << " " << j;
            EXPECT_EQ(order == 0, i == j) << i << " " << j;
        }
    }
}

} // namespace
} // namespace tolvar
