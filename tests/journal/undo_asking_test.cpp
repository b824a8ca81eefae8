#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/journal_session.h"
#include "journal/undo_asking.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {
namespace {

using fixtures::JournalSession;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kTop = fixtures::kJournalTop;
const std::string kOdd = kTop + "\\Odd";

/// Answers as it was told, and keeps what it was asked.
class RecordingAsker final : public UndoAsker {
public:
    RecordingAsker(CTolvarDoc& document, bool later, bool allTheSame)
        : m_document(document), m_later(later), m_allTheSame(allTheSame)
    {}

    UndoReport Undo(std::vector<std::size_t> entries, UndoForce force) override
    {
        return m_document.UndoEntries(std::move(entries), force);
    }
    bool WantsLater(const std::vector<std::size_t>& later) override { return Note("later", later) && m_later; }
    bool WantsAllTheSame(const std::vector<std::size_t>& changed) override
    {
        return Note("changed", changed) && m_allTheSame;
    }

    std::vector<std::string> asked;

private:
    bool Note(std::string what, const std::vector<std::size_t>& entries)
    {
        for (const std::size_t entry : entries) {
            what += " " + std::to_string(entry);
        }
        asked.push_back(what);
        return true;
    }

    CTolvarDoc& m_document;
    bool m_later;
    bool m_allTheSame;
};

class UndoAskingOfOdd : public testing::Test {
protected:
    void Start()
    {
        session.reset();
        store = std::make_unique<fixtures::PowerCutStore>();
        store->Put(fixtures::kJournalHive, fixtures::OddHive());
        session.emplace(*store);
    }
    void Set(const char* name, const char* text)
    {
        const auto made = session->Document().ApplyChange(ChangeRecord::NewValue(kOdd, name, REG_SZ, text));
        ASSERT_TRUE(made) << Describe(made.error());
    }
    static void SetBehindItsBack(const char* name)
    {
        RegKey key;
        const BYTE byte = 9;
        ASSERT_EQ(OpenKeyPath(kOdd, *key.Put(), KEY_ALL_ACCESS), ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExA(key.Get(), name, 0, REG_BINARY, &byte, 1), ERROR_SUCCESS);
    }
    /// The next undo of an entry finds no backups.
    void LoseBackups()
    {
        const std::string log = "/d/snapshots/20040323.log";
        store->Content(log).resize(store->Content(log).size() - 100);
    }

    std::unique_ptr<fixtures::PowerCutStore> store;
    std::optional<JournalSession> session;
};

TEST_F(UndoAskingOfOdd, AsksEachQuestionOnceAndOnlyAboutWhatStandsInTheWay)
{
    struct Case {
        const char* what;
        std::function<void()> changes;
        std::vector<std::size_t> entries;
        bool later;
        bool allTheSame;
        std::vector<std::string> asked;
        std::size_t undone;
        std::size_t failures;
        std::size_t left;
    };
    const auto chains = [this] { // x: 0, 2, 4; y: 1, 3
        for (const char* text : {"1", "2"}) {
            Set("x", text);
            Set("y", text);
        }
        Set("x", "3");
    };
    const auto chainsAndOutside = [&] {
        chains();
        SetBehindItsBack("y");
        SetBehindItsBack("z");
    };
    const auto zToo = [&] {
        Set("z", "1"); // moves all others: x 1, 3, 5; y 2, 4
        chainsAndOutside();
    };
    const auto lost = [&] {
        Set("x", "1");
        Set("x", "2");
        LoseBackups();
    };
    for (const Case& c : {
             Case{"the last ones", chains, {3, 4}, false, false, {}, 2, 0, 3},
             Case{"two chains", chains, {0, 1}, true, false, {"later 2 3 4"}, 5, 0, 0},
             Case{"two chains, not wanted", chains, {0, 1}, false, true, {"later 2 3 4"}, 0, 0, 5},
             Case{"after one that goes at once", chains, {2, 3}, true, false, {"later 3"}, 3, 0, 2},
             Case{
                 "what the chain hides", chainsAndOutside, {0, 1}, true, true, {"later 2 3 4", "changed 0 1"}, 5, 0, 1},
             Case{"the same, not wanted",
                  chainsAndOutside,
                  {0, 1},
                  true,
                  false,
                  {"later 2 3 4", "changed 0 1"},
                  3,
                  0,
                  2},
             Case{"a chain that is not wanted and another entry",
                  zToo,
                  {0, 1},
                  false,
                  true,
                  {"later 3 5", "changed 0"},
                  1,
                  0,
                  6},
             Case{"all", zToo, {0, 1, 2, 3, 4, 5}, false, false, {"changed 0 1 2"}, 3, 0, 3},
             Case{"one that stands on what can't be undone", lost, {0, 1}, true, true, {}, 0, 2, 2},
         }) {
        SCOPED_TRACE(c.what);
        Start();
        c.changes();
        RecordingAsker asker(session->Document(), c.later, c.allTheSame);
        const UndoReport report = UndoAsking(session->Document(), c.entries, asker);
        EXPECT_EQ(asker.asked, c.asked);
        EXPECT_EQ(report.undone, c.undone);
        EXPECT_EQ(report.failures.size(), c.failures)
            << (report.failures.empty() ? "" : Describe(report.failures.front()));
        EXPECT_EQ(session->Document().Journal().size(), c.left);
    }
}

} // namespace
} // namespace tolvar
