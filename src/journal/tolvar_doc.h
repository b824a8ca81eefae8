#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "journal/change_record.h"
#include "journal/journal_record.h"
#include "journal/journal_set.h"
#include "journal/undo_material.h"
#include "platform/registry/registry.h"
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

/// What stood against undoing.
struct UndoFailure : Error {
    std::string record; ///< of the entry that was not undone; empty where it is not about a single one
};

/// What became of several entries.
struct UndoReport {
    std::size_t undone = 0;
    std::vector<UndoFailure>
        failures; ///< the newest entry first; of those that stay, unless the text says that it is done
};

/// The journal of all changes to the registry of the current session, and the only road to make one.
///
/// Three promises. Nothing is lost by a crash: each record is durable before its change is made, in `journal.pending`
/// beside the data folder, and the next start takes it over if the registry holds the change. Undoing is exact, and
/// never destroys later work: beside the text backup in the data folder a snapshot under the same stamp lies in the
/// folder `snapshots` beside it, with sums of what each place of the change held before it and after it. The order
/// holds: backups, then the record, then the change; the change is durable before it is answered, and one that fails
/// takes its record and its backups away.
///
/// A session of several hives has a journal for each of them, which are shown as one. One program at a time works with
/// a data folder: the others are told which one does. Not thread safe: all calls come from one thread. Whoever ends
/// without SaveModified loses nothing, as in a crash.
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

    /// Where the journals of the session's hives lie, in place of that of the options; before OnNewDocument. None:
    /// there is no hive, and the document shows nothing and takes no change.
    void SetPlaces(std::vector<JournalPlace> places) { m_journals = JournalSet(std::move(places)); }

    /// Writes `index`, and lets go of what it replaces. Once, at a clean end, after the last flush of the registry.
    /// Errors: the file system's; what was to be written is then taken over by the next start.
    [[nodiscard]] Result<void> SaveModified();

    /// Makes a change and journals it. On success both are durable, unless a ChangeGroup stands: see there. On an error
    /// the registry holds what it held before and there is no record, unless the text says that the change is made: it
    /// failed behind the hive's point of no return then. The code is one of: 5, some key of a subtree
    /// can't be had with all rights; 183, a key's new name is taken; 1, the value to be renamed is not there; 2, what
    /// is to be changed is not there; 19, it is mounted read only; that of OnNewDocument; the registry's or the file
    /// system's.
    [[nodiscard]] Result<void> ApplyChange(const ChangeRecord& change);

    /// Brings back what the change of an entry overwrote or removed, takes away what it made, and drops the entry with
    /// its backups. Entries may be undone in any order. `index`: its place in Journal(), 0 for the oldest.
    ///
    /// Later work is safe: where what the change left is not there any more, an undo would destroy what has come
    /// since. It refuses then, with kBusy, and names the later entries. With `force` it goes on, and leaves an entry of
    /// its own for each thing that it overwrote.
    ///
    /// On an error the entry stays and nothing is changed: kFileNotFound or kFileCorrupt where neither backup can be
    /// used (see UndoMaterial::Gather); kInvalidData for a record that can't be read; kInvalidParameter for no such
    /// entry; the registry's. An error behind the hive's point of no return says that the undo is done.
    [[nodiscard]] Result<UndoOutcome> UndoEntry(std::size_t index, UndoForce force = UndoForce::kNo);

    /// Undoes several entries, the newest first, whatever their order here, and makes that durable at once. They don't
    /// stand in each other's way. One that fails doesn't stop the others.
    [[nodiscard]] UndoReport UndoEntries(std::vector<std::size_t> indices, UndoForce force = UndoForce::kNo);

    /// The entries, and all later ones that stand on them, as far as the journal knows. Rising.
    [[nodiscard]] std::vector<std::size_t> WithLaterEntries(std::vector<std::size_t> indices) const;

    /// The entries that one command made together, by the stamp of any of them. Rising; none where there is no such
    /// stamp or it stands alone.
    [[nodiscard]] std::vector<std::size_t> EntriesOfGroup(std::string_view stamp) const;

    /// How many entries Redo would bring back. What one call undid comes back at once, until the next change.
    [[nodiscard]] std::size_t RedoCount() const;

    /// Does again what the last undo took back, with its entries: all of them or none. Answers how many.
    /// Errors: kNoMoreItems where there is nothing; kBusy where something has changed since; as ApplyChange.
    [[nodiscard]] Result<std::size_t> Redo();

    /// Drops entries with their backups, and leaves the registry alone. Places that don't exist are passed over.
    [[nodiscard]] Result<void> RemoveEntry(std::size_t index) { return RemoveEntries({index}); }
    [[nodiscard]] Result<void> RemoveEntries(const std::vector<std::size_t>& indices);

    /// Drops what is older than `keepDays` days. Entries of the data folder that don't begin with a date stay, and of
    /// the records without a backup one goes at a time. Answers how many records went.
    Result<std::size_t> ExpireBackups(int keepDays);

    /// The records, the oldest first. Valid until the journal changes.
    [[nodiscard]] std::span<const std::string> Journal() const { return m_journals.Records(); }

    /// The fields of an entry, for a list: from its text, and where a ";" in it leaves them open from its seal, if
    /// there is one. `index`: one of Journal().
    [[nodiscard]] JournalRecord RecordAt(std::size_t index) const;

    /// The change of an entry, as its seal has it, or as its text tells where there is none. `index`: one of Journal().
    [[nodiscard]] ChangeRecord ChangeAt(std::size_t index) const;

    /// The snapshot of an entry, sealed for its record. Errors: kFileNotFound where it has none, or for no such entry;
    /// kFileCorrupt where it is another record's or damaged; the file's.
    [[nodiscard]] Result<ChangeSnapshot> SnapshotOf(std::size_t index) const;

    /// What OnNewDocument took back of a group that a crash cut; entries that could not be taken back stay.
    [[nodiscard]] const UndoReport& TakenBack() const noexcept { return m_takenBack; }

    /// What OnNewDocument found wrong with the journal's files and mended; with a code where something may be lost.
    [[nodiscard]] std::vector<Error> Notices() const { return m_journals.Notices(); }

    /// For bookmarks that are kept between runs: their paths, and what they lead to.
    [[nodiscard]] const std::vector<std::string>& BookmarkPaths() const { return m_journals.BookmarkPaths(); }
    [[nodiscard]] const std::vector<std::string>& BookmarkTargets() const { return m_journals.BookmarkTargets(); }
    void SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets)
    {
        m_journals.SetBookmarks(std::move(paths), std::move(targets));
    }

    /// `observer` must outlive the document; null for nobody.
    void SetObserver(JournalObserver* observer) noexcept { m_observer = observer; }

    [[nodiscard]] const std::filesystem::path& DataFolder() const noexcept { return m_journals.DataFolder(); }

private:
    friend class ChangeGroup;

    /// The changes of a ChangeGroup, made in memory alone.
    struct Group {
        unsigned depth = 0; ///< groups that stand
        std::vector<std::string> records;
        std::string stamp; ///< of the first one
    };
    struct Undone {
        UndoReport report;
        std::vector<std::string> gone; ///< records whose changes were undone
        std::vector<std::string> left; ///< those that could not be, the oldest first
    };
    struct Backup {
        std::vector<std::byte> image; ///< empty: nothing is overwritten
        SnapshotSeal seal;
    };
    struct OwnEntry;
    struct Undoing;

    void SettleOpen(const std::vector<std::string>& open);
    void SettleUndone();
    [[nodiscard]] bool SettleLastStep(JournalStore& store);
    [[nodiscard]] std::vector<std::string> UndoneOf(const RedoLog::Step& step) const;
    [[nodiscard]] bool IsRedoable(const std::string& record) const;
    [[nodiscard]] Result<void> SettleCut(const JournalStore::Unsettled& unsettled);

    [[nodiscard]] Result<void> WriteTextBackup(class PreparedChange& change, const std::string& stamp,
                                               SnapshotSeal& seal);
    [[nodiscard]] Result<Backup> MakeBackup(PreparedChange& change, const std::string& stamp,
                                            const std::string& record);
    [[nodiscard]] Result<std::vector<std::byte>> WriteBackups(PreparedChange& change, const std::string& stamp,
                                                              const std::string& record);
    [[nodiscard]] Result<void> Announce(const std::string& record);
    [[nodiscard]] const std::string& User();
    void Show(std::string record);
    void TakeBackFailed(const ChangeRecord& change, const std::vector<std::byte>& image, const std::string& record);
    [[nodiscard]] Result<void> Revert();
    [[nodiscard]] static Result<void> FlushHives();
    [[nodiscard]] static FlushFate FailedFlush();
    [[nodiscard]] Error MadeAllTheSame(FlushFate fate, const Error& error, const char* what);
    [[nodiscard]] Result<void> FlushFailed(const Error& error, const std::string& record);

    [[nodiscard]] SnapshotSeal NewSeal(const std::string& record, const ChangeRecord& change) const;
    [[nodiscard]] Result<UndoMaterial> Material(const std::string& record, UndoForce force) const;
    [[nodiscard]] std::vector<std::size_t> LaterEntries(const std::vector<ChangePlace>& places, std::size_t index,
                                                        const std::vector<std::size_t>& except,
                                                        const std::vector<std::size_t>* among = nullptr) const;
    [[nodiscard]] static Error Refusal(std::size_t index, const std::vector<std::size_t>& later);
    [[nodiscard]] std::vector<std::size_t> WholeKeyEntries(std::size_t first) const;
    [[nodiscard]] Result<void> CheckLaterUndos(const ChangeRecord& change, std::size_t index, const Undoing& run) const;
    [[nodiscard]] Result<void> UndoOne(std::size_t index, Undoing& run);
    [[nodiscard]] Result<void> CheckUndo(const UndoMaterial& material, std::size_t index,
                                         const std::vector<PlaceDigest>& now, Undoing& run) const;
    [[nodiscard]] Result<std::vector<OwnEntry>> PrepareOwn(const ChangeRecord& undone,
                                                           const std::vector<PlaceDigest>& now, Undoing& run);
    [[nodiscard]] Result<void> SealUndo(std::size_t index, const ChangeRecord& change,
                                        const std::vector<PlaceDigest>& before, const std::vector<std::byte>& image,
                                        std::vector<OwnEntry> own, Undoing& run);
    [[nodiscard]] UndoReport CommitUndo(Undoing& run);
    [[nodiscard]] Result<void> RedoOne(const UndoneEntry& entry, bool& isChanged);
    [[nodiscard]] Result<void> CommitRedo(const RedoLog::Step& step);

    [[nodiscard]] Undone UndoInMemory(const std::vector<std::string>& records) const;
    [[nodiscard]] Result<void> CommitGroup();
    [[nodiscard]] UndoReport TakeGroupBack(std::size_t first);
    [[nodiscard]] Result<void> CheckUsable() const;
    [[nodiscard]] Result<void> CheckFree() const;

    std::string m_emptyNameLabel;
    int m_keepDays;
    JournalExpiry m_expiry;
    std::optional<Error> m_failure; ///< why no change can be taken
    JournalSet m_journals;
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
