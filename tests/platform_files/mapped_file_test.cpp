#include "platform/files/mapped_file.h"

#include <algorithm>
#include <fstream>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fixtures/scratch_folder.h"

namespace tolvar {
namespace {

class MappedFileTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path Write(const char* name, std::size_t size) const
    {
        const std::filesystem::path file = m_folder / name;
        std::ofstream(file, std::ios::binary) << std::string(size, 'x');
        return file;
    }

    [[nodiscard]] static std::span<const std::byte> PageOf(const MappedFile& map, std::size_t page)
    {
        return map.Bytes().subspan(page * PageSize(), PageSize());
    }
    [[nodiscard]] static std::size_t PageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

    /// How many bytes of the file read as they were written.
    [[nodiscard]] static std::ptrdiff_t ReadAll(const MappedFile& map)
    {
        return std::ranges::count(map.Bytes(), std::byte{'x'});
    }

    fixtures::ScratchFolder m_folder;
};

TEST_F(MappedFileTest, SaysWhyAFileCanNotBeMapped)
{
    const auto codeOf = [](const std::filesystem::path& file) {
        const Result<MappedFile> map = MappedFile::Open(file);
        EXPECT_FALSE(map);
        EXPECT_THAT(map.error().context, testing::HasSubstr(file.string()));
        return map.error().code;
    };
    EXPECT_EQ(codeOf(m_folder.Path()), ErrorCode::kDirectory);
    EXPECT_EQ(codeOf(m_folder / "none"), ErrorCode::kFileNotFound);
    EXPECT_EQ(codeOf(Write("file", 1) / "below"), ErrorCode::kPathNotFound);
    const std::filesystem::path pipe = m_folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(codeOf(pipe), ErrorCode::kNotSupported); // and does not wait for a writer

    const std::filesystem::path closed = Write("closed", 1);
    std::filesystem::permissions(closed, std::filesystem::perms::none);
    const uid_t user = geteuid();
    if (user != 0 || seteuid(65534) == 0) { // to root no file is closed
        EXPECT_EQ(codeOf(closed), ErrorCode::kAccessDenied);
        ASSERT_EQ(seteuid(user), 0);
    }
}

TEST_F(MappedFileTest, HoldsAnEmptyFile)
{
    const Result<MappedFile> map = MappedFile::Open(Write("empty", 0));
    ASSERT_TRUE(map);
    EXPECT_TRUE(map->Bytes().empty());
    EXPECT_FALSE(map->Failed(map->Bytes()));
}

TEST_F(MappedFileTest, TellsThePagesThatWereCutOffAndNoOthers)
{
    const std::filesystem::path file = Write("cut", 5 * PageSize() + 7);
    Result<MappedFile> opened = MappedFile::Open(file);
    ASSERT_TRUE(opened);
    const MappedFile map = std::move(*opened);
    std::filesystem::resize_file(file, 2 * PageSize());
    EXPECT_FALSE(map.AnyFailed()); // nothing was read yet
    EXPECT_EQ(PageOf(map, 3)[5], std::byte{0});
    EXPECT_TRUE(map.AnyFailed());
    EXPECT_TRUE(map.Failed(PageOf(map, 3)));
    EXPECT_TRUE(map.Failed(map.Bytes().subspan(3 * PageSize() - 1, 2))); // its first byte alone
    EXPECT_FALSE(map.Failed(map.Bytes().subspan(3 * PageSize() - 1, 1)));
    EXPECT_EQ(ReadAll(map), static_cast<std::ptrdiff_t>(2 * PageSize()));
    EXPECT_TRUE(map.Failed(map.Bytes().last(7)));
    EXPECT_FALSE(map.Failed(map.Bytes().first(2 * PageSize())));
}

TEST_F(MappedFileTest, TellsThePageInWhichTheCutLies)
{
    const std::filesystem::path file = Write("cut", 4 * PageSize());
    const Result<MappedFile> map = MappedFile::Open(file);
    ASSERT_TRUE(map);
    std::filesystem::resize_file(file, PageSize() + 100);
    EXPECT_EQ(ReadAll(*map), static_cast<std::ptrdiff_t>(PageSize() + 100));
    EXPECT_TRUE(map->Failed(PageOf(*map, 1))); // its end reads as zeros without any signal
    EXPECT_FALSE(map->Failed(PageOf(*map, 0)));
}

TEST_F(MappedFileTest, KeepsMapsApart)
{
    const std::filesystem::path cut = Write("cut", 2 * PageSize());
    const std::filesystem::path whole = Write("whole", 2 * PageSize());
    const Result<MappedFile> first = MappedFile::Open(whole);
    Result<MappedFile> second = MappedFile::Open(cut);
    const Result<MappedFile> third = MappedFile::Open(whole);
    ASSERT_TRUE(first && second && third);
    std::filesystem::resize_file(cut, 0);
    EXPECT_EQ(ReadAll(*second), 0);
    EXPECT_TRUE(second->Failed(second->Bytes()));
    EXPECT_EQ(ReadAll(*first) + ReadAll(*third), static_cast<std::ptrdiff_t>(4 * PageSize()));
    EXPECT_FALSE(first->AnyFailed() || third->AnyFailed());

    second = MappedFile::Open(whole); // the old map's place is free again, and its failures are forgotten
    ASSERT_TRUE(second);
    EXPECT_EQ(ReadAll(*second), static_cast<std::ptrdiff_t>(2 * PageSize()));
    EXPECT_FALSE(second->AnyFailed());
}

TEST_F(MappedFileTest, RefusesOneMapTooManyUntilAnotherIsClosed)
{
    const std::filesystem::path file = Write("file", 1);
    std::vector<MappedFile> maps;
    Result<MappedFile> map = MappedFile::Open(file);
    while (map) {
        maps.push_back(std::move(*map));
        map = MappedFile::Open(file);
    }
    EXPECT_EQ(map.error().code, ErrorCode::kNotEnoughMemory);
    EXPECT_GE(maps.size(), 100U);
    maps.erase(maps.begin() + 7);
    EXPECT_TRUE(MappedFile::Open(file));
}

TEST_F(MappedFileTest, LeavesTheBusErrorsOfOthersAlone)
{
    const std::filesystem::path file = Write("file", PageSize());
    const Result<MappedFile> map = MappedFile::Open(file);
    ASSERT_TRUE(map);
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    void* const foreign = mmap(nullptr, PageSize(), PROT_READ, MAP_PRIVATE, descriptor, 0);
    ASSERT_NE(foreign, MAP_FAILED);
    std::filesystem::resize_file(file, 0);
    EXPECT_DEATH(static_cast<void>(*static_cast<volatile char*>(foreign)), "");
    munmap(foreign, PageSize());
    close(descriptor);
}

} // namespace
} // namespace tolvar
