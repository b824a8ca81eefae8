#include <algorithm>

#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "platform/hive/cell_layout.h"
#include "platform/hive/hive_mark.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using Bytes = std::vector<std::byte>;

constexpr int kKeys = 100;

/// A hive of four levels. Key number i of the second one was written at i + 1, the first `changed` of them later.
Bytes DatedHive(int changed = 0)
{
    BuiltKey root{.name = u"ROOT", .lastWrite = 900};
    for (int i = 0; i < kKeys; ++i) {
        const std::u16string name = {u'k', static_cast<char16_t>(u'0' + i / 10), static_cast<char16_t>(u'0' + i % 10)};
        const auto time = static_cast<std::uint64_t>(i + 1) + (i < changed ? 5000U : 0U);
        BuiltKey third{.name = u"t", .subkeys = {{.name = u"too deep", .lastWrite = 0}}, .lastWrite = time + 1000};
        root.subkeys.push_back({.name = name, .subkeys = {std::move(third)}, .lastWrite = time});
    }
    return fixtures::HiveBuilder().Build(root);
}

void PutManager(Bytes& file, std::byte number)
{
    Store(std::span(file), base_fields::kManagerSignature, base_fields::kManagerMagic);
    std::ranges::fill(std::span(file).subspan(base_fields::kManager, base_fields::kManagerSize), number);
    fixtures::HiveBuilder::FixChecksum(file);
}

Hive Opened(const Bytes& file)
{
    return Hive::FromBytes(file, "dated").value();
}

TEST(HiveMark, HoldsTheOldestKeysOfThreeLevels)
{
    const HiveMark mark = MarkOf(Opened(DatedHive()));
    ASSERT_EQ(mark.oldest.size(), 64U);
    EXPECT_EQ(mark.oldest.front(), (HiveMark::DatedKey{1, {u"k00"}}));
    EXPECT_EQ(mark.oldest.back(), (HiveMark::DatedKey{64, {u"k63"}}));
    EXPECT_FALSE(IsManaged(mark));
    const HiveMark few = MarkOf(Opened(fixtures::HiveBuilder().Build(
        {.name = u"ROOT",
         .subkeys = {{.name = u"a", .subkeys = {{.name = u"b", .lastWrite = 2}}, .lastWrite = 3}},
         .lastWrite = 4})));
    EXPECT_EQ(few.oldest, (std::vector<HiveMark::DatedKey>{{2, {u"a", u"b"}}, {3, {u"a"}}, {4, {}}}));
}

TEST(HiveMark, KnowsAHiveByItsManagerElseByHalfOfItsKeys)
{
    const HiveMark mark = MarkOf(Opened(DatedHive()));
    EXPECT_EQ(CountKept(Opened(DatedHive(10)), mark), 54U);
    EXPECT_TRUE(IsMarked(Opened(DatedHive(32)), mark));
    EXPECT_FALSE(IsMarked(Opened(DatedHive(33)), mark));
    EXPECT_TRUE(IsMarked(Opened(DatedHive()), HiveMark{})); // of a hive that could not be read

    Bytes managed = DatedHive();
    PutManager(managed, std::byte{7});
    const HiveMark withManager = MarkOf(Opened(managed));
    EXPECT_TRUE(IsManaged(withManager));
    EXPECT_FALSE(IsMarked(Opened(DatedHive(kKeys)), withManager)); // a hive without one: by its keys
    EXPECT_TRUE(IsMarked(Opened(DatedHive()), withManager));
    Bytes later = DatedHive(kKeys);
    PutManager(later, std::byte{7});
    EXPECT_TRUE(IsMarked(Opened(later), withManager));
    Bytes others = DatedHive();
    PutManager(others, std::byte{8});
    EXPECT_FALSE(IsMarked(Opened(others), withManager));
    Store(std::span(others), base_fields::kManagerSignature, 0U); // without it the number means nothing
    fixtures::HiveBuilder::FixChecksum(others);
    EXPECT_FALSE(IsManaged(Opened(others)));
}

} // namespace
} // namespace tolvar
