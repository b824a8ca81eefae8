#include <algorithm>

#include <gtest/gtest.h>

#include "fixtures/journal_session.h"
#include "journal/index_file.h"
#include "journal/journal_store.h"

namespace tolvar {
namespace {

constexpr const char* kIndex = "/d/backups/index";
constexpr const char* kPending = "/d/journal.pending";

class Store : public testing::Test {
protected:
    std::unique_ptr<JournalStore> Opened(bool isBrief, const Clock* other = nullptr)
    {
        JournalPlace place;
        place.dataFolder = "/d/backups";
        place.isBrief = isBrief;
        place.files = &files;
        place.clock = other != nullptr ? other : &clock;
        auto store = std::make_unique<JournalStore>(place);
        EXPECT_TRUE(store->Open());
        return store;
    }
    static std::string Add(JournalStore& store, const std::string& name)
    {
        const std::string record = "7;0;HKEY_USERS\\W;" + name + ";0;;;me;" + store.NewStamp();
        EXPECT_TRUE(store.Begin(record));
        store.NoteMade(record);
        return store.Add(record);
    }
    static std::vector<std::string> All(const JournalStore& store)
    {
        return {store.Records().begin(), store.Records().end()};
    }

    fixtures::PowerCutStore files;
    fixtures::SecondsClock clock;
};

TEST_F(Store, LeavesTheIndexOfABriefSessionAloneUntilThereIsMuchToWrite)
{
    std::unique_ptr<JournalStore> store = Opened(true);
    const std::string first = Add(*store, "a");
    ASSERT_TRUE(store->Save(false));
    EXPECT_FALSE(files.Exists(kPending)) << "the first close makes the file whole";
    const std::vector<std::byte> index = files.Content(kIndex);

    store = Opened(true);
    const std::string second = Add(*store, "b");
    ASSERT_TRUE(store->Save(false));
    store = Opened(true);
    ASSERT_TRUE(store->Drop({&first, 1}));
    const std::string third = Add(*store, "c");
    ASSERT_TRUE(store->Save(false));
    EXPECT_EQ(files.Content(kIndex), index);
    EXPECT_EQ(All(*Opened(true)), (std::vector{second, third}));

    store = Opened(true);
    const std::string large = Add(*store, std::string(300'000, 'x'));
    ASSERT_TRUE(store->Save(false));
    EXPECT_FALSE(files.Exists(kPending));
    EXPECT_EQ(DecodeIndex(files.Content(kIndex)).lists.journal, (std::vector{second, third, large}));

    store = Opened(true);
    const std::string fourth = Add(*store, "d");
    store->SetBookmarks({"p"}, {"t"});
    ASSERT_TRUE(store->Save(false));
    EXPECT_FALSE(files.Exists(kPending)) << "bookmarks lie nowhere else";
    store = Opened(false);
    const std::string last = Add(*store, "e");
    ASSERT_TRUE(store->Save(false));
    EXPECT_FALSE(files.Exists(kPending));
    EXPECT_EQ(All(*Opened(false)), (std::vector{second, third, large, fourth, last}));
    EXPECT_EQ(Opened(true)->BookmarkPaths(), std::vector<std::string>{"p"});
}

TEST_F(Store, ListsARecordOnceThatIndexAndPendingLogBothHold)
{
    std::unique_ptr<JournalStore> store = Opened(true);
    const std::string first = Add(*store, "a");
    const std::vector<std::byte> pending = files.Content(kPending);
    ASSERT_TRUE(store->Save(false));
    files.Put(kPending, pending); // a crash came before it was removed
    EXPECT_EQ(All(*Opened(true)), std::vector{first});
}

TEST_F(Store, SaysDamageInThePendingLogAndKeepsTheFile)
{
    ASSERT_TRUE(Opened(true)->Save(false));
    std::unique_ptr<JournalStore> store = Opened(true);
    const std::string first = Add(*store, "a");
    const std::string second = Add(*store, "b");
    const std::string third = Add(*store, "c");
    ASSERT_TRUE(store->Save(false));
    std::vector<std::byte>& pending = files.Content(kPending);
    const auto place = std::ranges::search(pending, std::as_bytes(std::span(second)));
    place.front() ^= std::byte{1};
    const std::vector<std::byte> damaged = pending;
    for (int i = 0; i < 2; ++i) { // the first without a clean end
        store = Opened(true);
        EXPECT_EQ(store->Notices().size(), 1U);
        EXPECT_EQ(All(*store), (std::vector{first, second, third})) << "by its second mark";
        EXPECT_EQ(files.Content("/d/journal.pending.damaged"), damaged);
        EXPECT_FALSE(files.Exists("/d/journal.pending.damaged2"));
    }
    ASSERT_TRUE(store->Save(false));
    store = Opened(true);
    EXPECT_TRUE(store->Notices().empty());
    EXPECT_EQ(All(*store), (std::vector{first, second, third}));
}

TEST_F(Store, GivesStampsBehindTheLatestAndWithAClockADayBackThoseThatAreFree)
{
    const fixtures::StandingClock today(127'245'168'000'000'000);
    const fixtures::StandingClock yesterday(today.Now() - 864'000'000'000);
    const std::string taken = FormatStamp(yesterday.Now());
    files.Put(kIndex, EncodeIndex({{}, {"7;0;HKEY_USERS\\W;old;0;;;me;" + taken}, {}}));
    std::unique_ptr<JournalStore> store = Opened(true, &today);
    std::vector<std::string> stamps = {FormatStamp(today.Now())};
    EXPECT_EQ(StampOf(Add(*store, "a")), stamps.back());
    for (int i = 0; i < 2; ++i) { // quicker than the clock, over a restart too
        stamps.push_back(StampAfter(stamps.back()).value());
        EXPECT_EQ(StampOf(Add(*store, "a")), stamps.back());
        ASSERT_TRUE(store->Save(false));
        store = Opened(true, &today);
    }
    store = Opened(true, &yesterday);
    for (int i = 0; i < 2; ++i) {
        const std::string stamp(StampOf(Add(*store, "b")));
        EXPECT_EQ(stamp.substr(0, 8), taken.substr(0, 8));
        EXPECT_GT(stamp, taken);
        EXPECT_EQ(std::ranges::count(stamps, stamp), 0);
        stamps.push_back(stamp);
    }
    EXPECT_EQ(All(*store).size(), 6U);
}

} // namespace
} // namespace tolvar
