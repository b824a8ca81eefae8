#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/mapped_file.h"
#include "platform/hive/base_block.h"
#include "platform/hive/breach.h"
#include "platform/hive/cell.h"
#include "platform/hive/key_node.h"
#include "platform/hive/lookup_cache.h"
#include "platform/hive/subkey_cursor.h"
#include "platform/hive/value_record.h"
#include "platform/system/error.h"

namespace tolvar {

/// One mapped hive file. Reading costs no walk: each call checks the cells that it touches.
///
/// A fault names the breach and the cell: one damaged key, list or value answers for itself alone. ToError turns it
/// into an Error with the file's name and the place in the file.
///
/// Thread safety: any number of concurrent readers. Every span and view that a call hands out points into the map and
/// is valid as long as the hive. Where the file fails or is cut short while it is open, the map reads as zeros there
/// and the call that met it answers kMediumFailed; a caller that reads through a span asks MediumFailed afterwards.
class Hive {
public:
    /// Maps `file` and checks its base block.
    /// Errors: the system's code if it can't be opened or is a folder; kNotRegistryFile for an empty file or one that
    /// is no hive; kRegistryCorrupt for a wrong checksum or a field that can't be; kRevisionMismatch for a version that
    /// this reader doesn't know. The context is one line with the file, what is wrong, and the offset. A file that is
    /// cut short opens all the same with what is there: see Damage.
    [[nodiscard]] static Result<Hive> Open(const std::filesystem::path& file);

    /// The hive in `map`, the content of `file`. In a private copy a HiveEditor may write. Errors as Open.
    [[nodiscard]] static Result<Hive> FromMap(MappedFile map, const std::filesystem::path& file);

    /// A hive over bytes in memory, which must outlive it. `name` stands for the file in messages. Errors as Open.
    [[nodiscard]] static Result<Hive> FromBytes(std::span<const std::byte> bytes, std::string name);

    [[nodiscard]] const std::filesystem::path& File() const noexcept { return m_file; }
    [[nodiscard]] const BaseBlock& Base() const noexcept { return m_base; }

    /// What of the file is missing, where it is shorter than its base block says; nothing for a whole file.
    [[nodiscard]] const std::optional<Error>& Damage() const noexcept { return m_damage; }

    /// The hive was not closed cleanly: its transaction logs may hold newer changes, which are not shown.
    [[nodiscard]] bool NeedsRecovery() const noexcept { return m_base.sequence1 != m_base.sequence2; }

    /// Bytes of hive bins data that are there: the upper bound of every cell offset.
    [[nodiscard]] std::uint32_t Length() const noexcept { return m_length; }

    [[nodiscard]] CellOffset Root() const noexcept { return m_base.rootCell; }

    /// The payload of the allocated cell at `offset`.
    [[nodiscard]] Checked<CellView> Cell(CellOffset offset) const noexcept;

    /// The key at `offset`, every field that its use needs checked against the cell.
    [[nodiscard]] Checked<KeyNode> Key(CellOffset offset) const noexcept;

    /// The name of the key at `offset`: Key for those who need no more.
    [[nodiscard]] Checked<NameView> KeyName(CellOffset offset) const noexcept;

    /// The class text of a key; empty where it has none.
    [[nodiscard]] Checked<NameView> ClassName(const KeyNode& key) const noexcept;

    /// The subkey of `parent` with this name, without regard to case; nil if there is none.
    /// Cost: logarithmic in the number of subkeys. The first misses of a key add one pass over all leaves, so that a
    /// list in wrong order hides nothing; once the lists are known to be in order, a miss is final. A damaged sister is
    /// passed over; where the medium failed under one, a miss answers that fault.
    [[nodiscard]] Checked<CellOffset> FindSubkey(const KeyNode& parent, std::u16string_view name) const;

    /// The number of keys that `list` names, where they are in strict order; nothing where they are not. The first
    /// fault that stands in the way of telling.
    [[nodiscard]] Checked<std::optional<std::uint32_t>> CountInOrder(CellOffset list) const noexcept;

    /// The subkeys of `parent` in stored order.
    [[nodiscard]] SubkeyCursor Subkeys(const KeyNode& parent) const noexcept;

    /// The offsets of the values of a key, in stored order. Empty for a key that is a predefined handle.
    [[nodiscard]] Checked<ValueListView> Values(const KeyNode& key) const noexcept;

    /// The value record at `offset`.
    [[nodiscard]] Checked<ValueRecord> Value(CellOffset offset) const noexcept;

    /// The first value of that name, without regard to case; nothing if there is none. Damaged sisters as in
    /// FindSubkey. Cost: one look at each value of a key; of a key with many values, from the second lookup on, at one.
    [[nodiscard]] Checked<std::optional<ValueRecord>> FindValue(const KeyNode& key, std::u16string_view name) const;

    /// FindValue with the value's place in the list. Cost: as FindValue, and a look for the place where values before
    /// it came or went since that is remembered.
    [[nodiscard]] Checked<std::optional<PlacedValue>> FindPlacedValue(const KeyNode& key,
                                                                      std::u16string_view name) const;

    /// Where the data of a value lies: one span, or the segments of a big data record (see DataView).
    [[nodiscard]] Checked<DataView> Data(const ValueRecord& value) const noexcept;

    /// The next piece of `data`, at most `data.Size()` bytes in all; empty at the end.
    [[nodiscard]] Checked<std::span<const std::byte>> NextPiece(DataView& data) const noexcept;

    /// Looks whether every piece of `data` is there and can be read: the first fault that reading it would meet.
    [[nodiscard]] Checked<void> CheckPieces(DataView data) const noexcept;

    /// All bytes of a value in one block.
    [[nodiscard]] Checked<std::vector<std::byte>> ReadData(const ValueRecord& value) const;

    /// The security descriptor of a key as stored; empty where the key names none.
    [[nodiscard]] Checked<std::span<const std::byte>> SecurityDescriptor(const KeyNode& key) const noexcept;

    /// Whether the medium failed under any byte of `bytes`, which a call of this hive handed out.
    [[nodiscard]] bool MediumFailed(std::span<const std::byte> bytes) const noexcept { return m_map.Failed(bytes); }

    /// Looks into every page under `bytes`, so that they can be read afterwards, and answers whether one of them fails.
    [[nodiscard]] bool IsUnreadable(std::span<const std::byte> bytes) const noexcept;

    /// Brings near what lies a page behind the cell at `offset`. Cells that belong together mostly lie one behind
    /// another, so that it will be wanted soon, and the processor by itself looks no further than the end of a page.
    /// Any offset will do.
    void PrefetchBehind(CellOffset offset) const noexcept
    {
        constexpr std::uint32_t kLine = 64;
        constexpr std::uint32_t kStretch = 4 * kLine; // about what a value takes with its data
        const std::byte* at = m_bins + std::min(offset.value + kBinAlignment, m_length - kStretch);
        for (std::uint32_t line = 0; line < kStretch; line += kLine) {
            __builtin_prefetch(at + line);
        }
    }

    /// No more keys than this lie in the hive, whatever its lists say.
    [[nodiscard]] std::uint32_t MaxKeys() const noexcept { return m_length / kSmallestKeyCell; }

    /// The fault as an error with the file's name, the place in the file and the meaning.
    [[nodiscard]] Error ToError(const HiveFault& fault) const;

    /// The whole file as mapped.
    [[nodiscard]] std::span<const std::byte> FileBytes() const noexcept { return m_bytes; }

    /// The hive bins data, Length() bytes.
    [[nodiscard]] std::span<const std::byte> Bins() const noexcept;

private:
    friend class HiveEditor;
    friend class WritableHive;

    Hive() = default;

    /// For those who change a private copy.
    [[nodiscard]] std::span<std::byte> WritableBins() noexcept
    {
        return m_map.Writable().subspan(kBaseBlockSize, m_length);
    }

    /// Makes the hive bins data `size` bytes longer. False at the end of the reserved room.
    [[nodiscard]] bool Extend(std::uint32_t size);

    /// Takes back what Extend added behind `length`.
    void Shrink(std::uint32_t length) noexcept;
    [[nodiscard]] Result<void> ReadBaseBlock();
    [[gnu::cold, gnu::noinline]] [[nodiscard]] Checked<CellView> CheckedCell(CellOffset offset) const noexcept;
    [[nodiscard]] Checked<std::optional<PlacedValue>> ReadForValue(const ValueListView& values,
                                                                   std::u16string_view name) const;
    [[nodiscard]] Checked<std::optional<PlacedValue>> LookUpValue(const KeyNode& key, const ValueListView& values,
                                                                  std::u16string_view name) const;
    [[nodiscard]] Checked<DataView> LargeData(const ValueRecord& value) const noexcept;
    [[nodiscard]] Checked<std::span<const std::byte>> NextSegment(DataView& data) const noexcept;
    void TouchPages(std::span<const std::byte> bytes) const noexcept;

    std::filesystem::path m_file;
    MappedFile m_map;
    std::span<const std::byte> m_bytes;
    const std::byte* m_bins = nullptr;
    std::uint32_t m_length = 0;
    BaseBlock m_base;
    std::optional<Error> m_damage;
    std::unique_ptr<LookupCache> m_lookups = std::make_unique<LookupCache>(); ///< shared by all who read
};

// What every record passes through is inline, and answers are made where the caller wants them: both together take a
// quarter off a walk.

inline Checked<CellView> Hive::Cell(CellOffset offset) const noexcept
{
    if (offset.value % kCellAlignment == 0 && offset.value <= m_length - kLeastCell && !m_map.AnyFailed()) [[likely]] {
        // The size is stored as a negative number, so that a free cell becomes larger than any hive, and 0 does so by
        // the subtraction. 0 is also what the map reads where it fails.
        const std::byte* at = m_bins + offset.value;
        const std::uint32_t size = 0U - LoadLittle<std::uint32_t>(at);
        if (size % kCellAlignment == 0 && size - 1 < m_length - offset.value) [[likely]] {
            return Checked<CellView>(tl::in_place, at + kCellHeader, size - kCellHeader);
        }
    }
    return CheckedCell(offset);
}

inline bool Hive::IsUnreadable(std::span<const std::byte> bytes) const noexcept
{
    if (bytes.empty()) {
        return false;
    }
    if (bytes.size() <= kBinAlignment) [[likely]] {
        static_cast<void>(*static_cast<const volatile std::byte*>(&bytes.front()));
        static_cast<void>(*static_cast<const volatile std::byte*>(&bytes.back()));
    } else {
        TouchPages(bytes);
    }
    std::atomic_signal_fence(std::memory_order_acq_rel); // the failure is noted by a signal's handler
    return m_map.AnyFailed() && MediumFailed(bytes);
}

inline Checked<DataView> Hive::Data(const ValueRecord& value) const noexcept
{
    if (value.isInline) {
        return Checked<DataView>(tl::in_place, std::span(value.inlineData, value.size));
    }
    if (value.size > kBigDataSegment) {
        return LargeData(value);
    }
    const Checked<CellView> cell = Cell(value.dataCell);
    if (!cell) {
        return tl::unexpected(cell.error());
    }
    if (value.size > cell->size) {
        return Fault(Breach::kValueDataSize, value.dataCell);
    }
    return Checked<DataView>(tl::in_place, std::span(cell->data, value.size));
}

inline Checked<std::span<const std::byte>> Hive::NextPiece(DataView& data) const noexcept
{
    if (data.IsSegmented()) {
        return NextSegment(data);
    }
    const auto piece = data.flatTaken ? std::span<const std::byte>() : data.flat;
    data.flatTaken = true;
    return piece;
}

inline std::span<const std::byte> Hive::Bins() const noexcept
{
    return {m_bins, m_length};
}

} // namespace tolvar
