#include <algorithm>
#include <ranges>
#include <unordered_set>

#include "journal/make_change.h"
#include "journal/tolvar_doc.h"
#include "journal/touched_places.h"
#include "journal/undo_change.h"
#include "platform/registry/registry.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

/// Whether all places of a change hold what a seal says; nothing where it doesn't, or they can't be read.
bool HoldsNow(const SnapshotSeal& seal, PlaceDigest PlaceState::*which)
{
    const std::vector<ChangePlace> places = PlacesOf(seal.change);
    for (std::size_t i = 0; i < places.size(); ++i) {
        const Result<PlaceDigest> now = Registry::Current() != nullptr && i < seal.places.size()
                                            ? DigestOf(*Registry::Current(), places[i])
                                            : Failure(ErrorCode::kFileNotFound);
        if (!now || *now != seal.places[i].*which) {
            return false;
        }
    }
    return true;
}

Result<void> Answer(LSTATUS code, const std::string& what)
{
    return code == ERROR_SUCCESS ? Result<void>() : Failure(static_cast<ErrorCode>(code), what);
}

/// Takes away what is at a place, if anything is.
Result<void> RemovePlace(const ChangePlace& place)
{
    const std::optional<ParentAndName> split = SplitLast(place.key);
    RegKey key;
    LSTATUS code = OpenKeyPath(place.value || !split ? place.key : split->parent, *key.Put(), KEY_ALL_ACCESS);
    if (code == ERROR_SUCCESS) {
        code = place.value ? RegDeleteValueA(key.Get(), place.value->c_str())
                           : RegDeleteTreeA(key.Get(), std::string(LastName(place.key)).c_str());
    }
    return code == ERROR_FILE_NOT_FOUND ? Result<void>() : Answer(code, place.key);
}

/// Makes a key what an undo found.
Result<void> RedoKey(const std::string& path, const KeyImage& image)
{
    const std::optional<ParentAndName> split = SplitLast(path);
    RegKey key;
    const LSTATUS code =
        CreateKeyPath(split ? JoinPath(split->parent, image.KeyName()) : path, *key.Put(), KEY_ALL_ACCESS);
    return code == ERROR_SUCCESS ? ReplaceByKeyImage(key.Get(), image) : Answer(code, path);
}

/// Makes a change again in memory, from what its undoing kept.
Result<void> MakeAgain(const ChangeRecord& change, const KeyImage* image)
{
    if (change.kind == ChangeKind::kNew || change.kind == ChangeKind::kModify) {
        const ChangePlace place = PlacesOf(change).back();
        if (image == nullptr) {
            return RemovePlace(place); // there was nothing
        }
        if (change.IsKey()) {
            return RedoKey(place.key, *image);
        }
        RegKey key;
        const LSTATUS code = OpenKeyPath(change.path, *key.Put(), KEY_ALL_ACCESS);
        return code == ERROR_SUCCESS ? LayValueImage(key.Get(), *image) : Answer(code, change.path);
    }
    Result<PreparedChange> prepared = PreparedChange::Prepare(change, {});
    return prepared ? prepared->Make() : tl::unexpected(prepared.error());
}

} // namespace

bool CTolvarDoc::IsRedoable(const std::string& record) const
{
    return !m_store.Undone().empty() &&
           std::ranges::find(m_store.Undone().back(), record, &UndoneEntry::record) != m_store.Undone().back().end();
}

/// Which records of a step were undone. What was undone before an older entry of the same step may be hidden by it, and
/// went to the same hive.
std::vector<std::string> CTolvarDoc::UndoneOf(const RedoLog::Step& step) const
{
    std::vector<std::string> undone;
    TouchedPlaces touched;
    for (const UndoneEntry& entry : step | std::views::reverse) {
        const Result<ChangeSnapshot> snapshot = m_store.Snapshots().Find(FrameKind::kRedo, StampOf(entry.record));
        if (!snapshot) {
            continue;
        }
        const std::vector<ChangePlace> places = PlacesOf(snapshot->Seal().change);
        if (HoldsNow(snapshot->Seal(), &PlaceState::after) ||
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
    while (!m_store.Undone().empty()) {
        const std::unordered_set<std::string_view> journal(Journal().begin(), Journal().end());
        std::vector<std::string> undone = UndoneOf(m_store.Undone().back());
        const bool isThere = std::ranges::any_of(m_store.Undone().back(), [&](const UndoneEntry& entry) {
            return journal.contains(entry.record) && std::ranges::find(undone, entry.record) == undone.end();
        });
        std::erase_if(undone, [&journal](const std::string& record) { return !journal.contains(record); });
        std::vector<std::string> own; // of what is done again
        for (const UndoneEntry& entry : m_store.Undone().back()) {
            const bool isBack =
                journal.contains(entry.record) && std::ranges::find(undone, entry.record) == undone.end();
            std::ranges::copy_if(entry.own, std::back_inserter(own),
                                 [&](const std::string& record) { return isBack && journal.contains(record); });
        }
        if (!m_store.Drop(own)) {
            return;
        }
        if (!m_store.Retire(undone) || !isThere) {
            return;
        }
        m_store.DropLastStep();
    }
}

std::size_t CTolvarDoc::RedoCount() const
{
    return CheckFree() && !m_store.Undone().empty() ? m_store.Undone().back().size() : 0;
}

/// Does one entry again in memory. Where undoing it overwrote something, that comes back instead, as the entry was not
/// there any more before either.
Result<void> CTolvarDoc::RedoOne(const UndoneEntry& entry)
{
    const Result<ChangeSnapshot> redo = m_store.Snapshots().Find(FrameKind::kRedo, StampOf(entry.record));
    if (!redo) {
        return tl::unexpected(redo.error());
    }
    const SnapshotSeal& seal = redo->Seal();
    if (seal.record != entry.record || !HoldsNow(seal, &PlaceState::after)) {
        return Failure(ErrorCode::kBusy, "what the undo left has changed since: " + seal.change.path);
    }
    const Result<ChangeSnapshot> change = m_store.Snapshots().Find(FrameKind::kChange, StampOf(entry.record));
    const bool wasAsLeft =
        change && std::ranges::equal(change->Seal().places, seal.places, {}, &PlaceState::after, &PlaceState::before);
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
    const auto begun = m_store.BeginRedo(records);
    const auto flushed = begun ? FlushHives() : begun;
    const FlushFate fate = begun && !flushed ? FailedFlush() : FlushFate::kNotMade;
    if (!flushed && fate != FlushFate::kMade) {
        if (fate == FlushFate::kUnknown) {
            return tl::unexpected(MadeAllTheSame(fate, flushed.error(), "doing again"));
        }
        if (Revert()) {
            static_cast<void>(m_store.Retire(records)); // else the next start does it
        }
        return flushed;
    }
    for (const UndoneEntry& entry : step | std::views::reverse) {
        m_store.NoteMade(entry.record);
        m_store.Insert(entry.place, entry.record);
    }
    auto dropped = m_store.Drop(own);
    m_store.DropLastStep(); // last: it names what was to be dropped
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
    if (m_store.Undone().empty()) {
        return Failure(ErrorCode::kNoMoreItems, "nothing was undone since the last change");
    }
    const RedoLog::Step step = m_store.Undone().back();
    for (const UndoneEntry& entry : step | std::views::reverse) {
        if (auto done = RedoOne(entry); !done) {
            static_cast<void>(Revert());
            return tl::unexpected(done.error());
        }
    }
    if (auto done = CommitRedo(step); !done) {
        return tl::unexpected(done.error());
    }
    return step.size();
}

} // namespace tolvar
