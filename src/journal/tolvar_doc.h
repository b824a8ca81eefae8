#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "journal/change_record.h"
#include "journal/journal_record.h"
#include "journal/pending_log.h"
#include "platform/files/file_store.h"
#include "platform/system/clock.h"
#include "platform/system/error.h"

namespace tolvar {

/// Where a journal lies, and how it is kept.
struct JournalOptions {
    std::filesystem::path dataFolder;     ///< holds `index` and the text backups
    std::filesystem::path fallbackFolder; ///< taken where `dataFolder` can't be made; empty: none
    int keepDays = 20;                    ///< for how long records and backups are kept
    std::string emptyNameLabel;           ///< what a list shows for an empty value name; empty: nothing stands for it
    bool isReadOnly = false;              ///< show the journal, lock and write nothing, take no changes
    FileStore* files = &SystemFiles();    ///< outlives the document
    const Clock* clock = &SystemClock();  ///< outlives the document
};

/// Is told when the journal grew.
class JournalObserver {
public:
    virtual ~JournalObserver() = default;

    /// A record was added at the end.
    virtual void OnRecordAdded(std::string_view record) = 0;
};

/// What became of an entry that was to be undone.
enum class UndoOutcome {
    kUndone,
    kLeft, ///< a group: these are shown, and not undone
};

/// What became of several entries.
struct UndoReport {
    std::size_t undone = 0;
    std::vector<Error> failures; ///< of entries that stay, the newest first
};

/// The journal of all changes to the registry of the current session, and the only road to make one.
///
/// Three promises. Nothing is lost by a crash: each record is durable before its change is made, in `journal.pending`
/// beside the data folder, and the next start takes it over if the registry holds the change. Undoing is exact: beside
/// the text backup in the data folder a snapshot, of the same name, lies in the folder `snapshots` beside it. The order
/// holds: backups, then the record, then the change; the change is durable before it is answered, and one that fails
/// takes its record and its backups away.
///
/// One program at a time works with a data folder: the others are told which one does. Not thread safe: all calls come
/// from one thread. Whoever ends without SaveModified loses nothing, as in a crash.
class CTolvarDoc {
public:
    explicit CTolvarDoc(JournalOptions options);
    ~CTolvarDoc();
    CTolvarDoc(const CTolvarDoc&) = delete;
    CTolvarDoc& operator=(const CTolvarDoc&) = delete;

    /// Makes and locks the data folder, reads the journal, settles what a crash left open, and drops what is too old.
    /// Once, when the hives of the session are mounted and before the first change.
    /// Errors: kSharingViolation where another program has the data folder, with its process; the file system's. The
    /// document may be kept after one: it shows an empty journal and answers every change with that error.
    [[nodiscard]] Result<void> OnNewDocument();

    /// Writes `index`, and lets go of what it replaces. Once, at a clean end, after the last flush of the registry.
    /// Errors: the file system's; what was to be written is then taken over by the next start.
    [[nodiscard]] Result<void> SaveModified();

    /// Makes a change and journals it. On success both are durable. On an error the registry holds what it held before,
    /// there is no record, and the code is one of: 5, some key of a subtree can't be had with all rights; 183, a key's
    /// new name is taken; 1, the value to be renamed is not there; 2, what is to be changed is not there; 19, it is
    /// mounted read only; that of OnNewDocument; the registry's or the file system's.
    [[nodiscard]] Result<void> ApplyChange(const ChangeRecord& change);

    /// Brings back what the change of an entry overwrote or removed, takes away what it made, and drops the entry with
    /// its backups. Entries may be undone in any order. `index`: its place in Journal(), 0 for the oldest.
    /// On an error the entry stays: kFileNotFound or kFileCorrupt where neither backup can be used, and nothing is
    /// changed then; kInvalidData for a record that can't be read; kInvalidParameter for no such entry; the registry's.
    [[nodiscard]] Result<UndoOutcome> UndoEntry(std::size_t index);

    /// Undoes several entries, the newest first, whatever their order here. One that fails doesn't stop the others.
    [[nodiscard]] UndoReport UndoEntries(std::vector<std::size_t> indices);

    /// Drops entries with their backups, and leaves the registry alone. Places that don't exist are passed over.
    [[nodiscard]] Result<void> RemoveEntry(std::size_t index) { return RemoveEntries({index}); }
    [[nodiscard]] Result<void> RemoveEntries(const std::vector<std::size_t>& indices);

    /// Drops what is older than `keepDays` days. Entries of the data folder that don't begin with a date stay, and of
    /// the records without a backup one goes at a time. Answers how many records went.
    Result<std::size_t> ExpireBackups(int keepDays);

    /// The records, the oldest first. Valid until the journal changes.
    [[nodiscard]] std::span<const std::string> Journal() const noexcept { return m_journal; }

    /// For bookmarks that are kept between runs: their paths, and what they lead to.
    [[nodiscard]] const std::vector<std::string>& BookmarkPaths() const noexcept { return m_bookmarkPaths; }
    [[nodiscard]] const std::vector<std::string>& BookmarkTargets() const noexcept { return m_bookmarkTargets; }
    void SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets);

    /// `observer` must outlive the document; null for nobody.
    void SetObserver(JournalObserver* observer) noexcept { m_observer = observer; }

    [[nodiscard]] const std::filesystem::path& DataFolder() const noexcept { return m_options.dataFolder; }

private:
    struct Backups; ///< of one change, while it is made
    class UndoMaterial;

    [[nodiscard]] std::filesystem::path Beside(const char* name) const;
    [[nodiscard]] std::filesystem::path TextBackup(std::string_view stamp) const;
    [[nodiscard]] std::filesystem::path Snapshot(std::string_view stamp) const;

    [[nodiscard]] Result<void> MakeFolders();
    [[nodiscard]] Result<void> LockFolder();
    [[nodiscard]] Result<void> ReadIndex();
    void TakePendingOver(const std::vector<PendingLog::Entry>& entries, std::vector<std::string>& open);
    void SettleOpen(const std::vector<std::string>& open);
    [[nodiscard]] Result<void> WriteIndex();

    [[nodiscard]] std::string NewStamp() const;
    [[nodiscard]] Result<void> WriteTextBackup(const class PreparedChange& change, const std::string& stamp,
                                               struct SnapshotSeal& seal) const;
    [[nodiscard]] Result<void> WriteBackups(const PreparedChange& change, const std::string& stamp,
                                            const std::string& record, std::vector<std::byte>& image) const;
    [[nodiscard]] Result<void> WriteDurably(const std::filesystem::path& file, std::span<const std::byte> bytes,
                                            std::string_view behind = {}) const;
    void TakeBack(const ChangeRecord& change, const std::vector<std::byte>& image, const std::string& record,
                  const std::string& stamp);
    void RemoveBackups(std::string_view stamp) const;
    void RemoveGroupMembers(const JournalRecord& group) const;
    void Forget(const std::vector<std::size_t>& sorted);
    [[nodiscard]] Result<void> CheckUsable() const;

    JournalOptions m_options;
    std::optional<Error> m_failure; ///< why no change can be taken
    std::unique_ptr<StoredFile> m_lock;
    std::optional<PendingLog> m_pending;
    std::vector<std::string> m_bookmarkPaths;
    std::vector<std::string> m_journal;
    std::vector<std::string> m_bookmarkTargets;
    JournalObserver* m_observer = nullptr;
    bool m_isIndexStale = false;   ///< the file does not hold what is here
    bool m_isIndexDamaged = false; ///< the file broke off: what it holds is kept aside before it is written anew
    bool m_hasOpenChange =
        false; ///< a change failed and could not be taken back in the file: the next start settles it
};

} // namespace tolvar
