#include <algorithm>

#include "journal/journal_store.h"

namespace tolvar {

Result<std::unique_ptr<StoredFile>> JournalStore::MakeTextBackup(std::string_view stamp)
{
    m_unsynced.push_back(TextBackup(stamp));
    return m_place.files->Open(m_unsynced.back(), FileStore::Mode::kCreate);
}

Result<void> JournalStore::WriteSnapshot(std::string_view stamp, std::span<const std::byte> image,
                                         const SnapshotSeal& seal)
{
    m_unsynced.push_back(Snapshot(stamp));
    Result<std::unique_ptr<StoredFile>> stored = m_place.files->Open(m_unsynced.back(), FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(stored.error());
    }
    const std::string behind = SealOf(image, seal);
    Result<void> done = (*stored)->Resize(0);
    done = done ? (*stored)->Write(0, image) : done;
    return done ? (*stored)->Write(image.size(), std::as_bytes(std::span(behind))) : done;
}

Result<ChangeSnapshot> JournalStore::OpenSnapshot(std::string_view stamp) const
{
    return IsStamp(stamp) ? ChangeSnapshot::Open(*m_place.files, Snapshot(stamp)) : Failure(ErrorCode::kInvalidData);
}

void JournalStore::RemoveBackups(std::string_view stamp)
{
    if (!IsStamp(stamp)) {
        return; // such a text is no name of ours
    }
    for (const std::filesystem::path& file : {TextBackup(stamp), Snapshot(stamp)}) {
        if (m_place.files->Exists(file)) {
            static_cast<void>(m_place.files->Remove(file)); // what stays expires
            m_hasUnsyncedGone = m_hasUnsyncedGone || !m_unsynced.empty();
        }
    }
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
    return synced;
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
    RemoveBackups(StampOf(record));
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

} // namespace tolvar
