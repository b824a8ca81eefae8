#include "journal/pending_log.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <unordered_map>

#include "journal/content_hash.h"

namespace tolvar {

namespace {

constexpr std::string_view kBegin = "TVPEND02";
constexpr std::string_view kOldBegin = "TVPEND01";
constexpr std::string_view kEvents = "bmdBGMUuor";
constexpr std::size_t kHead = 28;    // bytes of an entry before its content
constexpr std::size_t kSummed = 20;  // of these, in front of their own sum
constexpr std::size_t kOldHead = 12; // size and sum alone

std::string_view Characters(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

template <class T>
T Take(std::span<const std::byte> bytes, std::size_t at)
{
    T value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

template <class T>
void Put(std::string& out, T value)
{
    out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void AppendEntry(std::string& out, std::uint64_t durable, PendingLog::Event event, std::string_view record)
{
    const std::string content = std::string(1, static_cast<char>(event)).append(record);
    std::string head;
    Put(head, static_cast<std::uint32_t>(content.size()));
    Put(head, durable);
    Put(head, ContentHash::Of(std::as_bytes(std::span(content))));
    Put(head, ContentHash::Of(std::as_bytes(std::span(head))));
    out.append(head).append(content);
}

std::optional<PendingLog::Entry> EntryFrom(std::span<const std::byte> content, std::uint64_t sum)
{
    const char event = Characters(content).front();
    if (kEvents.find(event) == std::string_view::npos || ContentHash::Of(content) != sum) {
        return std::nullopt;
    }
    return PendingLog::Entry{static_cast<PendingLog::Event>(event), std::string(Characters(content.subspan(1)))};
}

/// Reads entries of the old form up to the first that does not fit. Answers where that is.
std::size_t ReadOld(std::span<const std::byte> bytes, std::vector<PendingLog::Entry>& entries)
{
    std::size_t at = kOldBegin.size();
    while (bytes.size() > at && bytes.size() - at > kOldHead) {
        const auto size = Take<std::uint32_t>(bytes, at);
        if (size == 0 || size > bytes.size() - at - kOldHead) {
            break;
        }
        auto entry = EntryFrom(bytes.subspan(at + kOldHead, size), Take<std::uint64_t>(bytes, at + 4));
        if (!entry) {
            break;
        }
        entries.push_back(*std::move(entry));
        at += kOldHead + size;
    }
    return at;
}

struct Frame {
    std::size_t begin;
    std::size_t end;
    std::uint64_t durable;
    PendingLog::Entry entry;
};

/// All entries that are whole, from `at` on. A head that is whole is believed, so that each byte is looked at once.
std::vector<Frame> FindFrames(std::span<const std::byte> bytes, std::size_t at)
{
    std::vector<Frame> frames;
    while (bytes.size() > at && bytes.size() - at > kHead) {
        const auto size = Take<std::uint32_t>(bytes, at);
        const auto durable = Take<std::uint64_t>(bytes, at + 4);
        if (size == 0 || size > bytes.size() - at - kHead || durable > at ||
            Take<std::uint64_t>(bytes, at + kSummed) != ContentHash::Of(bytes.subspan(at, kSummed))) {
            ++at;
            continue;
        }
        const std::size_t end = at + kHead + size;
        if (auto entry = EntryFrom(bytes.subspan(at + kHead, size), Take<std::uint64_t>(bytes, at + 12))) {
            frames.push_back({at, end, durable, *std::move(entry)});
        }
        at = end;
    }
    return frames;
}

} // namespace

PendingLog::Contents PendingLog::Parse(std::span<const std::byte> bytes)
{
    Contents contents;
    const bool isNew = Characters(bytes).starts_with(kBegin);
    const bool isOld = Characters(bytes).starts_with(kOldBegin);
    contents.end = isNew || isOld ? kBegin.size() : 0;
    if (!isNew) {
        const std::size_t end = ReadOld(bytes, contents.entries);
        if (!contents.entries.empty()) {
            contents.end = end;
            if (!isOld) {
                contents.entries.insert(contents.entries.begin(), {Event::kLost, {}});
            }
        }
    }
    std::vector<Frame> frames = FindFrames(bytes, contents.end);
    std::vector<std::uint64_t> known(frames.size()); // to be durable, by this frame or one behind it
    std::uint64_t most = 0;
    for (std::size_t i = frames.size(); i-- > 0;) {
        most = std::max(most, frames[i].durable);
        known[i] = most;
    }
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (frames[i].begin != contents.end) {
            if (known[i] <= contents.end) {
                break; // of an append that was cut
            }
            contents.entries.push_back({Event::kLost, {}});
        }
        contents.entries.push_back(std::move(frames[i].entry));
        contents.end = frames[i].end;
        contents.durable = std::max<std::size_t>(contents.durable, frames[i].durable);
    }
    return contents;
}

Result<PendingLog> PendingLog::Open(FileStore& files, std::filesystem::path file)
{
    PendingLog log(files, std::move(file));
    if (files.Exists(log.m_path)) {
        const Result<MappedFile> map = files.Map(log.m_path, 0);
        if (!map) {
            return tl::unexpected(map.error());
        }
        Contents contents = Parse(map->Bytes());
        log.m_entries = std::move(contents.entries);
        log.m_end = contents.end;
        log.m_durable = contents.durable;
        log.m_mustCut = map->Bytes().size() > contents.end;
        log.m_wasDamaged = std::ranges::find(log.m_entries, Event::kLost, &Entry::event) != log.m_entries.end();
        if (map->AnyFailed()) {
            return Failure(ErrorCode::kReadFault, "read " + log.m_path.string());
        }
    }
    return log;
}

Result<void> PendingLog::OpenFile()
{
    const bool isNew = !m_files->Exists(m_path);
    Result<std::unique_ptr<StoredFile>> stored = m_files->Open(m_path, FileStore::Mode::kCreate);
    if (!stored) {
        return tl::unexpected(stored.error());
    }
    m_file = *std::move(stored);
    if (auto cut = CutOff(); !cut) {
        return cut;
    }
    if (m_end == 0) {
        if (auto begun = m_file->Write(0, std::as_bytes(std::span(kBegin))); !begun) {
            return begun;
        }
        m_end = kBegin.size();
    }
    return isNew ? m_files->SyncFolder(m_path.parent_path()) : Result<void>();
}

/// Takes what an append left that failed or was cut, before it could pass for a part of the next one.
Result<void> PendingLog::CutOff()
{
    if (!m_mustCut) {
        return {};
    }
    auto cut = m_file->Resize(m_end);
    cut = cut ? m_file->Sync() : cut;
    m_mustCut = !cut;
    return cut;
}

Result<void> PendingLog::Write(std::string_view bytes)
{
    if (m_file == nullptr) {
        if (auto opened = OpenFile(); !opened) {
            m_file.reset();
            return opened;
        }
    }
    if (auto cut = CutOff(); !cut) {
        return cut;
    }
    if (auto written = m_file->Write(m_end, std::as_bytes(std::span(bytes))); !written) {
        m_mustCut = true;
        return written;
    }
    m_end += bytes.size();
    return {};
}

Result<void> PendingLog::Append(Event event, std::string_view record)
{
    return AppendAll(event, {std::string(record)});
}

Result<void> PendingLog::AppendAll(Event event, const std::vector<std::string>& records)
{
    std::vector<Entry> entries;
    for (const std::string& record : records) {
        entries.push_back({event, record});
    }
    return AppendEntries(entries);
}

Result<void> PendingLog::AppendEntries(const std::vector<Entry>& entries)
{
    if (entries.empty()) {
        return {};
    }
    std::string bytes;
    for (const Entry& entry : entries) {
        AppendEntry(bytes, m_durable, entry.event, entry.record);
    }
    if (auto written = Write(bytes); !written) {
        return written;
    }
    auto synced = m_file->Sync();
    if (!synced) { // it may be on the medium all the same
        m_end -= bytes.size();
        m_mustCut = true;
        return synced;
    }
    m_durable = m_end;
    return {};
}

Result<void> PendingLog::AppendLater(Event event, std::string_view record)
{
    std::string bytes;
    AppendEntry(bytes, m_durable, event, record);
    return Write(bytes);
}

Result<void> PendingLog::Remove()
{
    m_file.reset();
    m_end = 0;
    m_durable = 0;
    m_mustCut = false;
    if (!m_files->Exists(m_path)) {
        return {};
    }
    if (auto removed = m_files->Remove(m_path); !removed) {
        return removed;
    }
    return m_files->SyncFolder(m_path.parent_path());
}

std::vector<PendingRecord> ReplayPending(const std::vector<PendingLog::Entry>& entries)
{
    using Event = PendingLog::Event;
    using State = PendingRecord::State;
    std::vector<PendingRecord> records;
    std::unordered_map<std::string_view, std::size_t> places;
    for (const PendingLog::Entry& entry : entries) {
        const auto known = places.find(entry.record);
        switch (entry.event) {
        case Event::kBegun:
        case Event::kMember:
        case Event::kMade: {
            const bool isMade = entry.event == Event::kMade;
            if (known == places.end()) {
                places.emplace(entry.record, records.size());
                records.push_back({entry.record, entry.event == Event::kMember ? State::kNotMade : State::kOpen});
            }
            PendingRecord& record = known == places.end() ? records.back() : records[known->second];
            record.state = isMade ? State::kMade : record.state;
            break;
        }
        case Event::kDropped:
            if (known != places.end()) {
                records[known->second].state = State::kGone;
                places.erase(known);
            } else {
                records.push_back({entry.record, State::kGone});
            }
            break;
        case Event::kGroupBegun:
        case Event::kGroupMade:
            for (std::size_t i = known != places.end() ? known->second : records.size(); i < records.size(); ++i) {
                const bool isMember = records[i].state == State::kNotMade || records[i].state == State::kCut;
                records[i].state = !isMember                           ? records[i].state
                                   : entry.event == Event::kGroupBegun ? State::kCut
                                                                       : State::kMade;
            }
            break;
        case Event::kLost:
            for (PendingRecord& record : records) {
                record.state = record.state == State::kGone ? State::kGone : State::kMade;
            }
            break;
        default:
            break; // no event of this file
        }
    }
    return records;
}

} // namespace tolvar
