#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

#include <tl/expected.hpp>

#include "platform/hive/cell_offset.h"

namespace tolvar {

/// Every way in which a hive can break its format. The reader answers them, the validator lists them.
enum class Breach : std::uint8_t {
    kNone,
    kMediumFailed,  ///< the file could not be read there, or was cut short while open
    kOffsetOutside, ///< a cell offset that is not in the hive, or not a multiple of 8
    kCellFree,      ///< a record refers to a free cell
    kCellSize,      ///< a cell's size is 0, no multiple of 8, or leads beyond the hive
    kCellTooSmall,  ///< a record does not fit in its cell
    kKeySignature,
    kKeyNameLength,    ///< empty, or longer than the cell or 256 units
    kKeyFlags,         ///< flags that must not be on a disk, or that the root lacks or others must not have
    kKeyVolatile,      ///< volatile subkeys, which are gone with the session that had them
    kKeyParent,        ///< the parent named is not the key that lists it
    kKeyNameCharacter, ///< a backslash in a key's name, which no path can name
    kKeyMaxima,        ///< the maxima of names and data are below the real ones
    kListSignature,
    kListCount,   ///< more elements than the cell holds, or none
    kListNested,  ///< an index of leaves inside another
    kListTotal,   ///< the leaves' counts differ from the key's count of subkeys
    kListOrder,   ///< a name is not above the one before it
    kListHash,    ///< hash or hint is not that of the name
    kListVersion, ///< a kind of list that the hive's version does not have
    kValueListSize,
    kValueSignature,
    kValueNameLength,
    kValueFlags,    ///< flags that do not exist
    kValueInline,   ///< inline data of more than 4 bytes
    kValuePadding,  ///< bytes that are not zero behind inline data of less than 4 bytes
    kValueEmpty,    ///< a cell for data of length 0
    kValueDataSize, ///< the data's cell is smaller than the data
    kBigDataCount,  ///< the number of segments does not match the size
    kDataVersion,   ///< big data where the hive's version has none, or one cell where it has big data
    kClassLength,
    kClassMissing,  ///< a class's length without a cell
    kClassLeftOver, ///< a class's cell without a length
    kSecuritySignature,
    kSecurityLength,
    kSecurityDescriptor, ///< a descriptor that the platform would not take
    kSecurityRing,       ///< the ring of security records is broken
    kSecurityCount,      ///< the reference count is not the number of keys that refer to it
    kSecurityMissing,    ///< a key without a security record
    kShared,             ///< a cell with two owners, or a key below itself
    kDepth,              ///< deeper than 512 levels
    kBinSignature,
    kBinOffset,
    kBinSize,
    kCellNotStart,   ///< a record refers into the middle of a cell
    kFreeNeighbours, ///< two free cells side by side
    kUnreferenced,   ///< an allocated cell that nothing refers to
    kFileShort,      ///< the file ends before the hive does
    kBaseBlock,
};

/// The breach in words, without the place.
[[nodiscard]] std::string_view BreachMeaning(Breach breach) noexcept;

/// A breach and the cell in which it was met.
struct HiveFault {
    Breach breach = Breach::kNone;
    CellOffset at;
};

template <class T>
using Checked = tl::expected<T, HiveFault>;

[[nodiscard]] inline tl::unexpected<HiveFault> Fault(Breach breach, CellOffset at) noexcept
{
    return tl::unexpected<HiveFault>(HiveFault{breach, at});
}

} // namespace tolvar
