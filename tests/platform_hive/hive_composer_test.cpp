#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/hive_model.h"
#include "platform/hive/hive_composer.h"

namespace tolvar {
namespace {

using fixtures::Difference;
using fixtures::Findings;
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

} // namespace
} // namespace tolvar
