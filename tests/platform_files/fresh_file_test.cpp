#include "platform/files/fresh_file.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fixtures/power_cut_store.h"
#include "fixtures/scratch_folder.h"

namespace tolvar {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Existing = FreshFile::Existing;

std::span<const std::byte> Bytes(std::string_view text)
{
    return std::as_bytes(std::span(text));
}

class FreshFileTest : public testing::Test {
protected:
    std::filesystem::path Write(const char* name, std::string_view text) const
    {
        return m_folder.Write(name, Bytes(text));
    }
    [[nodiscard]] std::string Content(const char* name) const
    {
        std::ifstream file(m_folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    [[nodiscard]] std::vector<std::string> Names() const
    {
        std::vector<std::string> names = SystemFiles().List(m_folder.Path()).value();
        std::ranges::sort(names);
        return names;
    }
    [[nodiscard]] static mode_t ModeOf(const std::filesystem::path& file)
    {
        struct stat status = {};
        EXPECT_EQ(stat(file.c_str(), &status), 0) << file;
        return status.st_mode & 07777U;
    }
    [[nodiscard]] static Result<void> Replace(const std::filesystem::path& file, std::string_view text,
                                              const std::filesystem::path& like = {})
    {
        Result<FreshFile> fresh = FreshFile::Begin(SystemFiles(), file, Existing::kReplace, like);
        auto done = fresh ? fresh->Append(Bytes(text)) : tl::unexpected(fresh.error());
        return done ? fresh->TakePlace() : done;
    }

    fixtures::ScratchFolder m_folder;
};

TEST_F(FreshFileTest, TakesItsPlaceAsAWholeAndNoOtherName)
{
    const std::filesystem::path file = Write("f", "old");
    Write("f.new", "the user's");
    {
        Result<FreshFile> fresh = FreshFile::Begin(SystemFiles(), file, Existing::kReplace);
        ASSERT_TRUE(fresh && fresh->Append(Bytes("ne")) && fresh->Append(Bytes("w")));
        EXPECT_EQ(Content("f"), "old");
        ASSERT_EQ(Names().size(), 3U);
        const std::string left = Names().front();
        EXPECT_EQ(left.front(), '.');
        std::filesystem::copy_file(m_folder / left, m_folder / ".left"); // as a killed program would leave it
        ASSERT_TRUE(fresh->TakePlace());
    }
    EXPECT_THAT(Names(), UnorderedElementsAre(".left", "f", "f.new"));
    EXPECT_EQ(Content("f") + Content("f.new") + Content(".left"), "newthe user'snew");
    {
        Result<FreshFile> dropped = FreshFile::Begin(SystemFiles(), file, Existing::kReplace);
        ASSERT_TRUE(dropped && dropped->Append(Bytes("x")));
        FreshFile moved = *std::move(dropped);
        EXPECT_TRUE(moved.Append(Bytes("y")));
    }
    EXPECT_EQ(Names().size(), 3U);
    EXPECT_EQ(Content("f"), "new");
    const std::string longName(255, 'n');
    EXPECT_TRUE(Replace(m_folder / longName, "long"));
    EXPECT_EQ(Content(longName.c_str()), "long");
}

TEST_F(FreshFileTest, NeverReplacesWhereItWasToBeNew)
{
    const std::filesystem::path file = m_folder / "f";
    Result<FreshFile> fresh = FreshFile::Begin(SystemFiles(), file, Existing::kRefuse);
    ASSERT_TRUE(fresh && fresh->Append(Bytes("ours")));
    Write("f", "another program's, since then");
    EXPECT_EQ(fresh->TakePlace().error().code, ErrorCode::kAlreadyExists);
    EXPECT_EQ(WriteNewFile(SystemFiles(), file, Bytes("ours")).error().code, ErrorCode::kAlreadyExists);
    EXPECT_EQ(Content("f"), "another program's, since then");
    EXPECT_THAT(Names(), ElementsAre("f"));
    EXPECT_TRUE(WriteNewFile(SystemFiles(), m_folder / "g", Bytes("ours")));
    EXPECT_EQ(Content("g"), "ours");
    EXPECT_EQ(Replace(m_folder.Path(), "x").error().code, ErrorCode::kDirectory);
    EXPECT_EQ(Replace(m_folder / "none/f", "x").error().code, ErrorCode::kFileNotFound);
}

TEST_F(FreshFileTest, FollowsLinksAndLeavesThem)
{
    Write("target", "old");
    std::filesystem::create_directory(m_folder / "d");
    std::filesystem::create_symlink("../target", m_folder / "d/one");
    std::filesystem::create_symlink("d/one", m_folder / "two");
    std::filesystem::create_symlink("d/nowhere", m_folder / "dangling");
    std::filesystem::create_symlink("circle", m_folder / "circle");
    ASSERT_TRUE(Replace(m_folder / "two", "new"));
    ASSERT_TRUE(Replace(m_folder / "dangling", "made"));
    EXPECT_EQ(Content("target") + Content("d/nowhere"), "newmade");
    for (const char* link : {"two", "d/one", "dangling"}) {
        EXPECT_TRUE(std::filesystem::is_symlink(m_folder / link)) << link;
    }
    EXPECT_EQ(Replace(m_folder / "circle", "x").error().code, ErrorCode::kPathNotFound);
    EXPECT_EQ(Names().size(), 5U);
    EXPECT_EQ(SystemFiles().RealPath(m_folder / "d/../two").value(),
              std::filesystem::canonical(m_folder.Path()) / "target");
}

TEST_F(FreshFileTest, GetsTheRightsOfWhatItReplacesOrIsMadeLike)
{
    const mode_t mask = umask(022);
    for (const mode_t mode : {0600U, 0640U, 0664U, 0444U, 0644U}) {
        SCOPED_TRACE(mode);
        const std::filesystem::path file = Write("f", "old");
        const std::filesystem::path other = Write("other", "");
        ASSERT_EQ(chmod(file.c_str(), mode), 0);
        ASSERT_EQ(chmod(other.c_str(), 0666), 0);
        ASSERT_TRUE(Replace(file, "new", other));
        EXPECT_EQ(ModeOf(file), mode);
        ASSERT_TRUE(WriteNewFile(SystemFiles(), m_folder / "g", {}, file));
        EXPECT_EQ(ModeOf(m_folder / "g"), mode);
        std::filesystem::remove(m_folder / "g");
        std::filesystem::remove(file);
    }
    ASSERT_TRUE(WriteNewFile(SystemFiles(), m_folder / "g", {}));
    EXPECT_EQ(ModeOf(m_folder / "g"), 0644U);
    ASSERT_TRUE(SystemFiles().MakeFolder(m_folder / "a/b"));
    EXPECT_EQ(ModeOf(m_folder / "a"), 0700U);
    EXPECT_EQ(SystemFiles().MakeFolder(m_folder / "g").error().code, ErrorCode::kAlreadyExists);
    umask(mask);
}

TEST_F(FreshFileTest, KeepsTheOwnerOrGivesAnotherGroupNoMoreThanAll)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may give files away";
    }
    constexpr uid_t kUser = 12345;
    const std::filesystem::path file = Write("f", "old");
    ASSERT_TRUE(chmod(file.c_str(), 0640) == 0 && chown(file.c_str(), kUser, kUser) == 0);
    ASSERT_TRUE(Replace(file, "new"));
    struct stat status = {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_TRUE(status.st_uid == kUser && status.st_gid == kUser);
    EXPECT_EQ(ModeOf(file), 0640U);
    ASSERT_TRUE(chown(file.c_str(), 0, 0) == 0 && chmod(m_folder.Path().c_str(), 0777) == 0);
    ASSERT_TRUE(setegid(kUser) == 0 && seteuid(kUser) == 0);
    const Result<void> replaced = Replace(file, "the user's");
    ASSERT_TRUE(seteuid(0) == 0 && setegid(0) == 0);
    ASSERT_TRUE(replaced) << replaced.error().context;
    EXPECT_EQ(ModeOf(file), 0600U);
}

TEST_F(FreshFileTest, WritesThroughAPipeOrDevice)
{
    const std::filesystem::path pipe = m_folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    for (const Existing existing : {Existing::kRefuse, Existing::kReplace}) {
        Result<FreshFile> fresh = FreshFile::Begin(SystemFiles(), pipe, existing);
        ASSERT_TRUE(fresh && fresh->Append(Bytes("on")) && fresh->Append(Bytes("e")) && fresh->TakePlace());
        std::string got(10, '\0');
        EXPECT_EQ(read(reader, got.data(), got.size()), 3);
        EXPECT_EQ(got.substr(0, 3), "one");
    }
    close(reader);
    EXPECT_EQ(SystemFiles().KindOf(pipe), FileStore::Kind::kStream);
    EXPECT_EQ(Replace("/dev/full", "x").error().code, ErrorCode::kDiskFull);
    EXPECT_TRUE(Replace("/dev/null", "x"));
    EXPECT_THAT(Names(), ElementsAre("pipe"));
}

TEST(FreshFileFaults, LeaveTheOldFileAndNoOther)
{
    using fixtures::PowerCutStore;
    std::size_t call = 0;
    for (bool isDone = false; !isDone;) {
        SCOPED_TRACE(++call);
        ASSERT_LT(call, 20U);
        PowerCutStore store;
        store.Put("d/f", {std::byte{1}});
        store.FailAt(call, PowerCutStore::Fault::kDiskFull);
        {
            Result<FreshFile> fresh = FreshFile::Begin(store, "d/f", Existing::kReplace);
            auto done = fresh ? fresh->Append(Bytes("new")) : tl::unexpected(fresh.error());
            done = done ? fresh->TakePlace() : done;
            isDone = done.has_value();
            EXPECT_TRUE(isDone || done.error().code == ErrorCode::kDiskFull);
        }
        EXPECT_THAT(store.List("d").value(), ElementsAre("f"));
        EXPECT_TRUE(call >= 5 || store.Content("d/f").size() == 1); // the last call makes the name durable
    }
    EXPECT_GT(call, 5U);
    for (std::uint32_t seed = 0; seed < 100; ++seed) { // wherever the power goes off, the one or the other
        PowerCutStore store;
        store.Put("d/f", {std::byte{1}});
        store.FailAt(1 + seed % 5);
        Result<FreshFile> fresh = FreshFile::Begin(store, "d/f", Existing::kReplace);
        if (fresh && fresh->Append(Bytes("new"))) {
            static_cast<void>(fresh->TakePlace());
        }
        PowerCutStore after = store.AfterPowerCut(seed);
        EXPECT_TRUE(after.Content("d/f").size() == 1 || std::ranges::equal(after.Content("d/f"), Bytes("new"))) << seed;
    }
}

} // namespace
} // namespace tolvar
