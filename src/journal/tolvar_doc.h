#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "journal/change_record.h"
#include "journal/journal_store.h"
#include "platform/system/error.h"

namespace tolvar {

/// When OnNewDocument drops what is too old.
enum class JournalExpiry {
    kAtStart,  ///< each time
    kOnceADay, ///< at the first start of a day, which `journal.expired` beside the data folder tells
    kNever,    ///< the numbers of the entries stay what they were for whoever has just seen them
};

/// Where a journal lies, and how it is kept.
struct JournalOptions {
    JournalPlace place;
    int keepDays = 20; ///< for how long records and backups are kept
    JournalExpiry expiry = JournalExpiry::kAtStart;
    std::string emptyNameLabel; ///< what a list shows for an empty value name; empty: nothing stands for it
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

class UndoMaterial;

/// The journal of all changes to the registry of the current session, and the only road to make one.
///
/// Three promises. Nothing is lost by a crash: each record is durable before its change is made, in `journal.pending`
/// beside the data folder, and the next start takes it over if the registry holds the change. Undoing is exact: beside
/// the text backup in the data folder a snapshot under the same stamp lies in the folder `snapshots` beside it. The
/// order holds: backups, then the record, then the change; the change is durable before it is answered, and one that
/// fails takes its record and its backups away.
///
/// One program at a time works with a data folder: the others are told which one does. Not thread safe: all calls come
/// from one thread. Whoever ends without SaveModified loses nothing, as in a crash.
class CTolvarDoc {
public:
    explicit CTolvarDoc(JournalOptions options);
    ~CTolvarDoc();
    CTolvarDoc(const CTolvarDoc&) = delete;
    CTolvarDoc& operator=(const CTolvarDoc&) = delete;

    /// Makes and locks the data folder, reads the journal, settles what a crash left open, and drops what is too old
    /// (see JournalExpiry). A document for reading alone does none of that but read, beside a program that writes too.
    /// Once, when the hives of the session are mounted and before the first change.
    /// Errors: kSharingViolation where another program has the data folder, with its process; the file system's. The
    /// document may be kept after one: it shows an empty journal and answers every change with that error.
    [[nodiscard]] Result<void> OnNewDocument();

    /// Writes `index`, and lets go of what it replaces. Once, at a clean end, after the last flush of the registry.
    /// Errors: the file system's; what was to be written is then taken over by the next start.
    [[nodiscard]] Result<void> SaveModified();

    /// Makes a change and journals it. On success both are durable, unless a ChangeGroup stands: see there. On an error
    /// the registry holds what it held before, there is no record, and the code is one of: 5, some key of a subtree
    /// can't be had with all rights; 183, a key's new name is taken; 1, the value to be renamed is not there; 2, what
    /// is to be changed is not there; 19, it is mounted read only; that of OnNewDocument; the registry's or the file
    /// system's.
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
    [[nodiscard]] std::span<const std::string> Journal() const { return m_store.Records(); }

    /// The snapshot of an entry, sealed for its record. Errors: kFileNotFound where it has none, or for no such entry;
    /// kFileCorrupt where it is another record's or damaged; the file's.
    [[nodiscard]] Result<ChangeSnapshot> SnapshotOf(std::size_t index) const;

    /// What OnNewDocument took back of a group that a crash cut; entries that could not be taken back stay.
    [[nodiscard]] const UndoReport& TakenBack() const noexcept { return m_takenBack; }

    /// For bookmarks that are kept between runs: their paths, and what they lead to.
    [[nodiscard]] const std::vector<std::string>& BookmarkPaths() const { return m_store.BookmarkPaths(); }
    [[nodiscard]] const std::vector<std::string>& BookmarkTargets() const { return m_store.BookmarkTargets(); }
    void SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets)
    {
        m_store.SetBookmarks(std::move(paths), std::move(targets));
    }

    /// `observer` must outlive the document; null for nobody.
    void SetObserver(JournalObserver* observer) noexcept { m_observer = observer; }

    [[nodiscard]] const std::filesystem::path& DataFolder() const noexcept { return m_store.DataFolder(); }

private:
    friend class ChangeGroup;

    /// The changes of a ChangeGroup, made in memory alone.
    struct Group {
        unsigned depth = 0; ///< groups that stand
        std::vector<std::string> records;
    };
    struct Undone {
        UndoReport report;
        std::vector<std::string> gone; ///< records whose changes were undone
        std::vector<std::string> left; ///< those that could not be, the oldest first
    };

    void SettleOpen(const std::vector<std::string>& open);
    [[nodiscard]] Result<void> SettleCut(const JournalStore::Unsettled& unsettled);

    [[nodiscard]] Result<void> WriteTextBackup(class PreparedChange& change, const std::string& stamp,
                                               SnapshotSeal& seal);
    [[nodiscard]] Result<void> WriteBackups(PreparedChange& change, const std::string& stamp, const std::string& record,
                                            std::vector<std::byte>& image);
    [[nodiscard]] Result<void> Announce(const std::string& record);
    void Show(std::string record);
    void TakeBack(const ChangeRecord& change, const std::vector<std::byte>& image, const std::string& record);
    [[nodiscard]] Result<UndoMaterial> Material(const std::string& record) const;
    [[nodiscard]] Undone UndoInMemory(const std::vector<std::string>& records) const;
    [[nodiscard]] Result<void> CommitGroup();
    [[nodiscard]] UndoReport TakeGroupBack(std::size_t first);
    [[nodiscard]] Result<void> CheckUsable() const;
    [[nodiscard]] Result<void> CheckFree() const;

    std::string m_emptyNameLabel;
    int m_keepDays;
    JournalExpiry m_expiry;
    std::optional<Error> m_failure; ///< why no change can be taken
    JournalStore m_store;
    JournalObserver* m_observer = nullptr;
    Group m_group;
    UndoReport m_takenBack;
    std::string m_user;           ///< of this session; empty until it is needed
    bool m_hasOpenChange = false; ///< one that failed could not be taken back in the file: the next start settles it
};

/// Several changes that are made as one: all of them or none, whatever comes between, a power cut too. While it stands,
/// the document's ApplyChange makes changes in memory, and writes their records and backups; Commit makes them durable
/// together, for what one flush costs. The document undoes and removes nothing meanwhile, and shows none of the
/// records.
///
/// Groups may stand in each other: what an inner one commits is durable with the outermost one, and goes with it.
class ChangeGroup {
public:
    /// `document` must outlive the group.
    explicit ChangeGroup(CTolvarDoc& document);
    ~ChangeGroup(); ///< takes back what was not committed
    ChangeGroup(const ChangeGroup&) = delete;
    ChangeGroup& operator=(const ChangeGroup&) = delete;

    /// Makes all changes durable, each with an entry of its own. Once. On an error the registry holds what it held
    /// before the group, and there are no entries; where that can't be made durable either, the next start sees to it,
    /// and the document takes no more changes.
    [[nodiscard]] Result<void> Commit();

    /// Takes back what was changed, in place of Commit. What can't be taken back stays, durably, with its entries.
    UndoReport TakeBack();

private:
    CTolvarDoc& m_document;
    std::size_t m_first; ///< place of its first record among all of the standing groups
    bool m_isOpen = true;
};

} // namespace tolvar
