#include "cli/journal_listing.h"

#include <algorithm>

#include "platform/hive/hive.h"
#include "platform/registry/stored_value.h"
#include "platform/system/text.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

EntryData DataFrom(DWORD type, std::span<const BYTE> bytes)
{
    const auto held = bytes.first(std::min(bytes.size(), EntryData::kMaxHeld));
    return {type, bytes.size(), {held.begin(), held.end()}};
}

/// A value of the imaged key.
std::optional<EntryData> DataIn(const KeyImage& image, const std::string& name)
{
    const std::optional<ValueRecord> value = image.FindValue(name);
    const auto data = value ? image.Inside().ReadData(*value) : Checked<std::vector<std::byte>>();
    if (!value || !data) {
        return std::nullopt;
    }
    return DataFrom(value->type, {reinterpret_cast<const BYTE*>(data->data()), data->size()});
}

} // namespace

std::vector<EntryLine> JournalListing::Lines(const std::vector<std::size_t>& places)
{
    std::vector<EntryLine> lines;
    auto wanted = places.rbegin();
    for (std::size_t number = m_journal.Journal().size(); wanted != places.rend() && number-- > 0;) {
        EntryLine line = GoBackOver(number);
        if (number == *wanted) {
            lines.push_back(std::move(line));
            ++wanted;
        }
    }
    std::ranges::reverse(lines);
    return lines;
}

/// What an entry did, with `m_values` as after it; and then as before it.
EntryLine JournalListing::GoBackOver(std::size_t number)
{
    const std::string& text = m_journal.Journal()[number];
    const Result<ChangeSnapshot> snapshot = m_journal.SnapshotOf(number);
    EntryLine line{number, snapshot ? ParseRecord(text, snapshot->Seal().change) : ParseRecord(text), {}, {}};
    const bool isValue = line.record.object == static_cast<int>(ChangeObject::kValue) ||
                         line.record.object == static_cast<int>(ChangeObject::kEditedValue);
    if (isValue && !line.record.IsGroup()) {
        GoBackOverValue(line, snapshot ? &*snapshot : nullptr);
    } else {
        GoBackOverKey(line);
    }
    return line;
}

void JournalListing::GoBackOverKey(const EntryLine& line)
{
    const JournalRecord& record = line.record;
    if (record.kind == static_cast<int>(ChangeKind::kNew)) {
        Cut(JoinPath(record.path, record.secondPath));
        return;
    }
    Cut(record.path);
    const std::optional<ParentAndName> split = SplitLast(record.path);
    if (record.kind == static_cast<int>(ChangeKind::kRename) && split) {
        Cut(JoinPath(split->parent, record.secondPath));
    }
}

void JournalListing::GoBackOverValue(EntryLine& line, const ChangeSnapshot* snapshot)
{
    const JournalRecord& record = line.record;
    const KeyImage* const image = snapshot != nullptr ? snapshot->Image() : nullptr;
    const bool isNew = record.kind == static_cast<int>(ChangeKind::kNew);
    const bool isDelete = record.kind == static_cast<int>(ChangeKind::kDelete);
    const std::string& name = isNew ? record.newName : record.name;
    std::map<std::string, Known>& values = m_values[PlaceOf(record.path)];
    if (!isDelete) {
        line.after = After(record.path, record.newName).value_or(std::nullopt);
    }
    if (image != nullptr) {
        line.before = DataIn(*image, record.name);
    }
    for (const std::string* touched : {&name, &record.newName}) {
        values.erase(UpCased(*touched));
        if (isNew || image != nullptr) {
            values.emplace(UpCased(*touched), isNew ? std::nullopt : DataIn(*image, *touched));
        } else {
            Cut(record.path); // what was there before is known to nobody
        }
    }
}

/// The one of a key's paths that stands for all of them.
const std::string& JournalListing::PlaceOf(const std::string& path)
{
    const auto known = m_places.find(path);
    if (known != m_places.end()) {
        return known->second;
    }
    std::string place = UpCased(path);
    for (const std::string& alias : m_registry.AliasesOf(path)) {
        place = std::min(place, UpCased(alias));
    }
    return m_places.emplace(path, std::move(place)).first->second;
}

/// What a value was at the time that is looked at; nothing where that can't be told.
std::optional<JournalListing::Known> JournalListing::After(const std::string& path, const std::string& name)
{
    const std::string& place = PlaceOf(path);
    const std::map<std::string, Known>& values = m_values[place];
    if (const auto known = values.find(UpCased(name)); known != values.end()) {
        return known->second;
    }
    for (std::string_view above = place; !above.empty(); above = ParentPath(above)) {
        if (m_cut.contains(above)) {
            return std::nullopt;
        }
    }
    RegKey key;
    DWORD type = 0;
    std::vector<BYTE> data;
    if (OpenKeyPath(path, *key.Put(), KEY_READ) != ERROR_SUCCESS ||
        QueryStoredValue(key.Get(), name.c_str(), &type, &data) != ERROR_SUCCESS) {
        return Known();
    }
    return Known(DataFrom(type, data));
}

void JournalListing::Cut(const std::string& path)
{
    const std::string& place = PlaceOf(path);
    for (auto at = m_values.lower_bound(place); at != m_values.end() && at->first.starts_with(place);) {
        at = PathBelow(at->first, place) ? m_values.erase(at) : std::next(at);
    }
    m_cut.insert(place);
}

} // namespace tolvar
