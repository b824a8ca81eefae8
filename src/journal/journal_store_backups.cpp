#include <algorithm>

#include "journal/journal_store.h"

namespace tolvar {

Result<std::unique_ptr<StoredFile>> JournalStore::MakeTextBackup(std::string_view stamp)
{
    m_unsynced.push_back(TextBackup(stamp));
    return m_place.files->Open(m_unsynced.back(), FileStore::Mode::kCreate);
}

void JournalStore::RemoveBackups(std::span<const std::string> records)
{
    std::vector<std::string> stamps;
    for (const std::string& record : records) {
        if (const std::string_view stamp = StampOf(record); IsStamp(stamp)) { // another text is no name of ours
            stamps.emplace_back(stamp);
        }
    }
    for (const std::string& stamp : stamps) {
        if (const std::filesystem::path file = TextBackup(stamp); m_place.files->Exists(file)) {
            static_cast<void>(m_place.files->Remove(file)); // what stays expires
            m_hasUnsyncedGone = m_hasUnsyncedGone || !m_unsynced.empty();
        }
    }
    m_snapshots.Remove(stamps);
}

/// Makes the backups durable that were written since the last time, but those that are gone with a change that failed.
Result<void> JournalStore::SyncBackups()
{
    if (m_hasUnsyncedGone) {
        std::erase_if(m_unsynced, [this](const std::filesystem::path& file) { return !m_place.files->Exists(file); });
    }
    m_hasUnsyncedGone = false;
    auto synced = m_place.files->SyncAll(m_unsynced);
    m_unsynced.clear();
    return synced ? m_snapshots.Sync() : synced;
}

Result<void> JournalStore::Begin(const std::string& record)
{
    m_isIndexStale = true;
    auto synced = SyncBackups();
    return synced ? m_pending->Append(PendingLog::Event::kBegun, record) : synced;
}

void JournalStore::NoteFailed(const std::string& record)
{
    m_pending->Note(PendingLog::Event::kDropped, record);
    RemoveBackups({&record, 1});
}

Result<void> JournalStore::BeginMember(const std::string& record)
{
    m_isIndexStale = true;
    return m_pending->AppendLater(PendingLog::Event::kMember, record);
}

Result<void> JournalStore::BeginGroup(const std::string& first)
{
    auto synced = SyncBackups();
    return synced ? m_pending->Append(PendingLog::Event::kGroupBegun, first) : synced;
}

Result<void> JournalStore::EndGroup(const std::string& first)
{
    return m_pending->Append(PendingLog::Event::kGroupMade, first);
}

Result<ChangeSnapshot> JournalStore::Snapshot(FrameKind kind, std::string_view record) const
{
    Result<ChangeSnapshot> snapshot = m_snapshots.Find(kind, StampOf(record));
    if (snapshot) {
        snapshot->MoveTo(m_place.home);
    }
    return snapshot;
}

Result<SnapshotSeal> JournalStore::Seal(FrameKind kind, std::string_view record) const
{
    Result<SnapshotSeal> seal = m_snapshots.FindSeal(kind, StampOf(record));
    if (seal) {
        seal->MoveTo(m_place.home);
    }
    return seal;
}

} // namespace tolvar
