#include <algorithm>

#include "journal/tolvar_doc.h"
#include "journal/undo_change.h"
#include "journal/undo_material.h"
#include "platform/registry/registry.h"

namespace tolvar {

// A group comes to the medium in three steps, each durable before the next: backups and records; the mark that the
// hives are about to be written; the hives. A last mark says that it is done. A start that finds no mark drops the
// records, since no hive was written; one that finds the first mark alone takes all back, from backups that are whole.

Result<void> CTolvarDoc::FlushHives()
{
    Registry* const registry = Registry::Current();
    return registry != nullptr ? registry->Flush() : Result<void>();
}

/// Undoes changes in memory, the newest first.
CTolvarDoc::Undone CTolvarDoc::UndoInMemory(const std::vector<std::string>& records) const
{
    Undone undone;
    for (auto record = records.rbegin(); record != records.rend(); ++record) {
        const Result<UndoMaterial> material = Material(*record, UndoForce::kNo);
        const Result<void> done =
            material ? TakeChangeBack(material->Change(), material->Source()) : tl::unexpected(material.error());
        (done ? undone.gone : undone.left).push_back(*record);
        if (!done) {
            undone.report.failures.push_back({done.error(), *record});
        }
    }
    undone.report.undone = undone.gone.size();
    std::ranges::reverse(undone.left);
    return undone;
}

/// Takes back the records of the standing groups from place `first` on, before any hive was written.
UndoReport CTolvarDoc::TakeGroupBack(std::size_t first)
{
    const auto begin = m_group.records.begin() + static_cast<std::ptrdiff_t>(first);
    Undone undone = UndoInMemory({begin, m_group.records.end()});
    m_group.records.erase(begin, m_group.records.end());
    m_group.records.insert(m_group.records.end(), undone.left.begin(), undone.left.end());
    if (auto dropped = m_journals.Drop(undone.gone); !dropped) {
        m_failure = dropped.error(); // a later mark would take these for members of its group
        undone.report.failures.push_back({dropped.error(), {}});
    }
    return std::move(undone.report);
}

Result<void> CTolvarDoc::CommitGroup()
{
    std::vector<std::string> records = std::move(m_group.records);
    m_group = {};
    if (records.empty()) {
        return {};
    }
    Result<void> done = CheckUsable();
    done = done ? m_journals.BeginGroup(records) : done;
    done = done ? FlushHives() : done;
    done = done ? m_journals.EndGroup(records) : done;
    if (done) {
        m_journals.ForgetUndone();
        for (std::string& record : records) {
            Show(std::move(record));
        }
        return done;
    }
    if (!UndoInMemory(records).left.empty() || !FlushHives() || !m_journals.Drop(records)) {
        m_hasOpenChange = true; // before anything else is changed
        m_failure = done.error();
        return Failure(done.error().code, "the next start takes back what was done; " + done.error().context);
    }
    return done;
}

/// Ends what a crash left of a group. Where it can't be taken back its records stay, to be undone one by one.
Result<void> CTolvarDoc::SettleCut(const JournalStore::Unsettled& unsettled)
{
    static_cast<void>(m_journals.Drop(unsettled.notMade)); // else they are dropped at the next start
    Undone undone = UndoInMemory(unsettled.cut);
    if (!undone.gone.empty()) {
        if (auto flushed = FlushHives(); !flushed) {
            return flushed;
        }
    }
    if (auto dropped = m_journals.Drop(undone.gone); !dropped) {
        return dropped;
    }
    for (const std::string& record : undone.left) {
        m_journals.Of(record).NoteMade(record);
    }
    m_takenBack = std::move(undone.report);
    return {};
}

ChangeGroup::ChangeGroup(CTolvarDoc& document) : m_document(document), m_first(document.m_group.records.size())
{
    ++m_document.m_group.depth;
}

ChangeGroup::~ChangeGroup()
{
    static_cast<void>(TakeBack());
}

Result<void> ChangeGroup::Commit()
{
    m_isOpen = false;
    return --m_document.m_group.depth == 0 ? m_document.CommitGroup() : Result<void>();
}

UndoReport ChangeGroup::TakeBack()
{
    if (!m_isOpen) {
        return {};
    }
    m_isOpen = false;
    UndoReport report = m_document.TakeGroupBack(m_first);
    if (--m_document.m_group.depth == 0) { // what could not be taken back is there, and is journaled
        if (const Result<void> committed = m_document.CommitGroup(); !committed) {
            report.failures.push_back({committed.error(), {}});
        }
    }
    return report;
}

} // namespace tolvar
