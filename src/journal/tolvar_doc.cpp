#include "journal/tolvar_doc.h"

#include <algorithm>
#include <future>
#include <unordered_set>

#include "journal/change_snapshot.h"
#include "journal/content_hash.h"
#include "journal/expiry.h"
#include "journal/index_file.h"
#include "journal/make_change.h"
#include "journal/undo_change.h"
#include "journal/user_name.h"

namespace tolvar {

namespace {

constexpr const char* kIndex = "index";
constexpr const char* kFreshIndex = "index.new";

} // namespace

CTolvarDoc::CTolvarDoc(JournalOptions options)
    : m_options(std::move(options)), m_failure(Error{ErrorCode::kInvalidFunction, "the journal was not opened"})
{}

CTolvarDoc::~CTolvarDoc() = default;

std::filesystem::path CTolvarDoc::Beside(const char* name) const
{
    return m_options.dataFolder.parent_path() / name;
}

std::filesystem::path CTolvarDoc::TextBackup(std::string_view stamp) const
{
    return m_options.dataFolder / stamp;
}

std::filesystem::path CTolvarDoc::Snapshot(std::string_view stamp) const
{
    return Beside("snapshots") / stamp;
}

Result<void> CTolvarDoc::CheckUsable() const
{
    return m_failure ? tl::unexpected(*m_failure) : Result<void>();
}

Result<void> CTolvarDoc::CheckFree() const
{
    return m_group.depth != 0 ? Failure(ErrorCode::kInvalidFunction, "a group of changes is being made")
                              : CheckUsable();
}

Result<void> CTolvarDoc::MakeFolders()
{
    auto made = m_options.files->MakeFolder(m_options.dataFolder);
    if (!made && !m_options.fallbackFolder.empty()) {
        m_options.dataFolder = m_options.fallbackFolder;
        made = m_options.files->MakeFolder(m_options.dataFolder);
    }
    return made ? m_options.files->MakeFolder(Beside("snapshots")) : made;
}

Result<void> CTolvarDoc::LockFolder()
{
    Result<std::unique_ptr<StoredFile>> lock = m_options.files->Open(Beside("journal.lock"), FileStore::Mode::kCreate);
    if (!lock) {
        return tl::unexpected(lock.error());
    }
    if (auto locked = (*lock)->Lock(); !locked) {
        return locked;
    }
    m_lock = *std::move(lock);
    return {};
}

Result<void> CTolvarDoc::ReadIndex()
{
    const std::filesystem::path file = m_options.dataFolder / kIndex;
    if (!m_options.files->Exists(file)) {
        m_isIndexStale = true;
        if (m_options.isReadOnly) {
            return {};
        }
        const Result<std::unique_ptr<StoredFile>> made = m_options.files->Open(file, FileStore::Mode::kCreate);
        return made ? Result<void>() : tl::unexpected(made.error());
    }
    const Result<MappedFile> map = m_options.files->Map(file, 0);
    if (!map) {
        return tl::unexpected(map.error());
    }
    DecodedIndex index = DecodeIndex(map->Bytes());
    if (map->AnyFailed()) {
        return Failure(ErrorCode::kReadFault, "read " + file.string());
    }
    m_isIndexStale = map->Bytes().empty();
    m_isIndexDamaged = !index.isWhole;
    m_bookmarkPaths = std::move(index.lists.bookmarkPaths);
    m_journal = std::move(index.lists.journal);
    m_bookmarkTargets = std::move(index.lists.bookmarkTargets);
    return {};
}

/// Brings the journal up to what happened since `index` was written.
CTolvarDoc::Unsettled CTolvarDoc::TakePendingOver(const std::vector<PendingLog::Entry>& entries)
{
    Unsettled unsettled;
    if (entries.empty()) {
        return unsettled;
    }
    m_isIndexStale = true;
    const std::vector<PendingRecord> records = ReplayPending(entries);
    std::unordered_set<std::string_view> dropped;
    for (const PendingRecord& record : records) {
        if (record.state == PendingRecord::State::kGone) {
            dropped.insert(record.record);
        }
    }
    std::erase_if(m_journal, [&dropped](const std::string& record) { return dropped.contains(record); });
    const std::unordered_set<std::string> held(m_journal.begin(), m_journal.end());
    for (const PendingRecord& record : records) {
        if (record.state == PendingRecord::State::kGone || held.contains(record.record)) {
            continue;
        }
        if (record.state == PendingRecord::State::kNotMade) {
            unsettled.notMade.push_back(record.record);
            continue;
        }
        m_journal.push_back(record.record);
        if (record.state == PendingRecord::State::kOpen) {
            unsettled.open.push_back(record.record);
        } else if (record.state == PendingRecord::State::kCut) {
            unsettled.cut.push_back(record.record);
        }
    }
    return unsettled;
}

/// Drops the records of changes that a crash kept from being made. Where the registry can't tell, the record stays:
/// undoing it brings back what was there when it was begun.
void CTolvarDoc::SettleOpen(const std::vector<std::string>& open)
{
    for (const std::string& record : open) {
        const JournalRecord fields = ParseRecord(record);
        const Result<ChangeSnapshot> snapshot = IsStamp(fields.stamp)
                                                    ? ChangeSnapshot::Open(*m_options.files, Snapshot(fields.stamp))
                                                    : Failure(ErrorCode::kInvalidData);
        const bool isSealed = snapshot && snapshot->Seal().record == record;
        const ChangeRecord change = isSealed ? snapshot->Seal().change : ChangeOf(fields, m_options.emptyNameLabel);
        const bool isSameAgain = isSealed && snapshot->Seal().isSameAgain;
        ChangeState state =
            isSameAgain ? ChangeState::kUnknown : StateOfChange(change, isSealed ? snapshot->Image() : nullptr);
        if (!isSealed && (change.kind != ChangeKind::kNew || !fields.isPlain)) {
            state = ChangeState::kNotMade; // its backups went when it failed, or never came to be
        }
        if (state != ChangeState::kNotMade) {
            m_pending->Note(PendingLog::Event::kMade, record);
            continue;
        }
        if (m_pending->Append(PendingLog::Event::kDropped, record)) {
            RemoveBackups(fields.stamp);
        }
        std::erase(m_journal, record);
    }
}

Result<void> CTolvarDoc::OnNewDocument()
{
    m_failure.reset();
    const auto failed = [this](const Error& error) {
        m_journal.clear();
        m_bookmarkPaths.clear();
        m_bookmarkTargets.clear();
        m_failure = error;
        return tl::unexpected(error);
    };
    for (const auto step : {&CTolvarDoc::MakeFolders, &CTolvarDoc::LockFolder, &CTolvarDoc::ReadIndex}) {
        if (m_options.isReadOnly && step != &CTolvarDoc::ReadIndex) {
            continue;
        }
        if (auto done = (this->*step)(); !done) {
            return failed(done.error());
        }
    }
    Result<PendingLog> pending = PendingLog::Open(*m_options.files, Beside("journal.pending"));
    if (!pending) {
        return failed(pending.error());
    }
    m_pending.emplace(*std::move(pending));
    const Unsettled unsettled = TakePendingOver(m_pending->Entries());
    m_pending->ForgetEntries();
    for (const std::string& record : m_journal) {
        RememberStamp(StampOf(record));
    }
    if (m_options.isReadOnly) {
        m_failure = Error{ErrorCode::kWriteProtect, "the journal is open for reading only"};
        return {};
    }
    SettleOpen(unsettled.open);
    if (auto settled = SettleCut(unsettled); !settled) {
        return failed(settled.error()); // later changes would be taken back with it
    }
    static_cast<void>(ExpireBackups(m_options.keepDays)); // what can't be dropped today can be tomorrow
    return {};
}

Result<void> CTolvarDoc::WriteFile(const std::filesystem::path& file, std::span<const std::byte> bytes,
                                   std::string_view behind) const
{
    Result<std::unique_ptr<StoredFile>> stored = m_options.files->Open(file, FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(stored.error());
    }
    Result<void> done = (*stored)->Resize(0);
    done = done ? (*stored)->Write(0, bytes) : done;
    return done && !behind.empty() ? (*stored)->Write(bytes.size(), std::as_bytes(std::span(behind))) : done;
}

Result<void> CTolvarDoc::WriteDurably(const std::filesystem::path& file, std::span<const std::byte> bytes) const
{
    auto written = WriteFile(file, bytes);
    return written ? m_options.files->SyncAll({&file, 1}) : written;
}

Result<void> CTolvarDoc::WriteIndex()
{
    FileStore& files = *m_options.files;
    const std::filesystem::path index = m_options.dataFolder / kIndex;
    const std::filesystem::path fresh = m_options.dataFolder / kFreshIndex;
    const std::vector<std::byte> bytes = EncodeIndex({m_bookmarkPaths, m_journal, m_bookmarkTargets});
    if (auto written = WriteDurably(fresh, bytes); !written) {
        static_cast<void>(files.Remove(fresh));
        return written;
    }
    if (m_isIndexDamaged) { // a copy for someone to look at; without it the file is not replaced
        const Result<MappedFile> damaged = files.Map(index, 0);
        auto kept = damaged ? WriteDurably(Beside("index.damaged"), damaged->Bytes()) : tl::unexpected(damaged.error());
        if (!kept) {
            return kept;
        }
        m_isIndexDamaged = false;
    }
    auto renamed = files.Rename(fresh, index);
    return renamed ? files.SyncFolder(m_options.dataFolder) : renamed;
}

Result<void> CTolvarDoc::SaveModified()
{
    if (m_failure || !m_pending) {
        return {}; // nothing was taken in
    }
    if (m_isIndexStale) {
        if (auto written = WriteIndex(); !written) {
            return written;
        }
    }
    m_isIndexStale = false;
    return m_hasOpenChange ? Result<void>() : m_pending->Remove();
}

void CTolvarDoc::SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets)
{
    m_isIndexStale = m_isIndexStale || paths != m_bookmarkPaths || targets != m_bookmarkTargets;
    m_bookmarkPaths = std::move(paths);
    m_bookmarkTargets = std::move(targets);
}

void CTolvarDoc::RememberStamp(std::string_view stamp)
{
    if (IsStamp(stamp) && stamp > m_latestStamp) {
        m_latestStamp = stamp;
    }
    if (m_stamps) {
        m_stamps->emplace(stamp);
    }
}

/// Whether a file or a record has this stamp. The records' stamps are collected where one of them is as late: after a
/// batch that was quicker than the clock, or with a clock that was set back.
bool CTolvarDoc::IsTaken(const std::string& stamp)
{
    if (!m_stamps && stamp <= m_latestStamp) {
        m_stamps.emplace();
        for (const std::vector<std::string>* const records : {&m_journal, &m_group.records}) {
            for (const std::string& record : *records) {
                m_stamps->emplace(StampOf(record));
            }
        }
    }
    return (m_stamps && m_stamps->contains(stamp)) || m_options.files->Exists(TextBackup(stamp)) ||
           m_options.files->Exists(Snapshot(stamp));
}

std::string CTolvarDoc::NewStamp()
{
    std::string stamp =
        m_takenStamps.TakeNext(m_options.clock->Now(), [this](const std::string& text) { return IsTaken(text); });
    RememberStamp(stamp);
    return stamp;
}

/// Writes the text backup, and what it came to into the seal.
Result<void> CTolvarDoc::WriteTextBackup(const PreparedChange& change, const std::string& stamp,
                                         SnapshotSeal& seal) const
{
    Result<std::unique_ptr<StoredFile>> text = m_options.files->Open(TextBackup(stamp), FileStore::Mode::kCreate);
    if (!text) {
        return tl::unexpected(text.error());
    }
    ContentHash sum;
    const Result<KeyTextLosses> losses = change.WriteText([&](std::string_view piece) {
        const auto bytes = std::as_bytes(std::span(piece));
        const std::uint64_t at = sum.Size();
        sum.Add(bytes);
        return (*text)->Write(at, bytes);
    });
    if (!losses) {
        return tl::unexpected(losses.error());
    }
    seal.textSize = sum.Size();
    seal.textSum = sum.Value();
    seal.isTextWhole = losses->count == 0;
    return {};
}

/// Writes the text backup and the snapshot of a change, not yet durably. `image` gets the snapshot's hive. A key's
/// image is made beside the writing of its text: both of them only look at the registry.
Result<void> CTolvarDoc::WriteBackups(const PreparedChange& change, const std::string& stamp, const std::string& record,
                                      std::vector<std::byte>& image) const
{
    const auto how = change.Change().IsKey() ? std::launch::async : std::launch::deferred;
    std::future<Result<std::vector<std::byte>>> composing = std::async(how, [&change] { return change.Image(); });
    SnapshotSeal seal{record, change.Change()};
    auto written = WriteTextBackup(change, stamp, seal);
    Result<std::vector<std::byte>> before = composing.get();
    if (!before || !written) {
        return before ? written : tl::unexpected(before.error());
    }
    image = *std::move(before);
    if (const Result<KeyImage> hive = KeyImage::FromBytes(image, "image"); hive) {
        seal.isSameAgain = change.IsSameAgain(*hive);
    }
    return WriteFile(Snapshot(stamp), image, SealOf(image, seal));
}

/// Takes a change back that was made in memory and could not be made durable. Where the file can't be had either, the
/// record stays begun, and the next start sees what became of it.
void CTolvarDoc::TakeBack(const ChangeRecord& change, const std::vector<std::byte>& image, const std::string& record,
                          const std::string& stamp)
{
    const Result<KeyImage> before =
        KeyImage::FromBytes(image, "image"); // there is none of a change that needs no backup
    const UndoSource source = before ? UndoSource(&*before) : UndoSource();
    if (UndoChange(change, source) && (m_group.depth != 0 || FlushChange(change))) {
        m_pending->Note(PendingLog::Event::kDropped, record);
        RemoveBackups(stamp);
    } else if (m_group.depth != 0) { // it stays half made, and is undone with its group
        m_group.records.push_back(record);
    } else {
        m_hasOpenChange = true;
    }
}

Result<void> CTolvarDoc::ApplyChange(const ChangeRecord& change)
{
    if (auto usable = CheckUsable(); !usable) {
        return usable;
    }
    Result<PreparedChange> prepared = PreparedChange::Prepare(change, m_options.emptyNameLabel);
    if (!prepared) {
        return tl::unexpected(prepared.error());
    }
    if (m_user.empty()) {
        m_user = SessionUserName();
    }
    const std::string stamp = NewStamp();
    ChangeRecord written = change; // as it came, but for what it turned out to be
    written.kind = prepared->Change().kind;
    std::string record = FormatRecord(written, change.user.value_or(m_user), stamp);
    std::vector<std::byte> image;
    std::vector<std::filesystem::path> backups;
    Result<void> done;
    if (prepared->NeedsBackup()) {
        backups = {TextBackup(stamp), Snapshot(stamp)};
        done = WriteBackups(*prepared, stamp, record, image);
    } else if (!ParseRecord(record).isPlain) { // the fields of such a record are told by a seal alone
        backups = {Snapshot(stamp)};
        done = WriteFile(Snapshot(stamp), {}, SealOf({}, {record, prepared->Change()}));
    }
    m_isIndexStale = true;
    done = done ? Announce(record, backups) : done;
    if (!done) {
        RemoveBackups(stamp);
        return done;
    }
    done = prepared->Make();
    const bool isMade = done.has_value();
    done = done && m_group.depth == 0 ? prepared->Flush() : done;
    if (!done) {
        if (isMade || prepared->Change().kind == ChangeKind::kRename) { // a rename takes more than one step
            TakeBack(prepared->Change(), image, record, stamp);
        } else {
            m_pending->Note(PendingLog::Event::kDropped, record);
            RemoveBackups(stamp);
        }
        return done;
    }
    if (m_group.depth != 0) {
        m_group.records.push_back(std::move(record));
        return done;
    }
    m_pending->Note(PendingLog::Event::kMade, record);
    Show(std::move(record));
    return done;
}

/// Says in the pending log that a change is about to be made: durably, and its backups before it. A group's comes
/// later.
Result<void> CTolvarDoc::Announce(const std::string& record, std::span<const std::filesystem::path> backups)
{
    if (m_group.depth != 0) {
        m_group.backups.insert(m_group.backups.end(), backups.begin(), backups.end());
        return m_pending->AppendLater(PendingLog::Event::kMember, record);
    }
    auto synced = m_options.files->SyncAll(backups);
    return synced ? m_pending->Append(PendingLog::Event::kBegun, record) : synced;
}

void CTolvarDoc::Show(std::string record)
{
    m_journal.push_back(std::move(record));
    if (m_observer != nullptr) {
        m_observer->OnRecordAdded(m_journal.back());
    }
}

} // namespace tolvar
