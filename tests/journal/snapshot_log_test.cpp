#include <array>
#include <functional>
#include <set>

#include <gtest/gtest.h>

#include "fixtures/journal_session.h"
#include "journal/snapshot_log.h"

namespace tolvar {
namespace {

using fixtures::PowerCutStore;

constexpr const char* kFile = "/s/20040323.log";

SnapshotSeal SealFor(const std::string& stamp)
{
    SnapshotSeal seal;
    seal.record = "4;0;HKEY_USERS\\W;;0;;(null);me;" + stamp;
    seal.change = ChangeRecord::DeleteKey("HKEY_USERS\\W");
    return seal;
}

const std::string kFirst = "20040323120000001";
const std::string kSecond = "20040323120000002";
const std::string kThird = "20040323120000003";

class Snapshots : public testing::Test {
protected:
    void Add(const std::string& stamp, FrameKind kind = FrameKind::kChange)
    {
        ASSERT_TRUE(log.Add(kind, stamp, image, SealFor(stamp)));
    }
    /// What another session makes of the files: 0 for a snapshot with its image, 1 for one without, else the code.
    std::uint32_t Read(const std::string& stamp, FrameKind kind = FrameKind::kChange)
    {
        const Result<ChangeSnapshot> found = SnapshotLog(store, "/s").Find(kind, stamp);
        if (!found) {
            return static_cast<std::uint32_t>(found.error().code);
        }
        EXPECT_EQ(found->Seal().record, SealFor(stamp).record);
        return found->Image() != nullptr ? 0 : 1;
    }

    PowerCutStore store;
    SnapshotLog log{store, "/s"};
    std::vector<std::byte> image = fixtures::OddHive();
};

TEST_F(Snapshots, OfADayLieInOneFileAndTakeLittle)
{
    const std::size_t full = image.size();
    image.resize(3 * full);
    Add(kFirst);
    Add(kSecond);
    Add(kSecond, FrameKind::kRedo);
    Add("20040324000000000");
    EXPECT_EQ(store.List("/s").value(), (std::vector<std::string>{"20040323.log", "20040324.log"}));
    EXPECT_LT(store.Content(kFile).size(), 3 * full) << "runs of zeros are left out";
    for (const std::string& stamp : {kFirst, kSecond, std::string("20040324000000000")}) {
        EXPECT_EQ(Read(stamp), 0U) << stamp;
    }
    EXPECT_EQ(Read(kSecond, FrameKind::kRedo), 0U);
    EXPECT_EQ(Read(kFirst, FrameKind::kRedo), 2U);
    EXPECT_EQ(Read(kThird), 2U);
    EXPECT_EQ(Read("../../etc/passwd1"), 13U);
    std::set<std::string> records;
    SnapshotLog(store, "/s").ForEachSeal([&](const SnapshotSeal& seal) { records.insert(seal.record); });
    EXPECT_EQ(records.size(), 3U);
}

TEST_F(Snapshots, AreGoneWithTheLastOfTheirDay)
{
    Add(kFirst);
    Add(kSecond, FrameKind::kRedo);
    log.Remove({&kFirst, 1});
    EXPECT_EQ(Read(kFirst), 2U);
    EXPECT_EQ(Read(kSecond, FrameKind::kRedo), 0U);
    Add(kFirst);
    EXPECT_EQ(Read(kFirst), 0U) << "the same stamp once more";
    log.Remove(std::vector{kFirst, kSecond, std::string("no stamp")});
    EXPECT_TRUE(store.List("/s")->empty());
    Add(kThird);
    ASSERT_TRUE(log.Sync());
    EXPECT_EQ(Read(kThird), 0U);
    log.RemoveDays([](std::string_view day) { return day == "20040323"; });
    EXPECT_EQ(Read(kThird), 0U);
    log.RemoveDays([](std::string_view) { return false; });
    EXPECT_TRUE(store.List("/s")->empty());
}

TEST_F(Snapshots, ThatAreLargeHaveAFileEach)
{
    image.assign(100'000, std::byte{7});
    Add(kFirst);
    Add(kFirst, FrameKind::kRedo);
    EXPECT_EQ(store.List("/s").value(), (std::vector<std::string>{kFirst, kFirst + ".redo"}));
    EXPECT_EQ(Read(kFirst), 1U) << "no hive, but a seal";
    EXPECT_EQ(Read(kFirst, FrameKind::kRedo), 1U);
    log.Remove({&kFirst, 1});
    EXPECT_TRUE(store.List("/s")->empty());
}

TEST_F(Snapshots, SurviveWhatHappensToTheirNeighbours)
{
    struct Case {
        const char* what;
        std::function<void(std::vector<std::byte>& file, std::size_t second, std::size_t third)> damage;
        std::array<std::uint32_t, 3> codes;
    };
    Add(kFirst);
    const std::size_t second = store.Content(kFile).size();
    Add(kSecond);
    const std::size_t third = store.Content(kFile).size();
    Add(kThird);
    const std::vector<std::byte> good = store.Content(kFile);
    for (const Case& c : {
             Case{"nothing", [](auto&, auto, auto) {}, {0, 0, 0}},
             Case{"a torn end", [](auto&file, auto, auto) { file.resize(file.size() - 1); }, {0, 0, 2}},
             Case{"zeros at the end", [](auto&file, auto, auto) { file.resize(file.size() + 512); }, {0, 0, 0}},
             Case{"no head", [](auto&file, auto at, auto) { file[at + 9] ^= std::byte{1}; }, {0, 1392, 0}},
             Case{"no magic", [](auto&file, auto at, auto) { file[at] ^= std::byte{1}; }, {0, 1392, 0}},
             Case{"an altered image", [](auto&file, auto at, auto) { file[at + 100] ^= std::byte{1}; }, {0, 1, 0}},
             Case{"an altered seal", [](auto&file, auto, auto at) { file[at - 60] ^= std::byte{1}; }, {0, 1392, 0}},
             Case{"no size", [](auto&file, auto, auto at) { file[at - 1] ^= std::byte{1}; }, {0, 1392, 0}},
             Case{"a hole in it",
                  [](auto&file, auto from, auto to) {
                      file.erase(file.begin() + static_cast<std::ptrdiff_t>(from) + 50,
                                 file.begin() + static_cast<std::ptrdiff_t>(to) - 50);
                  },
                  {0, 1392, 0}},
         }) {
        SCOPED_TRACE(c.what);
        std::vector<std::byte>& file = store.Content(kFile);
        file = good;
        c.damage(file, second, third);
        EXPECT_EQ((std::array{Read(kFirst), Read(kSecond), Read(kThird)}), c.codes);
        log = SnapshotLog(store, "/s");
        Add("20040323120000004");
        EXPECT_EQ(Read("20040323120000004"), 0U) << "behind it";
        EXPECT_EQ(Read(kThird), c.codes[2]);
        const std::size_t size = store.Content(kFile).size();
        EXPECT_LE(size, good.size() + (good.size() - third) + 1) << "a torn end is written over";
    }
}

TEST_F(Snapshots, ThatCouldNotBeWrittenAreNotThere)
{
    Add(kFirst);
    store.FailAt(1, PowerCutStore::Fault::kDiskFull);
    EXPECT_FALSE(log.Add(FrameKind::kChange, kSecond, image, SealFor(kSecond)));
    EXPECT_EQ(Read(kSecond), 2U);
    Add(kThird);
    EXPECT_EQ(Read(kThird), 0U);
    ASSERT_TRUE(log.Sync());
    const PowerCutStore after = store.AfterPowerCut(1);
    store = after;
    EXPECT_EQ(Read(kThird), 0U);
    EXPECT_EQ(Read(kFirst), 0U);
}

} // namespace
} // namespace tolvar
