#include "journal/pending_log.h"

#include <cstring>
#include <unordered_map>

#include "journal/content_hash.h"

namespace tolvar {

namespace {

constexpr std::string_view kBegin = "TVPEND01";
constexpr std::string_view kEvents = "bmdBGMUuor";
constexpr std::size_t kHead = 12; // bytes of an entry before its content

std::string_view Characters(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void AppendEntry(std::vector<std::byte>& out, PendingLog::Event event, std::string_view record)
{
    const std::string content = std::string(1, static_cast<char>(event)).append(record);
    const auto size = static_cast<std::uint32_t>(content.size());
    const std::uint64_t sum = ContentHash::Of(std::as_bytes(std::span(content)));
    const std::size_t at = out.size();
    out.resize(at + kHead + content.size());
    std::memcpy(out.data() + at, &size, sizeof size);
    std::memcpy(out.data() + at + sizeof size, &sum, sizeof sum);
    std::memcpy(out.data() + at + kHead, content.data(), content.size());
}

} // namespace

std::vector<PendingLog::Entry> PendingLog::Parse(std::span<const std::byte> bytes, std::size_t& end)
{
    std::vector<Entry> entries;
    end = 0;
    if (!Characters(bytes).starts_with(kBegin)) {
        return entries;
    }
    end = kBegin.size();
    while (bytes.size() - end > kHead) {
        std::uint32_t size = 0;
        std::uint64_t sum = 0;
        std::memcpy(&size, bytes.data() + end, sizeof size);
        std::memcpy(&sum, bytes.data() + end + sizeof size, sizeof sum);
        if (size == 0 || size > bytes.size() - end - kHead) {
            break;
        }
        const auto content = bytes.subspan(end + kHead, size);
        const auto event = static_cast<Event>(content.front());
        const bool isKnown = kEvents.find(static_cast<char>(event)) != std::string_view::npos;
        if (!isKnown || ContentHash::Of(content) != sum) {
            break;
        }
        entries.push_back({event, std::string(Characters(content.subspan(1)))});
        end += kHead + size;
    }
    return entries;
}

Result<PendingLog> PendingLog::Open(FileStore& files, std::filesystem::path file)
{
    PendingLog log(files, std::move(file));
    if (files.Exists(log.m_path)) {
        const Result<MappedFile> map = files.Map(log.m_path, 0);
        if (!map) {
            return tl::unexpected(map.error());
        }
        std::size_t end = 0;
        log.m_entries = Parse(map->Bytes(), end);
        log.m_end = end;
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
    if (m_end == 0) {
        if (auto begun = (*stored)->Write(0, std::as_bytes(std::span(kBegin))); !begun) {
            return begun;
        }
        m_end = kBegin.size();
    }
    m_file = *std::move(stored);
    return isNew ? m_files->SyncFolder(m_path.parent_path()) : Result<void>();
}

Result<void> PendingLog::Write(std::span<const std::byte> bytes)
{
    if (m_file == nullptr) {
        if (auto opened = OpenFile(); !opened) {
            m_file.reset();
            return opened;
        }
    }
    if (auto written = m_file->Write(m_end, bytes); !written) {
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
    std::vector<std::byte> bytes;
    for (const Entry& entry : entries) {
        AppendEntry(bytes, entry.event, entry.record);
    }
    if (auto written = Write(bytes); !written) {
        return written;
    }
    auto synced = m_file->Sync();
    if (!synced) { // it may be on the medium all the same: what comes next is written over it
        m_end -= bytes.size();
    }
    return synced;
}

Result<void> PendingLog::AppendLater(Event event, std::string_view record)
{
    std::vector<std::byte> bytes;
    AppendEntry(bytes, event, record);
    return Write(bytes);
}

Result<void> PendingLog::Remove()
{
    m_file.reset();
    m_end = 0;
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
        default:
            break; // no event of this file
        }
    }
    return records;
}

} // namespace tolvar
