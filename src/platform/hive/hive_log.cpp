#include "platform/hive/hive_log.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/hive/cell.h"

namespace tolvar {

namespace {

constexpr std::uint32_t kSector = 512;
constexpr std::uint32_t kPage = 4096;
constexpr std::uint32_t kEntryHeader = 40;
constexpr std::uint32_t kEntrySignature = 0x454C7648; // "HvLE"
constexpr std::uint32_t kDirtySignature = 0x54524944; // "DIRT"
constexpr std::uint32_t kTypeOldLog = 1;
constexpr std::uint32_t kTypeOldestLog = 2;
constexpr std::uint32_t kTypeNewLog = 6;

std::uint32_t Load(std::span<const std::byte> bytes, std::size_t at)
{
    return LoadLittle<std::uint32_t>(bytes.data() + at);
}

void Put(std::span<std::byte> bytes, std::size_t at, std::uint32_t value)
{
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

void Put64(std::span<std::byte> bytes, std::size_t at, std::uint64_t value)
{
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

template <class Number>
Number RoundUp(Number value, std::uint32_t unit)
{
    return (value + unit - 1) / unit * unit;
}

/// Takes the entry at the start of `rest` apart. False if it is none, or was not written to its end.
bool ParseEntry(std::span<const std::byte> rest, LogEntry& entry)
{
    if (rest.size() < kSector || Load(rest, 0) != kEntrySignature) {
        return false;
    }
    const std::uint32_t size = Load(rest, 4);
    if (size < kSector || size % kSector != 0 || size > rest.size()) {
        return false;
    }
    const std::span<const std::byte> bytes = rest.first(size);
    entry.flags = Load(bytes, 8);
    entry.sequence = Load(bytes, 12);
    entry.length = Load(bytes, 16);
    const std::uint32_t count = Load(bytes, 20);
    const bool isHashRight = LoadLittle<std::uint64_t>(bytes.data() + 24) == Marvin32(bytes.subspan(kEntryHeader)) &&
                             LoadLittle<std::uint64_t>(bytes.data() + 32) == Marvin32(bytes.first(32));
    if (!isHashRight || entry.length == 0 || entry.length % kPage != 0 || entry.length > kMaxLength || count == 0 ||
        count > (size - kEntryHeader) / 8) {
        return false;
    }
    std::uint64_t at = kEntryHeader + std::uint64_t{8} * count;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t place = Load(bytes, kEntryHeader + std::size_t{8} * i);
        const std::uint32_t length = Load(bytes, kEntryHeader + std::size_t{8} * i + 4);
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
    std::size_t at = kSector;
    bool isInRow = true;
    log.highestSequence = log.base.sequence1;
    while (at + kSector <= file.size()) {
        LogEntry entry;
        if (Load(file, at) != kEntrySignature) {
            break;
        }
        const std::uint32_t size = Load(file, at + 4);
        const std::uint32_t sequence = Load(file, at + 12);
        if (static_cast<std::int32_t>(sequence - log.highestSequence) > 0) {
            log.highestSequence = sequence;
        }
        const auto expected = static_cast<std::uint32_t>(log.base.sequence1 + log.entries.size());
        isInRow = isInRow && ParseEntry(file.subspan(at), entry) && entry.sequence == expected;
        if (isInRow) {
            log.entries.push_back(std::move(entry));
        }
        if (size < kSector || size % kSector != 0) {
            break;
        }
        at += size;
    }
}

void ParseOldFormat(std::span<const std::byte> file, HiveLog& log)
{
    const std::uint64_t bitmapSize = log.base.length / kPage;
    const std::uint64_t pages = RoundUp(kSector + 4 + bitmapSize, kSector);
    log.highestSequence = log.base.sequence1;
    if (file.size() < pages || Load(file, kSector) != kDirtySignature) {
        log.kind = HiveLog::Kind::kUnusable;
        return;
    }
    LogEntry entry;
    entry.sequence = log.base.sequence1;
    entry.length = log.base.length;
    entry.flags = log.base.flags;
    std::uint64_t at = pages;
    for (std::uint32_t page = 0; page < log.base.length / kSector; ++page) {
        const auto bits = std::to_integer<unsigned>(file[kSector + 4 + page / 8]);
        if ((bits >> (page % 8) & 1U) == 0) {
            continue;
        }
        if (at + kSector > file.size()) {
            log.kind = HiveLog::Kind::kUnusable; // it was not written to its end
            return;
        }
        entry.ranges.push_back({page * kSector, file.subspan(at, kSector)});
        at += kSector;
    }
    log.entries.push_back(std::move(entry));
}

std::vector<std::byte> ComposeNewLog(std::span<const std::byte> base, std::uint32_t sequence,
                                     std::span<const ChangedRun> runs, std::span<const std::byte> bins)
{
    std::uint64_t size = kEntryHeader + 8 * runs.size();
    for (const ChangedRun& run : runs) {
        size += run.size;
    }
    // The next entry would begin at a whole page of the file.
    const std::uint64_t end = RoundUp(kSector + size, kPage);
    std::vector<std::byte> file(end);
    std::ranges::copy(base.first(kBaseBlockChecked), file.begin());
    StoreBaseBlock(std::span(file).first(kBaseBlockChecked), sequence, sequence,
                   static_cast<std::uint32_t>(bins.size()), kTypeNewLog);
    const std::span<std::byte> entry = std::span(file).subspan(kSector);
    Put(entry, 0, kEntrySignature);
    Put(entry, 4, static_cast<std::uint32_t>(entry.size()));
    Put(entry, 8, BaseBlock::Parse(base).flags & 1U);
    Put(entry, 12, sequence);
    Put(entry, 16, static_cast<std::uint32_t>(bins.size()));
    Put(entry, 20, static_cast<std::uint32_t>(runs.size()));
    std::size_t at = kEntryHeader + 8 * runs.size();
    for (std::size_t i = 0; i < runs.size(); ++i) {
        Put(entry, kEntryHeader + 8 * i, runs[i].begin);
        Put(entry, kEntryHeader + 8 * i + 4, runs[i].size);
        std::ranges::copy(bins.subspan(runs[i].begin, runs[i].size), entry.begin() + static_cast<std::ptrdiff_t>(at));
        at += runs[i].size;
    }
    Put64(entry, 24, Marvin32(entry.subspan(kEntryHeader)));
    Put64(entry, 32, Marvin32(entry.first(32)));
    return file;
}

std::vector<std::byte> ComposeOldLog(std::span<const std::byte> base, std::uint32_t sequence,
                                     std::span<const ChangedRun> runs, std::span<const std::byte> bins)
{
    const std::size_t pages = RoundUp(kSector + 4 + bins.size() / kPage, kSector);
    std::size_t size = pages;
    for (const ChangedRun& run : runs) {
        size += run.size;
    }
    std::vector<std::byte> file(size);
    std::ranges::copy(base.first(kBaseBlockChecked), file.begin());
    StoreBaseBlock(std::span(file).first(kBaseBlockChecked), sequence, sequence,
                   static_cast<std::uint32_t>(bins.size()), kTypeOldLog);
    Put(file, kSector, kDirtySignature);
    std::size_t at = pages;
    for (const ChangedRun& run : runs) {
        std::fill_n(file.begin() + kSector + 4 + run.begin / kPage, run.size / kPage, std::byte{0xFF});
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
    if (file.size() < kSector || Load(file, 0) != kHiveSignature) {
        return log;
    }
    log.header = file.first(kSector);
    log.base = BaseBlock::Parse(log.header);
    const bool isValid = log.base.checksum == BaseBlockChecksum(log.header) && log.base.major == 1 &&
                         log.base.format == 1 && log.base.sequence1 == log.base.sequence2 && log.base.length != 0 &&
                         log.base.length % kPage == 0 && log.base.length <= kMaxLength;
    if (isValid && log.base.type == kTypeNewLog) {
        log.kind = Kind::kNewFormat;
        ParseNewFormat(file, log);
    } else if (isValid && (log.base.type == kTypeOldLog || log.base.type == kTypeOldestLog)) {
        log.kind = Kind::kOldFormat;
        ParseOldFormat(file, log);
    }
    return log;
}

void StoreBaseBlock(std::span<std::byte> base, std::uint32_t sequence1, std::uint32_t sequence2, std::uint32_t length,
                    std::uint32_t type)
{
    Put(base, 4, sequence1);
    Put(base, 8, sequence2);
    Put(base, 28, type);
    Put(base, 40, length);
    Put(base, 508, BaseBlockChecksum(base));
}

std::vector<std::byte> ComposeLog(HiveLog::Kind kind, std::span<const std::byte> base, std::uint32_t sequence,
                                  std::span<const ChangedRun> runs, std::span<const std::byte> bins)
{
    return kind == HiveLog::Kind::kOldFormat ? ComposeOldLog(base, sequence, runs, bins)
                                             : ComposeNewLog(base, sequence, runs, bins);
}

} // namespace tolvar
