#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "platform/hive/breach.h"
#include "platform/hive/value_name_table.h"
#include "platform/hive/value_record.h"

namespace tolvar {

class Hive;
struct KeyNode;

/// What a hive remembers of its keys with many subkeys or values, so that a lookup needn't read all of them: which
/// lists of subkeys are in order, and where the values of a name lie. Nothing is remembered before a key is asked the
/// second time; and what is, can be forgotten at any time.
///
/// Thread safety: all calls. Whoever changes the hive tells of it before the next lookup.
/// Memory: at most 32 MB, whatever the hive claims of itself; more only for values that a writer adds.
class LookupCache {
public:
    /// Lists of fewer subkeys or values are read: that takes no longer.
    static constexpr std::uint32_t kMany = 64;

    /// A value as it is remembered.
    struct KnownValue {
        CellOffset cell;         ///< of its record; nil: there is no value of that name
        std::uint32_t place = 0; ///< where it was in the list when it was entered
    };

    /// The value of that name among `values`, which are those of `key`. Nothing where the list has to be read: at the
    /// first lookup, and where names were made to confuse.
    [[nodiscard]] std::optional<KnownValue> FindValue(const Hive& hive, CellOffset key, const ValueListView& values,
                                                      std::u16string_view name);

    /// What a writer did to the values of `key`, whose list is now `list` with `count` of them. Values may have moved
    /// within the list besides.
    void NoteAdded(CellOffset key, CellOffset list, std::uint32_t count, std::u16string_view name, KnownValue value);
    void NoteRemoved(CellOffset key, CellOffset list, std::uint32_t count, const NameView& name, CellOffset cell);

    /// Whether a name that no bisection finds in the lists of `key` isn't there: they are in strict order, and every
    /// key in them can be read. Looks through the lists, but not at the first time that it is asked.
    [[nodiscard]] bool IsMissFinal(const Hive& hive, const KeyNode& key);

    /// For a writer, which keeps in order what is in order, and the key's count of subkeys true.
    [[nodiscard]] bool IsKnownInOrder(CellOffset key) const;
    void NoteInOrder(CellOffset key);

    /// The key goes, or moves elsewhere.
    void Forget(CellOffset key);

    /// What was told since some time did not happen.
    void ForgetAll();

private:
    enum class Order : std::uint8_t { kAsked, kBroken, kStrict };

    struct Values {
        CellOffset list; ///< of which all below holds
        std::uint32_t count = 0;
        std::optional<ValueNameTable> table; ///< nothing before the second lookup
        bool isUnfit = false;                ///< the list can't have a table
    };

    void MakeTable(const Hive& hive, const ValueListView& values, Values& remembered);
    [[nodiscard]] Values* ValuesOf(CellOffset key, const ValueListView& values);

    mutable std::mutex m_mutex;
    std::unordered_map<std::uint32_t, Values> m_values; ///< by the offset of the key
    std::unordered_map<std::uint32_t, Order> m_orders;  ///< by the offset of the key
};

} // namespace tolvar
