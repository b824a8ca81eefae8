#pragma once

#include <optional>
#include <span>
#include <vector>

#include "platform/registry/key_view.h"

namespace tolvar {

/// What can't be read of a key, and why.
class KeyFault {
public:
    KeyFault(const Hive& hive, const HiveFault& fault) noexcept : m_hive(&hive), m_fault(fault) {}

    /// With the file and the place in it.
    [[nodiscard]] Error ToError() const { return m_hive->ToError(m_fault); }

private:
    const Hive* m_hive;
    HiveFault m_fault;
};

/// One value of a walk or look-up, without a copy: its name and data are views into the hive.
class ValueCursor {
public:
    ValueCursor(const Hive& hive, const ValueRecord& record, const DataView& data) noexcept
        : m_hive(&hive), m_record(&record), m_data(&data)
    {}

    [[nodiscard]] const NameView& Name() const noexcept { return m_record->name; }
    [[nodiscard]] std::uint32_t Type() const noexcept { return m_record->type; }
    [[nodiscard]] std::uint32_t Size() const noexcept { return m_record->size; } ///< bytes, as stored

    /// What keeps the data from being read whole; nothing where all is well.
    [[nodiscard]] std::optional<KeyFault> CheckData() const noexcept;

    /// Hands the stored bytes to `put`, piece by piece. Answers what kept it from going on; a piece under which the
    /// file failed was handed out before that.
    template <class Put>
    std::optional<KeyFault> ForEachPiece(Put&& put) const
    {
        DataView rest = *m_data;
        while (true) {
            const auto piece = m_hive->NextPiece(rest);
            if (!piece) {
                return KeyFault(*m_hive, piece.error());
            }
            if (piece->empty()) {
                return std::nullopt;
            }
            put(*piece);
            if (m_hive->MediumFailed(*piece)) {
                return KeyFault(*m_hive, {Breach::kMediumFailed, m_record->offset});
            }
        }
    }

    /// The stored bytes in one block.
    [[nodiscard]] tl::expected<std::vector<std::byte>, KeyFault> StoredData() const;

    /// The stored bytes where they lie in one piece, as all but large ones do.
    [[nodiscard]] std::optional<std::span<const std::byte>> FlatData() const noexcept
    {
        return m_data->IsSegmented() ? std::nullopt : std::optional(m_data->flat);
    }

    /// The data as the A calls hand it out, into `data`, whose room is used again.
    [[nodiscard]] std::optional<KeyFault> ReadForCaller(std::vector<std::uint8_t>& data) const;

private:
    const Hive* m_hive;
    const ValueRecord* m_record;
    const DataView* m_data;
};

/// Shows the value of that name to `visit`, as a ValueCursor, which is good during the call.
/// Answers whether there is one, or why that can't be told or the value can't be had.
template <class Visit>
tl::expected<bool, KeyFault> VisitValue(const KeyRef& key, std::u16string_view name, Visit&& visit)
{
    const Checked<std::optional<SeenValue>> found = FindValue(key, name);
    if (!found || !*found) {
        return found ? tl::expected<bool, KeyFault>(false)
                     : tl::unexpected(KeyFault(key.First().Reader(), found.error()));
    }
    const SeenValue& value = **found;
    const Checked<DataView> data = value.hive->Data(value.record);
    if (!data) {
        return tl::unexpected(KeyFault(*value.hive, data.error()));
    }
    visit(ValueCursor(*value.hive, value.record, *data));
    return true;
}

} // namespace tolvar
