#include "platform/hive/lookup_cache.h"

#include "platform/hive/hive.h"

namespace tolvar {

namespace {

constexpr std::size_t kMaxKeys = 64;                     // with values that are remembered
constexpr std::size_t kMaxSlots = std::size_t{1} << 20;  // in their tables
constexpr std::size_t kMaxOrders = std::size_t{1} << 18; // keys whose order is remembered
constexpr std::uint32_t kMaxTabled = 262'143;            // values: what a list of one megabyte holds

template <class Name>
bool HasName(const Hive& hive, CellOffset cell, const Name& name)
{
    const Checked<ValueRecord> value = hive.Value(cell);
    return !value || CompareNames(value->name, name) == 0; // one that fails now answers for itself
}

/// A table of all values that can be read. None where a name is there twice, of which the first counts, or where names
/// lie inside others, which would take time without end.
std::optional<ValueNameTable> TableOf(const Hive& hive, const ValueListView& values)
{
    if (values.count > kMaxTabled) {
        return std::nullopt;
    }
    ValueNameTable table(values.count);
    std::uint64_t rest = hive.Length();
    for (std::uint32_t i = 0; i < values.count; ++i) {
        const Checked<ValueRecord> value = hive.Value(values[i]);
        if (!value && value.error().breach != Breach::kMediumFailed) {
            continue;
        }
        if (!value || value->name.bytes > rest) {
            return std::nullopt;
        }
        rest -= value->name.bytes;
        const std::uint32_t hash = ValueNameHash(value->name);
        bool isThere = false;
        table.ForEach(
            hash, [&](const ValueNameTable::Entry& entry) { return isThere = HasName(hive, entry.cell, value->name); });
        if (isThere || !table.Insert({hash, values[i], i})) {
            return std::nullopt;
        }
    }
    return hive.MediumFailed({values.data, std::size_t{4} * values.count}) ? std::nullopt : std::optional(table);
}

} // namespace

std::optional<LookupCache::KnownValue> LookupCache::FindValue(const Hive& hive, CellOffset key,
                                                              const ValueListView& values, std::u16string_view name)
{
    const std::lock_guard lock(m_mutex);
    const auto known = m_values.find(key.value);
    if (known == m_values.end() || known->second.list != values.cell || known->second.count != values.count) {
        if (m_values.size() >= kMaxKeys) {
            m_values.clear();
        }
        m_values.insert_or_assign(key.value, Values{.list = values.cell, .count = values.count, .table = {}});
        return std::nullopt;
    }
    Values& remembered = known->second;
    if (!remembered.table && !remembered.isUnfit) {
        std::size_t slots = 0;
        for (auto& [other, itsValues] : m_values) {
            slots += itsValues.table ? itsValues.table->Slots() : 0;
        }
        if (slots + 2 * std::size_t{values.count} > kMaxSlots) {
            for (auto& [other, itsValues] : m_values) {
                itsValues.table.reset();
            }
        }
        remembered.table = TableOf(hive, values);
        remembered.isUnfit = !remembered.table;
    }
    if (!remembered.table) {
        return std::nullopt;
    }
    KnownValue found;
    remembered.table->ForEach(ValueNameHash(name), [&](const ValueNameTable::Entry& entry) {
        const bool isIt = HasName(hive, entry.cell, name);
        found = isIt ? KnownValue{entry.cell, entry.place} : found;
        return isIt;
    });
    return found;
}

void LookupCache::NoteAdded(CellOffset key, CellOffset list, std::uint32_t count, std::u16string_view name,
                            KnownValue value)
{
    const std::lock_guard lock(m_mutex);
    const auto known = m_values.find(key.value);
    if (known == m_values.end()) {
        return;
    }
    Values& values = known->second;
    if (values.table && !values.table->Insert({ValueNameHash(name), value.cell, value.place})) {
        values.table.reset();
        values.isUnfit = true;
    }
    values.list = list;
    values.count = count;
}

void LookupCache::NoteRemoved(CellOffset key, CellOffset list, std::uint32_t count, const NameView& name,
                              CellOffset cell)
{
    const std::lock_guard lock(m_mutex);
    const auto known = m_values.find(key.value);
    if (known == m_values.end()) {
        return;
    }
    if (count < kMany) {
        m_values.erase(known);
        return;
    }
    Values& values = known->second;
    if (values.table) {
        values.table->Remove(ValueNameHash(name), cell);
    }
    values.isUnfit = false; // of two with one name, one may be gone
    values.list = list;
    values.count = count;
}

bool LookupCache::IsMissFinal(const Hive& hive, const KeyNode& key)
{
    const std::lock_guard lock(m_mutex);
    if (m_orders.size() >= kMaxOrders) {
        m_orders.clear();
    }
    const auto [known, isFirst] = m_orders.try_emplace(key.offset.value, Order::kAsked);
    if (!isFirst && known->second == Order::kAsked) {
        const Checked<std::optional<std::uint32_t>> count = hive.CountInOrder(key.subkeyList);
        known->second = count && *count == key.subkeyCount ? Order::kStrict : Order::kBroken;
    }
    return known->second == Order::kStrict;
}

bool LookupCache::IsKnownInOrder(CellOffset key) const
{
    const std::lock_guard lock(m_mutex);
    const auto known = m_orders.find(key.value);
    return known != m_orders.end() && known->second == Order::kStrict;
}

void LookupCache::NoteInOrder(CellOffset key)
{
    const std::lock_guard lock(m_mutex);
    if (m_orders.size() >= kMaxOrders) {
        m_orders.clear();
    }
    m_orders.insert_or_assign(key.value, Order::kStrict);
}

void LookupCache::Forget(CellOffset key)
{
    const std::lock_guard lock(m_mutex);
    m_values.erase(key.value);
    m_orders.erase(key.value);
}

void LookupCache::ForgetAll()
{
    const std::lock_guard lock(m_mutex);
    m_values.clear();
    m_orders.clear();
}

} // namespace tolvar
