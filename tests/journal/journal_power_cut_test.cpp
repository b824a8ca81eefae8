#include <algorithm>
#include <cstdlib>
#include <functional>
#include <optional>

#include <gtest/gtest.h>

#include "fixtures/hive_model.h"
#include "fixtures/journal_session.h"

namespace tolvar {
namespace {

using fixtures::JournalSession;
using fixtures::Picture;
using fixtures::PowerCutStore;

const std::string kTop = fixtures::kJournalTop;

using Step = std::function<bool(CTolvarDoc&)>;

Step Apply(ChangeRecord change)
{
    return [change = std::move(change)](CTolvarDoc& document) { return document.ApplyChange(change).has_value(); };
}

bool UndoLast(CTolvarDoc& document)
{
    return document.UndoEntry(document.Journal().size() - 1).has_value();
}

bool Close(CTolvarDoc& document)
{
    return document.SaveModified().has_value();
}

/// Every kind of change, undoing, removing of nothing, and a clean end. Undoing takes the last entry, so that undoing
/// all that is left leads back to the start from anywhere.
std::vector<Step> AllSteps()
{
    const std::string odd = kTop + "\\Odd";
    return {Apply(ChangeRecord::NewKey(kTop, "se;mi")),
            Apply(ChangeRecord::NewValue(kTop + "\\se;mi", "v;w", 1, "text")),
            Apply(ChangeRecord::EditValue(odd, "a:b=c", 7, "one;two")),
            Apply(ChangeRecord::EditValue(odd, "@", 4, "04030201")), // as it is
            UndoLast,
            Apply(ChangeRecord::RenameValue(odd, "", "semi;colon", 1)),
            Apply(ChangeRecord::DeleteValue(odd, "behind", 1)),
            UndoLast,
            Apply(ChangeRecord::RenameKey(odd, "Odder")),
            Apply(ChangeRecord::DeleteKey(kTop + "\\Odder\\[x]:=;")),
            UndoLast,
            Apply(ChangeRecord::RenameKey(kTop + "\\Odder", "other")),
            Apply(ChangeRecord::DeleteKey(kTop + "\\other"))};
}

struct State {
    std::string picture;
    std::vector<std::string> journal;
};

State StateOf(JournalSession& session)
{
    const std::span<const std::string> journal = session.Document().Journal();
    State state{Picture(session.Reader()), {}};
    for (const std::string& record : journal) {
        state.journal.push_back(record.substr(0, record.rfind(';'))); // stamps differ from run to run
    }
    return state;
}

PowerCutStore FreshStore()
{
    PowerCutStore store;
    store.Put(fixtures::kJournalHive, fixtures::OddHive());
    return store;
}

/// The states before and behind every step, in a run that nothing disturbs.
std::vector<State> StatesOf(const std::vector<Step>& steps)
{
    PowerCutStore store = FreshStore();
    JournalSession session(store);
    std::vector<State> states = {StateOf(session)};
    for (const Step& step : steps) {
        EXPECT_TRUE(step(session.Document())) << "step " << states.size();
        states.push_back(StateOf(session));
    }
    return states;
}

/// Undoes all that is left and expects the state at the start.
void ExpectWayBack(JournalSession& session, const State& start)
{
    while (!session.Document().Journal().empty()) {
        const auto undone = session.Document().UndoEntry(session.Document().Journal().size() - 1);
        ASSERT_TRUE(undone) << Describe(undone.error());
    }
    EXPECT_EQ(Picture(session.Reader()), start.picture);
    EXPECT_EQ(fixtures::Findings(session.Reader()), "");
}

/// How often each power cut is tried, with other chances of what reached the medium; TOLVAR_JOURNAL_CUTS asks for more.
std::uint32_t CutsPerCall()
{
    const char* count = std::getenv("TOLVAR_JOURNAL_CUTS");
    return count != nullptr ? static_cast<std::uint32_t>(std::atoi(count)) : 1;
}

/// Plays the steps with a power cut at every call in turn, and shows what the next start finds to `look`, with the
/// number of steps that were answered.
void CutEverywhere(const std::vector<Step>& steps,
                   const std::function<void(JournalSession& session, std::size_t answered)>& look)
{
    bool isThrough = false;
    for (std::size_t call = 1; !isThrough && !testing::Test::HasFailure(); ++call) {
        for (std::uint32_t chance = 0; chance < CutsPerCall() && !testing::Test::HasFailure(); ++chance) {
            SCOPED_TRACE("call " + std::to_string(call) + ", chance " + std::to_string(chance));
            PowerCutStore store = FreshStore();
            std::size_t answered = 0;
            {
                store.FailAt(call);
                JournalSession session(store);
                while (session.Opened() && answered < steps.size() && steps[answered](session.Document())) {
                    ++answered;
                }
            }
            isThrough = answered == steps.size();
            PowerCutStore after = store.AfterPowerCut(static_cast<std::uint32_t>(call * 64 + chance));
            JournalSession session(after);
            ASSERT_TRUE(session.Opened()) << Describe(session.Opened().error());
            EXPECT_TRUE(session.Document().Notices().empty()) << "a power cut is no damage";
            look(session, answered);
        }
    }
}

TEST(JournalPowerCut, LosesNoAnsweredChangeAndKeepsNoneThatWasNotMade)
{
    std::vector<Step> steps = AllSteps();
    const std::vector<State> states = StatesOf(steps);
    CutEverywhere(steps, [&](JournalSession& session, std::size_t answered) {
        const State found = StateOf(session);
        const State& before = states[answered];
        const State& behind = states[std::min(answered + 1, steps.size())];
        const bool isBefore = found.picture == before.picture;
        EXPECT_TRUE(isBefore || found.picture == behind.picture) << found.picture;
        // An undo that was cut may have been made, and its entry is there still: undoing it again does no harm.
        const bool isCutUndo = behind.journal.size() < before.journal.size();
        const bool isSame = before.picture == behind.picture;
        EXPECT_TRUE((found.journal == before.journal && (isBefore || isCutUndo)) ||
                    (found.journal == behind.journal && (!isBefore || isSame)))
            << found.journal.size() << " records after " << answered << " answers";
        ExpectWayBack(session, states[0]);
    });
}

TEST(JournalPowerCut, MayFallIntoTheEndAndIntoTheNextStart)
{
    std::vector<Step> steps = AllSteps();
    const std::vector<State> states = StatesOf(steps);
    PowerCutStore filled = FreshStore();
    {
        JournalSession session(filled);
        for (const Step& step : steps) {
            ASSERT_TRUE(step(session.Document()));
        }
    }
    bool isThrough = false;
    for (std::size_t call = 1; !isThrough && !HasFailure(); ++call) {
        SCOPED_TRACE(call);
        PowerCutStore store = filled.AfterPowerCut(0);
        {
            store.FailAt(call);
            JournalSession session(store);
            isThrough = session.Opened() && Close(session.Document());
        }
        PowerCutStore after = store.AfterPowerCut(static_cast<std::uint32_t>(call));
        JournalSession session(after);
        ASSERT_TRUE(session.Opened()) << Describe(session.Opened().error());
        EXPECT_EQ(StateOf(session).journal, states.back().journal);
        ExpectWayBack(session, states[0]);
    }
}

TEST(JournalFullDisk, RefusesAChangeAndLeavesNothingOfIt)
{
    const std::vector<Step> steps = AllSteps();
    const std::vector<State> states = StatesOf(steps);
    const std::size_t last = steps.size() - 1;
    for (std::size_t call = 1; !HasFailure(); ++call) {
        SCOPED_TRACE(call);
        PowerCutStore store = FreshStore();
        JournalSession session(store);
        for (std::size_t i = 0; i < last; ++i) {
            ASSERT_TRUE(steps[i](session.Document()));
        }
        store.FailAt(call, PowerCutStore::Fault::kDiskFull);
        bool isDone = steps[last](session.Document());
        const bool hasFailed = store.Calls() >= call;
        store.FailAt(0);
        const State found = StateOf(session);
        isDone = isDone || found.picture == states[last + 1].picture; // it failed behind the point of no return
        EXPECT_EQ(found.picture, states[isDone ? last + 1 : last].picture);
        EXPECT_EQ(found.journal, states[isDone ? last + 1 : last].journal);
        if (!hasFailed) {
            break;
        }
        // Such a failure ends the session's writing: the next start repairs the file.
        PowerCutStore after = store.AfterPowerCut(1);
        if (steps[isDone ? 0 : last](session.Document())) {
            ExpectWayBack(session, states[0]);
        }
    }
}

Step Undo(std::vector<std::size_t> entries, UndoForce force)
{
    return [entries, force](CTolvarDoc& document) { return document.UndoEntries(entries, force).failures.empty(); };
}

bool Redo(CTolvarDoc& document)
{
    return document.Redo().has_value();
}

/// Undoing of several entries and over others, and doing it again.
std::vector<Step> UndoSteps()
{
    const std::string odd = kTop + "\\Odd";
    const std::string other = kTop + "\\other";
    return {Apply(ChangeRecord::EditValue(odd, "@", 4, "1")),
            Apply(ChangeRecord::RenameKey(odd, "other")),
            Apply(ChangeRecord::EditValue(other, "@", 4, "2")),
            Undo({1, 2}, UndoForce::kNo),
            Redo,
            Apply(ChangeRecord::NewKey(kTop, "Odd")),
            Apply(ChangeRecord::NewValue(odd, "more", 1, "x")),
            Undo({1}, UndoForce::kYes), // it overwrites both keys
            Redo,
            Undo({0, 1, 2, 3, 4}, UndoForce::kNo),
            Redo};
}

TEST(JournalPowerCut, FindsUndosWholeOrNotAtAll)
{
    const std::vector<Step> steps = UndoSteps();
    const std::vector<State> states = StatesOf(steps);
    CutEverywhere(steps, [&](JournalSession& session, std::size_t answered) {
        State found = StateOf(session);
        std::ranges::sort(found.journal); // what is done again stands at the end until `index` is written
        bool isKnown = false;
        for (std::size_t i = answered; i <= std::min(answered + 1, steps.size()); ++i) {
            State known = states[i];
            std::ranges::sort(known.journal);
            isKnown = isKnown || (known.picture == found.picture && known.journal == found.journal);
        }
        EXPECT_TRUE(isKnown) << found.journal.size() << " records after " << answered << " answers";
        EXPECT_EQ(fixtures::Findings(session.Reader()), "");
        const UndoReport report = session.Document().UndoEntries({0, 1, 2, 3, 4, 5, 6}, UndoForce::kYes);
        for (const Error& failure : report.failures) {
            EXPECT_EQ(failure.code, ErrorCode::kInvalidParameter) << Describe(failure);
        }
    });
}

/// Changes that stand on each other, of every kind.
std::vector<ChangeRecord> GroupChanges()
{
    const std::string odd = kTop + "\\Odd";
    return {ChangeRecord::NewKey(kTop, "se;mi"),
            ChangeRecord::NewValue(kTop + "\\se;mi", "v;w", 1, "text"),
            ChangeRecord::EditValue(odd, "a:b=c", 7, "one;two"),
            ChangeRecord::EditValue(odd, "a:b=c", 1, "three"),
            ChangeRecord::DeleteValue(odd, "behind", 1),
            ChangeRecord::NewValue(odd, "behind", 1, "another"),
            ChangeRecord::RenameValue(odd, "", "semi;colon", 1),
            ChangeRecord::RenameKey(odd, "Odder"),
            ChangeRecord::DeleteKey(kTop + "\\Odder\\[x]:=;"),
            ChangeRecord::RenameKey(kTop + "\\se;mi", "Odd")};
}

/// Makes all of them. Whether they were answered for.
bool MakeGroup(CTolvarDoc& document)
{
    ChangeGroup group(document);
    for (const ChangeRecord& change : GroupChanges()) {
        if (!document.ApplyChange(change)) {
            return false;
        }
    }
    return group.Commit().has_value();
}

std::vector<State> StatesOfGroup()
{
    return StatesOf({MakeGroup});
}

/// Whether a start found all of the group, or nothing of it. Undoes it, then.
bool ExpectAllOrNothing(JournalSession& session, const std::vector<State>& states)
{
    EXPECT_TRUE(session.Opened()) << Describe(session.Opened().error());
    const State found = StateOf(session);
    const State& expected = states[found.journal.empty() ? 0 : 1];
    EXPECT_EQ(found.picture, expected.picture);
    EXPECT_EQ(found.journal, expected.journal);
    ExpectWayBack(session, states[0]);
    return !found.journal.empty();
}

TEST(JournalGroup, IsAllThereOrNotAtAllAfterAPowerCut)
{
    const std::vector<State> states = StatesOfGroup();
    ASSERT_EQ(states[1].journal.size(), GroupChanges().size());
    bool isThrough = false;
    for (std::size_t call = 1; !isThrough && !HasFailure(); ++call) {
        for (std::uint32_t chance = 0; chance < CutsPerCall() && !HasFailure(); ++chance) {
            SCOPED_TRACE("call " + std::to_string(call) + ", chance " + std::to_string(chance));
            PowerCutStore store = FreshStore();
            {
                store.FailAt(call);
                JournalSession session(store);
                isThrough = session.Opened() && MakeGroup(session.Document());
            }
            PowerCutStore after = store.AfterPowerCut(static_cast<std::uint32_t>(call * 64 + chance));
            JournalSession session(after);
            const bool isThere = ExpectAllOrNothing(session, states);
            EXPECT_TRUE(isThere || !isThrough) << "it was answered for";
        }
    }
}

TEST(JournalGroup, IsTakenBackAtTheNextStartThroughMorePowerCuts)
{
    const std::vector<State> states = StatesOfGroup();
    std::size_t calls = 0;
    {
        PowerCutStore store = FreshStore();
        JournalSession session(store);
        store.FailAt(0);
        ASSERT_TRUE(MakeGroup(session.Document()));
        calls = store.Calls();
    }
    PowerCutStore cut = FreshStore();
    {
        JournalSession session(cut);
        cut.FailAt(calls - 1); // the last mark: the hive is written by then
        ASSERT_FALSE(MakeGroup(session.Document()));
    }
    bool isThrough = false;
    for (std::size_t call = 1; !isThrough && !HasFailure(); ++call) {
        SCOPED_TRACE(call);
        PowerCutStore store = cut.AfterPowerCut(0);
        {
            store.FailAt(call);
            JournalSession session(store);
            isThrough = session.Opened().has_value() && store.Calls() < call;
            EXPECT_TRUE(!isThrough || session.Document().TakenBack().undone == GroupChanges().size());
        }
        PowerCutStore after = store.AfterPowerCut(static_cast<std::uint32_t>(call));
        JournalSession session(after);
        EXPECT_FALSE(ExpectAllOrNothing(session, states));
    }
}

TEST(JournalGroup, LeavesNothingWhereTheDiskIsFull)
{
    const std::vector<State> states = StatesOfGroup();
    for (std::size_t call = 1; !HasFailure(); ++call) {
        SCOPED_TRACE(call);
        PowerCutStore store = FreshStore();
        std::optional<JournalSession> session(store);
        store.FailAt(call, PowerCutStore::Fault::kDiskFull);
        const bool isDone = MakeGroup(session->Document());
        const bool hasFailed = store.Calls() >= call;
        store.FailAt(0);
        const State found = StateOf(*session);
        EXPECT_EQ(found.picture, states[isDone ? 1 : 0].picture);
        EXPECT_EQ(found.journal, states[isDone ? 1 : 0].journal);
        if (!hasFailed) {
            EXPECT_TRUE(isDone);
            break;
        }
        session.reset();
        PowerCutStore after = store.AfterPowerCut(1);
        session.emplace(after);
        EXPECT_EQ(ExpectAllOrNothing(*session, states), isDone);
    }
}

} // namespace
} // namespace tolvar
