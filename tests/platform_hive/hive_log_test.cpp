#include <cstring>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/log_file.h"
#include "fixtures/power_cut_store.h"
#include "fixtures/scratch_folder.h"
#include "platform/hive/hive_recovery.h"
#include "platform/hive/scratch_hive.h"
#include "platform/hive/writable_hive.h"
#include "platform_hive/changed_hive.h"

namespace tolvar {
namespace {

using fixtures::PowerCutStore;
using File = std::vector<std::byte>;
using Kind = HiveLog::Kind;

constexpr std::size_t kMark = 4000; // in the bins: free room of an empty hive that tells who wrote it last

/// An empty hive of two bins, with these sequence numbers and `time`.
File HiveWith(std::uint32_t sequence1, std::uint32_t sequence2, std::uint64_t time = 7)
{
    File file = EmptyHive(u"ROOT", time);
    file.resize(file.size() + kBinAlignment);
    std::ranges::copy(std::span(file).subspan(4096, 12), file.begin() + 8192);
    const std::span<std::byte> second = std::span(file).subspan(8192);
    Store(second, bin_fields::kOffset, 4096);
    Store(second, Field<std::uint32_t>{32}, 4096 - 32);
    StoreBaseBlock(std::span(file).first(512), sequence1, sequence2, 8192, 0);
    return file;
}

/// A log of `hive` that marks its bins with `mark`.
File LogWith(Kind kind, File hive, std::uint32_t sequence, unsigned mark)
{
    hive[4096 + kMark] = static_cast<std::byte>(mark);
    const ChangedRun run{0, 4096};
    return fixtures::LogFile(kind, std::span(hive).first(512), sequence, {&run, 1}, std::span(hive).subspan(4096));
}

/// A log in the new format with several entries in a row.
File Entries(std::initializer_list<std::pair<std::uint32_t, unsigned>> entries)
{
    File log;
    for (const auto& [sequence, mark] : entries) {
        const File one = LogWith(Kind::kNewFormat, HiveWith(1, 1), sequence, mark);
        log.insert(log.end(), one.begin() + (log.empty() ? 0 : 512), one.end());
    }
    return log;
}

std::span<std::byte> EntryOf(File& log)
{
    return std::span(log).subspan(kSector);
}

/// Signs an entry again after a change.
void Sign(std::span<std::byte> entry)
{
    const std::uint32_t size = Load(std::span<const std::byte>(entry), entry_fields::kSize);
    Store(entry, entry_fields::kContentHash, Marvin32(entry.first(size).subspan(kEntryHeader)));
    Store(entry, entry_fields::kHeaderHash, Marvin32(entry.first(kEntryHashed)));
}

TEST(HiveLog, ReadsBackWhatItWrites)
{
    const File hive = HiveWith(3, 3);
    const ChangedRun runs[] = {{0, 4096}, {4096, 4096}};
    for (const Kind kind : {Kind::kOldFormat, Kind::kNewFormat}) {
        for (const std::size_t count : {1U, 2U}) {
            const File file = fixtures::LogFile(kind, std::span(hive).first(512), 5, std::span(runs).first(count),
                                                std::span(hive).subspan(4096));
            const HiveLog log = HiveLog::Parse(file);
            ASSERT_EQ(log.kind, kind);
            ASSERT_EQ(log.entries.size(), 1U);
            EXPECT_EQ(log.entries[0].sequence, 5U);
            EXPECT_EQ(log.entries[0].length, 8192U);
            EXPECT_EQ(log.highestSequence, 5U);
            std::size_t bytes = 0;
            for (const LogRange& range : log.entries[0].ranges) {
                EXPECT_EQ(range.place, bytes);
                EXPECT_TRUE(std::ranges::equal(range.bytes, std::span(hive).subspan(4096 + bytes, range.bytes.size())));
                bytes += range.bytes.size();
            }
            EXPECT_EQ(bytes, count * 4096);
            EXPECT_EQ(HiveLog::Parse(std::span(file).first(file.size() - 1)).entries.size(), 0U) << "cut short";
        }
    }
}

TEST(HiveLog, GoesOutInPiecesThatAreSmallOrLieInTheHive)
{
    constexpr std::uint32_t kMiB = 1 << 20;
    File hive = HiveWith(3, 3);
    hive.resize(4096 + 6 * kMiB);
    for (std::size_t i = 4096; i < hive.size(); i += 4096) {
        hive[i + 5] = static_cast<std::byte>(i / 4096);
    }
    const std::span<const std::byte> bins = std::span(hive).subspan(4096);
    std::vector<ChangedRun> runs;
    for (std::uint32_t page = 0; page < 2 * kMiB; page += 8192) { // a megabyte of single pages
        runs.push_back({page, 4096});
    }
    runs.push_back({2 * kMiB, 3 * kMiB});
    runs.push_back({5 * kMiB + 4096, 4096});
    for (const Kind kind : {Kind::kOldFormat, Kind::kNewFormat}) {
        unsigned pieces = 0;
        const auto count = [&](std::span<const std::byte> piece) {
            ++pieces;
            EXPECT_TRUE(piece.size() <= kMiB || (piece.data() >= bins.data() && piece.data() < &bins.back()));
            return Result<void>();
        };
        ASSERT_TRUE(WriteLog(kind, std::span(hive).first(512), 5, runs, bins, count));
        EXPECT_GT(pieces, 3U);
        unsigned seen = 0;
        const auto failing = [&seen](std::span<const std::byte>) {
            return ++seen == 3 ? Failure(ErrorCode::kDiskFull) : Result<void>();
        };
        const Result<void> failed = WriteLog(kind, std::span(hive).first(512), 5, runs, bins, failing);
        EXPECT_TRUE(!failed && failed.error().code == ErrorCode::kDiskFull && seen == 3);

        const File file = fixtures::LogFile(kind, std::span(hive).first(512), 5, runs, bins);
        const HiveLog log = HiveLog::Parse(file);
        ASSERT_EQ(log.entries.size(), 1U);
        std::size_t bytes = 0;
        for (const LogRange& range : log.entries[0].ranges) {
            EXPECT_TRUE(std::ranges::equal(range.bytes, bins.subspan(range.place, range.bytes.size())));
            bytes += range.bytes.size();
        }
        EXPECT_EQ(bytes, 4 * kMiB + 4096);
        EXPECT_EQ(file.size() % (kind == Kind::kNewFormat ? 4096 : 512), 0U);
    }
}

TEST(HiveLog, TakesEntriesInARowThatAreWhole)
{
    struct Case {
        const char* what;
        std::size_t entries;
        std::uint32_t highest;
        void (*change)(File& log);
    };
    for (const Case& c : {
             Case{"whole", 2, 9, [](File&) {}},
             Case{"content", 0, 9, [](File& log) { log[kSector + 100] ^= std::byte{1}; }},
             Case{"header", 0, 9, [](File& log) { Store(EntryOf(log), entry_fields::kFlags, 1); }},
             Case{"no entry", 0, 8, [](File& log) { Store(EntryOf(log), entry_fields::kSignature, 0); }},
             Case{"not the base's", 0, 20,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::kSequence, 20);
                      Sign(EntryOf(log));
                  }},
             Case{"not the next", 1, 12,
                  [](File& log) {
                      const std::span<std::byte> second = std::span(log).subspan(kSector + 7680);
                      Store(second, entry_fields::kSequence, 12);
                      Sign(second);
                  }},
             Case{"size of half a sector", 0, 8, [](File& log) { Store(EntryOf(log), entry_fields::kSize, 256); }},
             Case{"odd size", 0, 8, [](File& log) { Store(EntryOf(log), entry_fields::kSize, 7681); }},
             Case{"size beyond the file", 0, 8, [](File& log) { Store(EntryOf(log), entry_fields::kSize, 1 << 20); }},
             Case{"no length", 0, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::kLength, 0);
                      Sign(EntryOf(log));
                  }},
             Case{"odd length", 0, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::kLength, 8192 + 512);
                      Sign(EntryOf(log));
                  }},
             Case{"huge length", 0, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::kLength, 0x80000000);
                      Sign(EntryOf(log));
                  }},
             Case{"no ranges", 0, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::kRanges, 0);
                      Sign(EntryOf(log));
                  }},
             Case{"too many ranges", 0, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::kRanges, 5000);
                      Sign(EntryOf(log));
                  }},
             Case{"a range to the end of the entry", 2, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::RangeSize(0), 7680 - 48);
                      Sign(EntryOf(log));
                  }},
             Case{"a range beyond the entry", 0, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::RangeSize(0), 7680 - 47);
                      Sign(EntryOf(log));
                  }},
             Case{"a range to the end of the hive", 2, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::RangePlace(0), 4096);
                      Sign(EntryOf(log));
                  }},
             Case{"a range beyond the hive", 0, 9,
                  [](File& log) {
                      Store(EntryOf(log), entry_fields::RangePlace(0), 4097);
                      Sign(EntryOf(log));
                  }},
             Case{"another version", 0, 0,
                  [](File& log) {
                      Store(std::span(log), base_fields::kMajor, 2);
                      Store(std::span(log), base_fields::kChecksum, BaseBlockChecksum(log));
                  }},
             Case{"not closed", 0, 0, [](File& log) { StoreBaseBlock(log, 8, 7, 8192, file_type::kNewLog); }},
             Case{"no log", 0, 0, [](File& log) { StoreBaseBlock(log, 8, 8, 8192, file_type::kHive); }},
             Case{"odd base", 0, 0, [](File& log) { StoreBaseBlock(log, 8, 8, 8191, file_type::kNewLog); }},
             Case{"checksum", 0, 0, [](File& log) { log[508] ^= std::byte{1}; }},
         }) {
        SCOPED_TRACE(c.what);
        File file = Entries({{8, 1}, {9, 2}});
        ASSERT_EQ(Load(std::span<const std::byte>(file).subspan(512), entry_fields::kSize), 7680U);
        c.change(file);
        const HiveLog log = HiveLog::Parse(file);
        EXPECT_EQ(log.entries.size(), c.entries);
        EXPECT_EQ(log.highestSequence, c.highest);
        EXPECT_EQ(log.kind, c.highest == 0 ? Kind::kUnusable : Kind::kNewFormat);
    }
}

TEST(HiveRecovery, ChoosesAmongLogs)
{
    const auto newLog = [](std::uint32_t sequence, unsigned mark) {
        return LogWith(Kind::kNewFormat, HiveWith(1, 1), sequence, mark);
    };
    const auto oldLog = [](std::uint32_t sequence, unsigned mark, std::uint64_t time = 7) {
        return LogWith(Kind::kOldFormat, HiveWith(1, 1, time), sequence, mark);
    };
    const auto ofManager = [](File file, unsigned id) {
        file[base_fields::kManager + 15] = static_cast<std::byte>(id);
        Store(std::span(file), base_fields::kChecksum, BaseBlockChecksum(file));
        return file;
    };
    File broken = HiveWith(9, 8);
    broken[508] ^= std::byte{1};
    File brokenTime = broken;
    Store(std::span(brokenTime), base_fields::kTimeStamp, 8); // the bin has it still
    struct Case {
        const char* what;
        File hive;
        File log1;
        File log2;
        std::vector<std::string> applied;
        unsigned mark;
        std::uint32_t sequence; ///< of both in the base block, where anything was applied
    };
    for (const Case& c : {
             Case{"one", HiveWith(9, 8), newLog(8, 1), {}, {"H.LOG1"}, 1, 9},
             Case{"a later one", HiveWith(9, 8), newLog(11, 1), {}, {"H.LOG1"}, 1, 12},
             Case{"an earlier one", HiveWith(9, 8), newLog(7, 1), {}, {}, 0, 0},
             Case{"two in a row", HiveWith(9, 8), newLog(8, 1), newLog(9, 2), {"H.LOG1", "H.LOG2"}, 2, 10},
             Case{"two in a row, turned", HiveWith(9, 8), newLog(9, 1), newLog(8, 2), {"H.LOG2", "H.LOG1"}, 1, 10},
             Case{"two with a gap", HiveWith(9, 8), newLog(8, 1), newLog(10, 2), {"H.LOG1"}, 1, 9},
             Case{"two entries", HiveWith(9, 8), Entries({{8, 1}, {9, 2}}), newLog(10, 3), {"H.LOG1", "H.LOG2"}, 3, 11},
             Case{"round the end of numbers",
                  HiveWith(0, 0xFFFFFFFF),
                  newLog(0, 2),
                  newLog(0xFFFFFFFF, 1),
                  {"H.LOG2", "H.LOG1"},
                  2,
                  1},
             Case{"the old beside the new", HiveWith(9, 8), oldLog(9, 1), newLog(8, 2), {"H.LOG2"}, 2, 9},
             Case{"old", HiveWith(9, 8), oldLog(8, 1), {}, {"H.LOG1"}, 1, 9},
             Case{"old, of another time", HiveWith(9, 8), oldLog(8, 1, 8), {}, {}, 0, 0},
             Case{"two old", HiveWith(9, 8), oldLog(9, 1), oldLog(8, 2), {"H.LOG1"}, 1, 10},
             Case{"two old, turned", HiveWith(9, 8), oldLog(8, 1), oldLog(9, 2), {"H.LOG2"}, 2, 10},
             Case{"its manager's", ofManager(HiveWith(9, 8), 1), ofManager(newLog(8, 1), 1), {}, {"H.LOG1"}, 1, 9},
             Case{"another manager's", ofManager(HiveWith(9, 8), 1), ofManager(newLog(8, 1), 2), {}, {}, 0, 0},
             Case{"no manager's", ofManager(HiveWith(9, 8), 1), newLog(8, 1), {}, {"H.LOG1"}, 1, 9},
             Case{"broken base", broken, newLog(8, 1), newLog(9, 2), {"H.LOG2"}, 2, 10},
             Case{"broken base, turned", broken, newLog(9, 1), newLog(8, 2), {"H.LOG1"}, 1, 10},
             Case{"broken base, old", broken, oldLog(8, 1), {}, {"H.LOG1"}, 1, 9},
             Case{"broken time", brokenTime, oldLog(8, 1), {}, {"H.LOG1"}, 1, 9},
             Case{"no log of either", HiveWith(9, 8), File(600), {}, {}, 0, 0},
         }) {
        SCOPED_TRACE(c.what);
        PowerCutStore store;
        store.Put("H", c.hive);
        store.Put("H.LOG1", c.log1);
        store.Put("H.LOG2", c.log2);
        MappedFile copy = store.Map("H", std::size_t{1} << 24).value();
        ASSERT_TRUE(NeedsRecovery(copy.Bytes()));
        const RecoveryReport report = RecoverHive(copy, HiveLogs::Find(store, "H").value()).value();
        std::vector<std::string> applied;
        std::ranges::transform(report.logs, std::back_inserter(applied), [](const auto& log) { return log.string(); });
        EXPECT_EQ(applied, c.applied);
        EXPECT_EQ(report.DidAnything(), !c.applied.empty());
        EXPECT_EQ(std::to_integer<unsigned>(copy.Bytes()[4096 + kMark]), c.mark);
        EXPECT_EQ(report.sequence, c.sequence);
        EXPECT_EQ(NeedsRecovery(copy.Bytes()), c.applied.empty());
        if (!c.applied.empty()) {
            const BaseBlock base = BaseBlock::Parse(copy.Bytes());
            EXPECT_EQ(base.sequence1, c.sequence);
            EXPECT_EQ(base.sequence2, c.sequence);
            EXPECT_EQ(base.length, 8192U);
            EXPECT_EQ(report.isBaseFromLog, BaseBlockChecksum(c.hive) != BaseBlock::Parse(c.hive).checksum);
            ASSERT_FALSE(report.runs.empty());
            EXPECT_EQ(report.runs.front().begin, 0U);
            EXPECT_EQ(report.runs.front().size, 4096U);
        }
    }
}

TEST(HiveRecovery, IsForHivesThatAreNotClosedOrBroken)
{
    File checksum = HiveWith(8, 8);
    checksum[508] ^= std::byte{1};
    EXPECT_FALSE(NeedsRecovery(HiveWith(8, 8)));
    EXPECT_TRUE(NeedsRecovery(HiveWith(9, 8)));
    EXPECT_TRUE(NeedsRecovery(checksum));
    EXPECT_TRUE(NeedsRecovery(File(4096)));
    EXPECT_FALSE(NeedsRecovery(File(4095))) << "no hive at all";
}

TEST(HiveRecovery, GrowsAHiveAndBringsTheFlagOfItsLog)
{
    const File grown = [] {
        File file = HiveWith(8, 8);
        Store(std::span(file), base_fields::kFlags, 3);
        return file;
    }();
    const ChangedRun run{4096, 4096};
    for (const Kind kind : {Kind::kOldFormat, Kind::kNewFormat}) {
        PowerCutStore store;
        File hive = HiveWith(9, 8);
        hive.resize(8192);
        StoreBaseBlock(std::span(hive).first(512), 9, 8, 4096, 0);
        store.Put("H", hive);
        store.Put("H.LOG",
                  fixtures::LogFile(kind, std::span(grown).first(512), 8, {&run, 1}, std::span(grown).subspan(4096)));
        RecoveryReport report;
        const Result<Hive> read = OpenForReading(store, "H", LogFailure::kRefuse, report);
        ASSERT_TRUE(read && report.DidAnything());
        EXPECT_FALSE(read->NeedsRecovery());
        EXPECT_EQ(read->Length(), 8192U);
        MappedFile copy = store.Map("H", std::size_t{1} << 24).value();
        ASSERT_TRUE(RecoverHive(copy, HiveLogs::Find(store, "H").value()));
        EXPECT_EQ(copy.Bytes().size(), grown.size());
        EXPECT_EQ(BaseBlock::Parse(copy.Bytes()).length, 8192U);
        EXPECT_EQ(BaseBlock::Parse(copy.Bytes()).flags, 1U);
        EXPECT_TRUE(std::ranges::equal(copy.Bytes().subspan(8192), std::span(grown).subspan(8192)));
    }
}

TEST(HiveRecovery, KeepsNothingOfALogThatWouldDamageTheHive)
{
    const auto logOf = [](Kind kind, const File& hive, const ChangedRun& run) {
        return fixtures::LogFile(kind, std::span(hive).first(512), 8, {&run, 1}, std::span(hive).subspan(4096));
    };
    File long2 = HiveWith(8, 8);
    long2.resize(std::size_t{256} << 20); // more than a log of some pages can have brought
    File broken = HiveWith(8, 8);
    Store(std::span(broken).subspan(8192), bin_fields::kOffset, 8192);
    File odd = HiveWith(8, 8);
    Store(std::span(odd), Field<std::uint32_t>{4096 + 32}, static_cast<std::uint32_t>(-5)); // the size of a cell
    for (const Kind kind : {Kind::kOldFormat, Kind::kNewFormat}) {
        for (const auto& [what, content, run] : {std::tuple{"a length from nowhere", &long2, ChangedRun{0, 4096}},
                                                 {"a broken bin", &broken, ChangedRun{4096, 4096}},
                                                 {"a broken cell", &odd, ChangedRun{0, 4096}}}) {
            SCOPED_TRACE(testing::Message() << what << ", format " << static_cast<int>(kind));
            const File hive = HiveWith(9, 8);
            PowerCutStore store;
            store.Put("H", hive);
            store.Put("H.LOG1", logOf(kind, *content, run));
            const File log = store.Content("H.LOG1");
            const fixtures::FixedClock clock;
            const auto opened = WritableHive::Open(store, "H", clock);
            ASSERT_FALSE(opened);
            EXPECT_EQ(opened.error().code, ErrorCode::kRegistryCorrupt);
            EXPECT_THAT(opened.error().context, testing::StartsWith("H.LOG1: "));
            EXPECT_TRUE(store.Content("H") == hive && store.Content("H.LOG1") == log);
            RecoveryReport report;
            ASSERT_TRUE(OpenForReading(store, "H", LogFailure::kReport, report));
            EXPECT_EQ(report.failure.has_value(), content == &long2);
        }
    }
    // What was broken before is no fault of the log's.
    PowerCutStore store;
    File hive = broken;
    StoreBaseBlock(std::span(hive).first(512), 9, 8, 8192, 0);
    store.Put("H", hive);
    store.Put("H.LOG1", LogWith(Kind::kNewFormat, HiveWith(8, 8), 8, 1));
    const fixtures::FixedClock clock;
    EXPECT_TRUE(WritableHive::Open(store, "H", clock));
}

/// A store in which one file fails as it is read, though it could be opened.
class CutShortStore final : public PowerCutStore {
public:
    std::string cutShort;

    Result<MappedFile> MapForReading(const std::filesystem::path& file) override
    {
        if (file != cutShort) {
            return PowerCutStore::MapForReading(file);
        }
        const std::filesystem::path onDisk = m_folder.Write("file", Content(cutShort));
        Result<MappedFile> map = MappedFile::Open(onDisk);
        std::filesystem::resize_file(onDisk, 0);
        return map;
    }

private:
    fixtures::ScratchFolder m_folder;
};

TEST(HiveRecovery, TakesOnlyAnAbsentLogForMissing)
{
    for (const char* suffix : {".LOG1", ".LOG2", ".LOG"}) {
        for (const ErrorCode code : {ErrorCode::kAccessDenied, ErrorCode::kIoDevice, ErrorCode::kReadFault}) {
            for (const bool isClean : {true, false}) {
                SCOPED_TRACE(testing::Message()
                             << suffix << ", code " << static_cast<int>(code) << (isClean ? ", clean" : ""));
                const File hive = HiveWith(isClean ? 8 : 9, 8);
                const std::string log = std::string("H") + suffix;
                CutShortStore store;
                store.Put("H", hive);
                store.Put(log, LogWith(Kind::kNewFormat, HiveWith(8, 8), 8, 1));
                if (code == ErrorCode::kReadFault) {
                    store.cutShort = log;
                } else {
                    store.FailReading(log, code);
                }
                const fixtures::FixedClock clock;
                const auto written = WritableHive::Open(store, "H", clock);
                ASSERT_FALSE(written);
                EXPECT_EQ(written.error().code, code);
                EXPECT_THAT(written.error().context, testing::HasSubstr(log));
                EXPECT_EQ(store.Content("H"), hive);
                RecoveryReport report;
                const Result<Hive> refused = OpenForReading(store, "H", LogFailure::kRefuse, report);
                EXPECT_EQ(refused.has_value(), isClean);
                EXPECT_TRUE(refused || refused.error().code == code);
                ASSERT_TRUE(OpenForReading(store, "H", LogFailure::kReport, report));
                EXPECT_EQ(report.failure.has_value(), !isClean);
                EXPECT_FALSE(report.DidAnything());

                store.FailReading(log, ErrorCode::kSuccess);
                store.cutShort.clear();
                const auto opened = WritableHive::Open(store, "H", clock).value();
                EXPECT_EQ(opened->Recovery().DidAnything(), !isClean);
            }
        }
    }
}

TEST(HiveRecovery, SaysInOneLineWhatAnOpenMadeOfTheHive)
{
    const File dirty = HiveWith(9, 8);
    File broken = dirty;
    broken[20] = std::byte{7};
    struct Case {
        const char* what;
        const File& hive;
        bool hasLog;
        bool isReadable;
        const char* notice;
    };
    const File clean = HiveWith(8, 8);
    for (const Case& c : {
             Case{"clean", clean, true, true, ""},
             Case{"no log", dirty, false, true, "no transaction log that fits"},
             Case{"log", dirty, true, true, "1 set(s) of changes were taken over from H.LOG2, in memory alone"},
             Case{"base block", broken, true, true, "from H.LOG2, and its base block with them, in memory alone"},
             Case{"no right to its log", dirty, true, false, "so that it can't be written to and its last changes may"},
         }) {
        SCOPED_TRACE(c.what);
        PowerCutStore store;
        store.Put("H", c.hive);
        if (c.hasLog) {
            store.Put("H.LOG2", LogWith(Kind::kNewFormat, HiveWith(8, 8), 8, 1));
        }
        store.FailReading("H.LOG2", c.isReadable ? ErrorCode::kSuccess : ErrorCode::kAccessDenied);
        RecoveryReport report;
        const Result<Hive> hive = OpenForReading(store, "H", LogFailure::kReport, report);
        ASSERT_TRUE(hive);
        const std::string notice = RecoveryNotice(*hive, report, true);
        EXPECT_THAT(notice, testing::HasSubstr(c.notice));
        EXPECT_EQ(notice.empty(), c.notice[0] == '\0');
    }
}

TEST(HiveRecovery, TellsOfALogThatFailsUnderTheHand)
{
    const fixtures::ScratchFolder folder;
    for (const Kind kind : {Kind::kOldFormat, Kind::kNewFormat}) {
        const std::filesystem::path hive = folder.Write("H", HiveWith(9, 8));
        const std::filesystem::path log = folder.Write("H.LOG1", LogWith(kind, HiveWith(8, 8), 8, 1));
        const HiveLogs logs = HiveLogs::Find(SystemFiles(), hive).value();
        std::filesystem::resize_file(log, 0);
        MappedFile copy = SystemFiles().Map(hive, std::size_t{1} << 24).value();
        const Result<RecoveryReport> report = RecoverHive(copy, logs);
        ASSERT_FALSE(report);
        EXPECT_EQ(report.error().code, ErrorCode::kReadFault);
    }
}

TEST(HiveRecovery, FindsLogsWithoutRegardToCaseOrTellsWhyNot)
{
    const fixtures::ScratchFolder folder;
    std::filesystem::create_directory(folder / "d");
    std::filesystem::path hive = folder / "d/H";
    ASSERT_TRUE(HiveLogs::Find(SystemFiles(), hive)->All().empty());
    std::ofstream(folder / "d/h.log2") << "log";
    EXPECT_EQ(HiveLogs::Find(SystemFiles(), hive)->All().size(), 1U);
    std::filesystem::create_directory(folder / "d/H.LOG1");
    EXPECT_EQ(HiveLogs::Find(SystemFiles(), hive).error().code, ErrorCode::kDirectory);
    std::filesystem::remove(folder / "d/H.LOG1");
    std::filesystem::create_symlink("nowhere", folder / "d/H.LOG1");
    EXPECT_EQ(HiveLogs::Find(SystemFiles(), hive).error().code, ErrorCode::kFileNotFound);
    hive = folder / "none/H";
    EXPECT_TRUE(HiveLogs::Find(SystemFiles(), hive)->All().empty());
    hive = folder / "d/h.log2/H"; // below a file
    EXPECT_FALSE(HiveLogs::Find(SystemFiles(), hive));
}

TEST(HiveFlush, WritesTheFormatOfTheLogThatItFindsAndNumbersThatAreNew)
{
    struct Case {
        const char* what;
        File log1;
        File log;
        Kind kind;
        const char* written;
        std::uint32_t first; ///< of the log of the first flush
        std::uint32_t after; ///< of the base block
    };
    const File hive = HiveWith(5, 5);
    for (const Case& c : {
             Case{"none", {}, {}, Kind::kNewFormat, "H.LOG1", 6, 7},
             Case{"new", LogWith(Kind::kNewFormat, hive, 5, 0), {}, Kind::kNewFormat, "H.LOG1", 7, 8},
             Case{"new, ahead", LogWith(Kind::kNewFormat, hive, 50, 0), {}, Kind::kNewFormat, "H.LOG1", 52, 53},
             Case{"old", LogWith(Kind::kOldFormat, hive, 5, 0), {}, Kind::kOldFormat, "H.LOG1", 7, 7},
             Case{"oldest", {}, LogWith(Kind::kOldFormat, hive, 5, 0), Kind::kOldFormat, "H.LOG", 7, 7},
             Case{"old beside new", LogWith(Kind::kNewFormat, hive, 5, 0), LogWith(Kind::kOldFormat, hive, 5, 0),
                  Kind::kNewFormat, "H.LOG1", 7, 8},
             Case{"no log", File(600), {}, Kind::kNewFormat, "H.LOG1", 6, 7},
         }) {
        SCOPED_TRACE(c.what);
        PowerCutStore store;
        store.Put("H", hive);
        for (const auto& [name, content] : {std::pair{"H.LOG1", &c.log1}, {"H.LOG", &c.log}}) {
            if (!content->empty()) {
                store.Put(name, *content);
            }
        }
        fixtures::FixedClock clock;
        clock.now = 99;
        {
            const auto open = WritableHive::Open(store, "H", clock).value();
            EXPECT_FALSE(open->IsChanged());
            ASSERT_TRUE(open->Flush());
            EXPECT_EQ(store.Content("H"), hive) << "nothing to write";
            for (const std::uint32_t flush : {0U, 1U}) {
                ASSERT_TRUE(open->Writer().SetValue(open->Reader().Root(), u"v", 3, File(5, std::byte{1})));
                ASSERT_TRUE(open->IsChanged());
                ASSERT_TRUE(open->Flush());
                EXPECT_FALSE(open->IsChanged());
                const BaseBlock base = BaseBlock::Parse(store.Content("H"));
                const std::uint32_t step = c.after - c.first + 1;
                EXPECT_EQ(base.sequence1, c.after + flush * step);
                EXPECT_EQ(base.sequence2, c.after + flush * step);
                EXPECT_EQ(base.timeStamp, c.kind == Kind::kOldFormat ? 99U : 7U);
                EXPECT_EQ(Load(std::span<const std::byte>(store.Content("H")).subspan(4096), bin_fields::kTimeStamp),
                          base.timeStamp);
                const HiveLog log = HiveLog::Parse(store.Content(c.written));
                EXPECT_EQ(log.kind, c.kind);
                ASSERT_EQ(log.entries.size(), 1U);
                EXPECT_EQ(log.entries[0].sequence, c.first + flush * step);
                EXPECT_EQ(log.entries[0].ranges[0].place, 0U);
            }
        }
        EXPECT_EQ(store.Exists(c.written), std::string(c.what) != "none") << "a log that was there stays";
    }
}

} // namespace
} // namespace tolvar
