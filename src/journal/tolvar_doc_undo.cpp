#include <algorithm>
#include <unordered_set>

#include "journal/expiry.h"
#include "journal/index_file.h"
#include "journal/tolvar_doc.h"
#include "journal/undo_change.h"
#include "journal/undo_material.h"

namespace tolvar {

Result<UndoMaterial> CTolvarDoc::Material(const std::string& record) const
{
    const std::string_view stamp = StampOf(record);
    return UndoMaterial::Gather(*m_options.files, TextBackup(stamp), Snapshot(stamp), record, m_options.emptyNameLabel);
}

Result<UndoOutcome> CTolvarDoc::UndoEntry(std::size_t index)
{
    if (auto free = CheckFree(); !free) {
        return tl::unexpected(free.error());
    }
    if (index >= m_journal.size()) {
        return Failure(ErrorCode::kInvalidParameter, "the journal has no entry " + std::to_string(index));
    }
    const std::string record = m_journal[index];
    if (ParseRecord(record).IsGroup()) {
        return UndoOutcome::kLeft;
    }
    const Result<UndoMaterial> material = Material(record);
    if (!material) {
        return tl::unexpected(material.error());
    }
    if (auto undone = UndoChange(material->Change(), material->Source()); !undone) {
        return tl::unexpected(undone.error());
    }
    if (auto flushed = FlushChange(material->Change()); !flushed) {
        return tl::unexpected(flushed.error());
    }
    if (auto dropped = m_pending->Append(PendingLog::Event::kDropped, record); !dropped) {
        return tl::unexpected(dropped.error());
    }
    RemoveBackups(StampOf(record));
    m_journal.erase(m_journal.begin() + static_cast<std::ptrdiff_t>(index));
    m_isIndexStale = true;
    return UndoOutcome::kUndone;
}

UndoReport CTolvarDoc::UndoEntries(std::vector<std::size_t> indices)
{
    std::ranges::sort(indices, std::greater());
    indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
    UndoReport report;
    for (const std::size_t index : indices) {
        if (const Result<UndoOutcome> outcome = UndoEntry(index); !outcome) {
            report.failures.push_back(outcome.error());
        } else if (*outcome == UndoOutcome::kUndone) {
            ++report.undone;
        }
    }
    return report;
}

void CTolvarDoc::RemoveBackups(std::string_view stamp) const
{
    if (!IsStamp(stamp)) {
        return; // such a text is no name of ours
    }
    for (const std::filesystem::path& file : {TextBackup(stamp), Snapshot(stamp)}) {
        if (m_options.files->Exists(file)) {
            static_cast<void>(m_options.files->Remove(file)); // what stays expires
        }
    }
}

/// The backups of the records that a group's backup lists.
void CTolvarDoc::RemoveGroupMembers(const JournalRecord& group) const
{
    const std::filesystem::path file = TextBackup(group.stamp);
    if (!IsStamp(group.stamp) || !m_options.files->Exists(file)) {
        return;
    }
    if (const Result<MappedFile> map = m_options.files->Map(file, 0)) {
        for (const std::string& member : DecodeTextList(map->Bytes())) {
            RemoveBackups(StampOf(member));
        }
    }
}

/// Takes the records at these places out, in one pass.
void CTolvarDoc::Forget(const std::vector<std::size_t>& sorted)
{
    std::size_t kept = 0;
    auto next = sorted.begin();
    for (std::size_t i = 0; i < m_journal.size(); ++i) {
        if (next != sorted.end() && *next == i) {
            ++next;
        } else {
            if (kept != i) {
                m_journal[kept] = std::move(m_journal[i]);
            }
            ++kept;
        }
    }
    m_journal.resize(kept);
    m_isIndexStale = true;
}

Result<void> CTolvarDoc::RemoveEntries(const std::vector<std::size_t>& indices)
{
    if (auto free = CheckFree(); !free) {
        return free;
    }
    std::vector<std::size_t> sorted = indices;
    std::erase_if(sorted, [this](std::size_t index) { return index >= m_journal.size(); });
    std::ranges::sort(sorted);
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    std::vector<std::string> records;
    for (const std::size_t index : sorted) {
        records.push_back(m_journal[index]);
    }
    if (auto dropped = m_pending->AppendAll(PendingLog::Event::kDropped, records); !dropped) {
        return dropped;
    }
    for (const std::string& record : records) {
        const JournalRecord fields = ParseRecord(record);
        if (fields.IsGroup()) {
            RemoveGroupMembers(fields);
        }
        RemoveBackups(fields.stamp);
    }
    Forget(sorted);
    return {};
}

Result<std::size_t> CTolvarDoc::ExpireBackups(int keepDays)
{
    if (auto free = CheckFree(); !free) {
        return tl::unexpected(free.error());
    }
    const StampDate today = DateOf(FormatStamp(m_options.clock->Now())).value_or(StampDate{});
    const auto isExpired = [&](std::string_view name) {
        const std::optional<StampDate> date = DateOf(name);
        return date && HasExpired(*date, today, keepDays);
    };
    std::vector<std::filesystem::path> files;
    std::unordered_set<std::string> names;
    for (const std::filesystem::path& folder : {m_options.dataFolder, Beside("snapshots")}) {
        for (std::string& name : m_options.files->List(folder).value_or(std::vector<std::string>())) {
            if (isExpired(name)) {
                files.push_back(folder / name);
                names.insert(std::move(name));
            }
        }
    }
    std::vector<std::size_t> places;
    std::optional<std::size_t> withoutFile; // the oldest one
    for (std::size_t i = 0; i < m_journal.size(); ++i) {
        const std::string_view stamp = StampOf(m_journal[i]);
        if (names.contains(std::string(stamp))) {
            places.push_back(i);
        } else if (!withoutFile && isExpired(stamp)) {
            withoutFile = i;
        }
    }
    if (withoutFile) {
        places.insert(std::ranges::lower_bound(places, *withoutFile), *withoutFile);
    }
    std::vector<std::string> records;
    for (const std::size_t place : places) {
        records.push_back(m_journal[place]);
    }
    if (auto dropped = m_pending->AppendAll(PendingLog::Event::kDropped, records); !dropped) {
        return tl::unexpected(dropped.error());
    }
    for (const std::filesystem::path& file : files) {
        static_cast<void>(m_options.files->Remove(file)); // its record goes all the same
    }
    if (!places.empty()) {
        Forget(places);
    }
    return places.size();
}

} // namespace tolvar
