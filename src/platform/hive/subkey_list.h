#pragma once

#include <cstdint>

#include "platform/hive/breach.h"
#include "platform/hive/cell.h"
#include "platform/hive/cell_offset.h"
#include "platform/hive/name_view.h"

namespace tolvar {

class Hive;

/// The records that list subkeys (docs/hive-format.md, Subkey lists).
enum class ListKind : std::uint8_t {
    kOffsets, ///< li: offsets alone
    kHints,   ///< lf: with the first four characters
    kHashes,  ///< lh: with a hash of the name
    kIndex,   ///< ri: of leaves, one level deep
};

/// What a list of that kind begins with.
[[nodiscard]] constexpr std::uint16_t SignatureOf(ListKind kind)
{
    switch (kind) {
    case ListKind::kOffsets:
        return signatures::kOffsetList;
    case ListKind::kHints:
        return signatures::kHintList;
    case ListKind::kHashes:
        return signatures::kHashList;
    case ListKind::kIndex:
        break;
    }
    return signatures::kIndex;
}

/// What a list of that kind keeps of a name beside the key's offset; 0 for nothing.
[[nodiscard]] inline std::uint32_t TagOf(ListKind kind, std::u16string_view name)
{
    return kind == ListKind::kHashes ? NameHash(name) : kind == ListKind::kHints ? NameHint(name) : 0;
}

/// A list of subkeys, its count checked against its cell.
struct SubkeyList {
    ListKind kind = ListKind::kOffsets;
    std::uint32_t count = 0;
    std::uint32_t elementSize = kPlainElement; ///< bytes
    CellView cell;

    [[nodiscard]] CellOffset Offset(std::uint32_t index) const noexcept
    {
        return cell.Offset(list_fields::Offset(index, elementSize));
    }

    /// Hint or hash of an element. Only for kHints and kHashes.
    [[nodiscard]] std::uint32_t Tag(std::uint32_t index) const noexcept { return cell.Get(list_fields::Tag(index)); }

    [[nodiscard]] static Checked<SubkeyList> Parse(const Hive& hive, CellOffset offset) noexcept;

    /// Parse, and refuses an index: one can't lie inside another.
    [[nodiscard]] static Checked<SubkeyList> ParseLeaf(const Hive& hive, CellOffset offset) noexcept;
};

} // namespace tolvar
