#include <algorithm>
#include <ranges>
#include <unordered_set>

#include "journal/make_change.h"
#include "journal/place_states.h"
#include "journal/tolvar_doc.h"
#include "journal/touched_places.h"
#include "journal/undo_change.h"

namespace tolvar {

namespace {

/// Makes a change again in memory, from what its undoing kept.
Result<void> MakeAgain(const ChangeRecord& change, const KeyImage* image)
{
    if (change.kind != ChangeKind::kNew && change.kind != ChangeKind::kModify) {
        Result<PreparedChange> prepared = PreparedChange::Prepare(change, {});
        return prepared ? prepared->Make() : tl::unexpected(prepared.error());
    }
    ChangeRecord back = change; // it is modified back to what the undo found
    back.kind = ChangeKind::kModify;
    back.path = PlacesOf(change).back().key;
    return image != nullptr ? UndoChange(back, image) : RemovePlace(PlacesOf(change).back());
}

} // namespace

bool CTolvarDoc::IsRedoable(const std::string& record) const
{
    const std::vector<RedoLog::Step>& steps = m_journals.Of(record).Undone();
    return !steps.empty() && std::ranges::find(steps.back(), record, &UndoneEntry::record) != steps.back().end();
}

/// Which records of a step were undone. What was undone before an older entry of the same step may be hidden by it, and
/// went to the same hive.
std::vector<std::string> CTolvarDoc::UndoneOf(const RedoLog::Step& step) const
{
    std::vector<std::string> undone;
    TouchedPlaces touched;
    for (const UndoneEntry& entry : step | std::views::reverse) {
        const Result<SnapshotSeal> seal = m_journals.Of(entry.record).Seal(FrameKind::kRedo, entry.record);
        if (!seal) {
            continue;
        }
        const std::vector<ChangePlace> places = PlacesOf(seal->change);
        if (HoldsNow(*seal, &PlaceState::after) ||
            std::ranges::any_of(places, [&](const ChangePlace& place) { return touched.Overlaps(place); })) {
            undone.push_back(entry.record);
            std::ranges::for_each(places, [&](const ChangePlace& place) { touched.Add(place); });
        }
    }
    return undone;
}

/// Brings journal and registry together after a crash in the middle of undoing or of doing again: what was undone
/// leaves the journal, and what is in it is nothing that could be done again.
void CTolvarDoc::SettleUndone()
{
    for (std::size_t i = 0; i < m_journals.Count(); ++i) {
        while (!m_journals.At(i).Undone().empty() && SettleLastStep(m_journals.At(i))) {
            m_journals.DropLastStepOf(i);
        }
    }
}

/// Answers whether the last step of a journal is no more.
bool CTolvarDoc::SettleLastStep(JournalStore& store)
{
    const std::unordered_set<std::string> journal(store.Records().begin(), store.Records().end());
    const std::vector<std::string> undone = UndoneOf(store.Undone().back());
    std::vector<std::string> left; // in the journal, although they were undone
    std::vector<std::string> own;  // in the journal, although what they stand for is done again
    bool isThere = false;
    for (const UndoneEntry& entry : store.Undone().back()) {
        if (!journal.contains(entry.record)) {
            continue;
        }
        if (std::ranges::find(undone, entry.record) != undone.end()) {
            left.push_back(entry.record);
            continue;
        }
        isThere = true;
        std::ranges::copy_if(entry.own, std::back_inserter(own),
                             [&journal](const std::string& record) { return journal.contains(record); });
    }
    return m_journals.Drop(own) && m_journals.Retire(left) && isThere;
}

std::size_t CTolvarDoc::RedoCount() const
{
    return CheckFree() ? m_journals.LastUndoneCount() : 0;
}

/// Does one entry again in memory. Where undoing it overwrote something, that comes back instead, as the entry was not
/// there any more before either.
Result<void> CTolvarDoc::RedoOne(const UndoneEntry& entry, bool& isChanged)
{
    const Result<ChangeSnapshot> redo = m_journals.Of(entry.record).Snapshot(FrameKind::kRedo, entry.record);
    if (!redo) {
        return tl::unexpected(redo.error());
    }
    const SnapshotSeal& seal = redo->Seal();
    if (seal.record != entry.record || !HoldsNow(seal, &PlaceState::after)) {
        return Failure(ErrorCode::kBusy, "what the undo left has changed since: " + seal.change.path);
    }
    isChanged = true; // from here on
    const Result<SnapshotSeal> change = m_journals.Of(entry.record).Seal(FrameKind::kChange, entry.record);
    const bool wasAsLeft =
        change && std::ranges::equal(change->places, seal.places, {}, &PlaceState::after, &PlaceState::before);
    if (wasAsLeft || (!change && entry.own.empty())) {
        return MakeAgain(seal.change, redo->Image());
    }
    for (const std::string& own : entry.own | std::views::reverse) {
        const Result<UndoMaterial> material = Material(own, UndoForce::kNo);
        auto undone = material ? UndoChange(material->Change(), material->Source()) : tl::unexpected(material.error());
        if (!undone) {
            return undone;
        }
    }
    const std::vector<ChangePlace> places = PlacesOf(seal.change);
    for (std::size_t i = 0; i < places.size(); ++i) {
        auto removed = seal.places[i].before == kAbsent ? RemovePlace(places[i]) : Result<void>();
        if (!removed) {
            return removed;
        }
    }
    return {};
}

/// Makes durable what was done again in memory, or takes it back.
Result<void> CTolvarDoc::CommitRedo(const RedoLog::Step& step)
{
    std::vector<std::string> records;
    std::vector<std::string> own;
    for (const UndoneEntry& entry : step) {
        records.push_back(entry.record);
        own.insert(own.end(), entry.own.begin(), entry.own.end());
    }
    const auto begun = m_journals.BeginRedo(records);
    const auto flushed = begun ? FlushHives() : begun;
    const FlushFate fate = begun && !flushed ? FailedFlush() : FlushFate::kNotMade;
    if (!flushed && fate != FlushFate::kMade) {
        if (fate == FlushFate::kUnknown) {
            return tl::unexpected(MadeAllTheSame(fate, flushed.error(), "doing again"));
        }
        if (Revert()) {
            static_cast<void>(m_journals.Retire(records)); // else the next start does it
        }
        return flushed;
    }
    for (const UndoneEntry& entry : step | std::views::reverse) {
        m_journals.Of(entry.record).NoteMade(entry.record);
        m_journals.Insert(entry.place, entry.record);
    }
    auto dropped = m_journals.Drop(own);
    m_journals.DropLastStep(); // last: it names what was to be dropped
    if (!flushed) {
        return tl::unexpected(MadeAllTheSame(fate, flushed.error(), "doing again"));
    }
    return dropped;
}

Result<std::size_t> CTolvarDoc::Redo()
{
    if (auto free = CheckFree(); !free) {
        return tl::unexpected(free.error());
    }
    const RedoLog::Step step = m_journals.LastUndone();
    if (step.empty()) {
        return Failure(ErrorCode::kNoMoreItems, "nothing was undone since the last change");
    }
    bool isChanged = false;
    for (const UndoneEntry& entry : step | std::views::reverse) {
        if (auto done = RedoOne(entry, isChanged); !done) {
            if (isChanged) { // else what others have changed stays
                static_cast<void>(Revert());
            }
            return tl::unexpected(done.error());
        }
    }
    if (auto done = CommitRedo(step); !done) {
        return tl::unexpected(done.error());
    }
    return step.size();
}

} // namespace tolvar
