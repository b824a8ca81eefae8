#include <algorithm>

#include "journal/make_change.h"
#include "journal/place_states.h"
#include "journal/tolvar_doc.h"
#include "journal/undo_change.h"
#include "platform/registry/registry.h"
#include "platform/system/text.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

/// An entry for what an undo that was forced overwrites or removes at one place.
struct CTolvarDoc::OwnEntry {
    std::size_t place; ///< among those of the change that is undone
    std::string record;
    Backup backup;
};

/// Entries that are being undone in memory.
struct CTolvarDoc::Undoing {
    UndoForce force;
    RedoLog::Step step;
    std::vector<std::size_t> gone;    ///< entries that were undone, or were so before
    std::vector<std::string> settled; ///< records of the latter
    std::vector<std::string> own;     ///< records of what was overwritten
    std::vector<std::size_t> whole;   ///< entries that hold a key as a whole and left it where it was
    bool isSettled = false;           ///< the current entry was undone by whatever way, and only leaves the journal
    bool isOverwriting = false;       ///< undoing the current one overwrites what has come since
    bool isBroken = false;            ///< the registry holds a part of an undo
    bool isUnwritten = false;         ///< a backup could not be written
};

namespace {

std::vector<PlaceState> StatesFrom(const std::vector<PlaceDigest>& before, const std::vector<PlaceDigest>& after)
{
    std::vector<PlaceState> states;
    for (std::size_t i = 0; i < before.size(); ++i) {
        states.push_back({before[i], after[i]});
    }
    return states;
}

/// Whether undoing a change takes away what is at one of its places.
bool IsRemoved(const ChangeRecord& change, std::size_t place)
{
    return change.kind == ChangeKind::kNew || (change.kind == ChangeKind::kRename && place != 0);
}

/// The change that an undo is at one place of what it undoes.
ChangeRecord OwnChange(const ChangePlace& place, bool isRemoved)
{
    ChangeRecord change = isRemoved ? ChangeRecord::DeleteKey(place.key) : ChangeRecord();
    change.path = place.key;
    change.kind = isRemoved ? ChangeKind::kDelete : ChangeKind::kModify;
    if (!place.value) {
        return change;
    }
    RegKey key;
    DWORD type = 0;
    if (OpenKeyPath(place.key, *key.Put(), KEY_QUERY_VALUE) == ERROR_SUCCESS) { // else preparing it tells
        static_cast<void>(RegQueryValueExA(key.Get(), place.value->c_str(), nullptr, &type, nullptr, nullptr));
    }
    change = isRemoved ? ChangeRecord::DeleteValue(place.key, *place.value, type)
                       : ChangeRecord::EditValue(place.key, *place.value, type, {});
    change.form = DataForm::kStored;
    return change;
}

/// The image of what an undo is about to take away and no change of the same kind would make again.
Result<std::vector<std::byte>> RedoImage(const ChangeRecord& change)
{
    if (change.kind != ChangeKind::kNew && change.kind != ChangeKind::kModify) {
        return std::vector<std::byte>();
    }
    const std::string path = PlacesOf(change).front().key;
    RegKey key;
    if (const LSTATUS code = OpenLinkPath(path, *key.Put(), KEY_READ); code != ERROR_SUCCESS) {
        return code == ERROR_FILE_NOT_FOUND ? Result<std::vector<std::byte>>()
                                            : Failure(static_cast<ErrorCode>(code), path);
    }
    if (change.IsKey()) {
        return ImageOfKey(key.Get());
    }
    const std::vector<std::string> names = {change.Name(), change.NewName()};
    return ImageOfValues(key.Get(), names);
}

} // namespace

/// A seal that knows what it belongs to. Where the hive has a journal of its own, it knows the place in the hive.
SnapshotSeal CTolvarDoc::NewSeal(const std::string& record, const ChangeRecord& change) const
{
    SnapshotSeal seal;
    seal.record = record;
    seal.change = change;
    const Registry* const registry = Registry::Current();
    if (registry != nullptr && !m_journals.Of(record).Home().empty()) {
        seal.hive = PlaceInHive(*registry, change.path);
    }
    return seal;
}

Result<UndoMaterial> CTolvarDoc::Material(const std::string& record, UndoForce force) const
{
    const JournalStore& journal = m_journals.Of(record);
    Result<UndoMaterial> material = UndoMaterial::Gather(journal, record, m_emptyNameLabel, force);
    const Registry* const registry = Registry::Current();
    if (material && registry != nullptr && !journal.Home().empty() &&
        UpCased(PlaceInHive(*registry, material->Change().path).hive) != UpCased(journal.Home())) {
        return Failure(ErrorCode::kFileNotFound,
                       material->Change().path + " is not in the hive of this journal, which is at " + journal.Home());
    }
    return material;
}

Result<ChangeSnapshot> CTolvarDoc::SnapshotOf(std::size_t index) const
{
    const std::string_view record = index < Journal().size() ? Journal()[index] : std::string_view();
    Result<ChangeSnapshot> snapshot = m_journals.Of(record).Snapshot(FrameKind::kChange, record);
    return snapshot && snapshot->Seal().record != record ? Failure(ErrorCode::kFileCorrupt) : std::move(snapshot);
}

/// Writes text backups of all that undoing a change overwrites, and takes its images. `now`: what its places hold.
/// Nothing is changed yet.
Result<std::vector<CTolvarDoc::OwnEntry>> CTolvarDoc::PrepareOwn(const ChangeRecord& undone,
                                                                 const std::vector<PlaceDigest>& now, Undoing& run)
{
    const std::vector<ChangePlace> places = PlacesOf(undone);
    std::vector<OwnEntry> own;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (now[i] == kAbsent) {
            continue;
        }
        const ChangeRecord change = OwnChange(places[i], IsRemoved(undone, i));
        Result<PreparedChange> prepared = PreparedChange::Prepare(change, {});
        if (!prepared) {
            return tl::unexpected(prepared.error());
        }
        const std::string stamp = m_journals.NewStamp(change.path);
        std::string record = FormatRecord(change, User(), stamp);
        run.own.push_back(record);
        Result<Backup> backup = MakeBackup(*prepared, stamp, record);
        if (!backup) {
            run.isUnwritten = true;
            return tl::unexpected(backup.error());
        }
        backup->seal.group = StampOf(run.own.front());
        own.push_back({i, std::move(record), *std::move(backup)});
    }
    return own;
}

/// Entries from `first` on of changes that hold the image of a key which is where it was: whatever changes in it, an
/// older entry that is undone too, stands against their undoing.
std::vector<std::size_t> CTolvarDoc::WholeKeyEntries(std::size_t first) const
{
    std::vector<std::size_t> entries;
    for (std::size_t i = first; i < Journal().size(); ++i) {
        const JournalRecord record = ParseRecord(Journal()[i]);
        const bool isRename = record.kind == static_cast<int>(ChangeKind::kRename);
        const bool isKey = record.object == static_cast<int>(ChangeObject::kKey);
        if (isKey && (record.kind == static_cast<int>(ChangeKind::kModify) ||
                      (isRename && CompareNames(LastName(record.path), record.secondPath) == 0))) {
            entries.push_back(i);
        }
    }
    return entries;
}

/// What stands against an undo although all is as the change left it: later entries that could not be undone any more.
Result<void> CTolvarDoc::CheckLaterUndos(const ChangeRecord& change, std::size_t index, const Undoing& run) const
{
    if (run.force == UndoForce::kYes) {
        return {};
    }
    std::vector<std::size_t> later = LaterEntries(PlacesOf(change), index, run.gone, &run.whole);
    const std::string last = change.IsKey() ? std::string(ParentPath(change.path)) : change.path;
    const std::string missing = change.kind != ChangeKind::kNew ? FirstMissingKey(last) : std::string();
    if (later.empty() && !missing.empty()) { // making it anew is in the way of what took it away
        later = LaterEntries({{missing, std::nullopt}}, index, run.gone);
    }
    return later.empty() ? Result<void>() : tl::unexpected(Refusal(index, later));
}

/// What stands against undoing an entry whose places hold `now`.
Result<void> CTolvarDoc::CheckUndo(const UndoMaterial& material, std::size_t index, const std::vector<PlaceDigest>& now,
                                   Undoing& run) const
{
    const SnapshotSeal* const seal = material.Seal();
    const bool isKnown = seal != nullptr && !seal->places.empty();
    if (isKnown && Matches(*seal, &PlaceState::after, now)) {
        return CheckLaterUndos(material.Change(), index, run);
    }
    run.isOverwriting = run.force == UndoForce::kYes;
    const std::vector<std::size_t> later = LaterEntries(PlacesOf(material.Change()), index, run.gone);
    run.isSettled = isKnown && later.empty() && Matches(*seal, &PlaceState::before, now);
    if (run.isSettled || run.isOverwriting) {
        return {};
    }
    return isKnown || !later.empty() ? tl::unexpected(Refusal(index, later))
                                     : CheckLaterUndos(material.Change(), index, run);
}

/// Writes what the undoing of an undo needs, after it was made in memory.
Result<void> CTolvarDoc::SealUndo(std::size_t index, const ChangeRecord& change, const std::vector<PlaceDigest>& before,
                                  const std::vector<std::byte>& image, std::vector<OwnEntry> own, Undoing& run)
{
    UndoneEntry undone{Journal()[index], index, {}};
    const Result<std::vector<PlaceDigest>> after = DigestsNow(change);
    if (!after) {
        return tl::unexpected(after.error());
    }
    SnapshotSeal redo = NewSeal(undone.record, change);
    redo.places = StatesFrom(before, *after);
    auto added = m_journals.Of(undone.record).Snapshots().Add(FrameKind::kRedo, StampOf(undone.record), image, redo);
    for (OwnEntry& entry : own) {
        entry.backup.seal.places = {redo.places[entry.place]};
        added = added ? m_journals.Of(entry.record)
                            .Snapshots()
                            .Add(FrameKind::kChange, StampOf(entry.record), entry.backup.image, entry.backup.seal)
                      : added;
        undone.own.push_back(std::move(entry.record));
    }
    run.gone.push_back(index);
    run.step.push_back(std::move(undone));
    return added;
}

/// Undoes one entry in memory, and writes what its own undoing needs.
Result<void> CTolvarDoc::UndoOne(std::size_t index, Undoing& run)
{
    if (index >= Journal().size()) {
        return Failure(ErrorCode::kInvalidParameter, "the journal has no entry " + std::to_string(index));
    }
    const Result<UndoMaterial> material = Material(Journal()[index], run.force);
    if (!material) {
        return tl::unexpected(material.error());
    }
    const ChangeRecord& change = material->Change();
    const Result<std::vector<PlaceDigest>> before = DigestsNow(change);
    if (!before) {
        return tl::unexpected(before.error());
    }
    run.isSettled = false;
    run.isOverwriting = false;
    if (auto checked = CheckUndo(*material, index, *before, run); !checked) {
        return checked;
    }
    if (run.isSettled) {
        run.gone.push_back(index);
        run.settled.push_back(Journal()[index]);
        return {};
    }
    Result<std::vector<OwnEntry>> own =
        run.isOverwriting ? PrepareOwn(change, *before, run) : Result<std::vector<OwnEntry>>(std::vector<OwnEntry>());
    const Result<std::vector<std::byte>> image =
        own && !run.isOverwriting ? RedoImage(change) : Result<std::vector<std::byte>>();
    if (!own || !image) {
        return tl::unexpected(own ? image.error() : own.error());
    }
    if (auto undone = UndoChange(change, material->Source()); !undone) {
        const Result<std::vector<PlaceDigest>> now = DigestsNow(change);
        run.isBroken = !now || *now != *before;
        return undone;
    }
    auto sealed = SealUndo(index, change, *before, *image, *std::move(own), run);
    run.isUnwritten = run.isUnwritten || !sealed;
    return sealed;
}

/// Makes durable what was undone in memory, or takes it back.
UndoReport CTolvarDoc::CommitUndo(Undoing& run)
{
    UndoReport report;
    report.undone = run.gone.size();
    if (!run.settled.empty()) {
        if (auto dropped = m_journals.Drop(run.settled); !dropped) {
            report.undone -= run.settled.size();
            report.failures.push_back({dropped.error(), {}});
        }
    }
    if (run.step.empty()) {
        return report;
    }
    const auto begun = m_journals.BeginUndo(run.step, run.own);
    const auto flushed = begun ? FlushHives() : begun;
    const FlushFate fate = begun && !flushed ? FailedFlush() : FlushFate::kNotMade;
    if (!flushed && fate == FlushFate::kNotMade) {
        report.undone -= run.step.size();
        report.failures.push_back({flushed.error(), {}});
        if (Revert()) {
            SettleOpen(run.own);
            if (begun) { // of several hives some may be written
                SettleUndone();
            }
        }
        return report;
    }
    if (!flushed) {
        report.failures.push_back({MadeAllTheSame(fate, flushed.error(), "undoing"), {}});
        if (fate == FlushFate::kUnknown) {
            report.undone -= run.step.size();
            return report;
        }
    }
    std::vector<std::string> records;
    std::ranges::transform(run.step, std::back_inserter(records), &UndoneEntry::record);
    if (auto retired = m_journals.Retire(records); !retired) { // the next start does it; no change may come between
        m_journals.Forget(records);
        m_failure = retired.error();
        m_hasOpenChange = true;
    }
    for (const std::string& own : run.own) {
        m_journals.Of(own).NoteMade(own);
        m_journals.Add(own);
    }
    return report;
}

UndoReport CTolvarDoc::UndoEntries(std::vector<std::size_t> indices, UndoForce force)
{
    if (auto free = CheckFree(); !free) {
        return {0, {{free.error(), {}}}};
    }
    std::ranges::sort(indices, std::greater());
    indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
    std::erase_if(indices, [this](std::size_t index) {
        return index < Journal().size() && ParseRecord(Journal()[index]).IsGroup();
    });
    std::vector<UndoFailure> broken; // of entries that can't be undone wholly
    const std::vector<std::size_t> whole =
        force == UndoForce::kYes || indices.empty() ? std::vector<std::size_t>() : WholeKeyEntries(indices.back());
    while (true) {
        Undoing run{force, {}, {}, {}, {}, whole};
        std::vector<UndoFailure> failures;
        std::size_t last = 0; // that was tried
        for (const std::size_t index : indices) {
            last = index;
            if (auto undone = UndoOne(index, run); !undone) {
                failures.push_back({undone.error(), index < Journal().size() ? Journal()[index] : std::string()});
            }
            if (run.isBroken || run.isUnwritten) {
                break;
            }
        }
        if (!run.isBroken && !run.isUnwritten) {
            UndoReport report = CommitUndo(run);
            for (const std::vector<UndoFailure>* more : {&failures, &broken}) {
                report.failures.insert(report.failures.end(), more->begin(), more->end());
            }
            return report;
        }
        const auto reverted = Revert();
        m_journals.RemoveBackups(run.own);
        broken.push_back(failures.back());
        if (!reverted || run.isUnwritten) { // the next one would fare no better
            return {0, std::move(broken)};
        }
        std::erase(indices, last); // the others without it
    }
}

Result<UndoOutcome> CTolvarDoc::UndoEntry(std::size_t index, UndoForce force)
{
    const UndoReport report = UndoEntries({index}, force);
    if (!report.failures.empty()) {
        return tl::unexpected(report.failures.front());
    }
    return report.undone != 0 ? UndoOutcome::kUndone : UndoOutcome::kLeft;
}

Result<void> CTolvarDoc::RemoveEntries(const std::vector<std::size_t>& indices)
{
    auto free = CheckFree();
    return free ? m_journals.DropAt(indices) : free;
}

Result<std::size_t> CTolvarDoc::ExpireBackups(int keepDays)
{
    auto free = CheckFree();
    return free ? m_journals.Expire(keepDays, false) : tl::unexpected(free.error());
}

} // namespace tolvar
