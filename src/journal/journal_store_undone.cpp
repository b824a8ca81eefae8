#include <algorithm>

#include "journal/journal_store.h"

namespace tolvar {

std::filesystem::path JournalStore::KeptText(std::string_view stamp) const
{
    return m_snapshots.Folder() / std::string(stamp).append(".text");
}

Result<void> JournalStore::BeginUndo(RedoLog::Step step, const std::vector<std::string>& own)
{
    auto done = SyncBackups();
    done = done ? m_redo->Push(std::move(step)) : done;
    if (!done) {
        return done;
    }
    m_isIndexStale = true;
    done = m_pending->AppendAll(PendingLog::Event::kBegun, own);
    if (!done) {
        m_redo->Pop();
    }
    return done;
}

Result<void> JournalStore::Retire(std::span<const std::string> records)
{
    if (auto dropped = m_pending->AppendAll(PendingLog::Event::kDropped, {records.begin(), records.end()}); !dropped) {
        return dropped;
    }
    for (const std::string& record : records) {
        const std::string_view stamp = StampOf(record);
        if (IsStamp(stamp) && m_place.files->Exists(TextBackup(stamp))) {
            static_cast<void>(m_place.files->Rename(TextBackup(stamp), KeptText(stamp))); // what stays expires
        }
    }
    Forget(records);
    return {};
}

Result<void> JournalStore::BeginRedo(std::span<const std::string> records)
{
    for (const std::string& record : records) {
        const std::string_view stamp = StampOf(record);
        if (!m_place.files->Exists(KeptText(stamp))) {
            continue;
        }
        if (auto moved = m_place.files->Rename(KeptText(stamp), TextBackup(stamp)); !moved) {
            return moved;
        }
    }
    auto synced = m_place.files->SyncFolder(m_place.dataFolder);
    m_isIndexStale = true;
    return synced ? m_pending->AppendAll(PendingLog::Event::kBegun, {records.begin(), records.end()}) : synced;
}

void JournalStore::Insert(std::size_t place, std::string record)
{
    TakeIndexIn();
    place = std::min(place, m_records.size());
    m_records.insert(m_records.begin() + static_cast<std::ptrdiff_t>(place), std::move(record));
    m_isIndexStale = true;
    m_mustWriteIndex = true;
}

void JournalStore::ForgetUndone()
{
    if (m_redo->Steps().empty()) {
        return;
    }
    std::vector<std::string> records;
    for (const RedoLog::Step& step : m_redo->Steps()) {
        for (const UndoneEntry& undone : step) {
            records.push_back(undone.record);
            if (const std::filesystem::path text = KeptText(StampOf(undone.record)); m_place.files->Exists(text)) {
                static_cast<void>(m_place.files->Remove(text)); // what stays expires
            }
        }
    }
    m_redo->Clear(); // first: it names what goes
    RemoveBackups(records);
}

} // namespace tolvar
