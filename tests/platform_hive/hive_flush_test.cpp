#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "fixtures/hive_builder.h"
#include "fixtures/hive_model.h"
#include "fixtures/log_file.h"
#include "fixtures/power_cut_store.h"
#include "fixtures/scratch_folder.h"
#include "platform/hive/scratch_hive.h"
#include "platform/hive/writable_hive.h"

namespace tolvar {
namespace {

using fixtures::Difference;
using fixtures::Findings;
using fixtures::ModelKey;
using fixtures::PowerCutStore;
using fixtures::ReadModel;
using fixtures::ScratchFolder;

constexpr const char* kFile = "folder/HIVE";

class CountingClock final : public Clock {
public:
    std::uint64_t Now() const override { return ++m_now; }

private:
    mutable std::uint64_t m_now = 5'000;
};

enum class LogFormat { kNone, kOld, kNew };

/// A store with a hive in it and, where the format is not kNone, a log of that format that an earlier flush left.
PowerCutStore StoreWithHive(LogFormat format)
{
    PowerCutStore store;
    const std::vector<std::byte> hive = EmptyHive(u"ROOT", 77);
    store.Put(kFile, hive);
    if (format != LogFormat::kNone) {
        const auto kind = format == LogFormat::kOld ? HiveLog::Kind::kOldFormat : HiveLog::Kind::kNewFormat;
        const ChangedRun run{0, 4096};
        store.Put(std::string(kFile) + ".LOG1",
                  fixtures::LogFile(kind, std::span(hive).first(512), 1, {&run, 1}, std::span(hive).subspan(4096)));
    }
    return store;
}

/// Changes by chance: new keys, values of all sizes, deletions.
void ChangeSome(WritableHive& hive, std::mt19937& random)
{
    HiveWriter& writer = hive.Writer();
    for (int i = 0; i < 6; ++i) {
        const CellOffset root = hive.Reader().Root();
        const std::u16string name(1, static_cast<char16_t>(u'a' + random() % 12));
        const CellOffset found = *hive.Reader().FindSubkey(*hive.Reader().Key(root), name);
        if (found.IsNil()) {
            ASSERT_TRUE(writer.CreateKey(root, name));
        } else if (random() % 4 == 0) {
            ASSERT_TRUE(writer.DeleteKey(found));
        } else {
            const std::size_t size = random() % 3 == 0 ? random() % 40'000 : random() % 50;
            ASSERT_TRUE(
                writer.SetValue(found, name, 3, std::vector<std::byte>(size, static_cast<std::byte>(random()))));
        }
    }
}

ModelKey ContentOf(const Hive& hive)
{
    return ReadModel(hive, hive.Root());
}

/// Runs flushes until the store fails. Answers the contents at the last answered flush and of the one that failed.
struct Flushes {
    ModelKey last;
    ModelKey next;
    std::size_t answered = 0;
    bool hasFailed = false;
};

Flushes FlushUntilFailure(PowerCutStore& store, std::uint32_t seed, std::size_t flushes)
{
    std::mt19937 random(seed);
    CountingClock clock;
    Flushes run;
    Result<std::unique_ptr<WritableHive>> hive = WritableHive::Open(store, kFile, clock);
    if (!hive) {
        run.hasFailed = true;
        return run;
    }
    run.last = ContentOf((*hive)->Reader());
    for (; run.answered < flushes; ++run.answered) {
        ChangeSome(**hive, random);
        run.next = ContentOf((*hive)->Reader());
        if (!(*hive)->Flush()) {
            run.hasFailed = true;
            return run;
        }
        run.last = std::move(run.next);
    }
    run.next = ContentOf((*hive)->Reader());
    return run;
}

/// Opens what the medium holds and compares it with the two states that are allowed.
void ExpectOneOf(PowerCutStore& medium, const Flushes& run)
{
    CountingClock clock;
    const Result<std::unique_ptr<WritableHive>> hive = WritableHive::Open(medium, kFile, clock);
    ASSERT_TRUE(hive) << hive.error().context;
    const Hive& reader = (*hive)->Reader();
    const std::string fromLast = Difference(reader, reader.Root(), run.last);
    const std::string fromNext = Difference(reader, reader.Root(), run.next);
    EXPECT_TRUE(fromLast.empty() || fromNext.empty()) << fromLast << " / " << fromNext;
    EXPECT_EQ(Findings(reader), "");
}

/// How often each stopping point is tried, each time with other losses. TOLVAR_POWER_CUTS sets it for a longer run.
std::uint32_t TriesOfAStop()
{
    const char* setting = std::getenv("TOLVAR_POWER_CUTS");
    return setting != nullptr ? static_cast<std::uint32_t>(std::strtoul(setting, nullptr, 10)) : 6;
}

TEST(HiveFlush, LeavesAWholeStateWhereverThePowerIsCut)
{
    std::size_t stops = 0;
    for (const LogFormat format : {LogFormat::kNone, LogFormat::kOld, LogFormat::kNew}) {
        PowerCutStore counted = StoreWithHive(format);
        counted.FailAt(0);
        ASSERT_FALSE(FlushUntilFailure(counted, 3, 4).hasFailed);
        for (std::size_t call = 1; call <= counted.Calls(); ++call) {
            for (std::uint32_t seed = 0; seed < TriesOfAStop(); ++seed, stops += 2) {
                SCOPED_TRACE(testing::Message()
                             << "format " << static_cast<int>(format) << ", call " << call << ", seed " << seed);
                PowerCutStore store = StoreWithHive(format);
                store.FailAt(call);
                const Flushes run = FlushUntilFailure(store, 3, 4);
                PowerCutStore medium = store.AfterPowerCut(seed);
                ExpectOneOf(medium, run);
                // And again while that recovery is being made durable.
                PowerCutStore second = store.AfterPowerCut(seed);
                second.FailAt(1 + seed % 4);
                CountingClock clock;
                static_cast<void>(WritableHive::Open(second, kFile, clock));
                PowerCutStore after = second.AfterPowerCut(seed + 100);
                ExpectOneOf(after, run);
            }
        }
    }
    std::printf("%zu stopping points\n", stops);
}

TEST(HiveFlush, LeavesAWholeStateWhereverThePowerIsCutInALogOfManyPieces)
{
    const auto flushLarge = [](PowerCutStore& store) {
        CountingClock clock;
        const auto hive = WritableHive::Open(store, kFile, clock).value();
        const CellOffset root = hive->Reader().Root();
        return hive->Writer().SetValue(root, u"large", 3, std::vector<std::byte>(1'200'000)) && hive->Flush();
    };
    for (const LogFormat format : {LogFormat::kOld, LogFormat::kNew}) {
        const PowerCutStore before = StoreWithHive(format);
        PowerCutStore counted = before;
        counted.FailAt(0);
        ASSERT_TRUE(flushLarge(counted));
        for (std::size_t call = 1; call <= counted.Calls(); ++call) {
            SCOPED_TRACE(testing::Message() << "format " << static_cast<int>(format) << ", call " << call);
            PowerCutStore store = before;
            store.FailAt(call);
            const bool isAnswered = flushLarge(store);
            PowerCutStore medium = store.AfterPowerCut(static_cast<std::uint32_t>(call));
            CountingClock clock;
            const auto hive = WritableHive::Open(medium, kFile, clock).value();
            const std::uint32_t values = hive->Reader().Key(hive->Reader().Root())->valueCount;
            EXPECT_TRUE(values == 1 || !isAnswered);
            EXPECT_EQ(Findings(hive->Reader()), "");
        }
    }
}

TEST(HiveFlush, CanBeTriedAgainAfterAFullDiskOrEndsWithWhatOpensWhole)
{
    PowerCutStore counted = StoreWithHive(LogFormat::kNew);
    counted.FailAt(0);
    ASSERT_FALSE(FlushUntilFailure(counted, 5, 3).hasFailed);
    std::size_t answered = 0;
    for (std::size_t call = 1; call <= counted.Calls(); ++call) {
        SCOPED_TRACE(call);
        PowerCutStore store = StoreWithHive(LogFormat::kNew);
        store.FailAt(call, PowerCutStore::Fault::kDiskFull);
        std::mt19937 random(5);
        CountingClock clock;
        ModelKey last;
        ModelKey expected;
        bool isAnswered = false;
        {
            auto hive = WritableHive::Open(store, kFile, clock).value();
            Result<void> flushed;
            for (int i = 0; i < 3 && flushed; ++i) {
                last = ContentOf(hive->Reader());
                ChangeSome(*hive, random);
                flushed = hive->Flush();
            }
            expected = ContentOf(hive->Reader());
            if (!flushed) {
                EXPECT_EQ(flushed.error().code, ErrorCode::kDiskFull);
            }
            isAnswered = flushed || hive->Flush();
        }
        const auto reopened = WritableHive::Open(store, kFile, clock).value();
        const Hive& reader = reopened->Reader();
        const bool isExpected = Difference(reader, reader.Root(), expected).empty();
        EXPECT_TRUE(isExpected || (!isAnswered && Difference(reader, reader.Root(), last).empty()));
        EXPECT_EQ(Findings(reader), "");
        answered += isAnswered ? 1 : 0;
    }
    EXPECT_GT(answered, counted.Calls() / 3); // most of a flush comes before its point of no return
}

/// The bins and the base block, but for what tells one flush from another.
std::vector<std::byte> BytesOf(const Hive& hive)
{
    return {hive.FileBytes().begin(), hive.FileBytes().begin() + kBaseBlockSize + hive.Length()};
}

TEST(HiveFlush, RevertsExactlyWhereverItFailsBeforeItsPointOfNoReturn)
{
    std::array<std::size_t, 3> fates{};
    for (const LogFormat format : {LogFormat::kNone, LogFormat::kOld, LogFormat::kNew}) {
        for (const auto fault : {PowerCutStore::Fault::kDiskFull, PowerCutStore::Fault::kPowerCut}) {
            for (std::size_t call = 1;; ++call) {
                SCOPED_TRACE(testing::Message() << "format " << static_cast<int>(format) << ", call " << call);
                PowerCutStore store = StoreWithHive(format);
                CountingClock clock;
                std::mt19937 random(11);
                auto hive = WritableHive::Open(store, kFile, clock).value();
                ChangeSome(*hive, random);
                ASSERT_TRUE(hive->Flush());
                const std::vector<std::byte> before = BytesOf(hive->Reader());
                Flushes allowed;
                allowed.last = ContentOf(hive->Reader());
                ChangeSome(*hive, random);
                allowed.next = ContentOf(hive->Reader());
                store.FailAt(call, fault);
                if (hive->Flush()) {
                    break;
                }
                const FlushFate fate = hive->FailedFlush();
                ++fates[static_cast<std::size_t>(fate)];
                const Result<void> reverted = hive->Revert();
                EXPECT_EQ(reverted.has_value(), fate == FlushFate::kNotMade);
                if (reverted) {
                    EXPECT_TRUE(BytesOf(hive->Reader()) == before);
                    EXPECT_FALSE(hive->IsChanged());
                    allowed.next = ContentOf(hive->Reader());
                } else if (fate == FlushFate::kMade) {
                    allowed.last = ContentOf(hive->Reader());
                }
                if (reverted && fault == PowerCutStore::Fault::kDiskFull) { // and it goes on as if nothing had been
                    ChangeSome(*hive, random);
                    ASSERT_TRUE(hive->Flush());
                    allowed.last = ContentOf(hive->Reader());
                    allowed.next = ContentOf(hive->Reader());
                } else {
                    EXPECT_TRUE(reverted || !hive->Flush());
                }
                hive.reset();
                PowerCutStore medium = store.AfterPowerCut(static_cast<std::uint32_t>(call));
                ExpectOneOf(medium, allowed);
            }
        }
    }
    EXPECT_THAT(fates, testing::Each(testing::Gt(0U)));
    std::printf("%zu not made, %zu made, %zu unknown\n", fates[0], fates[1], fates[2]);
}

TEST(HiveFlush, RevertsAHiveThatGrewAndThatNoFlushWasTriedOf)
{
    PowerCutStore store = StoreWithHive(LogFormat::kNone);
    CountingClock clock;
    auto hive = WritableHive::Open(store, kFile, clock).value();
    const CellOffset root = hive->Reader().Root();
    const std::vector<std::byte> before = BytesOf(hive->Reader());
    for (int round = 0; round < 3; ++round) {
        for (unsigned i = 0; i < 100; ++i) { // so many that lookups are remembered
            const std::u16string name(1 + i, u'k');
            ASSERT_TRUE(hive->Writer().SetValue(root, name, 3, std::vector<std::byte>(3'000)));
            ASSERT_TRUE(*hive->Reader().FindValue(*hive->Reader().Key(root), name));
        }
        ASSERT_TRUE(hive->Revert());
        EXPECT_TRUE(BytesOf(hive->Reader()) == before);
        EXPECT_FALSE(*hive->Reader().FindValue(*hive->Reader().Key(root), u"kk"));
    }
    ASSERT_TRUE(hive->Writer().CreateKey(root, u"kept"));
    ASSERT_TRUE(hive->Flush());
    EXPECT_EQ(Findings(hive->Reader()), "");
}

TEST(WritableHiveOnDisk, KeepsEveryOtherBytesContentWhenOneValueOfARealHiveChanges)
{
    const std::filesystem::path hives = std::filesystem::path(TOLVAR_SHARED_DIR) / "hives";
    if (!std::filesystem::exists(hives)) {
        GTEST_SKIP() << "the folder with real hives is not here";
    }
    const ScratchFolder folder;
    for (const char* kind : {"machines", "crafted"}) {
        for (const auto& entry : std::filesystem::directory_iterator(hives / kind)) {
            SCOPED_TRACE(entry.path().filename());
            const Hive original = Hive::Open(entry.path()).value();
            const std::string findings = Findings(original);
            const std::filesystem::path copy = folder.Write("HIVE", original.FileBytes());
            ModelKey expected = ContentOf(original);
            {
                auto hive = WritableHive::Open(SystemFiles(), copy, SystemClock()).value();
                ASSERT_TRUE(
                    hive->Writer().SetValue(hive->Reader().Root(), u"Tolvar test", 1, std::vector<std::byte>(9)));
                ASSERT_TRUE(hive->Flush());
            }
            expected.values.push_back({u"Tolvar test", 1, std::vector<std::byte>(9)});
            const Hive changed = Hive::Open(copy).value();
            EXPECT_FALSE(changed.NeedsRecovery());
            EXPECT_EQ(Difference(changed, changed.Root(), expected), "");
            // A flush makes it a clean one: that it was none is the first finding.
            EXPECT_EQ(Findings(changed),
                      original.NeedsRecovery() ? findings.substr(findings.find('\n') + 1) : findings);
            EXPECT_FALSE(std::filesystem::exists(copy.string() + ".LOG1"));
        }
    }
}

TEST(WritableHiveOnDisk, MakesALogThatNoMoreUsersMayReadThanTheHive)
{
    const ScratchFolder folder;
    const std::filesystem::path file = folder.Write("HIVE", EmptyHive(u"ROOT", 1));
    for (const auto mode : {std::filesystem::perms{0600}, std::filesystem::perms{0660}}) {
        std::filesystem::permissions(file, mode);
        auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
        ASSERT_TRUE(hive->Writer().SetValue(hive->Reader().Root(), u"v", 1, {}));
        ASSERT_TRUE(hive->Flush());
        EXPECT_EQ(std::filesystem::status(folder / "HIVE.LOG1").permissions(), mode);
        EXPECT_EQ(std::filesystem::status(file).permissions(), mode);
    }
}

TEST(HiveFlush, IsNoSuccessWhereTheFileIsNotFoundAtItsPathAnyMore)
{
    std::size_t call = 1;
    for (bool isDone = false; !isDone; ++call) {
        SCOPED_TRACE(call);
        PowerCutStore store = StoreWithHive(LogFormat::kNew);
        CountingClock clock;
        std::mt19937 random(3);
        auto hive = WritableHive::Open(store, kFile, clock).value();
        ChangeSome(*hive, random);
        store.LoseNamesAt(call);
        const Result<void> flushed = hive->Flush();
        isDone = flushed.has_value();
        if (!isDone) {
            EXPECT_EQ(flushed.error().code, ErrorCode::kFileNotFound);
            EXPECT_EQ(hive->FailedFlush(), FlushFate::kUnknown);
            EXPECT_EQ(hive->Flush().error().code, ErrorCode::kFileNotFound) << "and it stays so";
        }
        store.LoseNamesAt(0);
    }
    EXPECT_GT(call, 8U);
}

TEST(WritableHiveOnDisk, TellsOfAFileThatAnotherProgramHasOrChanged)
{
    const ScratchFolder folder;
    const std::filesystem::path file = folder.Write("HIVE", EmptyHive(u"ROOT", 1));
    auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
    const auto second = WritableHive::Open(SystemFiles(), file, SystemClock());
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error().code, ErrorCode::kSharingViolation);
    EXPECT_THAT(second.error().context, testing::HasSubstr("in use by process " + std::to_string(getpid())));
    ASSERT_TRUE(hive->Writer().SetValue(hive->Reader().Root(), u"v", 1, {}));
    std::filesystem::remove(file);
    EXPECT_EQ(hive->Flush().error().code, ErrorCode::kFileNotFound);
    EXPECT_TRUE(hive->Revert()); // from the file that is still open
    hive.reset();
    const std::filesystem::path other = folder.Write("OTHER", EmptyHive(u"ROOT", 1));
    hive = WritableHive::Open(SystemFiles(), other, SystemClock()).value();
    ASSERT_TRUE(hive->Writer().SetValue(hive->Reader().Root(), u"v", 1, {}));
    std::ofstream(other, std::ios::binary | std::ios::app) << "x";
    EXPECT_EQ(hive->Flush().error().code, ErrorCode::kSharingViolation);
    EXPECT_EQ(hive->Revert().error().code, ErrorCode::kSharingViolation);
}

TEST(WritableHiveOnDisk, LeavesWhatTookItsPlaceAlone)
{
    const ScratchFolder folder;
    const std::vector<std::byte> other = EmptyHive(u"OTHER", 2);
    const auto bytesOf = [](const std::filesystem::path& file) {
        const MappedFile map = MappedFile::Open(file).value();
        return std::vector(map.Bytes().begin(), map.Bytes().end());
    };
    for (const bool isFolder : {false, true}) {
        SCOPED_TRACE(isFolder ? "its folder is another one" : "it is another file");
        const std::filesystem::path at = folder / (isFolder ? "b" : "a");
        std::filesystem::create_directory(at);
        const std::filesystem::path file = at / "HIVE";
        std::filesystem::copy_file(folder.Write("empty", EmptyHive(u"ROOT", 1)), file);
        auto hive = WritableHive::Open(SystemFiles(), file, SystemClock()).value();
        ASSERT_TRUE(hive->Writer().SetValue(hive->Reader().Root(), u"v", 1, {}));
        ASSERT_TRUE(hive->Flush()); // with a log of its own from now on
        if (isFolder) {
            std::filesystem::rename(at, folder / "moved");
            std::filesystem::create_directory(at);
            std::filesystem::copy_file(folder.Write("other", other), file);
            std::filesystem::copy_file(folder / "other", at / "HIVE.LOG1");
        } else {
            std::filesystem::rename(folder.Write("other", other), file);
        }
        ASSERT_TRUE(hive->Writer().SetValue(hive->Reader().Root(), u"w", 1, {}));
        const Result<void> flushed = hive->Flush();
        ASSERT_FALSE(flushed);
        EXPECT_EQ(flushed.error().code, ErrorCode::kSharingViolation);
        EXPECT_THAT(flushed.error().context, testing::HasSubstr("HIVE was replaced by another file"));
        EXPECT_EQ(hive->FailedFlush(), FlushFate::kNotMade);
        hive.reset();
        EXPECT_EQ(bytesOf(file), other);
        EXPECT_EQ(std::filesystem::exists(at / "HIVE.LOG1"), isFolder) << "only our own log goes";
    }
}

TEST(WritableHiveOnDisk, HasOneLockAndOneLogByWhicheverNameItIsOpened)
{
    const ScratchFolder folder;
    std::filesystem::create_directory(folder / "d");
    std::filesystem::create_symlink("d", folder / "folder");
    std::filesystem::create_symlink("folder/HIVE", folder / "link");
    const std::filesystem::path file = folder / "d/HIVE";
    std::filesystem::copy_file(folder.Write("empty", EmptyHive(u"ROOT", 1)), file);
    const std::filesystem::path names[] = {file, folder / "folder/HIVE", folder / "link"};
    for (const std::filesystem::path& name : names) {
        SCOPED_TRACE(name);
        auto hive = WritableHive::Open(SystemFiles(), name, SystemClock()).value();
        ASSERT_TRUE(hive->Writer().SetValue(hive->Reader().Root(), u"v", 1, {}));
        ASSERT_TRUE(hive->Flush());
        EXPECT_TRUE(std::filesystem::exists(folder / "d/HIVE.LOG1"));
        EXPECT_FALSE(std::filesystem::exists(folder / "link.LOG1"));
        for (const std::filesystem::path& other : names) {
            EXPECT_EQ(WritableHive::Open(SystemFiles(), other, SystemClock()).error().code,
                      ErrorCode::kSharingViolation);
        }
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "d/HIVE.LOG1"));
}

} // namespace
} // namespace tolvar
