#include <algorithm>
#include <iterator>

#include "journal/expiry.h"
#include "journal/index_file.h"
#include "journal/journal_store.h"

namespace tolvar {

void JournalStore::RememberStamp(std::string_view stamp)
{
    if (IsStamp(stamp) && stamp > m_latestStamp) {
        m_latestStamp = stamp;
    }
}

/// Whether a file or a record has this stamp. The records' stamps are collected where one of them is as late: with a
/// clock that was set back by more than a day.
bool JournalStore::IsTaken(const std::string& stamp)
{
    if (!m_stamps && stamp <= m_latestStamp) {
        m_stamps.emplace(std::make_move_iterator(m_givenStamps.begin()), std::make_move_iterator(m_givenStamps.end()));
        m_givenStamps.clear();
        for (const std::string& record : Records()) {
            m_stamps->emplace(StampOf(record));
        }
    }
    return (m_stamps && m_stamps->contains(stamp)) || m_place.files->Exists(TextBackup(stamp)) ||
           m_snapshots.HasFile(stamp);
}

std::string JournalStore::NewStamp()
{
    const std::uint64_t now = m_place.clock->Now();
    std::string stamp = FormatStamp(now);
    // A batch is quicker than the clock: what comes behind it goes on where it ended, and needs no look at the records.
    const std::optional<std::string> next = stamp <= m_latestStamp && m_latestStamp.starts_with(stamp.substr(0, 8))
                                                ? StampAfter(m_latestStamp)
                                                : std::nullopt;
    if (next && !IsTaken(*next)) {
        stamp = *next;
    } else {
        stamp = m_takenStamps.TakeNext(now, [this](const std::string& text) { return IsTaken(text); });
    }
    RememberStamp(stamp);
    if (m_stamps) {
        m_stamps->insert(stamp);
    } else {
        m_givenStamps.push_back(stamp);
    }
    return stamp;
}

const std::string& JournalStore::Add(std::string record)
{
    m_isIndexStale = true;
    return m_records.emplace_back(std::move(record));
}

void JournalStore::Forget(std::span<const std::string> records)
{
    const std::unordered_set<std::string_view> gone(records.begin(), records.end());
    std::erase_if(m_records, [&gone](const std::string& record) { return gone.contains(record); });
    if (m_index) {
        m_dropped.insert(records.begin(), records.end());
    }
    m_isIndexStale = true;
}

/// Takes the records at these places out, in one pass.
void JournalStore::ForgetAt(std::span<const std::size_t> sorted)
{
    std::size_t kept = 0;
    auto next = sorted.begin();
    for (std::size_t i = 0; i < m_records.size(); ++i) {
        if (next != sorted.end() && *next == i) {
            ++next;
        } else {
            if (kept != i) {
                m_records[kept] = std::move(m_records[i]);
            }
            ++kept;
        }
    }
    m_records.resize(kept);
    m_isIndexStale = true;
}

Result<void> JournalStore::Drop(std::span<const std::string> records)
{
    if (auto dropped = m_pending->AppendAll(PendingLog::Event::kDropped, {records.begin(), records.end()}); !dropped) {
        return dropped;
    }
    RemoveBackups(records);
    Forget(records);
    return {};
}

Result<void> JournalStore::DropAt(std::vector<std::size_t> places)
{
    TakeIndexIn();
    std::erase_if(places, [this](std::size_t place) { return place >= m_records.size(); });
    std::ranges::sort(places);
    places.erase(std::unique(places.begin(), places.end()), places.end());
    std::vector<std::string> records;
    for (const std::size_t place : places) {
        records.push_back(m_records[place]);
    }
    if (auto dropped = m_pending->AppendAll(PendingLog::Event::kDropped, records); !dropped) {
        return dropped;
    }
    for (const std::string& record : records) {
        const JournalRecord fields = ParseRecord(record);
        if (fields.IsGroup()) {
            RemoveGroupMembers(fields);
        }
    }
    RemoveBackups(records);
    ForgetAt(places);
    return {};
}

Result<std::size_t> JournalStore::Expire(int keepDays)
{
    const StampDate today = DateOf(FormatStamp(m_place.clock->Now())).value_or(StampDate{});
    const auto isExpired = [&](std::string_view name) {
        const std::optional<StampDate> date = DateOf(name);
        return date && HasExpired(*date, today, keepDays);
    };
    std::vector<std::filesystem::path> files;
    std::unordered_set<std::string> names;
    for (const std::filesystem::path& folder : {m_place.dataFolder, m_snapshots.Folder()}) {
        for (std::string& name : m_place.files->List(folder).value_or(std::vector<std::string>())) {
            if (isExpired(name) && !name.ends_with(".log")) {
                files.push_back(folder / name);
                names.insert(std::move(name));
            }
        }
    }
    TakeIndexIn();
    std::vector<std::size_t> places;
    std::optional<std::size_t> withoutFile; // the oldest one
    for (std::size_t i = 0; i < m_records.size(); ++i) {
        const std::string_view stamp = StampOf(m_records[i]);
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
        records.push_back(m_records[place]);
    }
    if (auto dropped = m_pending->AppendAll(PendingLog::Event::kDropped, records); !dropped) {
        return tl::unexpected(dropped.error());
    }
    for (const std::filesystem::path& file : files) {
        static_cast<void>(m_place.files->Remove(file)); // its record goes all the same
    }
    if (!places.empty()) {
        ForgetAt(places);
    }
    std::unordered_set<std::string_view> days;
    for (const std::string& record : m_records) {
        days.insert(StampOf(record).substr(0, 8));
    }
    m_snapshots.RemoveDays([&](std::string_view day) { return days.contains(day) || !isExpired(day); });
    return places.size();
}

bool JournalStore::MarkDay()
{
    const std::filesystem::path mark = Beside("journal.expired");
    const std::string today = FormatStamp(m_place.clock->Now()).substr(0, 8);
    const auto bytes = std::as_bytes(std::span(today));
    if (m_place.files->Exists(mark)) {
        const Result<MappedFile> last = m_place.files->Map(mark, 0);
        if (last && std::ranges::equal(last->Bytes(), bytes)) {
            return false;
        }
    }
    const Result<std::unique_ptr<StoredFile>> stored = m_place.files->Open(mark, FileStore::Mode::kCreate);
    if (stored) { // without it the next one counts as the first
        static_cast<void>((*stored)->Resize(0));
        static_cast<void>((*stored)->Write(0, bytes));
    }
    return true;
}

/// The backups of the records that a group's backup lists.
void JournalStore::RemoveGroupMembers(const JournalRecord& group)
{
    const std::filesystem::path file = TextBackup(group.stamp);
    if (!IsStamp(group.stamp) || !m_place.files->Exists(file)) {
        return;
    }
    if (const Result<MappedFile> map = m_place.files->Map(file, 0)) {
        RemoveBackups(DecodeTextList(map->Bytes()));
    }
}

} // namespace tolvar
