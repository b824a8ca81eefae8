#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "platform/hive/hive_recovery.h"

namespace tolvar {
namespace {

using fixtures::Difference;
using fixtures::Findings;
using fixtures::ReadModel;

constexpr std::size_t kRoom = std::size_t{64} << 20;
const std::filesystem::path kLogs = std::filesystem::path(TOLVAR_SHARED_DIR) / "hives" / "logs";

Hive Recovered(const std::filesystem::path& file, RecoveryReport& report)
{
    MappedFile copy = SystemFiles().Map(file, kRoom).value();
    EXPECT_TRUE(NeedsRecovery(copy.Bytes()));
    report = RecoverHive(copy, HiveLogs::Find(SystemFiles(), file).value()).value();
    return Hive::FromMap(std::move(copy), file).value();
}

TEST(Marvin32, GivesThePublishedNumbers)
{
    std::vector<std::byte> count(40);
    for (std::size_t i = 0; i < count.size(); ++i) {
        count[i] = static_cast<std::byte>(i);
    }
    EXPECT_EQ(Marvin32({}), 0xb39efca403966e08U);
    EXPECT_EQ(Marvin32(std::vector<std::byte>(32)), 0xda91a06ac5359223U);
    EXPECT_EQ(Marvin32(std::span(count).first(32)), 0xc64feee425c2e24cU);
    EXPECT_EQ(Marvin32(count), 0x2366e1bab67b6ea3U);
}

TEST(HiveRecovery, GivesWhatThePlatformItselfRecovered)
{
    if (!std::filesystem::exists(kLogs)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    for (const auto& [dirty, recovered] : {std::pair{"old-dirty/OldDirtyHive", "old-dirty/RecoveredHive_Windows7"},
                                           {"new-dirty/NewDirtyHive", "new-dirty/RecoveredHive_Windows10"}}) {
        SCOPED_TRACE(dirty);
        RecoveryReport report;
        const Hive hive = Recovered(kLogs / dirty, report);
        const Hive expected = Hive::Open(kLogs / recovered).value();
        EXPECT_TRUE(report.DidAnything());
        EXPECT_FALSE(hive.NeedsRecovery());
        EXPECT_EQ(Difference(hive, hive.Root(), ReadModel(expected, expected.Root())), "");
    }
}

TEST(HiveRecovery, BringsABrokenBaseBlockBackFromTheLog)
{
    if (!std::filesystem::exists(kLogs)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    RecoveryReport report;
    const Hive hive = Recovered(kLogs / "bad-base" / "BadBaseBlockHive", report);
    EXPECT_TRUE(report.isBaseFromLog);
    const Hive expected = Hive::Open(kLogs / "old-dirty" / "RecoveredHive_Windows7").value(); // of the same changes
    EXPECT_EQ(Difference(hive, hive.Root(), ReadModel(expected, expected.Root())), "");
}

TEST(HiveRecovery, PassesOverALogThatIsBroken)
{
    if (!std::filesystem::exists(kLogs)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    RecoveryReport report;
    const Hive hive = Recovered(kLogs / "bad-log1" / "BadLogHive", report);
    EXPECT_FALSE(report.DidAnything());
    EXPECT_TRUE(hive.NeedsRecovery());
}

TEST(HiveRecovery, LeavesALogOfAnotherHiveAlone)
{
    if (!std::filesystem::exists(kLogs)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    MappedFile copy = SystemFiles().Map(kLogs / "new-dirty" / "NewDirtyHive", kRoom).value();
    const std::span<std::byte> base = copy.Writable().first(512);
    base[112] ^= std::byte{1}; // its transaction manager's number
    StoreBaseBlock(base, 3, 2, BaseBlock::Parse(base).length, 0);
    const HiveLogs logs = HiveLogs::Find(SystemFiles(), kLogs / "new-dirty" / "NewDirtyHive").value();
    EXPECT_FALSE(RecoverHive(copy, logs)->DidAnything());
}

} // namespace
} // namespace tolvar
