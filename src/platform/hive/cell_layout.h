#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace tolvar {

// The records of a hive and of its logs: where each field lies, what it is, and what is allowed. docs/hive-format.md
// says what they mean, under the titles that the parts have here. Fields of cells count from the start of the payload,
// all others from the start of their record.

static_assert(std::endian::native == std::endian::little, "hive fields are read as they lie");

/// A field of a record.
template <class T>
struct Field {
    std::uint32_t at; ///< bytes from the start
};

/// Reads a little-endian field. The caller has checked that it lies inside.
template <class T>
[[nodiscard]] inline T LoadLittle(const std::byte* at) noexcept
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <class T>
[[nodiscard]] inline T Load(std::span<const std::byte> record, Field<T> field) noexcept
{
    return LoadLittle<T>(record.data() + field.at);
}

template <class T>
inline void Store(std::span<std::byte> record, Field<T> field, std::type_identity_t<T> value) noexcept
{
    std::memcpy(record.data() + field.at, &value, sizeof value);
}

/// The two letters that a record begins with, as the number that they make.
[[nodiscard]] constexpr std::uint16_t Signature(char first, char second)
{
    return static_cast<std::uint16_t>(static_cast<unsigned char>(first) | static_cast<unsigned char>(second) << 8);
}
[[nodiscard]] constexpr std::uint32_t Signature(const char (&letters)[5])
{
    return std::uint32_t{Signature(letters[2], letters[3])} << 16 | Signature(letters[0], letters[1]);
}

/// What records begin with.
namespace signatures {
inline constexpr std::uint32_t kHive = Signature("regf"); ///< of the base block
inline constexpr std::uint32_t kBin = Signature("hbin");
inline constexpr std::uint16_t kKey = Signature('n', 'k');
inline constexpr std::uint16_t kOffsetList = Signature('l', 'i');
inline constexpr std::uint16_t kHintList = Signature('l', 'f');
inline constexpr std::uint16_t kHashList = Signature('l', 'h');
inline constexpr std::uint16_t kIndex = Signature('r', 'i');
inline constexpr std::uint16_t kValue = Signature('v', 'k');
inline constexpr std::uint16_t kBigData = Signature('d', 'b');
inline constexpr std::uint16_t kSecurity = Signature('s', 'k');
inline constexpr std::uint32_t kDirtyBitmap = Signature("DIRT"); ///< of a log in the old format, a bit a sector
inline constexpr std::uint32_t kLogEntry = Signature("HvLE");    ///< of a log in the new format
} // namespace signatures

/// `value`, or the next multiple of `unit` after it.
template <class Number>
[[nodiscard]] constexpr Number RoundUp(Number value, std::uint32_t unit)
{
    return (value + unit - 1) / unit * unit;
}

// Base block: the start of the file.

inline constexpr std::size_t kBaseBlockSize = 4096;     ///< bytes before the hive bins data
inline constexpr std::size_t kBaseBlockChecked = 512;   ///< bytes of it that the checksum covers and logs copy
inline constexpr std::uint32_t kMaxLength = 0x7FFFF000; ///< of the bins; bit 31 of an offset means volatile storage

inline constexpr std::uint32_t kMajor = 1;           ///< of every version
inline constexpr std::uint32_t kFirstMinor = 2;      ///< the oldest version that is read
inline constexpr std::uint32_t kLastMinor = 6;       ///< and the newest
inline constexpr std::uint32_t kFirstHintMinor = 3;  ///< versions before it know plain lists of subkeys alone
inline constexpr std::uint32_t kBigDataMinor = 4;    ///< the first version with big data records
inline constexpr std::uint32_t kFirstHashMinor = 5;  ///< the first version whose lists of subkeys have hashes
inline constexpr std::uint32_t kFirstLayerMinor = 6; ///< the first version whose keys may lie over others
inline constexpr std::uint32_t kMemoryFormat = 1;    ///< the only format of a file there is

/// What a file with a base block is.
namespace file_type {
inline constexpr std::uint32_t kHive = 0;
inline constexpr std::uint32_t kOldLog = 1;
inline constexpr std::uint32_t kOldestLog = 2; ///< up to Windows 2000, and laid out as kOldLog
inline constexpr std::uint32_t kNewLog = 6;
} // namespace file_type

namespace base_fields {
inline constexpr Field<std::uint32_t> kSignature{0};
inline constexpr Field<std::uint32_t> kSequence1{4};
inline constexpr Field<std::uint32_t> kSequence2{8};
inline constexpr Field<std::uint64_t> kTimeStamp{12};
inline constexpr Field<std::uint32_t> kMajor{20};
inline constexpr Field<std::uint32_t> kMinor{24};
inline constexpr Field<std::uint32_t> kType{28};
inline constexpr Field<std::uint32_t> kFormat{32};
inline constexpr Field<std::uint32_t> kRootCell{36};
inline constexpr Field<std::uint32_t> kLength{40};
inline constexpr Field<std::uint32_t> kCluster{44};
inline constexpr std::uint32_t kManager = 112; ///< the number of the transaction manager
inline constexpr std::uint32_t kManagerSize = 16;
inline constexpr Field<std::uint32_t> kFlags{144};
inline constexpr Field<std::uint32_t> kManagerSignature{164}; ///< kManagerMagic where kManager means something
inline constexpr std::uint32_t kManagerMagic = 0x6D746D72;    ///< "rmtm"
inline constexpr Field<std::uint32_t> kChecksum{508};
} // namespace base_fields

inline constexpr std::uint32_t kPendingTransactions = 1; ///< the one of the base block's flags that a log brings
inline constexpr std::uint32_t kHasLayers =
    2; ///< of these flags from kFirstLayerMinor on: layer bits and tombstones count

// Bins.

inline constexpr std::uint32_t kBinAlignment = 4096; ///< bytes
inline constexpr std::uint32_t kBinHeaderSize = 32;

namespace bin_fields {
inline constexpr Field<std::uint32_t> kSignature{0};
inline constexpr Field<std::uint32_t> kOffset{4};
inline constexpr Field<std::uint32_t> kSize{8};
inline constexpr Field<std::uint64_t> kTimeStamp{20}; ///< in the first bin
} // namespace bin_fields

// Cells: a size, negative where the cell is allocated, and the payload.

inline constexpr std::uint32_t kCellHeader = 4; ///< bytes
inline constexpr std::uint32_t kCellAlignment = 8;
inline constexpr std::uint32_t kLeastCell = 8;         ///< bytes with the header
inline constexpr std::uint32_t kExactCell = 16384;     ///< larger cells have sizes that are powers of two
inline constexpr std::uint32_t kMaxCell = 1024 * 1024; ///< bytes with the header

/// Bytes of the cell that holds `payload`, its header included.
[[nodiscard]] constexpr std::uint32_t CellSize(std::uint32_t payload)
{
    const std::uint32_t size = RoundUp(payload + kCellHeader, kCellAlignment);
    return size <= kExactCell ? std::max(kLeastCell, size) : std::bit_ceil(size);
}

// Key nodes.

inline constexpr std::uint32_t kKeyFixedSize = 76;   ///< bytes before the name
inline constexpr std::size_t kMaxKeyNameUnits = 256; ///< that are read, one more than writers may use
inline constexpr std::size_t kMaxKeyName = 255;      ///< UTF-16 units that a writer may use
inline constexpr std::size_t kMaxClassUnits = 32767;
inline constexpr unsigned kMaxDepth = 512; ///< levels of keys

/// Bytes of the smallest cell that holds a key: how many of these a hive's length holds bounds the number of its keys.
inline constexpr std::uint32_t kSmallestKeyCell = CellSize(kKeyFixedSize);

namespace key_fields {
inline constexpr Field<std::uint16_t> kSignature{0};
inline constexpr Field<std::uint16_t> kFlags{2};
inline constexpr Field<std::uint64_t> kLastWrite{4};
inline constexpr Field<std::uint8_t> kAccessBits{12};
inline constexpr Field<std::uint8_t> kLayerBits{13};
inline constexpr Field<std::uint32_t> kParent{16};
inline constexpr Field<std::uint32_t> kSubkeyCount{20};
inline constexpr Field<std::uint32_t> kVolatileCount{24};
inline constexpr Field<std::uint32_t> kSubkeyList{28};
inline constexpr Field<std::uint32_t> kVolatileList{32};
inline constexpr Field<std::uint32_t> kValueCount{36};
inline constexpr Field<std::uint32_t> kValueList{40};
inline constexpr Field<std::uint32_t> kSecurity{44};
inline constexpr Field<std::uint32_t> kClass{48};
inline constexpr Field<std::uint16_t> kMaxName{52};
inline constexpr Field<std::uint8_t> kVirtualization{54};
inline constexpr Field<std::uint8_t> kDebug{55};
inline constexpr Field<std::uint32_t> kMaxClass{56};
inline constexpr Field<std::uint32_t> kMaxValueName{60};
inline constexpr Field<std::uint32_t> kMaxValueData{64};
inline constexpr Field<std::uint16_t> kNameLength{72};
inline constexpr Field<std::uint16_t> kClassLength{74};
inline constexpr std::uint32_t kName = kKeyFixedSize;
} // namespace key_fields

/// Flags of a key.
namespace key_flags {
inline constexpr std::uint16_t kVolatile = 0x0001;
inline constexpr std::uint16_t kHiveExit = 0x0002;
inline constexpr std::uint16_t kHiveEntry = 0x0004;
inline constexpr std::uint16_t kNoDelete = 0x0008;
inline constexpr std::uint16_t kSymbolicLink = 0x0010;
inline constexpr std::uint16_t kLatin1Name = 0x0020;
inline constexpr std::uint16_t kPredefinedHandle = 0x0040;

/// Those of the root of a hive.
inline constexpr std::uint16_t kOfRoot = kHiveEntry | kNoDelete;

/// Those that say where a key stands and how its name is stored, and not what it is.
inline constexpr std::uint16_t kOfPlace = kVolatile | kHiveExit | kHiveEntry | kLatin1Name;
} // namespace key_flags

/// Of a key's virtualization flags: what they say holds for its subkeys too, which take over the upper half.
inline constexpr std::uint8_t kVirtualizeBelow = 0x80;
inline constexpr std::uint8_t kVirtualizationMask = 0xF0;

// Subkey lists: a signature, a count, and elements of an offset or of an offset and a tag.

inline constexpr std::uint32_t kListHeader = 4;    ///< bytes
inline constexpr std::uint32_t kPlainElement = 4;  ///< bytes
inline constexpr std::uint32_t kTaggedElement = 8; ///< bytes
inline constexpr std::uint32_t kMaxHintLeaf = 507; ///< elements; beyond it the platform drops the hints
inline constexpr std::uint32_t kMaxLeaf = 1013;    ///< elements of the others
inline constexpr std::uint32_t kWrittenLeaf = 507; ///< what the platform puts into a list that it writes in one go

namespace list_fields {
inline constexpr Field<std::uint16_t> kSignature{0};
inline constexpr Field<std::uint16_t> kCount{2};
[[nodiscard]] constexpr Field<std::uint32_t> Offset(std::uint32_t index, std::uint32_t elementSize)
{
    return {kListHeader + index * elementSize};
}
[[nodiscard]] constexpr Field<std::uint32_t> Tag(std::uint32_t index)
{
    return {kListHeader + index * kTaggedElement + 4};
}
} // namespace list_fields

/// Element of a bare list of offsets, as keys have of their values and big data of its segments.
[[nodiscard]] constexpr Field<std::uint32_t> OffsetAt(std::uint32_t index)
{
    return {index * std::uint32_t{sizeof(std::uint32_t)}};
}

// Values.

inline constexpr std::uint32_t kValueFixedSize = 20;                      ///< bytes before the name
inline constexpr std::size_t kMaxValueName = 16383;                       ///< UTF-16 units
inline constexpr std::uint32_t kMaxValues = (kMaxCell - kCellHeader) / 4; ///< of one key
inline constexpr std::uint32_t kInlineFlag = 0x80000000; ///< of the length: the data lies in place of its offset
inline constexpr std::uint32_t kMaxInline = 4;           ///< bytes
inline constexpr std::uint16_t kLatin1ValueName = 1;     ///< of the flags
inline constexpr std::uint16_t kTombstone = 2;           ///< of the flags: hides a value of a layer below

namespace value_fields {
inline constexpr Field<std::uint16_t> kSignature{0};
inline constexpr Field<std::uint16_t> kNameLength{2};
inline constexpr Field<std::uint32_t> kDataLength{4};
inline constexpr Field<std::uint32_t> kData{8};
inline constexpr Field<std::uint32_t> kType{12};
inline constexpr Field<std::uint16_t> kFlags{16};
inline constexpr std::uint32_t kName = kValueFixedSize;
} // namespace value_fields

// Big data: a head, a list of segments, and the segments.

inline constexpr std::uint32_t kBigDataHead = 8;            ///< bytes
inline constexpr std::uint32_t kBigDataSegment = 16344;     ///< bytes that each segment but the last one carries
inline constexpr std::uint32_t kBigDataSegmentCell = 16348; ///< payload of each segment's cell, the last one's too
inline constexpr std::size_t kMaxSegments = 65535;

namespace big_data_fields {
inline constexpr Field<std::uint16_t> kSignature{0};
inline constexpr Field<std::uint16_t> kCount{2};
inline constexpr Field<std::uint32_t> kList{4};
} // namespace big_data_fields

// Security records: a ring of them.

inline constexpr std::uint32_t kSecurityFixedSize = 20; ///< bytes before the descriptor
inline constexpr std::size_t kMaxDescriptor = 65535;    ///< bytes

namespace security_fields {
inline constexpr Field<std::uint16_t> kSignature{0};
inline constexpr Field<std::uint32_t> kNext{4};
inline constexpr Field<std::uint32_t> kPrevious{8};
inline constexpr Field<std::uint32_t> kReferences{12};
inline constexpr Field<std::uint32_t> kLength{16};
inline constexpr std::uint32_t kDescriptor = kSecurityFixedSize;
} // namespace security_fields

// Transaction logs. Both formats begin with a sector that is a base block.

inline constexpr std::uint32_t kSector = 512;     ///< bytes
inline constexpr std::uint32_t kPage = 4096;      ///< bytes; what a flush writes
inline constexpr std::uint32_t kEntryHeader = 40; ///< bytes before the ranges
inline constexpr std::uint32_t kEntryHashed = 32; ///< bytes of it that its own hash covers
inline constexpr std::uint32_t kEntryRange = 8;   ///< bytes: a place and a size

namespace dirty_fields {
inline constexpr Field<std::uint32_t> kSignature{kSector};
inline constexpr std::uint32_t kBitmap = kSector + 4;
} // namespace dirty_fields

namespace entry_fields {
inline constexpr Field<std::uint32_t> kSignature{0};
inline constexpr Field<std::uint32_t> kSize{4};
inline constexpr Field<std::uint32_t> kFlags{8};
inline constexpr Field<std::uint32_t> kSequence{12};
inline constexpr Field<std::uint32_t> kLength{16};
inline constexpr Field<std::uint32_t> kRanges{20};
inline constexpr Field<std::uint64_t> kContentHash{24};
inline constexpr Field<std::uint64_t> kHeaderHash{32};
[[nodiscard]] constexpr Field<std::uint32_t> RangePlace(std::uint32_t index)
{
    return {kEntryHeader + kEntryRange * index};
}
[[nodiscard]] constexpr Field<std::uint32_t> RangeSize(std::uint32_t index)
{
    return {RangePlace(index).at + 4};
}
} // namespace entry_fields

} // namespace tolvar
