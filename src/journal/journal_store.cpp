#include "journal/journal_store.h"

#include <algorithm>
#include <iterator>

#include "journal/index_file.h"
#include "platform/files/fresh_file.h"

namespace tolvar {

namespace {

constexpr const char* kIndex = "index";
constexpr const char* kUsualName = "backups"; // of a data folder

} // namespace

/// The files beside a data folder are that folder's alone: another one in the same parent has its own.
std::filesystem::path JournalStore::Beside(const char* name) const
{
    const std::filesystem::path& data = m_place.dataFolder;
    if (data.filename() == kUsualName) {
        return data.parent_path() / name;
    }
    return data.parent_path() / (data.filename().string() + ".journal") / name;
}

Result<void> JournalStore::MakeFolders()
{
    auto made = m_place.files->MakeFolder(m_place.dataFolder);
    if (!made && !m_place.fallbackFolder.empty()) {
        m_notices.push_back({ErrorCode::kSuccess, "the journal is kept in " + m_place.fallbackFolder.string() +
                                                      ", since " + m_place.dataFolder.string() +
                                                      " can't be made: " + Describe(made.error())});
        m_place.dataFolder = m_place.fallbackFolder;
        m_snapshots = SnapshotLog(*m_place.files, Beside("snapshots"));
        made = m_place.files->MakeFolder(m_place.dataFolder);
    }
    return made ? m_place.files->MakeFolder(m_snapshots.Folder()) : made;
}

Result<void> JournalStore::LockFolder()
{
    Result<std::unique_ptr<StoredFile>> lock = m_place.files->Open(Beside("journal.lock"), FileStore::Mode::kCreate);
    if (!lock) {
        return tl::unexpected(lock.error());
    }
    if (auto locked = (*lock)->Lock(); !locked) {
        return locked;
    }
    m_lock = *std::move(lock);
    return {};
}

Result<void> JournalStore::ReadIndex()
{
    const std::filesystem::path file = m_place.dataFolder / kIndex;
    if (!m_place.files->Exists(file)) {
        m_isIndexDamaged = m_pending->Entries().empty() && m_snapshots.HasSeveral(); // it is missing
        m_isIndexStale = true;
        if (m_place.isReadOnly) {
            return {};
        }
        const Result<std::unique_ptr<StoredFile>> made = m_place.files->Open(file, FileStore::Mode::kCreate);
        return made ? Result<void>() : tl::unexpected(made.error());
    }
    Result<MappedFile> map = m_place.files->Map(file, 0);
    if (!map) {
        return tl::unexpected(map.error());
    }
    IndexSummary summary = SummarizeIndex(map->Bytes());
    if (map->AnyFailed()) {
        return Failure(ErrorCode::kReadFault, "read " + file.string());
    }
    m_isIndexStale = map->Bytes().empty();
    // The first start makes it empty, and its first command may have been cut before there was an entry of it.
    const bool isEmpty = map->Bytes().empty();
    m_isIndexDamaged = !summary.isWhole || (isEmpty ? m_pending->Entries().empty() && m_snapshots.HasSeveral()
                                                    : !m_place.isTrusting && IsIndexAltered(map->Bytes()));
    m_latestStamp = std::move(summary.latestStamp);
    m_indexSize = map->Bytes().size();
    m_index = *std::move(map);
    return {};
}

/// Puts what `index` holds in front of what happened since. Only who needs the old records pays for them.
void JournalStore::TakeIndexIn() const
{
    if (!m_index) {
        return;
    }
    JournalIndex lists = DecodeIndex(m_index->Bytes()).lists;
    m_index.reset();
    std::erase_if(lists.journal, [this](const std::string& record) { return m_dropped.contains(record); });
    m_dropped.clear();
    std::ranges::move(m_records, std::back_inserter(lists.journal));
    m_records = std::move(lists.journal);
    m_bookmarkPaths = std::move(lists.bookmarkPaths);
    m_bookmarkTargets = std::move(lists.bookmarkTargets);
}

std::span<const std::string> JournalStore::Records() const
{
    TakeIndexIn();
    return m_records;
}

const std::vector<std::string>& JournalStore::BookmarkPaths() const
{
    TakeIndexIn();
    return m_bookmarkPaths;
}

const std::vector<std::string>& JournalStore::BookmarkTargets() const
{
    TakeIndexIn();
    return m_bookmarkTargets;
}

/// Before the index: a program that closes writes its entries into the index, and then removes the file. Who only looks
/// on, beside it, sees each of them in one of the two.
Result<void> JournalStore::OpenPending()
{
    Result<PendingLog> log = PendingLog::Open(*m_place.files, Beside("journal.pending"));
    if (!log) {
        return tl::unexpected(log.error());
    }
    m_pending.emplace(*std::move(log));
    return {};
}

Result<void> JournalStore::OpenRedo()
{
    Result<RedoLog> log = RedoLog::Open(*m_place.files, Beside("journal.redo"));
    if (!log) {
        return tl::unexpected(log.error());
    }
    m_redo.emplace(*std::move(log));
    for (const RedoLog::Step& step : m_redo->Steps()) {
        for (const UndoneEntry& undone : step) { // its backups lie under that stamp
            RememberStamp(StampOf(undone.record));
            m_givenStamps.emplace_back(StampOf(undone.record));
        }
    }
    return {};
}

/// Brings the records up to what happened since `index` was written.
JournalStore::Unsettled JournalStore::TakePendingOver()
{
    Unsettled unsettled;
    if (m_pending->Entries().empty()) {
        return unsettled;
    }
    m_isIndexStale = true;
    const std::vector<PendingRecord> records = ReplayPending(m_pending->Entries());
    m_pending->ForgetEntries();
    bool mayBeHeld = false; // a crash came between writing `index` and removing this log
    for (const PendingRecord& record : records) {
        if (record.state == PendingRecord::State::kGone) {
            m_dropped.insert(record.record);
            unsettled.gone.push_back(record.record);
        } else {
            mayBeHeld = mayBeHeld || StampOf(record.record) <= m_latestStamp;
        }
    }
    std::unordered_set<std::string> held;
    if (mayBeHeld) {
        TakeIndexIn();
        held.insert(m_records.begin(), m_records.end());
    }
    for (const PendingRecord& record : records) {
        if (record.state == PendingRecord::State::kGone || held.contains(record.record)) {
            continue;
        }
        if (record.state == PendingRecord::State::kNotMade) {
            unsettled.notMade.push_back(record.record);
            continue;
        }
        m_records.push_back(record.record);
        RememberStamp(StampOf(record.record));
        if (record.state == PendingRecord::State::kOpen) {
            unsettled.open.push_back(record.record);
        } else if (record.state == PendingRecord::State::kCut) {
            unsettled.cut.push_back(record.record);
        }
    }
    return unsettled;
}

Result<JournalStore::Unsettled> JournalStore::Open()
{
    if (m_place.notice) {
        m_notices.push_back(*m_place.notice);
    }
    for (const auto step : {&JournalStore::MakeFolders, &JournalStore::LockFolder, &JournalStore::OpenPending,
                            &JournalStore::ReadIndex, &JournalStore::OpenRedo}) {
        if (m_place.isReadOnly && (step == &JournalStore::MakeFolders || step == &JournalStore::LockFolder)) {
            continue;
        }
        if (auto done = (this->*step)(); !done) {
            return tl::unexpected(done.error());
        }
    }
    Unsettled unsettled = TakePendingOver();
    auto mended = MendDamage(unsettled);
    return mended ? Result<Unsettled>(std::move(unsettled)) : tl::unexpected(mended.error());
}

Result<void> JournalStore::WriteDurably(const std::filesystem::path& file, std::span<const std::byte> bytes) const
{
    Result<std::unique_ptr<StoredFile>> stored = m_place.files->Open(file, FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(stored.error());
    }
    Result<void> done = (*stored)->Resize(0);
    done = done ? (*stored)->Write(0, bytes) : done;
    stored->reset();
    return done ? m_place.files->SyncAll({&file, 1}) : done;
}

/// Writes a file under another name, and puts it in the place of the old one.
Result<void> JournalStore::ReplaceDurably(const std::filesystem::path& file, std::span<const std::byte> bytes) const
{
    Result<FreshFile> fresh = FreshFile::Begin(*m_place.files, file, FreshFile::Existing::kReplace,
                                               Beside("journal.lock")); // as private as that
    if (!fresh) {
        return tl::unexpected(fresh.error());
    }
    auto written = fresh->Append(bytes);
    return written ? fresh->TakePlace() : written;
}

Result<void> JournalStore::WriteIndex()
{
    TakeIndexIn();
    const std::vector<std::byte> bytes = EncodeIndex({m_bookmarkPaths, m_records, m_bookmarkTargets});
    auto written = WriteSums(bytes);
    written = written ? ReplaceDurably(m_place.dataFolder / kIndex, bytes) : written;
    m_isIndexDamaged = m_isIndexDamaged && !written;
    return written;
}

/// Whether the records may stay in `journal.pending`: as long as it is small, or small beside `index`.
bool JournalStore::CanIndexWait() const
{
    constexpr std::uint64_t kSmall = 256 * 1024;
    constexpr std::uint64_t kPart = 4;
    return m_place.isBrief && !m_mustWriteIndex && !m_isIndexDamaged && m_indexSize != 0 &&
           m_pending->Size() < std::max(kSmall, m_indexSize / kPart);
}

Result<void> JournalStore::Save(bool hasOpenChange)
{
    if (CanIndexWait()) {
        return {};
    }
    if (m_isIndexStale) {
        if (auto written = WriteIndex(); !written) {
            return written;
        }
    }
    m_isIndexStale = false;
    m_mustWriteIndex = false;
    return hasOpenChange ? Result<void>() : m_pending->Remove();
}

void JournalStore::ShowNothing()
{
    m_index.reset();
    m_records.clear();
    m_bookmarkPaths.clear();
    m_bookmarkTargets.clear();
}

void JournalStore::SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets)
{
    m_mustWriteIndex = m_mustWriteIndex || paths != BookmarkPaths() || targets != BookmarkTargets();
    m_isIndexStale = m_isIndexStale || m_mustWriteIndex;
    m_bookmarkPaths = std::move(paths);
    m_bookmarkTargets = std::move(targets);
}

} // namespace tolvar
