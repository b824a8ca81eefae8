#include <cstring>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/hive_model.h"
#include "platform/hive/hive_composer.h"
#include "platform_hive/changed_hive.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::Difference;
using fixtures::Findings;
using fixtures::LeafKind;
using fixtures::ReadModel;

TEST(HiveComposer, KeepsTheContentOfEveryRealHiveInNoMoreRoom)
{
    const std::filesystem::path hives = std::filesystem::path(TOLVAR_SHARED_DIR) / "hives";
    if (!std::filesystem::exists(hives)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    for (const char* kind : {"machines", "crafted"}) {
        for (const auto& entry : std::filesystem::directory_iterator(hives / kind)) {
            SCOPED_TRACE(entry.path().filename());
            const Hive source = Hive::Open(entry.path()).value();
            int faults = 0;
            HiveComposer composer(source, {}, [&faults](const HiveFault&) { ++faults; });
            const std::vector<std::byte> file = composer.Compose(source.Root()).value();
            const Hive hive = Hive::FromBytes(file, "composed").value();
            EXPECT_EQ(faults, 0);
            EXPECT_EQ(Findings(hive), "");
            EXPECT_EQ(Difference(hive, hive.Root(), ReadModel(source, source.Root())), "");
            EXPECT_EQ(hive.Key(hive.Root())->lastWrite, source.Key(source.Root())->lastWrite);
            EXPECT_LE(hive.Length(), source.Length());
        }
    }
}

TEST(HiveComposer, LeavesOutWhatCanNotBeReadAndSortsWhatIsOutOfOrder)
{
    const fixtures::BuiltKey root{.name = u"ROOT",
                                  .subkeys = {{.name = u"c"}, {.name = u"a"}, {.name = u"C"}, {.name = u"bad"}}};
    std::vector<std::byte> bytes = fixtures::HiveBuilder().Build(root);
    const Hive before = Hive::FromBytes(bytes, "test").value();
    const CellOffset bad = *before.FindSubkey(*before.Key(before.Root()), u"bad");
    bytes[bad.FilePosition() + 4] = std::byte{0};
    const Hive source = Hive::FromBytes(bytes, "test").value();
    std::vector<Breach> breaches;
    HiveComposer composer(source, u"NEW", [&](const HiveFault& fault) { breaches.push_back(fault.breach); });
    const std::vector<std::byte> file = composer.Compose(source.Root()).value();
    const Hive hive = Hive::FromBytes(file, "composed").value();
    EXPECT_THAT(breaches, testing::UnorderedElementsAre(Breach::kKeySignature, Breach::kListOrder));
    const fixtures::ModelKey model = ReadModel(hive, hive.Root());
    EXPECT_EQ(model.name, u"NEW");
    ASSERT_EQ(model.subkeys.size(), 2U);
    EXPECT_EQ(model.subkeys[1]->name, u"c");
    EXPECT_EQ(Findings(hive), "");
}

TEST(HiveComposer, WritesListsAndDataOfAnySizeAsItsVersionDoes)
{
    for (const std::uint32_t minor : {2U, 3U, 5U}) {
        for (const unsigned count : {0U, 1U, 507U, 508U, 1015U}) {
            SCOPED_TRACE(testing::Message() << "1." << minor << ", " << count << " subkeys");
            BuiltKey root{.name = u"ROOT", .className = u"class"};
            for (unsigned i = 0; i < count; ++i) {
                root.subkeys.push_back({.name = fixtures::Numbered(i), .className = std::u16string(i % 3, u'c')});
            }
            for (const std::size_t size : {0U, 4U, 5U, 16344U, 16345U, 32689U, 70'000U}) {
                root.values.push_back(
                    {fixtures::Numbered(static_cast<unsigned>(size)), 3, std::vector<std::byte>(size, std::byte{7})});
            }
            const auto kind = minor == 2 ? LeafKind::kOffsets : minor == 3 ? LeafKind::kHints : LeafKind::kHashes;
            const std::vector<std::byte> bytes = fixtures::HiveBuilder(minor, kind, 400).Build(root);
            const Hive source = Hive::FromBytes(bytes, "source").value();
            HiveComposer composer(source, {},
                                  [](const HiveFault& fault) { ADD_FAILURE() << BreachMeaning(fault.breach); });
            const std::vector<std::byte> file = composer.Compose(source.Root()).value();
            const Hive hive = Hive::FromBytes(file, "composed").value();
            EXPECT_EQ(Findings(hive), "");
            EXPECT_EQ(Difference(hive, hive.Root(), ReadModel(source, source.Root())), "");
            EXPECT_EQ(hive.Base().minor, std::max(minor, 3U));
            const KeyNode top = *hive.Key(hive.Root());
            EXPECT_TRUE(top.Is(key_flags::kNoDelete) && top.Is(key_flags::kHiveEntry));
            EXPECT_EQ(top.maxNameLength, count != 0 ? 20U : 0U);
            EXPECT_EQ(top.maxClassLength, count > 2 ? 4U : 0U);
            EXPECT_EQ(top.maxValueDataLength, 70'000U);
            EXPECT_EQ(top.maxValueNameLength, 20U);
            if (count != 0) {
                const SubkeyList list = *SubkeyList::Parse(hive, top.subkeyList);
                const ListKind leaf = minor == 5 ? ListKind::kHashes : ListKind::kHints;
                EXPECT_EQ(list.kind, count > 507 ? ListKind::kIndex : leaf);
                EXPECT_EQ(list.count, count > 507 ? (count + 506) / 507 : count);
                for (std::uint32_t i = 0; count > 507 && i < list.count; ++i) {
                    const ListKind below = minor == 5 ? ListKind::kHashes : ListKind::kOffsets;
                    EXPECT_EQ(SubkeyList::Parse(hive, list.Offset(i))->kind, below);
                }
            }
        }
    }
}

TEST(HiveComposer, GivesAKeyWithoutSecurityThatOfTheRootAndRefusesWhatIsNoKey)
{
    std::vector<std::byte> bytes = fixtures::HiveBuilder().Build({.name = u"ROOT", .subkeys = {{.name = u"a"}}});
    const Hive whole = Hive::FromBytes(bytes, "whole").value();
    const CellOffset a = *whole.FindSubkey(*whole.Key(whole.Root()), u"a");
    const std::uint32_t nil = CellOffset::kNil;
    std::memcpy(bytes.data() + a.FilePosition() + kCellHeader + key_fields::kSecurity.at, &nil, sizeof nil);
    const Hive source = Hive::FromBytes(bytes, "source").value();
    std::vector<Breach> breaches;
    HiveComposer composer(source, {}, [&](const HiveFault& fault) { breaches.push_back(fault.breach); });
    const std::vector<std::byte> file = composer.Compose(source.Root()).value();
    EXPECT_THAT(breaches, testing::ElementsAre(Breach::kSecurityMissing));
    EXPECT_EQ(Findings(Hive::FromBytes(file, "composed").value()), "");
    EXPECT_EQ(composer.Compose(source.Key(source.Root())->security).error().code, ErrorCode::kRegistryCorrupt);
}

} // namespace
} // namespace tolvar
