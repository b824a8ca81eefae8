#include <algorithm>
#include <functional>
#include <numeric>

#include <fmt/format.h>

#include "journal/tolvar_doc.h"
#include "journal/touched_places.h"
#include "platform/registry/registry.h"

namespace tolvar {

namespace {

constexpr std::size_t kMostNamed = 8; // entries in a message

/// The places of a change as the registry sees them now.
std::vector<ChangePlace> OwnPlaces(const std::vector<ChangePlace>& places)
{
    const Registry* const registry = Registry::Current();
    std::vector<ChangePlace> own = places;
    if (registry != nullptr) {
        std::ranges::transform(own, own.begin(), [&](const ChangePlace& place) { return OwnPlace(*registry, place); });
    }
    return own;
}

bool OverlapsAny(const TouchedPlaces& touched, const std::vector<ChangePlace>& places)
{
    return std::ranges::any_of(places, [&](const ChangePlace& place) { return touched.Overlaps(place); });
}

} // namespace

JournalRecord CTolvarDoc::RecordAt(std::size_t index) const
{
    const std::string& text = Journal()[index];
    JournalRecord record = ParseRecord(text);
    if (record.isPlain) {
        return record;
    }
    const Result<ChangeSnapshot> snapshot = SnapshotOf(index);
    return snapshot ? ParseRecord(text, snapshot->Seal().change) : record;
}

ChangeRecord CTolvarDoc::ChangeAt(std::size_t index) const
{
    const std::string& record = Journal()[index];
    Result<SnapshotSeal> seal = m_journals.Of(record).Seal(FrameKind::kChange, record);
    return seal ? std::move(seal->change) : ChangeOf(ParseRecord(record), m_emptyNameLabel);
}

/// The entries behind `index`, but those in `except`, which falls, that may be at one of the places. Rising. `among`:
/// the only ones that are looked at, rising; null for all.
std::vector<std::size_t> CTolvarDoc::LaterEntries(const std::vector<ChangePlace>& places, std::size_t index,
                                                  const std::vector<std::size_t>& except,
                                                  const std::vector<std::size_t>* among) const
{
    std::vector<std::size_t> candidates;
    if (among != nullptr) {
        candidates.assign(std::ranges::upper_bound(*among, index), among->end());
    } else {
        candidates.resize(Journal().size() - index - 1);
        std::iota(candidates.begin(), candidates.end(), index + 1);
    }
    std::vector<std::size_t> later;
    if (candidates.empty()) {
        return later;
    }
    TouchedPlaces touched;
    std::ranges::for_each(OwnPlaces(places), [&touched](const ChangePlace& place) { touched.Add(place); });
    for (const std::size_t i : candidates) {
        if (!std::ranges::binary_search(except, i, std::greater()) && !ParseRecord(Journal()[i]).IsGroup() &&
            OverlapsAny(touched, OwnPlaces(PlacesOf(ChangeAt(i))))) {
            later.push_back(i);
        }
    }
    return later;
}

/// Why an entry is not undone.
Error CTolvarDoc::Refusal(std::size_t index, const std::vector<std::size_t>& later)
{
    if (later.empty()) {
        return {ErrorCode::kBusy, fmt::format("entry {}: what it left was changed outside this journal", index)};
    }
    const bool isCut = later.size() > kMostNamed;
    const auto named = std::span(later).first(isCut ? kMostNamed : later.size());
    return {ErrorCode::kBusy,
            fmt::format("entry {}: later changes stand on it: {} {}{}", index, later.size() == 1 ? "entry" : "entries",
                        fmt::join(named, ", "), isCut ? fmt::format(" and {} more", later.size() - kMostNamed) : "")};
}

std::vector<std::size_t> CTolvarDoc::WithLaterEntries(std::vector<std::size_t> indices) const
{
    std::erase_if(indices, [this](std::size_t index) { return index >= Journal().size(); });
    std::ranges::sort(indices);
    std::vector<std::size_t> all;
    TouchedPlaces touched;
    for (std::size_t i = indices.empty() ? Journal().size() : indices.front(); i < Journal().size(); ++i) {
        const bool isWanted = std::ranges::binary_search(indices, i);
        if (!isWanted && ParseRecord(Journal()[i]).IsGroup()) {
            continue;
        }
        const std::vector<ChangePlace> places = OwnPlaces(PlacesOf(ChangeAt(i)));
        if (isWanted || OverlapsAny(touched, places)) {
            all.push_back(i);
            std::ranges::for_each(places, [&touched](const ChangePlace& place) { touched.Add(place); });
        }
    }
    return all;
}

std::vector<std::size_t> CTolvarDoc::EntriesOfGroup(std::string_view stamp) const
{
    const auto groupOf = [this](const std::string& record) {
        Result<SnapshotSeal> seal = m_journals.Of(record).Seal(FrameKind::kChange, record);
        return seal ? std::move(seal->group) : std::string();
    };
    const std::span<const std::string> records = Journal();
    const auto member = std::ranges::find(records, stamp, StampOf);
    const std::string group = member != records.end() ? groupOf(*member) : std::string(stamp);
    std::vector<std::size_t> entries;
    for (std::size_t i = 0; i < records.size() && !group.empty(); ++i) {
        if (groupOf(records[i]) == group) {
            entries.push_back(i);
        }
    }
    return entries;
}

} // namespace tolvar
