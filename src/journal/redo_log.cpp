#include "journal/redo_log.h"

#include <charconv>
#include <optional>

namespace tolvar {

namespace {

using Event = PendingLog::Event;

/// "12 7;0;...": the place and the record.
std::string TextOf(const UndoneEntry& entry)
{
    return std::to_string(entry.place) + " " + entry.record;
}

std::optional<UndoneEntry> EntryFrom(std::string_view text)
{
    UndoneEntry entry;
    const auto number = std::from_chars(text.data(), text.data() + text.size(), entry.place);
    if (number.ec != std::errc() || number.ptr == text.data() + text.size() || *number.ptr != ' ') {
        return std::nullopt;
    }
    entry.record = text.substr(static_cast<std::size_t>(number.ptr - text.data()) + 1);
    return entry;
}

} // namespace

RedoLog::RedoLog(PendingLog log) : m_log(std::move(log))
{
    for (const PendingLog::Entry& entry : m_log.Entries()) {
        switch (entry.event) {
        case Event::kUndoneFirst:
            m_steps.emplace_back();
            [[fallthrough]];
        case Event::kUndone:
            if (std::optional<UndoneEntry> undone = EntryFrom(entry.record); undone && !m_steps.empty()) {
                m_steps.back().push_back(*std::move(undone));
            }
            break;
        case Event::kUndoneOwn:
            if (!m_steps.empty() && !m_steps.back().empty()) {
                m_steps.back().back().own.push_back(entry.record);
            }
            break;
        case Event::kRedone:
            if (!m_steps.empty()) {
                m_steps.pop_back();
            }
            break;
        case Event::kLost: // what is left of the steps before it can't be told
            m_steps.clear();
            break;
        default:
            break; // no event of this file
        }
    }
    m_log.ForgetEntries();
}

Result<RedoLog> RedoLog::Open(FileStore& files, std::filesystem::path file)
{
    Result<PendingLog> log = PendingLog::Open(files, std::move(file));
    return log ? Result<RedoLog>(RedoLog(*std::move(log))) : tl::unexpected(log.error());
}

Result<void> RedoLog::Push(Step step)
{
    std::vector<PendingLog::Entry> entries;
    for (const UndoneEntry& undone : step) {
        entries.push_back({entries.empty() ? Event::kUndoneFirst : Event::kUndone, TextOf(undone)});
        for (const std::string& own : undone.own) {
            entries.push_back({Event::kUndoneOwn, own});
        }
    }
    auto added = m_log.AppendEntries(entries);
    if (added) {
        m_steps.push_back(std::move(step));
    }
    return added;
}

void RedoLog::Pop()
{
    m_log.Note(Event::kRedone, {});
    m_steps.pop_back();
}

void RedoLog::Clear()
{
    static_cast<void>(m_log.Remove()); // what comes back stands for nothing that is there still
    m_steps.clear();
}

} // namespace tolvar
