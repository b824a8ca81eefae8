#include "platform/hive/hive_log.h"

#include <algorithm>
#include <bit>

namespace tolvar {

namespace {

bool IsLength(std::uint32_t length)
{
    return length != 0 && length % kBinAlignment == 0 && length <= kMaxLength;
}

/// Takes the entry at the start of `rest` apart. False if it is none, or was not written to its end.
bool ParseEntry(std::span<const std::byte> rest, LogEntry& entry)
{
    const std::uint32_t size = Load(rest, entry_fields::kSize);
    if (size < kSector || size % kSector != 0 || size > rest.size()) {
        return false;
    }
    const std::span<const std::byte> bytes = rest.first(size);
    entry.flags = Load(bytes, entry_fields::kFlags);
    entry.sequence = Load(bytes, entry_fields::kSequence);
    entry.length = Load(bytes, entry_fields::kLength);
    const std::uint32_t count = Load(bytes, entry_fields::kRanges);
    const bool isHashRight = Load(bytes, entry_fields::kContentHash) == Marvin32(bytes.subspan(kEntryHeader)) &&
                             Load(bytes, entry_fields::kHeaderHash) == Marvin32(bytes.first(kEntryHashed));
    if (!isHashRight || !IsLength(entry.length) || count == 0 || count > (size - kEntryHeader) / kEntryRange) {
        return false;
    }
    std::uint64_t at = kEntryHeader + std::uint64_t{kEntryRange} * count;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t place = Load(bytes, entry_fields::RangePlace(i));
        const std::uint32_t length = Load(bytes, entry_fields::RangeSize(i));
        if (at + length > size || std::uint64_t{place} + length > entry.length) {
            return false;
        }
        entry.ranges.push_back({place, bytes.subspan(at, length)});
        at += length;
    }
    return true;
}

void ParseNewFormat(std::span<const std::byte> file, HiveLog& log)
{
    bool isInRow = true;
    log.highestSequence = log.base.sequence1;
    std::span<const std::byte> rest = file.subspan(kSector);
    while (rest.size() >= kSector && Load(rest, entry_fields::kSignature) == signatures::kLogEntry) {
        LogEntry entry;
        const std::uint32_t size = Load(rest, entry_fields::kSize);
        const std::uint32_t sequence = Load(rest, entry_fields::kSequence);
        if (static_cast<std::int32_t>(sequence - log.highestSequence) > 0) {
            log.highestSequence = sequence;
        }
        const auto expected = static_cast<std::uint32_t>(log.base.sequence1 + log.entries.size());
        isInRow = isInRow && ParseEntry(rest, entry) && entry.sequence == expected;
        if (isInRow) {
            log.entries.push_back(std::move(entry));
        }
        if (size < kSector || size % kSector != 0 || size > rest.size()) {
            break;
        }
        rest = rest.subspan(size);
    }
}

void ParseOldFormat(std::span<const std::byte> file, HiveLog& log)
{
    const std::uint64_t bitmapSize = log.base.length / kPage;
    const std::uint64_t pages = RoundUp(dirty_fields::kBitmap + bitmapSize, kSector);
    log.highestSequence = log.base.sequence1;
    if (file.size() < pages || Load(file, dirty_fields::kSignature) != signatures::kDirtyBitmap) {
        log.kind = HiveLog::Kind::kUnusable;
        return;
    }
    LogEntry entry;
    entry.sequence = log.base.sequence1;
    entry.length = log.base.length;
    entry.flags = log.base.flags;
    std::uint64_t at = pages;
    for (std::uint32_t sector = 0; sector < log.base.length / kSector; ++sector) {
        const auto bits = std::to_integer<unsigned>(file[dirty_fields::kBitmap + sector / 8]);
        if ((bits >> (sector % 8) & 1U) == 0) {
            continue;
        }
        if (at + kSector > file.size()) {
            log.kind = HiveLog::Kind::kUnusable; // it was not written to its end
            return;
        }
        entry.ranges.push_back({sector * kSector, file.subspan(at, kSector)});
        at += kSector;
    }
    log.entries.push_back(std::move(entry));
}

std::vector<std::byte> ComposeNewLog(std::span<const std::byte> base, std::uint32_t sequence,
                                     std::span<const ChangedRun> runs, std::span<const std::byte> bins)
{
    std::size_t at = kEntryHeader + kEntryRange * runs.size();
    std::uint64_t size = at;
    for (const ChangedRun& run : runs) {
        size += run.size;
    }
    // The next entry would begin at a whole page of the file.
    std::vector<std::byte> file(RoundUp(kSector + size, kPage));
    std::ranges::copy(base.first(kBaseBlockChecked), file.begin());
    StoreBaseBlock(std::span(file).first(kBaseBlockChecked), sequence, sequence,
                   static_cast<std::uint32_t>(bins.size()), file_type::kNewLog);
    const std::span<std::byte> entry = std::span(file).subspan(kSector);
    Store(entry, entry_fields::kSignature, signatures::kLogEntry);
    Store(entry, entry_fields::kSize, static_cast<std::uint32_t>(entry.size()));
    Store(entry, entry_fields::kFlags, BaseBlock::Parse(base).flags & kPendingTransactions);
    Store(entry, entry_fields::kSequence, sequence);
    Store(entry, entry_fields::kLength, static_cast<std::uint32_t>(bins.size()));
    Store(entry, entry_fields::kRanges, static_cast<std::uint32_t>(runs.size()));
    for (std::uint32_t i = 0; i < runs.size(); ++i) {
        Store(entry, entry_fields::RangePlace(i), runs[i].begin);
        Store(entry, entry_fields::RangeSize(i), runs[i].size);
        std::ranges::copy(bins.subspan(runs[i].begin, runs[i].size), entry.begin() + static_cast<std::ptrdiff_t>(at));
        at += runs[i].size;
    }
    Store(entry, entry_fields::kContentHash, Marvin32(entry.subspan(kEntryHeader)));
    Store(entry, entry_fields::kHeaderHash, Marvin32(entry.first(kEntryHashed)));
    return file;
}

std::vector<std::byte> ComposeOldLog(std::span<const std::byte> base, std::uint32_t sequence,
                                     std::span<const ChangedRun> runs, std::span<const std::byte> bins)
{
    const std::size_t pages = RoundUp(dirty_fields::kBitmap + bins.size() / kPage, kSector);
    std::size_t size = pages;
    for (const ChangedRun& run : runs) {
        size += run.size;
    }
    std::vector<std::byte> file(size);
    std::ranges::copy(base.first(kBaseBlockChecked), file.begin());
    StoreBaseBlock(std::span(file).first(kBaseBlockChecked), sequence, sequence,
                   static_cast<std::uint32_t>(bins.size()), file_type::kOldLog);
    Store(file, dirty_fields::kSignature, signatures::kDirtyBitmap);
    std::size_t at = pages;
    for (const ChangedRun& run : runs) {
        std::fill_n(file.begin() + dirty_fields::kBitmap + run.begin / kPage, run.size / kPage, std::byte{0xFF});
        std::ranges::copy(bins.subspan(run.begin, run.size), file.begin() + static_cast<std::ptrdiff_t>(at));
        at += run.size;
    }
    return file;
}

} // namespace

std::uint64_t Marvin32(std::span<const std::byte> bytes) noexcept
{
    std::uint32_t low = 0x7A4E55C5;
    std::uint32_t high = 0x82EF4D88;
    const auto mix = [&](std::uint32_t word) {
        low += word;
        high ^= low;
        low = std::rotl(low, 20) + high;
        high = std::rotl(high, 9) ^ low;
        low = std::rotl(low, 27) + high;
        high = std::rotl(high, 19);
    };
    std::size_t at = 0;
    for (; at + 4 <= bytes.size(); at += 4) {
        mix(LoadLittle<std::uint32_t>(bytes.data() + at));
    }
    std::uint32_t last = 0x80;
    for (std::size_t i = bytes.size(); i > at; --i) {
        last = last << 8 | std::to_integer<std::uint32_t>(bytes[i - 1]);
    }
    mix(last);
    mix(0);
    return std::uint64_t{high} << 32 | low;
}

HiveLog HiveLog::Parse(std::span<const std::byte> file)
{
    HiveLog log;
    if (file.size() < kSector || Load(file, base_fields::kSignature) != signatures::kHive) {
        return log;
    }
    log.header = file.first(kSector);
    log.base = BaseBlock::Parse(log.header);
    const bool isValid = log.base.checksum == BaseBlockChecksum(log.header) && log.base.major == kMajor &&
                         log.base.format == kMemoryFormat && log.base.sequence1 == log.base.sequence2 &&
                         IsLength(log.base.length);
    if (isValid && log.base.type == file_type::kNewLog) {
        log.kind = Kind::kNewFormat;
        ParseNewFormat(file, log);
    } else if (isValid && (log.base.type == file_type::kOldLog || log.base.type == file_type::kOldestLog)) {
        log.kind = Kind::kOldFormat;
        ParseOldFormat(file, log);
    }
    return log;
}

std::vector<std::byte> ComposeLog(HiveLog::Kind kind, std::span<const std::byte> base, std::uint32_t sequence,
                                  std::span<const ChangedRun> runs, std::span<const std::byte> bins)
{
    return kind == HiveLog::Kind::kOldFormat ? ComposeOldLog(base, sequence, runs, bins)
                                             : ComposeNewLog(base, sequence, runs, bins);
}

} // namespace tolvar
