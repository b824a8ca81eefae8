#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hive/hive.h"
#include "platform/hive/hive_validator.h"
#include "platform_hive/walk_counter.h"

namespace tolvar {
namespace {

const std::filesystem::path kHives = std::filesystem::path(TOLVAR_SHARED_DIR) / "hives";

std::vector<std::filesystem::path> FilesOf(const char* folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(kHives / folder)) {
        files.push_back(entry.path());
    }
    return files;
}

TEST(RealHives, OfMachinesHaveNoBreach)
{
    if (!std::filesystem::exists(kHives)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    for (const std::filesystem::path& file : FilesOf("machines")) {
        SCOPED_TRACE(file.filename());
        const Result<Hive> hive = Hive::Open(file);
        ASSERT_TRUE(hive) << hive.error().context;
        const ValidationSummary summary = ValidateHive(*hive, [](const Finding& finding) {
            EXPECT_EQ(finding.severity, Severity::kWarning)
                << std::hex << finding.filePosition << " " << finding.meaning;
        });
        EXPECT_GT(summary.keys, 0U);
    }
}

/// What a damaged hive gives: the keys that a reader meets and the first breach that the validator names, or why it
/// does not open.
struct DamagedHive {
    const char* file;
    int keys;
    Breach breach;
    const char* refusal = nullptr;
};

TEST(RealHives, DamagedOnesGiveWhatIsLeftAndSayWhatIsBroken)
{
    if (!std::filesystem::exists(kHives)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    for (const DamagedHive& c : {
             DamagedHive{"BadListHive", 6, Breach::kKeyParent}, // two keys list the same
             DamagedHive{"BadSubkeyHive", 6, Breach::kKeyParent},
             DamagedHive{"BogusKeyNamesHive", 3, Breach::kNone}, // strange names, and every record well formed
             DamagedHive{"GarbageHive", 0, Breach::kNone, "wrong checksum"},
             DamagedHive{"InvalidParentHive", 5003, Breach::kKeyParent},
             DamagedHive{"SYSTEM-corrupt", 1687, Breach::kBinSignature},
             DamagedHive{"TruncatedDirtyHive", 2, Breach::kFileShort},
             DamagedHive{"TruncatedHive", 2, Breach::kFileShort},
             DamagedHive{"TruncatedNameHive", 1, Breach::kKeyNameLength},
             DamagedHive{"WrongOrderHive", 11, Breach::kListOrder},
             DamagedHive{"corrupt-subkey-list", 100, Breach::kCellSize},
         }) {
        SCOPED_TRACE(c.file);
        const Result<Hive> hive = Hive::Open(kHives / "damaged" / c.file);
        EXPECT_EQ(hive.has_value(), c.refusal == nullptr) << (hive ? "opens" : hive.error().context);
        if (!hive) {
            EXPECT_THAT(hive.error().context, testing::HasSubstr(c.refusal));
            continue;
        }
        Breach first = Breach::kNone;
        static_cast<void>(ValidateHive(
            *hive, [&first](const Finding& finding) { first = first == Breach::kNone ? finding.breach : first; }));
        EXPECT_EQ(first, c.breach) << BreachMeaning(first);
        EXPECT_EQ(fixtures::WalkCounter::Walk(*hive).keys, c.keys);
    }
}

} // namespace
} // namespace tolvar
