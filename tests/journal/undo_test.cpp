#include <gtest/gtest.h>

#include "fixtures/journal_test.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {
namespace {

const std::string kTop = fixtures::kJournalTop;
const std::string kOdd = kTop + "\\Odd";

class Undo : public fixtures::JournalTest {
protected:
    /// Something that no journal knows of.
    static void SetBehindItsBack(const std::string& key, const char* name, BYTE byte)
    {
        RegKey open;
        ASSERT_EQ(CreateKeyPath(key, *open.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExA(open.Get(), name, 0, REG_BINARY, &byte, 1), ERROR_SUCCESS);
        ASSERT_EQ(RegFlushKey(open.Get()), ERROR_SUCCESS);
    }
};

TEST_F(Undo, RefusesWhereLaterChangesStandOnAnEntryAndNamesThem)
{
    struct Case {
        const char* what;
        std::vector<ChangeRecord> changes;
        std::size_t undone;
        const char* later; ///< what the refusal names; empty: it is undone
    };
    const std::string made = kTop + "\\made";
    for (const Case& c : {
             Case{"two changes of one value, the older one",
                  {ChangeRecord::EditValue(kOdd, "@", 4, "1"), ChangeRecord::EditValue(kOdd, "@", 4, "2")},
                  0,
                  "entry 1"},
             Case{"the newer one",
                  {ChangeRecord::EditValue(kOdd, "@", 4, "1"), ChangeRecord::EditValue(kOdd, "@", 4, "2")},
                  1,
                  ""},
             Case{"two values of one key",
                  {ChangeRecord::EditValue(kOdd, "@", 4, "1"), ChangeRecord::EditValue(kOdd, "short", 4, "2")},
                  0,
                  ""},
             Case{"a key that was deleted and made anew",
                  {ChangeRecord::DeleteKey(kOdd), ChangeRecord::NewKey(kTop, "Odd")},
                  0,
                  "entry 1"},
             Case{"a key that was renamed and changed under its new name",
                  {ChangeRecord::RenameKey(kOdd, "other"), ChangeRecord::EditValue(kTop + "\\other", "@", 4, "1"),
                   ChangeRecord::NewKey(kTop + "\\OTHER\\[x]:=;", "below")},
                  0,
                  "entries 1, 2"},
             Case{"a new key that was filled",
                  {ChangeRecord::NewKey(kTop, "made"), ChangeRecord::NewValue(made, "v", 1, "x")},
                  0,
                  "entry 1"},
             Case{"a value in a key that was deleted",
                  {ChangeRecord::EditValue(kOdd, "@", 4, "1"), ChangeRecord::DeleteKey(kOdd)},
                  0,
                  "entry 1"},
             Case{"a value that was put back by hand",
                  {ChangeRecord::EditValue(kOdd, "@", 4, "1"), ChangeRecord::EditValue(kOdd, "@", 4, "04030201")},
                  0,
                  "entry 1"},
             Case{"a value whose name was taken",
                  {ChangeRecord::RenameValue(kOdd, "@", "x", 4), ChangeRecord::NewValue(kOdd, "@", 1, "y")},
                  0,
                  "entry 1"},
         }) {
        SCOPED_TRACE(c.what);
        for (const ChangeRecord& change : c.changes) {
            Make(change);
        }
        const std::string before = Now();
        const auto undone = Doc().UndoEntry(c.undone);
        if (*c.later == '\0') {
            EXPECT_TRUE(undone) << Describe(undone.error());
            EXPECT_EQ(Doc().Journal().size(), c.changes.size() - 1);
        } else {
            ASSERT_FALSE(undone);
            EXPECT_EQ(undone.error().code, ErrorCode::kBusy);
            EXPECT_TRUE(undone.error().context.ends_with(std::string(": ") + c.later)) << undone.error().context;
            EXPECT_EQ(Now(), before);
            EXPECT_EQ(Doc().Journal().size(), c.changes.size());
        }
        const std::vector<std::size_t> chain = Doc().WithLaterEntries({0});
        EXPECT_EQ(Doc().UndoEntries(chain).failures.size(), 0U);
        std::vector<std::size_t> rest(Doc().Journal().size());
        for (std::size_t i = 0; i < rest.size(); ++i) {
            rest[i] = i;
        }
        EXPECT_EQ(Doc().UndoEntries(rest).undone, rest.size());
        EXPECT_TRUE(Doc().Journal().empty());
    }
}

TEST_F(Undo, SaysWhereSomethingChangedThatTheJournalDoesNotKnow)
{
    Make(ChangeRecord::NewKey(kTop, "made"));
    SetBehindItsBack(kTop + "\\made", "v", 1);
    const std::string before = Now();
    const auto undone = Doc().UndoEntry(0);
    ASSERT_FALSE(undone);
    EXPECT_NE(undone.error().context.find("outside this journal"), std::string::npos);
    EXPECT_EQ(Doc().WithLaterEntries({0}), std::vector<std::size_t>{0});
    EXPECT_TRUE(Doc().UndoEntry(0, UndoForce::kYes));
    ASSERT_EQ(Doc().Journal().size(), 1U) << "what was overwritten has an entry";
    EXPECT_EQ(Now().find("[made]"), std::string::npos);
    EXPECT_TRUE(Doc().UndoEntry(0));
    EXPECT_EQ(Now(), before);
}

TEST_F(Undo, ThatIsForcedLeavesEntriesForAllThatItOverwrites)
{
    const std::string other = kTop + "\\other";
    struct Case {
        const char* what;
        std::vector<ChangeRecord> changes;
        std::size_t own; ///< entries that the forced undo of the first change leaves
    };
    for (const Case& c : {
             Case{"a value",
                  {ChangeRecord::EditValue(kOdd, "@", 4, "1"), ChangeRecord::EditValue(kOdd, "@", 4, "2")},
                  1},
             Case{"a value that is gone by now",
                  {ChangeRecord::EditValue(kOdd, "@", 4, "1"), ChangeRecord::DeleteValue(kOdd, "@", 4)},
                  0},
             Case{"both names of a value",
                  {ChangeRecord::RenameValue(kOdd, "@", "x", 4), ChangeRecord::NewValue(kOdd, "@", 1, "y"),
                   ChangeRecord::EditValue(kOdd, "x", 4, "5")},
                  2},
             Case{"a key that was made anew",
                  {ChangeRecord::DeleteKey(kOdd), ChangeRecord::NewKey(kTop, "ODD"),
                   ChangeRecord::NewValue(kOdd, "more", 1, "x"), ChangeRecord::NewKey(kOdd, "deeper")},
                  1},
             Case{"both names of a key",
                  {ChangeRecord::RenameKey(kOdd, "other"), ChangeRecord::EditValue(other, "@", 4, "1"),
                   ChangeRecord::NewKey(kTop, "Odd"), ChangeRecord::NewValue(kOdd, "more", 1, "x")},
                  2},
             Case{"a new key", {ChangeRecord::NewKey(kTop, "other"), ChangeRecord::NewValue(other, "v", 1, "x")}, 1},
         }) {
        SCOPED_TRACE(c.what);
        StartAnew();
        for (const ChangeRecord& change : c.changes) {
            Make(change);
        }
        const std::string before = Now();
        const std::vector<std::string> entries = Entries();
        const auto undone = Doc().UndoEntry(0, UndoForce::kYes);
        ASSERT_TRUE(undone) << Describe(undone.error());
        EXPECT_NE(Now(), before);
        ASSERT_EQ(Doc().Journal().size(), c.changes.size() - 1 + c.own);
        const std::string behind = Now();
        EXPECT_EQ(Doc().RedoCount(), 1U);
        ASSERT_EQ(Doc().Redo().value_or(0), 1U);
        EXPECT_EQ(Now(), before);
        EXPECT_EQ(Entries(), entries) << "in their places";
        ASSERT_TRUE(Doc().UndoEntry(0, UndoForce::kYes));
        EXPECT_EQ(Now(), behind);
        Start();
        EXPECT_EQ(Doc().Journal().size(), c.changes.size() - 1 + c.own);
        while (Doc().Journal().size() > c.changes.size() - 1) {
            const auto back = Doc().UndoEntry(Doc().Journal().size() - 1);
            ASSERT_TRUE(back) << Describe(back.error());
        }
        if (c.own != 0) {
            EXPECT_EQ(Now(), before) << "their own undoing brings it back";
        }
    }
}

TEST_F(Undo, CanBeDoneAgainUntilTheNextChangeOverARestartToo)
{
    std::vector<std::string> pictures = {Now()};
    for (const ChangeRecord& change :
         {ChangeRecord::NewKey(kTop, "se;mi"), ChangeRecord::NewValue(kTop + "\\se;mi", "v;w", 1, "text"),
          ChangeRecord::EditValue(kOdd, "a:b=c", 7, "one;two"), ChangeRecord::EditValue(kOdd, "@", 4, "04030201"),
          ChangeRecord::RenameValue(kOdd, "", "semi;colon", 1), ChangeRecord::DeleteValue(kOdd, "behind", 1),
          ChangeRecord::RenameKey(kOdd, "Odder"), ChangeRecord::DeleteKey(kTop + "\\Odder\\[x]:=;"),
          ChangeRecord::RenameKey(kTop + "\\Odder", "ODDER"), ChangeRecord::DeleteKey(kTop + "\\Odder")}) {
        Make(change);
        pictures.push_back(Now());
    }
    const std::vector<std::string> entries = Entries();
    const std::vector<std::string> files = store.List("/d/backups").value();
    for (int round = 0; round < 2; ++round) {
        while (!Doc().Journal().empty()) { // steps of one and of several entries
            const std::size_t left = Doc().Journal().size();
            std::vector<std::size_t> last = {left - 1};
            if (left % 3 == 0) {
                last.push_back(left - 2);
            }
            const UndoReport report = Doc().UndoEntries(last);
            ASSERT_TRUE(report.failures.empty()) << Describe(report.failures.front());
        }
        EXPECT_EQ(Now(), pictures.front());
        EXPECT_EQ(store.List("/d/backups")->size(), 1U) << "records and texts have left the data folder";
        if (round == 1) {
            EXPECT_TRUE(Doc().SaveModified());
        }
        Start();
        while (Doc().RedoCount() != 0) {
            const Result<std::size_t> redone = Doc().Redo();
            ASSERT_TRUE(redone) << Describe(redone.error());
            EXPECT_EQ(Now(), pictures[Doc().Journal().size()]);
        }
        EXPECT_EQ(Entries(), entries);
        EXPECT_EQ(store.List("/d/backups").value(), files);
        EXPECT_TRUE(Doc().SaveModified());
        Start();
        EXPECT_EQ(Entries(), entries);
    }
    ASSERT_TRUE(Doc().UndoEntry(entries.size() - 1));
    ASSERT_TRUE(Doc().UndoEntry(entries.size() - 2));
    Make(ChangeRecord::NewKey(kTop, "next"));
    EXPECT_EQ(Doc().RedoCount(), 0U);
    EXPECT_EQ(Doc().Redo().error().code, ErrorCode::kNoMoreItems);
    EXPECT_FALSE(store.Exists("/d/journal.redo"));
    const std::vector<std::string> left = store.List("/d/snapshots").value();
    for (const std::string& file : left) {
        EXPECT_TRUE(file.ends_with(".log")) << file << " is left of what can't be done again";
    }
}

TEST_F(Undo, IsNotDoneAgainOverWhatChangedSince)
{
    Make(ChangeRecord::EditValue(kOdd, "@", 4, "1"));
    ASSERT_TRUE(Doc().UndoEntry(0));
    SetBehindItsBack(kOdd, "@", 9);
    const std::string before = Now();
    EXPECT_EQ(Doc().Redo().error().code, ErrorCode::kBusy);
    EXPECT_EQ(Now(), before);
    EXPECT_EQ(Doc().RedoCount(), 1U);
    RegKey open;
    ASSERT_EQ(CreateKeyPath(kTop + "\\unflushed", *open.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS);
    const std::string unflushed = Now();
    EXPECT_FALSE(Doc().Redo());
    EXPECT_FALSE(Doc().ApplyChange(ChangeRecord::DeleteValue(kOdd, "none there", 4)));
    EXPECT_EQ(Now(), unflushed) << "what others have not flushed yet stays";
}

TEST_F(Undo, TakesEntriesOfOneCommandTogether)
{
    Make(ChangeRecord::NewKey(kTop, "alone"));
    {
        ChangeGroup group(Doc());
        Make(ChangeRecord::NewKey(kTop, "a"));
        Make(ChangeRecord::NewValue(kTop + "\\a", "v", 1, "x"));
        ASSERT_TRUE(group.Commit());
    }
    const std::vector<std::size_t> both = {1, 2};
    EXPECT_EQ(Doc().EntriesOfGroup(StampOf(Doc().Journal()[1])), both);
    EXPECT_EQ(Doc().EntriesOfGroup(StampOf(Doc().Journal()[2])), both);
    EXPECT_TRUE(Doc().EntriesOfGroup(StampOf(Doc().Journal()[0])).empty());
    EXPECT_TRUE(Doc().EntriesOfGroup("20040323000000000").empty());
}

TEST_F(Undo, OfARecordThatIsNotTheOneOfItsSnapshotIsRefused)
{
    Make(ChangeRecord::EditValue(kOdd, "@", 4, "1"));
    ASSERT_TRUE(Doc().SaveModified());
    std::vector<std::byte>& index = store.Content("/d/backups/index");
    const auto at = std::ranges::search(index, std::as_bytes(std::span(";4;@;@;", 7))).begin();
    ASSERT_NE(at, index.end());
    at[3] = std::byte{'!'};
    Start();
    EXPECT_FALSE(Doc().Notices().empty());
    EXPECT_NE(Doc().Journal()[0].find(";4;@;@;"), std::string::npos) << "the seal knows better";
    at[3] = std::byte{'!'};
    ASSERT_TRUE(store.Remove("/d/journal.sums"));
    Start();
    const std::string before = Now();
    EXPECT_EQ(Doc().UndoEntry(0).error().code, ErrorCode::kFileCorrupt);
    EXPECT_EQ(Now(), before);
    EXPECT_TRUE(Doc().UndoEntry(0, UndoForce::kYes)) << "the change of the seal";
    EXPECT_NE(Now().find("@ = 4:01020304"), std::string::npos);
}

} // namespace
} // namespace tolvar
