#include "journal/undo_asking.h"

#include <algorithm>
#include <unordered_set>

namespace tolvar {

namespace {

using Records = std::unordered_set<std::string>;

/// Entries are known by their records here: each undo moves their numbers.
class AskingUndo {
public:
    AskingUndo(const CTolvarDoc& document, UndoAsker& asker) : m_document(document), m_asker(asker) {}

    UndoReport Run(std::vector<std::size_t> indices)
    {
        Take(m_asker.Undo(std::move(indices), UndoForce::kNo));
        if (!m_refused.empty()) {
            UndoLater();
        }
        if (!m_refused.empty()) {
            UndoChanged();
        }
        return std::move(m_report);
    }

private:
    void Take(UndoReport report)
    {
        m_report.undone += report.undone;
        m_refused.clear();
        m_refusals.clear();
        for (UndoFailure& failure : report.failures) {
            if (failure.code == ErrorCode::kBusy && !failure.record.empty()) {
                m_refused.insert(failure.record);
                m_refusals.push_back(std::move(failure));
            } else {
                m_failed.insert(failure.record);
                m_report.failures.push_back(std::move(failure));
            }
        }
    }

    [[nodiscard]] const std::string& RecordOf(std::size_t index) const { return m_document.Journal()[index]; }

    [[nodiscard]] std::vector<std::size_t> RefusedIndices() const
    {
        std::vector<std::size_t> indices;
        for (std::size_t i = 0; i < m_document.Journal().size(); ++i) {
            if (m_refused.contains(RecordOf(i))) {
                indices.push_back(i);
            }
        }
        return indices;
    }

    /// The entries that stand on any of `indices`, but for the refused ones.
    [[nodiscard]] std::vector<std::size_t> Above(std::vector<std::size_t> indices) const
    {
        std::vector<std::size_t> above = m_document.WithLaterEntries(std::move(indices));
        std::erase_if(above, [this](std::size_t index) { return m_refused.contains(RecordOf(index)); });
        return above;
    }

    void UndoLater()
    {
        std::vector<std::size_t> chain = RefusedIndices();
        std::vector<std::size_t> later = Above(chain);
        std::erase_if(later, [this](std::size_t index) { return m_failed.contains(RecordOf(index)); });
        if (later.empty()) {
            return;
        }
        std::ranges::transform(later, std::inserter(m_asked, m_asked.end()),
                               [this](std::size_t index) { return RecordOf(index); });
        if (m_asker.WantsLater(later)) {
            chain.insert(chain.end(), later.begin(), later.end());
            std::ranges::sort(chain);
            m_asked.clear();
            Take(m_asker.Undo(std::move(chain), UndoForce::kNo));
        }
    }

    /// What nothing in the journal stands on any more was changed outside it.
    void UndoChanged()
    {
        std::vector<std::size_t> changed = RefusedIndices();
        Records unasked; // what stays for the sake of an entry that can't be undone
        if (!Above(changed).empty()) {
            std::erase_if(changed, [&](std::size_t index) {
                const std::vector<std::size_t> above = Above({index});
                const bool wasAsked =
                    std::ranges::any_of(above, [this](std::size_t other) { return m_asked.contains(RecordOf(other)); });
                if (!above.empty() && !wasAsked) {
                    unasked.insert(RecordOf(index));
                }
                return !above.empty();
            });
        }
        for (const UndoFailure& refusal : m_refusals) {
            if (unasked.contains(refusal.record)) {
                m_report.failures.push_back(refusal);
            }
        }
        if (!changed.empty() && m_asker.WantsAllTheSame(changed)) {
            UndoReport forced = m_asker.Undo(std::move(changed), UndoForce::kYes);
            m_report.undone += forced.undone;
            std::ranges::move(forced.failures, std::back_inserter(m_report.failures));
        }
    }

    const CTolvarDoc& m_document;
    UndoAsker& m_asker;
    UndoReport m_report;
    Records m_refused;
    std::vector<UndoFailure> m_refusals; ///< of these
    Records m_failed;                    ///< what can't be undone, whatever is answered
    Records m_asked;                     ///< later entries that are not wanted
};

} // namespace

UndoReport UndoAsking(const CTolvarDoc& document, std::vector<std::size_t> indices, UndoAsker& asker)
{
    return AskingUndo(document, asker).Run(std::move(indices));
}

} // namespace tolvar
