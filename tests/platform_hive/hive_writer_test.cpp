#include <numeric>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/hive_model.h"
#include "platform/hive/hive_writer.h"
#include "platform_hive/changed_hive.h"

namespace tolvar {
namespace {

using fixtures::ChangedHive;
using fixtures::Findings;
using fixtures::HiveBuilder;
using fixtures::Numbered;

std::vector<std::byte> Pattern(std::size_t size)
{
    std::vector<std::byte> data(size);
    for (std::size_t i = 0; i < size; ++i) {
        data[i] = static_cast<std::byte>(i * 13 + size);
    }
    return data;
}

TEST(HiveWriter, KeepsListsOfEachKindSortedAtAnySizeAndOrder)
{
    for (const std::uint32_t minor : {2U, 3U, 5U}) {
        for (const int order : {0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << "minor " << minor << ", order " << order);
            ChangedHive changed(minor);
            std::vector<unsigned> numbers(2500);
            std::iota(numbers.begin(), numbers.end(), 0U);
            std::mt19937 random(7);
            if (order == 1) {
                std::ranges::reverse(numbers);
            } else if (order == 2) {
                std::ranges::shuffle(numbers, random);
            }
            for (const unsigned number : numbers) {
                ASSERT_TRUE(changed.writer.CreateKey(changed.hive.Root(), Numbered(number)));
            }
            EXPECT_EQ(Findings(changed.hive), "");
            std::ranges::shuffle(numbers, random);
            for (std::size_t i = 0; i < numbers.size(); ++i) {
                ASSERT_TRUE(changed.writer.DeleteKey(changed.Find(Numbered(numbers[i]))));
                if (i % 500 == 0) {
                    EXPECT_EQ(Findings(changed.hive), "");
                }
            }
            EXPECT_EQ(changed.hive.Key(changed.hive.Root())->subkeyCount, 0U);
            EXPECT_EQ(Findings(changed.hive), "");
        }
    }
}

TEST(HiveWriter, ReplacesDataOfEachSizeByEachOther)
{
    const std::vector<std::size_t> sizes = {0, 1, 4, 5, 100, 16343, 16344, 16345, 32688, 32689, 200'000};
    for (const std::uint32_t minor : {3U, 5U}) {
        ChangedHive changed(minor);
        for (const std::size_t before : sizes) {
            for (const std::size_t after : sizes) {
                for (const std::size_t size : {before, after}) {
                    ASSERT_TRUE(changed.writer.SetValue(changed.hive.Root(), u"v", 3, Pattern(size)));
                }
                const auto value = changed.hive.FindValue(*changed.hive.Key(changed.hive.Root()), u"V");
                ASSERT_TRUE(value && *value);
                EXPECT_EQ(*changed.hive.ReadData(**value), Pattern(after));
            }
            ASSERT_EQ(Findings(changed.hive), "") << before;
        }
        ASSERT_TRUE(changed.writer.DeleteValue(changed.hive.Root(), u"v"));
        EXPECT_EQ(Findings(changed.hive), "");
    }
}

TEST(HiveWriter, RefusesWhatTheFormatOrThePlatformForbids)
{
    ChangedHive changed;
    const CellOffset root = changed.hive.Root();
    const CellOffset key = *changed.writer.CreateKey(root, u"Key");
    const CellOffset below = *changed.writer.CreateKey(key, u"Below");
    const auto codeOf = [](const auto& result) { return result ? ErrorCode::kSuccess : result.error().code; };
    EXPECT_EQ(codeOf(changed.writer.CreateKey(root, u"KEY")), ErrorCode::kAlreadyExists);
    EXPECT_EQ(codeOf(changed.writer.CreateKey(root, u"")), ErrorCode::kInvalidParameter);
    EXPECT_EQ(codeOf(changed.writer.CreateKey(root, u"a\\b")), ErrorCode::kInvalidParameter);
    EXPECT_EQ(codeOf(changed.writer.CreateKey(root, std::u16string(256, u'x'))), ErrorCode::kInvalidParameter);
    EXPECT_EQ(codeOf(changed.writer.CreateKey(root, std::u16string(255, u'x'))), ErrorCode::kSuccess);
    EXPECT_EQ(codeOf(changed.writer.DeleteKey(key)), ErrorCode::kAccessDenied);
    EXPECT_EQ(codeOf(changed.writer.DeleteKey(root)), ErrorCode::kAccessDenied);
    EXPECT_EQ(codeOf(changed.writer.RenameKey(root, u"x")), ErrorCode::kAccessDenied);
    EXPECT_EQ(codeOf(changed.writer.DeleteValue(key, u"none")), ErrorCode::kFileNotFound);
    EXPECT_EQ(codeOf(changed.writer.SetValue(key, std::u16string(16384, u'x'), 1, {})), ErrorCode::kInvalidParameter);
    EXPECT_EQ(codeOf(changed.writer.SetValue(key, std::u16string(16383, u'x'), 1, {})), ErrorCode::kSuccess);
    CellOffset deepest = below;
    unsigned level = 3;
    for (; level < 512; ++level) {
        deepest = *changed.writer.CreateKey(deepest, u"d");
    }
    EXPECT_EQ(codeOf(changed.writer.CreateKey(deepest, u"d")), ErrorCode::kInvalidParameter);
    EXPECT_EQ(Findings(changed.hive), "");
}

TEST(HiveWriter, CountsLevelsFromTheRootOfTheRegistry)
{
    constexpr unsigned kMountLevel = 3;
    ChangedHive changed;
    changed.writer.SetRootLevel(kMountLevel);
    CellOffset deepest = changed.hive.Root();
    for (unsigned level = kMountLevel; level < 512; ++level) {
        const Result<CellOffset> made = changed.writer.CreateKey(deepest, u"d");
        ASSERT_TRUE(made) << level;
        deepest = *made;
    }
    const Result<CellOffset> below = changed.writer.CreateKey(deepest, u"d");
    EXPECT_TRUE(!below && below.error().code == ErrorCode::kInvalidParameter);

    // A copy that would reach level 513, and one that ends at 512.
    ChangedHive source;
    CellOffset at = source.hive.Root();
    for (unsigned i = 0; i < 100; ++i) {
        at = *source.writer.CreateKey(at, u"s");
    }
    for (const unsigned above : {412U, 413U}) {
        ChangedHive target;
        target.writer.SetRootLevel(kMountLevel);
        CellOffset key = target.hive.Root();
        for (unsigned level = kMountLevel; level < above; ++level) {
            key = *target.writer.CreateKey(key, u"t");
        }
        const fixtures::ModelKey before = fixtures::ReadModel(target.hive, target.hive.Root());
        for (const auto copy : {&HiveWriter::Merge, &HiveWriter::Replace}) {
            const Result<void> copied = (target.writer.*copy)(key, source.hive, source.hive.Root());
            EXPECT_EQ(copied.has_value(), above == 412);
            if (!copied) {
                EXPECT_EQ(copied.error().code, ErrorCode::kInvalidParameter);
                EXPECT_EQ(fixtures::Difference(target.hive, target.hive.Root(), before), "");
            }
        }
        EXPECT_EQ(Findings(target.hive), "");
    }
}

TEST(HiveWriter, MovesTheTimesOfTheKeysThatChanged)
{
    ChangedHive changed;
    const CellOffset root = changed.hive.Root();
    const auto timeOf = [&](CellOffset key) { return changed.hive.Key(key)->lastWrite; };
    changed.clock.now = 100;
    const CellOffset key = *changed.writer.CreateKey(root, u"k");
    EXPECT_EQ(timeOf(root), 100U);
    changed.clock.now = 200;
    ASSERT_TRUE(changed.writer.SetValue(key, u"v", 1, {}));
    EXPECT_EQ(timeOf(key), 200U);
    EXPECT_EQ(timeOf(root), 100U); // what changes inside a subkey is no change of its parent
    changed.clock.now = 300;
    ASSERT_TRUE(changed.writer.DeleteValue(key, u"v"));
    EXPECT_EQ(timeOf(key), 300U);
    changed.clock.now = 400;
    ASSERT_TRUE(changed.writer.DeleteKey(key));
    EXPECT_EQ(timeOf(root), 400U);
}

TEST(HiveWriter, DoesNotGrowWhenTheSameKeysComeAndGo)
{
    ChangedHive changed;
    std::uint32_t afterSecond = 0;
    for (int round = 0; round < 4; ++round) {
        for (unsigned i = 0; i < 1000; ++i) {
            const CellOffset key = *changed.writer.CreateKey(changed.hive.Root(), Numbered(i));
            ASSERT_TRUE(changed.writer.SetValue(key, u"value", 3, Pattern(i % 300)));
        }
        for (unsigned i = 0; i < 1000; ++i) {
            ASSERT_TRUE(changed.writer.DeleteKey(changed.Find(Numbered(i))));
        }
        if (round == 1) {
            afterSecond = changed.hive.Length();
        }
    }
    EXPECT_EQ(changed.hive.Length(), afterSecond);
    EXPECT_EQ(Findings(changed.hive), "");
}

TEST(HiveWriter, UsesTheGapsOfAHiveThatItOpened)
{
    std::vector<std::byte> file;
    {
        ChangedHive changed;
        for (unsigned i = 0; i < 3000; ++i) {
            ASSERT_TRUE(changed.writer.CreateKey(changed.hive.Root(), Numbered(i)));
        }
        for (unsigned i = 0; i < 3000; i += 3) {
            ASSERT_TRUE(changed.writer.DeleteKey(changed.Find(Numbered(i))));
        }
        file.assign(changed.hive.FileBytes().begin(), changed.hive.FileBytes().end());
        const std::uint32_t length = changed.hive.Length();
        std::memcpy(file.data() + 40, &length, sizeof length);
        HiveBuilder::FixChecksum(file);
    }
    ChangedHive reopened(file);
    const std::uint32_t before = reopened.hive.Length();
    for (unsigned i = 0; i < 3000; i += 3) {
        ASSERT_TRUE(reopened.writer.CreateKey(reopened.hive.Root(), Numbered(i)));
    }
    EXPECT_LE(reopened.hive.Length(), before + 65536);
    EXPECT_EQ(Findings(reopened.hive), "");
}

} // namespace
} // namespace tolvar
