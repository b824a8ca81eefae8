#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

#include "journal/change_snapshot.h"
#include "journal/journal_record.h"
#include "journal/pending_log.h"
#include "journal/redo_log.h"
#include "journal/snapshot_log.h"
#include "journal/stamp.h"
#include "platform/files/file_store.h"
#include "platform/system/clock.h"
#include "platform/system/error.h"

namespace tolvar {

/// Where a journal lies on the disk.
struct JournalPlace {
    std::filesystem::path dataFolder;     ///< holds `index` and the text backups
    std::filesystem::path fallbackFolder; ///< taken where `dataFolder` can't be made; empty: none
    std::string home;                     ///< key at which the hive of this journal is seen; empty: those of several
    std::optional<Error> notice;          ///< what a person should be told of the choice of this place
    bool isReadOnly = false;              ///< lock and write nothing
    bool isBrief = false;                 ///< for a program that makes a change or two: see JournalStore::Save
    bool isTrusting = false;              ///< take `index` for undamaged unless it breaks off: it is not to be shown
    FileStore* files = &SystemFiles();    ///< outlives the store
    const Clock* clock = &SystemClock();  ///< outlives the store
};

/// The files of one journal: the records in `index`, what happened since it was written in `journal.pending`, and for
/// each record its backups. It knows when what has to be durable, and nothing of the registry.
///
/// One program at a time works with a data folder. Not thread safe.
class JournalStore {
public:
    /// Records that the last run left without an end.
    struct Unsettled {
        std::vector<std::string> open;    ///< of changes that were begun, and nobody knows whether they were made
        std::vector<std::string> notMade; ///< of a group that never got as far as the medium: not among the records
        std::vector<std::string> cut;     ///< of a group that may have been made in part
        std::vector<std::string> gone;    ///< dropped since `index` was written
    };

    explicit JournalStore(JournalPlace place)
        : m_place(std::move(place)), m_snapshots(*m_place.files, Beside("snapshots"))
    {}

    /// Makes and locks the data folder and reads the journal. Once, before all else.
    /// Errors: kSharingViolation where another program has the data folder, with its process; the file system's.
    [[nodiscard]] Result<Unsettled> Open();

    /// Writes `index` and lets go of what it replaces, unless a change stays open in `journal.pending`. A brief session
    /// leaves the records where they are until there are many, so that one change costs no more in a long journal.
    [[nodiscard]] Result<void> Save(bool hasOpenChange);

    /// What Open found that a person should be told, each with a code where something may be lost.
    [[nodiscard]] const std::vector<Error>& Notices() const noexcept { return m_notices; }

    [[nodiscard]] const std::filesystem::path& DataFolder() const noexcept { return m_place.dataFolder; }
    [[nodiscard]] FileStore& Files() const noexcept { return *m_place.files; }
    [[nodiscard]] bool IsReadOnly() const noexcept { return m_place.isReadOnly; }
    [[nodiscard]] const std::string& Home() const noexcept { return m_place.home; }

    // Records.

    /// The oldest first. Valid until the journal changes.
    [[nodiscard]] std::span<const std::string> Records() const;

    /// A stamp that no record and no backup of this journal has, and that is later than the last one.
    [[nodiscard]] std::string NewStamp();

    /// Adds a record whose change was made. The answer is valid until the journal changes.
    const std::string& Add(std::string record);

    /// Forgets records and bookmarks, in memory alone: for a journal that can't be used.
    void ShowNothing();

    /// Takes records out of the list, whatever the disk says of them.
    void Forget(std::span<const std::string> records);

    /// Takes records out, durably, and then their backups.
    [[nodiscard]] Result<void> Drop(std::span<const std::string> records);

    /// The same for the records at some places, those of a group with its members' backups. Places that don't exist
    /// are passed over.
    [[nodiscard]] Result<void> DropAt(std::vector<std::size_t> places);

    /// Drops what is older than `keepDays` days. Entries of the data folder that don't begin with a date stay, and of
    /// the records without a backup one goes at a time. Answers how many records went.
    [[nodiscard]] Result<std::size_t> Expire(int keepDays);

    /// Marks this day in "journal.expired" beside the data folder. Answers whether it was not marked yet.
    [[nodiscard]] bool MarkDay();

    // Backups, which are durable with the mark that needs them.

    [[nodiscard]] std::filesystem::path TextBackup(std::string_view stamp) const { return m_place.dataFolder / stamp; }
    [[nodiscard]] Result<std::unique_ptr<StoredFile>> MakeTextBackup(std::string_view stamp);
    [[nodiscard]] SnapshotLog& Snapshots() noexcept { return m_snapshots; }
    [[nodiscard]] const SnapshotLog& Snapshots() const noexcept { return m_snapshots; }

    /// The latest snapshot of a record, or its seal alone, moved to where the hive is now. Errors: as
    /// SnapshotLog::Find.
    [[nodiscard]] Result<ChangeSnapshot> Snapshot(FrameKind kind, std::string_view record) const;
    [[nodiscard]] Result<SnapshotSeal> Seal(FrameKind kind, std::string_view record) const;
    void RemoveBackups(std::span<const std::string> records);

    // Marks: where a change stands. A change that no mark is left of never was.

    /// Its backups are durable, and it is about to be made.
    [[nodiscard]] Result<void> Begin(const std::string& record);
    /// It is durable. Nothing waits for this mark.
    void NoteMade(const std::string& record) { m_pending->Note(PendingLog::Event::kMade, record); }
    /// It failed and left nothing. Its backups go.
    void NoteFailed(const std::string& record);
    /// It is about to be made in memory, as one of a group.
    [[nodiscard]] Result<void> BeginMember(const std::string& record);
    /// The members from `first` on are about to be made durable, and their backups are so.
    [[nodiscard]] Result<void> BeginGroup(const std::string& first);
    [[nodiscard]] Result<void> EndGroup(const std::string& first);

    // What was undone, and can be done again until the next change. Its text backups lie with the snapshots.

    /// The oldest step first.
    [[nodiscard]] const std::vector<RedoLog::Step>& Undone() const noexcept { return m_redo->Steps(); }

    /// Entries are about to be undone, and `own`, the records of what that overwrites, are about to come. The backups
    /// of all are durable.
    [[nodiscard]] Result<void> BeginUndo(RedoLog::Step step, const std::vector<std::string>& own);

    /// Takes records out, durably, and keeps their backups for Redo.
    [[nodiscard]] Result<void> Retire(std::span<const std::string> records);

    /// Retired records are about to be made again.
    [[nodiscard]] Result<void> BeginRedo(std::span<const std::string> records);

    /// Puts a record back in its place, in memory; `index` is written at the end of the session then.
    void Insert(std::size_t place, std::string record);

    /// The last step is no more: it was not undone after all, or is done again.
    void DropLastStep() { m_redo->Pop(); }

    /// Forgets all steps, with the backups that were kept for them.
    void ForgetUndone();

    /// For bookmarks that are kept between runs: their paths, and what they lead to.
    [[nodiscard]] const std::vector<std::string>& BookmarkPaths() const;
    [[nodiscard]] const std::vector<std::string>& BookmarkTargets() const;
    void SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets);

private:
    [[nodiscard]] std::filesystem::path Beside(const char* name) const;
    [[nodiscard]] Result<void> MakeFolders();
    [[nodiscard]] Result<void> LockFolder();
    [[nodiscard]] Result<void> ReadIndex();
    void TakeIndexIn() const;
    [[nodiscard]] Result<void> OpenPending();
    [[nodiscard]] Result<void> OpenRedo();
    [[nodiscard]] std::filesystem::path KeptText(std::string_view stamp) const;
    [[nodiscard]] Unsettled TakePendingOver();
    [[nodiscard]] bool IsIndexAltered(std::span<const std::byte> bytes) const;
    [[nodiscard]] Result<void> WriteSums(std::span<const std::byte> fresh) const;
    [[nodiscard]] Result<std::filesystem::path> KeepAside(const std::filesystem::path& file) const;
    [[nodiscard]] Result<void> MendDamage(const Unsettled& unsettled);
    [[nodiscard]] std::size_t RestoreFromSeals(const Unsettled& unsettled);
    [[nodiscard]] bool CanIndexWait() const;
    [[nodiscard]] Result<void> WriteIndex();
    [[nodiscard]] Result<void> WriteDurably(const std::filesystem::path& file, std::span<const std::byte> bytes) const;
    [[nodiscard]] Result<void> ReplaceDurably(const std::filesystem::path& file,
                                              std::span<const std::byte> bytes) const;
    [[nodiscard]] Result<void> SyncBackups();
    void RememberStamp(std::string_view stamp);
    [[nodiscard]] bool IsTaken(const std::string& stamp);
    void RemoveGroupMembers(const JournalRecord& group);
    void ForgetAt(std::span<const std::size_t> sorted);

    JournalPlace m_place;
    SnapshotLog m_snapshots;
    std::unique_ptr<StoredFile> m_lock;
    std::optional<PendingLog> m_pending;
    std::optional<RedoLog> m_redo;
    mutable std::vector<std::string> m_bookmarkPaths;
    mutable std::vector<std::string> m_records;
    mutable std::vector<std::string> m_bookmarkTargets;
    mutable std::optional<MappedFile> m_index;         ///< until its lists are taken in, in front of what is there
    mutable std::unordered_set<std::string> m_dropped; ///< of the records in `m_index`
    std::uint64_t m_indexSize = 0;                     ///< bytes of the file when it was read
    std::vector<std::filesystem::path> m_unsynced;     ///< text backups that are written, and not yet durable
    bool m_hasUnsyncedGone = false;                    ///< some of them were removed
    TakenStamps m_takenStamps;
    std::string m_latestStamp;                               ///< of all that the journal ever had; empty: none
    std::vector<std::string> m_givenStamps;                  ///< by NewStamp, until there is a set of all
    std::optional<std::unordered_set<std::string>> m_stamps; ///< all of them, once one is as late as the clock
    bool m_mustWriteIndex = false; ///< it holds what `journal.pending` can't: bookmarks, and records in their places
    bool m_isIndexStale = false;   ///< the file does not hold what is here
    bool m_isIndexDamaged = false; ///< the file is not what was written, and has to be written anew
    std::vector<Error> m_notices;
};

} // namespace tolvar
