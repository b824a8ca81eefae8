#include <algorithm>

#include "journal/tolvar_doc.h"
#include "journal/undo_change.h"
#include "journal/undo_material.h"

namespace tolvar {

Result<UndoMaterial> CTolvarDoc::Material(const std::string& record) const
{
    const std::string_view stamp = StampOf(record);
    return UndoMaterial::Gather(m_store.Files(), m_store.TextBackup(stamp),
                                m_store.Snapshots().Find(FrameKind::kChange, stamp), record, m_emptyNameLabel);
}

Result<ChangeSnapshot> CTolvarDoc::SnapshotOf(std::size_t index) const
{
    const std::string_view record = index < Journal().size() ? Journal()[index] : std::string_view();
    Result<ChangeSnapshot> snapshot = m_store.Snapshots().Find(FrameKind::kChange, StampOf(record));
    return snapshot && snapshot->Seal().record != record ? Failure(ErrorCode::kFileCorrupt) : std::move(snapshot);
}

Result<UndoOutcome> CTolvarDoc::UndoEntry(std::size_t index)
{
    if (auto free = CheckFree(); !free) {
        return tl::unexpected(free.error());
    }
    if (index >= Journal().size()) {
        return Failure(ErrorCode::kInvalidParameter, "the journal has no entry " + std::to_string(index));
    }
    const std::string record = Journal()[index];
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
    if (auto dropped = m_store.DropAt({index}); !dropped) {
        return tl::unexpected(dropped.error());
    }
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

Result<void> CTolvarDoc::RemoveEntries(const std::vector<std::size_t>& indices)
{
    auto free = CheckFree();
    return free ? m_store.DropAt(indices) : free;
}

Result<std::size_t> CTolvarDoc::ExpireBackups(int keepDays)
{
    auto free = CheckFree();
    return free ? m_store.Expire(keepDays) : tl::unexpected(free.error());
}

} // namespace tolvar
