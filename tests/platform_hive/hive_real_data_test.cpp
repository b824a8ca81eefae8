#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hive/hive.h"
#include "platform/hive/hive_validator.h"
#include "platform/hive/hive_walk.h"

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

TEST(RealHives, DamagedOnesAreReadWithoutHarmAndFoundOut)
{
    if (!std::filesystem::exists(kHives)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    for (const std::filesystem::path& file : FilesOf("damaged")) {
        SCOPED_TRACE(file.filename());
        const Result<Hive> hive = Hive::Open(file);
        if (!hive) {
            continue; // refused with a reason
        }
        const ValidationSummary summary = ValidateHive(*hive, [](const Finding&) {});
        if (file.filename() != "BogusKeyNamesHive") { // strange names, and every record well formed
            EXPECT_GT(summary.errors + summary.warnings, 0U);
        }
    }
}

} // namespace
} // namespace tolvar
