#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "journal/journal_store.h"

namespace tolvar {

/// The journals of a session's hives, shown as one: the records of all of them in the order of their stamps. Each
/// change goes into the journal of its hive. Of what is done at several places together, each journal gets its part.
///
/// A session with one journal pays nothing for this. Not thread safe.
class JournalSet {
public:
    /// The first journal has the bookmarks, and takes the changes of keys that are in no journal's hive. None: there is
    /// nothing to be shown, and nothing may be changed.
    explicit JournalSet(std::vector<JournalPlace> places);

    /// Opens all of them: see JournalStore::Open. A part of a group whose other part is known to be done is done too.
    [[nodiscard]] Result<JournalStore::Unsettled> Open();

    /// See JournalStore::Save. All are saved; the first error is answered.
    [[nodiscard]] Result<void> Save(bool hasOpenChange);

    [[nodiscard]] bool IsEmpty() const noexcept { return m_stores.empty(); }
    [[nodiscard]] std::size_t Count() const noexcept { return m_stores.size(); }
    [[nodiscard]] JournalStore& At(std::size_t store) noexcept { return *m_stores[store]; }
    [[nodiscard]] bool IsReadOnly() const noexcept;
    [[nodiscard]] std::vector<Error> Notices() const;
    [[nodiscard]] const std::filesystem::path& DataFolder() const noexcept;

    /// The journal that has a record, or that has given its stamp. There must be one.
    [[nodiscard]] JournalStore& Of(std::string_view record) { return *m_stores[OwnerOf(record)]; }
    [[nodiscard]] const JournalStore& Of(std::string_view record) const { return *m_stores[OwnerOf(record)]; }

    /// The oldest first. Valid until a journal changes.
    [[nodiscard]] std::span<const std::string> Records() const;

    /// A stamp for a change of the key at `path`, which no journal has: see JournalStore::NewStamp.
    [[nodiscard]] std::string NewStamp(std::string_view path);

    // What JournalStore does with one record or many, each in its journal.

    const std::string& Add(std::string record);
    void ShowNothing();
    void Forget(std::span<const std::string> records);
    [[nodiscard]] Result<void> Drop(std::span<const std::string> records);
    [[nodiscard]] Result<void> DropAt(const std::vector<std::size_t>& places);
    void RemoveBackups(std::span<const std::string> records);

    /// See JournalStore::Expire. `isOnceADay`: where MarkDay says so alone.
    [[nodiscard]] Result<std::size_t> Expire(int keepDays, bool isOnceADay);

    [[nodiscard]] Result<void> BeginGroup(std::span<const std::string> records);
    [[nodiscard]] Result<void> EndGroup(std::span<const std::string> records);

    /// The places in the steps below are those of Records() where a step comes in, and of the record's own journal
    /// where it goes out.
    [[nodiscard]] Result<void> BeginUndo(const RedoLog::Step& step, const std::vector<std::string>& own);
    [[nodiscard]] Result<void> Retire(std::span<const std::string> records);
    [[nodiscard]] Result<void> BeginRedo(std::span<const std::string> records);
    void Insert(std::size_t place, std::string record);
    /// The last step; empty where there is none.
    [[nodiscard]] RedoLog::Step LastUndone() const;
    [[nodiscard]] std::size_t LastUndoneCount() const;
    void DropLastStep();
    /// The last step of one journal alone.
    void DropLastStepOf(std::size_t store);
    void ForgetUndone();

    [[nodiscard]] const std::vector<std::string>& BookmarkPaths() const;
    [[nodiscard]] const std::vector<std::string>& BookmarkTargets() const;
    void SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets);

private:
    /// A record by its journal and its place there.
    struct Place {
        std::size_t store;
        std::size_t place;
    };

    [[nodiscard]] bool IsSingle() const noexcept { return m_stores.size() == 1; }
    [[nodiscard]] std::size_t OwnerOf(std::string_view record) const;
    [[nodiscard]] std::vector<std::vector<std::string>> Split(std::span<const std::string> records) const;
    template <class Operation>
    [[nodiscard]] Result<void> ForEachPart(std::span<const std::string> records, Operation operation);
    void TakeOwner(std::size_t store, std::string_view record);
    void TakeOwners(std::size_t store);
    void EndGroupsDoneElsewhere(std::vector<JournalStore::Unsettled>& unsettled);
    void Merge() const;

    std::vector<std::unique_ptr<JournalStore>> m_stores;
    std::unordered_map<std::string, std::size_t> m_owners; ///< by record and by stamp, of several journals
    std::vector<std::vector<std::size_t>> m_steps;         ///< which journals have a part of each step, of several
    mutable std::vector<std::string> m_records;            ///< of several journals
    mutable std::vector<Place> m_places;                   ///< of these
    mutable bool m_isMerged = false;
};

} // namespace tolvar
