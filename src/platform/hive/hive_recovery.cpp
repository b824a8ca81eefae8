#include "platform/hive/hive_recovery.h"

#include <algorithm>

#include <fmt/format.h>

namespace tolvar {

namespace {

bool IsBaseWhole(std::span<const std::byte> file) noexcept
{
    if (file.size() < kBaseBlockSize || Load(file, base_fields::kSignature) != signatures::kHive) {
        return false;
    }
    return BaseBlock::Parse(file).checksum == BaseBlockChecksum(file);
}

/// Sequence numbers go round: a is not before b.
bool IsNotBefore(std::uint32_t a, std::uint32_t b) noexcept
{
    return static_cast<std::int32_t>(a - b) >= 0;
}

std::uint32_t LastSequence(const HiveLog& log)
{
    return log.entries.empty() ? log.base.sequence1 : log.entries.back().sequence;
}

/// Whether a log in the old format belongs to the hive's last flush: both have its time. Where the base block is
/// broken, the first bin has a copy; and of a block that is broken elsewhere the time itself is as good.
bool IsOfLastFlush(const HiveLog& log, std::span<const std::byte> file, bool isBaseWhole)
{
    if (file.size() < kBaseBlockSize + kBinHeaderSize) {
        return false;
    }
    const bool isBaseTime = BaseBlock::Parse(file).timeStamp == log.base.timeStamp;
    return isBaseTime ||
           (!isBaseWhole && Load(file.subspan(kBaseBlockSize), bin_fields::kTimeStamp) == log.base.timeStamp);
}

/// Whether a log was begun for this hive and not for another one: the transaction manager of each hive has a number of
/// its own, which lies in both. Older hives have none, and then nothing speaks against the log.
bool IsOfThisHive(const HiveLog& log, std::span<const std::byte> file)
{
    const auto ours = file.subspan(base_fields::kManager, base_fields::kManagerSize);
    const auto theirs = log.header.subspan(base_fields::kManager, base_fields::kManagerSize);
    const auto isSet = [](std::span<const std::byte> id) {
        return std::ranges::any_of(id, [](std::byte byte) { return byte != std::byte{0}; });
    };
    return !isSet(ours) || !isSet(theirs) || std::ranges::equal(ours, theirs);
}

using Chosen = std::vector<const HiveLogs::Found*>;

/// The logs in the new format that continue the hive, in the order in which they do (docs/hive-format.md, Recovery in
/// the new format).
Chosen ChooseNewFormat(const HiveLogs& logs, std::span<const std::byte> file, bool isBaseWhole)
{
    Chosen candidates;
    for (const HiveLogs::Found& found : logs.All()) {
        if (found.log.kind == HiveLog::Kind::kNewFormat && !found.log.entries.empty() &&
            (!isBaseWhole || IsOfThisHive(found.log, file))) {
            candidates.push_back(&found);
        }
    }
    std::ranges::stable_sort(candidates, [](const auto* left, const auto* right) {
        return !IsNotBefore(left->log.base.sequence1, right->log.base.sequence1);
    });
    if (!isBaseWhole) { // without the hive's own numbers only the latest log can be trusted
        const auto latest = std::ranges::max_element(candidates, [](const auto* left, const auto* right) {
            return !IsNotBefore(LastSequence(left->log), LastSequence(right->log));
        });
        return latest != candidates.end() ? Chosen{*latest} : Chosen{};
    }
    const std::uint32_t least = BaseBlock::Parse(file).sequence2;
    Chosen chosen;
    for (const HiveLogs::Found* found : candidates) {
        const std::uint32_t first = found->log.base.sequence1;
        if (chosen.empty() ? IsNotBefore(first, least) : first == LastSequence(chosen.back()->log) + 1) {
            chosen.push_back(found);
        }
    }
    return chosen;
}

/// The log in the old format that belongs to the hive's last flush; of two, the later one, which then holds all of the
/// earlier (docs/hive-format.md, Recovery in the old format).
Chosen ChooseOldFormat(const HiveLogs& logs, std::span<const std::byte> file, bool isBaseWhole)
{
    const HiveLogs::Found* best = nullptr;
    for (const HiveLogs::Found& found : logs.All()) {
        if (found.log.kind == HiveLog::Kind::kOldFormat && IsOfLastFlush(found.log, file, isBaseWhole) &&
            (best == nullptr || !IsNotBefore(best->log.base.sequence1, found.log.base.sequence1))) {
            best = &found;
        }
    }
    return best != nullptr ? Chosen{best} : Chosen{};
}

Result<void> CheckRead(const HiveLogs::Found& log)
{
    return log.bytes.AnyFailed() ? Failure(ErrorCode::kReadFault, "read " + log.file.string()) : Result<void>();
}

} // namespace

Result<HiveLogs> HiveLogs::Find(FileStore& store, const std::filesystem::path& hive)
{
    HiveLogs logs;
    for (const char* suffix : {".LOG1", ".LOG2", ".LOG"}) {
        const Result<std::optional<std::filesystem::path>> file = store.Find(hive.string() + suffix);
        Result<MappedFile> bytes = !file               ? tl::unexpected(file.error())
                                   : file->has_value() ? store.MapForReading(**file)
                                                       : Failure(ErrorCode::kFileNotFound);
        const bool isThere = file && file->has_value() && store.Exists(**file); // as a link that leads nowhere is
        if (!bytes && bytes.error().code == ErrorCode::kFileNotFound && !isThere) {
            continue;
        }
        if (!bytes) {
            return tl::unexpected(std::move(bytes.error()));
        }
        Found& found = logs.m_found.emplace_back(Found{**file, *std::move(bytes), {}});
        found.log = HiveLog::Parse(found.bytes.Bytes());
        if (auto read = CheckRead(found); !read) {
            return tl::unexpected(std::move(read.error()));
        }
    }
    return logs;
}

std::uint32_t HiveLogs::HighestSequence() const noexcept
{
    std::uint32_t highest = 0;
    for (const Found& found : m_found) {
        if (found.log.kind != HiveLog::Kind::kUnusable &&
            (highest == 0 || IsNotBefore(found.log.highestSequence, highest))) {
            highest = found.log.highestSequence;
        }
    }
    return highest;
}

HiveLog::Kind HiveLogs::Format() const noexcept
{
    bool hasOld = false;
    for (const Found& found : m_found) {
        if (found.log.kind == HiveLog::Kind::kNewFormat) {
            return HiveLog::Kind::kNewFormat;
        }
        hasOld = hasOld || found.log.kind == HiveLog::Kind::kOldFormat;
    }
    return hasOld ? HiveLog::Kind::kOldFormat : HiveLog::Kind::kNewFormat;
}

bool NeedsRecovery(std::span<const std::byte> file) noexcept
{
    if (file.size() < kBaseBlockSize) {
        return false;
    }
    const BaseBlock base = BaseBlock::Parse(file);
    return !IsBaseWhole(file) || base.sequence1 != base.sequence2;
}

namespace {

/// Whether a hive can be as long as a log says: what is neither in the file nor in the log would be made up. Only what
/// lies behind the last used cell of a new bin need not be in a log.
bool IsLengthPossible(std::uint32_t length, std::size_t fileSize, std::span<const ChangedRun> runs)
{
    constexpr std::uint64_t kMostUnlogged = std::uint64_t{1} << 20;
    const std::uint64_t present = fileSize > kBaseBlockSize ? fileSize - kBaseBlockSize : 0;
    std::uint64_t brought = 0;
    for (const ChangedRun& run : runs) {
        const std::uint64_t end = std::uint64_t{run.begin} + run.size;
        brought += end > present ? end - std::max<std::uint64_t>(run.begin, present) : 0;
    }
    return length <= present + brought + kMostUnlogged;
}

} // namespace

Result<RecoveryReport> RecoverHive(MappedFile& hive, const HiveLogs& logs)
{
    const std::size_t fileSize = hive.Bytes().size();
    RecoveryReport report;
    const bool isBaseWhole = IsBaseWhole(hive.Bytes());
    Chosen chosen = ChooseNewFormat(logs, hive.Bytes(), isBaseWhole);
    if (chosen.empty()) {
        chosen = ChooseOldFormat(logs, hive.Bytes(), isBaseWhole);
    }
    if (chosen.empty()) {
        return report;
    }
    if (!isBaseWhole) {
        report.isBaseFromLog = true;
        std::ranges::copy(chosen.front()->log.header, hive.Writable().begin());
    }
    std::uint32_t length = 0;
    std::uint32_t flags = 0;
    for (const HiveLogs::Found* found : chosen) {
        report.logs.push_back(found->file);
        for (const LogEntry& entry : found->log.entries) {
            length = entry.length;
            flags = entry.flags;
            report.sequence = entry.sequence + 1;
            ++report.entries;
            if (hive.Bytes().size() < kBaseBlockSize + std::size_t{length}) {
                if (auto grown = hive.Resize(kBaseBlockSize + std::size_t{length}); !grown) {
                    return tl::unexpected(grown.error());
                }
            }
            for (const LogRange& range : entry.ranges) {
                std::ranges::copy(range.bytes, hive.Writable().begin() + kBaseBlockSize + range.place);
                const auto size = static_cast<std::uint32_t>(range.bytes.size());
                if (!report.runs.empty() && report.runs.back().begin + report.runs.back().size == range.place) {
                    report.runs.back().size += size;
                } else {
                    report.runs.push_back({range.place, size});
                }
            }
        }
        if (auto read = CheckRead(*found); !read) {
            return tl::unexpected(std::move(read.error()));
        }
    }
    if (!IsLengthPossible(length, fileSize, report.runs)) {
        return Failure(ErrorCode::kRegistryCorrupt,
                       fmt::format("{}: it makes a hive of {} bytes, which neither it nor the file holds",
                                   report.logs.back().string(), length));
    }
    const std::span<std::byte> base = hive.Writable().first(kBaseBlockChecked);
    Store(base, base_fields::kFlags,
          (Load(std::span<const std::byte>(base), base_fields::kFlags) & ~kPendingTransactions) |
              (flags & kPendingTransactions));
    StoreBaseBlock(base, report.sequence, report.sequence, length, file_type::kHive);
    return report;
}

namespace {

/// The hive with what its logs hold, in memory alone; nothing where they hold nothing for it.
Result<std::optional<Hive>> OpenRecovered(FileStore& store, const std::filesystem::path& file, RecoveryReport& report)
{
    const Result<HiveLogs> logs = HiveLogs::Find(store, file);
    if (!logs || logs->All().empty()) {
        return logs ? Result<std::optional<Hive>>() : tl::unexpected(logs.error());
    }
    Result<MappedFile> copy = store.Map(file, std::size_t{kMaxLength} + kBaseBlockSize);
    if (!copy || !NeedsRecovery(copy->Bytes())) {
        return copy ? Result<std::optional<Hive>>() : tl::unexpected(std::move(copy.error()));
    }
    Result<RecoveryReport> recovered = RecoverHive(*copy, *logs);
    if (!recovered || !recovered->DidAnything()) {
        return recovered ? Result<std::optional<Hive>>() : tl::unexpected(std::move(recovered.error()));
    }
    report = *std::move(recovered);
    Result<Hive> hive = Hive::FromMap(*std::move(copy), file);
    return hive ? Result<std::optional<Hive>>(*std::move(hive)) : tl::unexpected(std::move(hive.error()));
}

} // namespace

Result<Hive> OpenForReading(FileStore& store, const std::filesystem::path& name, LogFailure logFailure,
                            RecoveryReport& report)
{
    const Result<std::filesystem::path> file = store.RealPath(name); // its logs lie beside it
    Result<MappedFile> map = file ? store.MapForReading(*file) : tl::unexpected(file.error());
    if (!map) {
        return tl::unexpected(std::move(map.error()));
    }
    Result<Hive> hive = Hive::FromMap(*std::move(map), *file);
    if (hive && !hive->NeedsRecovery()) {
        return hive;
    }
    Result<std::optional<Hive>> recovered = OpenRecovered(store, *file, report);
    if (recovered) {
        return *recovered ? **std::move(recovered) : std::move(hive);
    }
    if (hive && logFailure == LogFailure::kReport) {
        report.failure = std::move(recovered.error());
        return hive;
    }
    return tl::unexpected(std::move(recovered.error()));
}

std::string RecoveryNotice(const Hive& hive, const RecoveryReport& recovery, bool isForReading)
{
    const std::string begin = hive.File().string() + " was not closed cleanly: ";
    if (recovery.failure) {
        return begin +
               "its transaction logs can't be applied, so that it can't be written to and its last changes may "
               "be missing: " +
               Describe(*recovery.failure);
    }
    if (recovery.DidAnything()) {
        std::string logs;
        for (const std::filesystem::path& log : recovery.logs) {
            logs += (logs.empty() ? "" : " and ") + log.filename().string();
        }
        return begin + fmt::format("{} set(s) of changes were taken over from {}{}{}", recovery.entries, logs,
                                   recovery.isBaseFromLog ? ", and its base block with them" : "",
                                   isForReading ? ", in memory alone" : "");
    }
    return hive.NeedsRecovery() ? begin + "it has no transaction log that fits, so that its last changes may be missing"
                                : std::string();
}

} // namespace tolvar
