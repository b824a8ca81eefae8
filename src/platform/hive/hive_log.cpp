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

/// The hash of bytes that come in pieces, of which all but the last are whole words.
class MarvinHash {
public:
    void Add(std::span<const std::byte> bytes) noexcept
    {
        for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
            Mix(LoadLittle<std::uint32_t>(bytes.data() + at));
        }
        for (std::size_t at = bytes.size(); at > bytes.size() / 4 * 4; --at) {
            m_last = m_last << 8 | std::to_integer<std::uint32_t>(bytes[at - 1]);
        }
    }

    [[nodiscard]] std::uint64_t Finish() noexcept
    {
        Mix(m_last);
        Mix(0);
        return std::uint64_t{m_high} << 32 | m_low;
    }

private:
    void Mix(std::uint32_t word) noexcept
    {
        m_low += word;
        m_high ^= m_low;
        m_low = std::rotl(m_low, 20) + m_high;
        m_high = std::rotl(m_high, 9) ^ m_low;
        m_low = std::rotl(m_low, 27) + m_high;
        m_high = std::rotl(m_high, 19);
    }

    std::uint32_t m_low = 0x7A4E55C5;
    std::uint32_t m_high = 0x82EF4D88;
    std::uint32_t m_last = 0x80;
};

/// Hands small pieces on together and large ones as they lie.
class PieceBuffer {
public:
    explicit PieceBuffer(const PieceSink& write) : m_write(write) {}

    [[nodiscard]] Result<void> Put(std::span<const std::byte> piece)
    {
        if (m_held.size() + piece.size() > kPiece) {
            if (auto written = Flush(); !written) {
                return written;
            }
        }
        if (piece.size() > kPiece) {
            return m_write(piece);
        }
        m_held.insert(m_held.end(), piece.begin(), piece.end());
        return {};
    }

    [[nodiscard]] Result<void> Flush()
    {
        const Result<void> written = m_held.empty() ? Result<void>() : m_write(m_held);
        m_held.clear();
        return written;
    }

private:
    static constexpr std::size_t kPiece = std::size_t{1} << 20; // bytes

    const PieceSink& m_write;
    std::vector<std::byte> m_held;
};

/// The head of a log, the runs as they lie in `bins`, and what the log ends with.
Result<void> WritePieces(std::span<const std::byte> head, std::span<const ChangedRun> runs,
                         std::span<const std::byte> bins, std::span<const std::byte> padding, const PieceSink& write)
{
    PieceBuffer pieces(write);
    auto put = pieces.Put(head);
    for (std::size_t i = 0; i < runs.size() && put; ++i) {
        put = pieces.Put(bins.subspan(runs[i].begin, runs[i].size));
    }
    put = put ? pieces.Put(padding) : put;
    return put ? pieces.Flush() : put;
}

Result<void> WriteNewLog(std::span<const std::byte> base, std::uint32_t sequence, std::span<const ChangedRun> runs,
                         std::span<const std::byte> bins, const PieceSink& write)
{
    std::vector<std::byte> head(kSector + kEntryHeader + kEntryRange * runs.size());
    std::uint64_t size = head.size();
    for (const ChangedRun& run : runs) {
        size += run.size;
    }
    // The next entry would begin at a whole page of the file.
    const std::vector<std::byte> padding(RoundUp(size, kPage) - size);
    std::ranges::copy(base.first(kBaseBlockChecked), head.begin());
    StoreBaseBlock(std::span(head).first(kBaseBlockChecked), sequence, sequence,
                   static_cast<std::uint32_t>(bins.size()), file_type::kNewLog);
    const std::span<std::byte> entry = std::span(head).subspan(kSector);
    Store(entry, entry_fields::kSignature, signatures::kLogEntry);
    Store(entry, entry_fields::kSize, static_cast<std::uint32_t>(size + padding.size() - kSector));
    Store(entry, entry_fields::kFlags, BaseBlock::Parse(base).flags & kPendingTransactions);
    Store(entry, entry_fields::kSequence, sequence);
    Store(entry, entry_fields::kLength, static_cast<std::uint32_t>(bins.size()));
    Store(entry, entry_fields::kRanges, static_cast<std::uint32_t>(runs.size()));
    for (std::uint32_t i = 0; i < runs.size(); ++i) {
        Store(entry, entry_fields::RangePlace(i), runs[i].begin);
        Store(entry, entry_fields::RangeSize(i), runs[i].size);
    }
    MarvinHash content;
    content.Add(entry.subspan(kEntryHeader));
    for (const ChangedRun& run : runs) {
        content.Add(bins.subspan(run.begin, run.size));
    }
    content.Add(padding);
    Store(entry, entry_fields::kContentHash, content.Finish());
    Store(entry, entry_fields::kHeaderHash, Marvin32(entry.first(kEntryHashed)));
    return WritePieces(head, runs, bins, padding, write);
}

Result<void> WriteOldLog(std::span<const std::byte> base, std::uint32_t sequence, std::span<const ChangedRun> runs,
                         std::span<const std::byte> bins, const PieceSink& write)
{
    std::vector<std::byte> head(RoundUp(dirty_fields::kBitmap + bins.size() / kPage, kSector));
    std::ranges::copy(base.first(kBaseBlockChecked), head.begin());
    StoreBaseBlock(std::span(head).first(kBaseBlockChecked), sequence, sequence,
                   static_cast<std::uint32_t>(bins.size()), file_type::kOldLog);
    Store(head, dirty_fields::kSignature, signatures::kDirtyBitmap);
    for (const ChangedRun& run : runs) {
        std::fill_n(head.begin() + dirty_fields::kBitmap + run.begin / kPage, run.size / kPage, std::byte{0xFF});
    }
    return WritePieces(head, runs, bins, {}, write);
}

} // namespace

std::uint64_t Marvin32(std::span<const std::byte> bytes) noexcept
{
    MarvinHash hash;
    hash.Add(bytes);
    return hash.Finish();
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

Result<void> WriteLog(HiveLog::Kind kind, std::span<const std::byte> base, std::uint32_t sequence,
                      std::span<const ChangedRun> runs, std::span<const std::byte> bins, const PieceSink& write)
{
    return kind == HiveLog::Kind::kOldFormat ? WriteOldLog(base, sequence, runs, bins, write)
                                             : WriteNewLog(base, sequence, runs, bins, write);
}

} // namespace tolvar
