#include "cli/journal_choice.h"

#include <algorithm>
#include <charconv>
#include <numeric>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "journal/journal_record.h"
#include "journal/stamp.h"

namespace tolvar {

namespace {

struct Range {
    std::size_t first = 0;
    std::size_t last = 0;
};

std::optional<std::size_t> NumberFrom(std::string_view text)
{
    std::size_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// "3" or "3-7".
std::optional<Range> RangeFrom(std::string_view text)
{
    const std::size_t dash = text.find('-');
    const std::optional<std::size_t> first = NumberFrom(text.substr(0, dash));
    const std::optional<std::size_t> last = dash == std::string_view::npos ? first : NumberFrom(text.substr(dash + 1));
    return first && last && *first <= *last ? std::optional(Range{*first, *last}) : std::nullopt;
}

std::string CheckName(const std::string& text)
{
    return IsStamp(text) || RangeFrom(text) ? "" : text + " is not the number, range (3-7) or stamp of an entry";
}

std::string CheckCount(const std::string& text)
{
    return NumberFrom(text).value_or(0) != 0 ? "" : text + " is not a number of entries";
}

} // namespace

void JournalChoice::Register(CLI::App& command, bool isOptional)
{
    CLI::Option_group* ways = command.add_option_group("Entries");
    ways->add_option("N", m_names, "Numbers of entries, ranges of them (3-7), or stamps, as list prints them")
        ->check(CheckName);
    ways->add_option_function<std::string>(
            "--last", [this](const std::string& count) { m_last = NumberFrom(count).value_or(1); },
            "The last N entries; the last one without a number")
        ->type_name("N")
        ->expected(0, 1)
        ->default_str("1")
        ->check(CheckCount);
    ways->add_option("--batch", m_batch, "All entries that one command made together, by the stamp of one of them")
        ->type_name("STAMP")
        ->check([](const std::string& text) { return IsStamp(text) ? "" : text + " is not the stamp of an entry"; });
    ways->add_flag("--all", m_isAll, "All entries");
    ways->require_option(isOptional ? 0 : 1, 1);
    m_isOptional = isOptional;
}

Result<std::vector<std::size_t>> JournalChoice::Find(const CTolvarDoc& journal) const
{
    const std::span<const std::string> records = journal.Journal();
    std::vector<std::size_t> places;
    const auto add = [&](std::size_t first, std::size_t last) {
        places.resize(places.size() + last - first + 1);
        std::iota(places.end() - static_cast<std::ptrdiff_t>(last - first + 1), places.end(), first);
    };
    const auto missing = [](const std::string& name) {
        return Failure(ErrorCode::kInvalidParameter, "the journal has no entry " + name);
    };
    if (m_last.value_or(0) > records.size()) {
        return Failure(ErrorCode::kInvalidParameter, fmt::format("the journal has {} entries", records.size()));
    }
    if (!m_batch.empty()) {
        places = journal.EntriesOfGroup(m_batch);
        return places.empty()
                   ? Failure(ErrorCode::kInvalidParameter, "the journal has no batch with an entry " + m_batch)
                   : Result<std::vector<std::size_t>>(std::move(places));
    }
    const bool isAll = m_isAll || (m_isOptional && !m_last && m_names.empty());
    if ((isAll || m_last) && !records.empty()) {
        add(isAll ? 0 : records.size() - *m_last, records.size() - 1);
    }
    for (const std::string& name : m_names) {
        if (IsStamp(name)) {
            const auto found = std::ranges::find(records, std::string_view(name), StampOf);
            if (found == records.end()) {
                return missing(name);
            }
            const auto place = static_cast<std::size_t>(found - records.begin());
            add(place, place);
            continue;
        }
        const Range range = RangeFrom(name).value_or(Range());
        if (range.last >= records.size()) {
            return missing(std::to_string(std::max(range.first, records.size())));
        }
        add(range.first, range.last);
    }
    std::ranges::sort(places);
    places.erase(std::unique(places.begin(), places.end()), places.end());
    return places;
}

} // namespace tolvar
