#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/hive_builder.h"
#include "fixtures/journal_session.h"
#include "journal/journal_record.h"

namespace tolvar {
namespace {

using fixtures::PowerCutStore;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A hive of a session: its file, and its key this time.
struct Shown {
    std::string name; ///< of the file, and of its journal's folder
    std::string key;
};

/// A session over hives, each with a journal of its own.
class HiveSession {
public:
    HiveSession(PowerCutStore& store, const std::vector<Shown>& hives) : m_registry(store), m_hives(hives)
    {
        JournalOptions options;
        options.place.files = &store;
        options.place.clock = &m_clock;
        std::vector<JournalPlace> places;
        for (const Shown& hive : hives) {
            m_opened = m_opened ? m_registry.Mount({"/d/" + hive.name, hive.key}, MountMode::kWritable) : m_opened;
            places.push_back(options.place);
            places.back().dataFolder = "/j/" + hive.name + "/backups";
            places.back().home = hive.key;
        }
        m_document = std::make_unique<CTolvarDoc>(options);
        m_document->SetPlaces(std::move(places));
        m_opened = m_opened ? m_document->OnNewDocument() : m_opened;
    }

    [[nodiscard]] const Result<void>& Opened() const { return m_opened; }
    [[nodiscard]] CTolvarDoc& Document() { return *m_document; }

    /// All that a hive holds.
    [[nodiscard]] std::string Picture(std::size_t hive) const
    {
        return fixtures::Picture(WalkPermit(m_registry).Find(m_hives[hive].key)->First().Reader());
    }

    /// The paths in the journal's records.
    [[nodiscard]] std::vector<std::string> Paths() const
    {
        std::vector<std::string> paths;
        for (const std::string& record : m_document->Journal()) {
            paths.push_back(ParseRecord(record).path);
        }
        return paths;
    }

    /// Sets a value of a hive's root.
    [[nodiscard]] Result<void> Set(std::size_t hive, const std::string& name, const std::string& data)
    {
        return m_document->ApplyChange(ChangeRecord::EditValue(m_hives[hive].key, name, REG_SZ, data));
    }

private:
    fixtures::SecondsClock m_clock;
    Registry m_registry;
    Session m_session{m_registry};
    std::vector<Shown> m_hives;
    std::unique_ptr<CTolvarDoc> m_document;
    Result<void> m_opened;
};

const Shown kA{"a", "HKEY_USERS\\A"};
const Shown kB{"b", "HKEY_USERS\\B"};

PowerCutStore TwoHives()
{
    PowerCutStore store;
    for (const char* name : {"/d/a", "/d/b"}) {
        store.Put(name, fixtures::HiveBuilder().Build(
                            {.name = u"ROOT",
                             .values = {{.name = u"v", .type = REG_SZ, .data = fixtures::TextData(u"old")},
                                        {.name = u"w", .type = REG_SZ, .data = fixtures::TextData(u"old")}}}));
    }
    return store;
}

TEST(JournalSet, KeepsTheChangesOfEachHiveForWhereverItIsShown)
{
    PowerCutStore store = TwoHives();
    std::string before;
    {
        HiveSession session(store, {kA, kB});
        before = session.Picture(1);
        ASSERT_TRUE(session.Set(0, "v", "1") && session.Set(1, "v", "2") && session.Set(0, "w", "3"));
        ASSERT_TRUE(session.Document().ApplyChange(ChangeRecord::NewKey(kB.key, "k")));
        EXPECT_THAT(session.Paths(), ElementsAre(kA.key, kB.key, kA.key, kB.key));
        ASSERT_TRUE(session.Document().SaveModified());
    }
    {
        HiveSession session(store, {{"b", "HKEY_LOCAL_MACHINE\\X"}}); // alone, and at another key
        ASSERT_TRUE(session.Opened());
        EXPECT_THAT(session.Paths(), ElementsAre(kB.key, kB.key)); // records stay what they are
        EXPECT_EQ(session.Document().ChangeAt(0).path, "HKEY_LOCAL_MACHINE\\X");
        ASSERT_TRUE(session.Set(0, "v", "later"));
        const Result<UndoOutcome> refused = session.Document().UndoEntry(0);
        ASSERT_FALSE(refused);
        EXPECT_THAT(refused.error().context, HasSubstr("entry 2"));
        EXPECT_EQ(session.Document().UndoEntries({0, 1, 2}).undone, 3U);
        EXPECT_EQ(session.Picture(0), before);
    }
    HiveSession session(store, {kB, kA});
    ASSERT_TRUE(session.Opened());
    EXPECT_THAT(session.Paths(), ElementsAre(kA.key, kA.key));
    EXPECT_EQ(session.Document().RedoCount(), 3U); // a session that changes nothing else leaves it
}

TEST(JournalSet, NeverUndoesInAnotherHiveThatIsNowAtTheSameKey)
{
    PowerCutStore store = TwoHives();
    {
        HiveSession session(store, {kA});
        ASSERT_TRUE(session.Set(0, "v", "1") && session.Set(0, "w", "2"));
    }
    const std::vector<Shown> swapped = {{"b", kA.key}, {"a", kB.key}};
    {
        HiveSession session(store, swapped);
        const std::string other = session.Picture(0);
        ASSERT_TRUE(session.Document().UndoEntry(1));
        EXPECT_EQ(session.Picture(0), other);
        EXPECT_THAT(session.Picture(1), HasSubstr("w = 1:6f00"));
    }
    // Without its snapshot nothing tells where the entry's key is now.
    const std::vector<std::string> snapshots = *store.List("/j/a/snapshots");
    for (const std::string& name : snapshots) {
        ASSERT_TRUE(store.Remove("/j/a/snapshots/" + name));
    }
    HiveSession session(store, swapped);
    const std::string pictures[] = {session.Picture(0), session.Picture(1)};
    const Result<UndoOutcome> refused = session.Document().UndoEntry(0, UndoForce::kYes);
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error().context, HasSubstr("not in the hive of this journal"));
    EXPECT_EQ(session.Picture(0), pictures[0]);
    EXPECT_EQ(session.Picture(1), pictures[1]);
}

TEST(JournalSet, UndoesAndDoesAgainInSeveralHivesAtOnce)
{
    PowerCutStore store = TwoHives();
    for (const bool isRestarted : {false, true}) {
        SCOPED_TRACE(isRestarted);
        store = TwoHives();
        auto session = std::make_unique<HiveSession>(store, std::vector{kA, kB});
        const std::string before[] = {session->Picture(0), session->Picture(1)};
        for (const char* data : {"1", "2", "3"}) {
            ASSERT_TRUE(session->Set(0, "v", data) && session->Set(1, "w", data));
        }
        const std::string after[] = {session->Picture(0), session->Picture(1)};
        const std::vector<std::string> records(session->Document().Journal().begin(),
                                               session->Document().Journal().end());
        ASSERT_EQ(session->Document().UndoEntries({4, 5}).undone, 2U);
        ASSERT_EQ(session->Document().UndoEntries({0, 1, 2, 3}).undone, 4U);
        EXPECT_EQ(session->Picture(0) + session->Picture(1), before[0] + before[1]);
        if (isRestarted) {
            session.reset();
            session = std::make_unique<HiveSession>(store, std::vector{kA, kB});
        }
        std::size_t again = 0;
        while (session->Document().RedoCount() != 0) {
            const Result<std::size_t> redone = session->Document().Redo();
            ASSERT_TRUE(redone) << Describe(redone.error());
            again += *redone;
        }
        EXPECT_EQ(again, 6U);
        EXPECT_EQ(session->Picture(0) + session->Picture(1), after[0] + after[1]);
        EXPECT_THAT(session->Document().Journal(), testing::ElementsAreArray(records));
        ASSERT_TRUE(session->Document().RemoveEntries({0, 3}));
        EXPECT_THAT(session->Document().Journal(), ElementsAre(records[1], records[2], records[4], records[5]));
    }
}

TEST(JournalSet, MakesAGroupInSeveralHivesWholeOrNotAtAllOverAPowerCut)
{
    const auto change = [](HiveSession& session) {
        ChangeGroup group(session.Document());
        for (const char* name : {"v", "w"}) {
            for (const std::size_t hive : {0U, 1U}) {
                if (auto set = session.Set(hive, name, "new"); !set) {
                    return set;
                }
            }
        }
        return group.Commit();
    };
    std::string pictures[2]; // before and after
    {
        PowerCutStore store = TwoHives();
        HiveSession session(store, {kA, kB});
        pictures[0] = session.Picture(0) + session.Picture(1);
        ASSERT_TRUE(change(session));
        pictures[1] = session.Picture(0) + session.Picture(1);
    }
    std::size_t seen[2] = {0, 0};
    bool isCut = true;
    for (std::size_t call = 1; isCut; ++call) {
        PowerCutStore store = TwoHives();
        bool isDone = false;
        {
            HiveSession session(store, {kA, kB});
            store.FailAt(call);
            isDone = change(session).has_value();
            isCut = store.Calls() >= call;
        }
        for (const std::uint32_t seed : {1U, 2U, 3U}) {
            SCOPED_TRACE(testing::Message() << "call " << call << ", seed " << seed);
            PowerCutStore later = store.AfterPowerCut(seed);
            HiveSession session(later, {kA, kB});
            ASSERT_TRUE(session.Opened()) << Describe(session.Opened().error());
            const std::string now = session.Picture(0) + session.Picture(1);
            const bool isMade = now == pictures[1];
            EXPECT_TRUE(isMade || now == pictures[0]);
            EXPECT_TRUE(isMade || !isDone);
            EXPECT_EQ(session.Paths().size(), isMade ? 4U : 0U);
            ++seen[isMade ? 1 : 0];
        }
    }
    EXPECT_GT(seen[0], 10U);
    EXPECT_GT(seen[1], 3U);
}

TEST(JournalSet, ShowsNothingWhereNoHiveCanBeHad)
{
    PowerCutStore store = TwoHives();
    HiveSession session(store, {});
    EXPECT_TRUE(session.Opened());
    EXPECT_THAT(session.Paths(), IsEmpty());
    const Result<void> refused = session.Document().ApplyChange(ChangeRecord::NewKey("HKEY_USERS", "k"));
    EXPECT_TRUE(!refused && refused.error().code == ErrorCode::kFileNotFound);
    session.Document().SetBookmarks({"p"}, {"t"});
    EXPECT_TRUE(session.Document().SaveModified());
}

} // namespace
} // namespace tolvar
