#include "journal/journal_set.h"

#include <algorithm>

#include "journal/change_places.h"
#include "platform/registry/registry.h"
#include "platform/system/text.h"

namespace tolvar {

JournalSet::JournalSet(std::vector<JournalPlace> places)
{
    for (JournalPlace& place : places) {
        m_stores.push_back(std::make_unique<JournalStore>(std::move(place)));
    }
}

bool JournalSet::IsReadOnly() const noexcept
{
    return std::ranges::any_of(m_stores, [](const auto& store) { return store->IsReadOnly(); });
}

std::vector<Error> JournalSet::Notices() const
{
    std::vector<Error> notices;
    for (const auto& store : m_stores) {
        notices.insert(notices.end(), store->Notices().begin(), store->Notices().end());
    }
    return notices;
}

const std::filesystem::path& JournalSet::DataFolder() const noexcept
{
    static const std::filesystem::path none;
    return IsEmpty() ? none : m_stores.front()->DataFolder();
}

// Owners. Two journals may have the same stamp, since their hives were not always worked on together: then the whole
// record tells.

std::size_t JournalSet::OwnerOf(std::string_view record) const
{
    if (IsSingle()) {
        return 0;
    }
    auto owner = m_owners.find(std::string(record));
    owner = owner != m_owners.end() ? owner : m_owners.find(std::string(StampOf(record)));
    return owner != m_owners.end() ? owner->second : 0;
}

void JournalSet::TakeOwner(std::size_t store, std::string_view record)
{
    m_owners.emplace(record, store);
    m_owners.emplace(StampOf(record), store);
}

void JournalSet::TakeOwners(std::size_t store)
{
    for (const std::string& record : m_stores[store]->Records()) {
        TakeOwner(store, record);
    }
    for (const RedoLog::Step& step : m_stores[store]->Undone()) {
        m_steps.push_back({store});
        for (const UndoneEntry& undone : step) {
            TakeOwner(store, undone.record);
            std::ranges::for_each(undone.own, [&](const std::string& own) { TakeOwner(store, own); });
        }
    }
}

std::vector<std::vector<std::string>> JournalSet::Split(std::span<const std::string> records) const
{
    std::vector<std::vector<std::string>> parts(m_stores.size());
    for (const std::string& record : records) {
        parts[OwnerOf(record)].push_back(record);
    }
    return parts;
}

/// Does an operation of JournalStore with the records of each journal, up to the first that fails.
template <class Operation>
Result<void> JournalSet::ForEachPart(std::span<const std::string> records, Operation operation)
{
    m_isMerged = false;
    if (IsSingle()) {
        return operation(*m_stores.front(), records);
    }
    const std::vector<std::vector<std::string>> parts = Split(records);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (parts[i].empty()) {
            continue;
        }
        if (auto done = operation(*m_stores[i], std::span<const std::string>(parts[i])); !done) {
            return done;
        }
    }
    return {};
}

// Opening and saving.

/// A crash may come between the marks "done" of two journals. The hives are flushed before either, so that one is
/// enough.
void JournalSet::EndGroupsDoneElsewhere(std::vector<JournalStore::Unsettled>& unsettled)
{
    const auto groupOf = [](const JournalStore& store, const std::string& record) {
        const Result<SnapshotSeal> seal = store.Seal(FrameKind::kChange, record);
        return seal ? seal->group : std::string();
    };
    const auto isDone = [&](const std::string& group, std::size_t except) {
        for (std::size_t i = 0; i < m_stores.size() && !group.empty(); ++i) {
            const auto isMember = [&](const std::string& record) {
                return groupOf(*m_stores[i], record) == group && std::ranges::count(unsettled[i].cut, record) == 0;
            };
            if (i != except && std::ranges::any_of(m_stores[i]->Records(), isMember)) {
                return true;
            }
        }
        return false;
    };
    for (std::size_t i = 0; i < m_stores.size(); ++i) {
        std::vector<std::string>& cut = unsettled[i].cut;
        std::erase_if(cut, [&](const std::string& record) {
            const bool isMade = isDone(groupOf(*m_stores[i], record), i);
            if (isMade) {
                m_stores[i]->NoteMade(record);
            }
            return isMade;
        });
    }
}

Result<JournalStore::Unsettled> JournalSet::Open()
{
    std::vector<JournalStore::Unsettled> unsettled;
    for (const auto& store : m_stores) {
        Result<JournalStore::Unsettled> opened = store->Open();
        if (!opened) {
            return opened;
        }
        unsettled.push_back(*std::move(opened));
    }
    if (IsSingle()) {
        return std::move(unsettled.front());
    }
    JournalStore::Unsettled all;
    const auto take = [](std::vector<std::string>& to, std::vector<std::string>& from) {
        std::ranges::move(from, std::back_inserter(to));
    };
    for (std::size_t i = 0; i < m_stores.size(); ++i) {
        TakeOwners(i);
        std::ranges::for_each(unsettled[i].notMade, [&](const std::string& record) { TakeOwner(i, record); });
    }
    if (!IsReadOnly()) {
        EndGroupsDoneElsewhere(unsettled);
    }
    for (JournalStore::Unsettled& one : unsettled) {
        take(all.open, one.open);
        take(all.notMade, one.notMade);
        take(all.cut, one.cut);
        take(all.gone, one.gone);
    }
    return all;
}

Result<void> JournalSet::Save(bool hasOpenChange)
{
    Result<void> all;
    for (const auto& store : m_stores) {
        auto saved = store->Save(hasOpenChange);
        all = all ? std::move(saved) : all;
    }
    return all;
}

// Records.

void JournalSet::Merge() const
{
    if (m_isMerged) {
        return;
    }
    m_isMerged = true;
    m_places.clear();
    for (std::size_t i = 0; i < m_stores.size(); ++i) {
        const std::size_t count = m_stores[i]->Records().size();
        const std::size_t middle = m_places.size();
        for (std::size_t place = 0; place < count; ++place) {
            m_places.push_back({i, place});
        }
        const auto stampAt = [this](const Place& at) { return StampOf(m_stores[at.store]->Records()[at.place]); };
        std::ranges::inplace_merge(m_places, m_places.begin() + static_cast<std::ptrdiff_t>(middle), {}, stampAt);
    }
    m_records.clear();
    std::ranges::transform(m_places, std::back_inserter(m_records),
                           [this](const Place& at) { return m_stores[at.store]->Records()[at.place]; });
}

std::span<const std::string> JournalSet::Records() const
{
    if (IsSingle()) {
        return m_stores.front()->Records();
    }
    Merge();
    return m_records;
}

std::string JournalSet::NewStamp(std::string_view path)
{
    if (IsSingle()) {
        return m_stores.front()->NewStamp();
    }
    const Registry* const registry = Registry::Current();
    const std::string hive = registry != nullptr ? UpCased(PlaceInHive(*registry, path).hive) : std::string();
    const auto isHome = [&hive](const auto& store) { return UpCased(store->Home()) == hive; };
    const auto found = std::ranges::find_if(m_stores, isHome);
    const auto owner = static_cast<std::size_t>(found != m_stores.end() ? found - m_stores.begin() : 0);
    std::string stamp;
    do {
        stamp = m_stores[owner]->NewStamp();
    } while (m_owners.contains(stamp));
    m_owners.emplace(stamp, owner);
    return stamp;
}

const std::string& JournalSet::Add(std::string record)
{
    const std::size_t owner = OwnerOf(record);
    if (IsSingle()) {
        return m_stores.front()->Add(std::move(record));
    }
    TakeOwner(owner, record);
    const bool isLast = m_records.empty() || StampOf(m_records.back()) <= StampOf(record);
    const std::string& added = m_stores[owner]->Add(std::move(record));
    if (!m_isMerged || !isLast) {
        m_isMerged = false;
        return added;
    }
    m_places.push_back({owner, m_stores[owner]->Records().size() - 1});
    return m_records.emplace_back(added);
}

void JournalSet::ShowNothing()
{
    m_isMerged = false;
    for (const auto& store : m_stores) {
        store->ShowNothing();
    }
}

void JournalSet::Forget(std::span<const std::string> records)
{
    static_cast<void>(ForEachPart(records, [](JournalStore& store, std::span<const std::string> part) {
        store.Forget(part);
        return Result<void>();
    }));
}

Result<void> JournalSet::Drop(std::span<const std::string> records)
{
    return ForEachPart(records,
                       [](JournalStore& store, std::span<const std::string> part) { return store.Drop(part); });
}

Result<void> JournalSet::DropAt(const std::vector<std::size_t>& places)
{
    if (IsSingle()) {
        return m_stores.front()->DropAt(places);
    }
    Merge();
    std::vector<std::vector<std::size_t>> parts(m_stores.size());
    for (const std::size_t place : places) {
        if (place < m_places.size()) {
            parts[m_places[place].store].push_back(m_places[place].place);
        }
    }
    m_isMerged = false;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (auto dropped = parts[i].empty() ? Result<void>() : m_stores[i]->DropAt(std::move(parts[i])); !dropped) {
            return dropped;
        }
    }
    return {};
}

void JournalSet::RemoveBackups(std::span<const std::string> records)
{
    static_cast<void>(ForEachPart(records, [](JournalStore& store, std::span<const std::string> part) {
        store.RemoveBackups(part);
        return Result<void>();
    }));
}

Result<std::size_t> JournalSet::Expire(int keepDays, bool isOnceADay)
{
    m_isMerged = false;
    std::size_t gone = 0;
    for (const auto& store : m_stores) {
        if (isOnceADay && !store->MarkDay()) {
            continue;
        }
        const Result<std::size_t> expired = store->Expire(keepDays);
        if (!expired) {
            return expired;
        }
        gone += *expired;
    }
    return gone;
}

// Groups.

Result<void> JournalSet::BeginGroup(std::span<const std::string> records)
{
    return ForEachPart(
        records, [](JournalStore& store, std::span<const std::string> part) { return store.BeginGroup(part.front()); });
}

Result<void> JournalSet::EndGroup(std::span<const std::string> records)
{
    return ForEachPart(
        records, [](JournalStore& store, std::span<const std::string> part) { return store.EndGroup(part.front()); });
}

// Undoing and doing again.

Result<void> JournalSet::BeginUndo(const RedoLog::Step& step, const std::vector<std::string>& own)
{
    if (IsSingle()) {
        return m_stores.front()->BeginUndo(step, own);
    }
    Merge();
    std::vector<RedoLog::Step> steps(m_stores.size());
    for (const UndoneEntry& undone : step) {
        const Place& at = m_places[undone.place];
        steps[at.store].push_back({undone.record, at.place, undone.own});
    }
    const std::vector<std::vector<std::string>> owned = Split(own);
    m_steps.emplace_back();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (steps[i].empty()) {
            continue;
        }
        if (auto begun = m_stores[i]->BeginUndo(std::move(steps[i]), owned[i]); !begun) {
            DropLastStep();
            return begun;
        }
        m_steps.back().push_back(i);
    }
    return {};
}

Result<void> JournalSet::Retire(std::span<const std::string> records)
{
    return ForEachPart(records,
                       [](JournalStore& store, std::span<const std::string> part) { return store.Retire(part); });
}

Result<void> JournalSet::BeginRedo(std::span<const std::string> records)
{
    return ForEachPart(records,
                       [](JournalStore& store, std::span<const std::string> part) { return store.BeginRedo(part); });
}

void JournalSet::Insert(std::size_t place, std::string record)
{
    m_isMerged = false;
    Of(record).Insert(place, std::move(record));
}

RedoLog::Step JournalSet::LastUndone() const
{
    if (IsSingle()) {
        const std::vector<RedoLog::Step>& steps = m_stores.front()->Undone();
        return steps.empty() ? RedoLog::Step() : steps.back();
    }
    RedoLog::Step all;
    for (const std::size_t i : m_steps.empty() ? std::vector<std::size_t>() : m_steps.back()) {
        const RedoLog::Step& part = m_stores[i]->Undone().back();
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::size_t JournalSet::LastUndoneCount() const
{
    const auto countOf = [this](std::size_t store) {
        const std::vector<RedoLog::Step>& steps = m_stores[store]->Undone();
        return steps.empty() ? 0 : steps.back().size();
    };
    if (IsSingle()) {
        return countOf(0);
    }
    std::size_t count = 0;
    for (const std::size_t i : m_steps.empty() ? std::vector<std::size_t>() : m_steps.back()) {
        count += countOf(i);
    }
    return count;
}

void JournalSet::DropLastStep()
{
    if (IsSingle()) {
        m_stores.front()->DropLastStep();
        return;
    }
    for (const std::size_t i : m_steps.back()) {
        m_stores[i]->DropLastStep();
    }
    m_steps.pop_back();
}

void JournalSet::DropLastStepOf(std::size_t store)
{
    m_stores[store]->DropLastStep();
    const auto last = std::ranges::find_if(m_steps.rbegin(), m_steps.rend(),
                                           [store](const auto& step) { return std::ranges::count(step, store) != 0; });
    if (last != m_steps.rend()) { // there are none of a single journal
        std::erase(*last, store);
        std::erase_if(m_steps, [](const auto& step) { return step.empty(); });
    }
}

void JournalSet::ForgetUndone()
{
    m_steps.clear();
    for (const auto& store : m_stores) {
        store->ForgetUndone();
    }
}

// Bookmarks.

namespace {

const std::vector<std::string> kNoTexts;

} // namespace

const std::vector<std::string>& JournalSet::BookmarkPaths() const
{
    return IsEmpty() ? kNoTexts : m_stores.front()->BookmarkPaths();
}

const std::vector<std::string>& JournalSet::BookmarkTargets() const
{
    return IsEmpty() ? kNoTexts : m_stores.front()->BookmarkTargets();
}

void JournalSet::SetBookmarks(std::vector<std::string> paths, std::vector<std::string> targets)
{
    if (!IsEmpty()) {
        m_stores.front()->SetBookmarks(std::move(paths), std::move(targets));
    }
}

} // namespace tolvar
