#include <cstring>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/scratch_folder.h"
#include "platform/hive/hive.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;
using File = std::vector<std::byte>;

File SmallHive(std::uint32_t minor = 5)
{
    return HiveBuilder(minor).Build({.name = u"ROOT", .subkeys = {{.name = u"a"}, {.name = u"b"}}});
}

void Store(File& file, std::size_t at, std::uint32_t value)
{
    std::memcpy(file.data() + at, &value, sizeof value);
    HiveBuilder::FixChecksum(file);
}

struct OpenCase {
    const char* what;
    File file;
    ErrorCode code;
    const char* says;
};

TEST(HiveOpen, SaysWhatIsWrongWithAFileAndWhere)
{
    File wrongChecksum = SmallHive();
    wrongChecksum[508] ^= std::byte{1};
    File version11 = SmallHive(1);
    File version17 = SmallHive(7);
    File log = SmallHive();
    Store(log, 28, 6);
    File oddLength = SmallHive();
    Store(oddLength, 40, 4100);
    File hugeLength = SmallHive();
    Store(hugeLength, 40, 0xFFFFF000);
    File cut = SmallHive();
    cut.resize(600);
    File text(8192, std::byte{'x'});
    for (const OpenCase& c : {
             OpenCase{"empty", {}, ErrorCode::kNotRegistryFile, "empty"},
             OpenCase{"no hive", text, ErrorCode::kNotRegistryFile, "no registry hive"},
             OpenCase{"cut", cut, ErrorCode::kRegistryCorrupt,
                      "truncated, it ends before its first hive bin (at offset 0x258)"},
             OpenCase{"checksum", wrongChecksum, ErrorCode::kRegistryCorrupt, "checksum"},
             OpenCase{"1.1", version11, ErrorCode::kRevisionMismatch, "version 1.1"},
             OpenCase{"1.7", version17, ErrorCode::kRevisionMismatch, "version 1.7"},
             OpenCase{"log", log, ErrorCode::kNotRegistryFile, "transaction log"},
             OpenCase{"odd length", oddLength, ErrorCode::kRegistryCorrupt, "length"},
             OpenCase{"huge length", hugeLength, ErrorCode::kRegistryCorrupt, "length"},
         }) {
        SCOPED_TRACE(c.what);
        const Result<Hive> hive = Hive::FromBytes(c.file, "test");
        ASSERT_FALSE(hive);
        EXPECT_EQ(hive.error().code, c.code);
        EXPECT_THAT(hive.error().context, testing::HasSubstr(c.says));
        EXPECT_THAT(hive.error().context, testing::HasSubstr("at offset 0x"));
    }
}

TEST(HiveOpen, OpensEveryVersionThatItCanRead)
{
    for (const std::uint32_t minor : {2U, 3U, 4U, 5U, 6U}) {
        const File file = SmallHive(minor);
        EXPECT_TRUE(Hive::FromBytes(file, "test")) << minor;
    }
}

TEST(HiveOpen, ShowsWhatIsLeftOfATruncatedHive)
{
    File file = HiveBuilder().Build({.name = u"ROOT", .values = {{u"big", 3, File(20000, std::byte{7})}}});
    file.resize(2 * 4096);
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    ASSERT_TRUE(hive);
    ASSERT_TRUE(hive->Damage());
    EXPECT_THAT(hive->Damage()->context, testing::HasSubstr("truncated"));
    EXPECT_TRUE(hive->Key(hive->Root()));
}

TEST(HiveOpen, KnowsAHiveThatNeedsItsLogs)
{
    File file = SmallHive();
    Store(file, 4, 2);
    const Result<Hive> hive = Hive::FromBytes(file, "test");
    ASSERT_TRUE(hive);
    EXPECT_TRUE(hive->NeedsRecovery());
}

TEST(HiveOpen, TellsAFolderFromAMissingFile)
{
    const fixtures::ScratchFolder folder;
    EXPECT_EQ(Hive::Open(folder.Path()).error().code, ErrorCode::kDirectory);
    EXPECT_EQ(Hive::Open(folder / "no such file").error().code, ErrorCode::kFileNotFound);
}

TEST(HiveOpen, LivesOnWhenItsFileIsCutShortWhileOpen)
{
    BuiltKey root{.name = u"ROOT"};
    for (char16_t c = u'a'; c <= u'z'; ++c) {
        root.subkeys.push_back({.name = std::u16string(1, c), .values = {{u"v", 3, File(3000, std::byte{1})}}});
    }
    const fixtures::ScratchFolder folder;
    const std::filesystem::path path = folder.Write("hive", HiveBuilder().Build(root));
    const Result<Hive> hive = Hive::Open(path);
    ASSERT_TRUE(hive);
    const Checked<KeyNode> key = hive->Key(hive->Root());
    ASSERT_TRUE(key);
    std::filesystem::resize_file(path, 2 * 4096);
    int readable = 0;
    int failed = 0;
    SubkeyCursor subkeys = hive->Subkeys(*key);
    for (Checked<CellOffset> next = subkeys.Next(); !next || !next->IsNil(); next = subkeys.Next()) {
        const Checked<KeyNode> child = next ? hive->Key(*next) : tl::unexpected(next.error());
        const auto values = child ? hive->Values(*child) : tl::unexpected(child.error());
        const auto value = values ? hive->Value((*values)[0]) : tl::unexpected(values.error());
        const auto data = value ? hive->ReadData(*value) : tl::unexpected(value.error());
        if (data) {
            ++readable;
            EXPECT_EQ(*data, File(3000, std::byte{1}));
        } else {
            ++failed;
        }
    }
    EXPECT_GT(failed, 0);
    EXPECT_EQ(hive->Key(hive->Root())->name.ToUtf8(), "ROOT");
    std::filesystem::remove(path);
}

} // namespace
} // namespace tolvar
