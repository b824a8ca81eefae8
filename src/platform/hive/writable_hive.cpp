#include "platform/hive/writable_hive.h"

#include <algorithm>
#include <array>

#include "platform/hive/hive_validator.h"

namespace tolvar {

namespace {

constexpr std::size_t kRoom = std::size_t{kMaxLength} + kBaseBlockSize; // address space, not memory

std::uint64_t ErrorsIn(const Hive& hive)
{
    return ValidateHive(hive, [](const Finding&) {}).errors;
}

/// Whether a hive is as whole with what its logs brought as its file was before: a log that brings damage into it is
/// not the hive's own, and is not to be kept for good.
Result<void> CheckRecovered(FileStore& store, const Hive& hive, const RecoveryReport& recovery)
{
    const std::uint64_t errors = ErrorsIn(hive);
    if (errors == 0 || recovery.isBaseFromLog) { // without its own base block nothing can be told of the file
        return {};
    }
    Result<MappedFile> map = store.MapForReading(hive.File());
    const Result<Hive> before = map ? Hive::FromMap(*std::move(map), hive.File()) : tl::unexpected(map.error());
    if (before && ErrorsIn(*before) < errors) {
        return Failure(ErrorCode::kRegistryCorrupt, recovery.logs.back().string() + ": it would damage the hive");
    }
    return {};
}

} // namespace

WritableHive::WritableHive(FileStore& store, Hive hive, std::unique_ptr<StoredFile> file, const Clock& clock)
    : m_store(store), m_hive(std::move(hive)), m_file(std::move(file)), m_editor(m_hive), m_clock(clock),
      m_writer(m_editor, clock)
{}

WritableHive::~WritableHive()
{
    if (m_ownsLog && !m_isLogNeeded && m_log != nullptr && m_log->CheckName()) {
        static_cast<void>(m_store.Remove(m_logPath)); // a log that stays is one that no one reads
    }
}

Result<std::unique_ptr<WritableHive>> WritableHive::Open(FileStore& store, const std::filesystem::path& name,
                                                         const Clock& clock)
{
    // Whichever of its names a program knows: it meets the others at the file's one lock and one log.
    const Result<std::filesystem::path> file = store.RealPath(name);
    if (!file) {
        return tl::unexpected(file.error());
    }
    Result<std::unique_ptr<StoredFile>> stored = store.Open(*file, FileStore::Mode::kWrite);
    if (!stored) {
        return tl::unexpected(std::move(stored.error()));
    }
    if (auto locked = (*stored)->Lock(); !locked) {
        return tl::unexpected(std::move(locked.error()));
    }
    Result<MappedFile> copy = store.Map(*file, kRoom);
    if (!copy) {
        return tl::unexpected(std::move(copy.error()));
    }
    if (auto same = (*stored)->CheckName(); !same) { // what is locked is what was read
        return tl::unexpected(std::move(same.error()));
    }
    const Result<HiveLogs> logs = HiveLogs::Find(store, *file);
    if (!logs) {
        return tl::unexpected(logs.error());
    }
    RecoveryReport recovery;
    if (NeedsRecovery(copy->Bytes())) {
        Result<RecoveryReport> recovered = RecoverHive(*copy, *logs);
        if (!recovered) {
            return tl::unexpected(std::move(recovered.error()));
        }
        recovery = std::move(*recovered);
    }
    Result<Hive> hive = Hive::FromMap(std::move(*copy), *file);
    if (!hive) {
        return tl::unexpected(std::move(hive.error()));
    }
    if (hive->Damage()) { // what is missing would be made up
        return tl::unexpected(*hive->Damage());
    }
    if (auto fits = recovery.DidAnything() ? CheckRecovered(store, *hive, recovery) : Result<void>(); !fits) {
        return tl::unexpected(std::move(fits.error()));
    }
    std::unique_ptr<WritableHive> opened(new WritableHive(store, std::move(*hive), std::move(*stored), clock));
    opened->m_recovery = std::move(recovery);
    opened->m_logFormat = logs->Format();
    const BaseBlock& base = opened->m_hive.Base();
    opened->m_sequence = std::max(base.sequence1, base.sequence2);
    if (logs->HighestSequence() != 0 &&
        static_cast<std::int32_t>(logs->HighestSequence() + 1 - opened->m_sequence) > 0) {
        opened->m_sequence = logs->HighestSequence() + 1; // no remnant may ever pass for newer than what we write
    }
    if (opened->m_recovery.DidAnything()) {
        if (auto persisted = opened->PersistRecovery(); !persisted) {
            return tl::unexpected(std::move(persisted.error()));
        }
    }
    auto named = opened->m_file->CheckName();
    const Result<std::uint64_t> stamp = named ? opened->m_file->ChangeStamp() : tl::unexpected(named.error());
    if (!stamp) {
        return tl::unexpected(stamp.error());
    }
    opened->m_changeStamp = *stamp;
    return opened;
}

/// While the logs still hold what is written here, so that it can be done again.
Result<void> WritableHive::PersistRecovery()
{
    std::vector<ChangedRun> runs = m_recovery.runs;
    if (const Result<std::uint64_t> size = m_file->Size(); size && *size < kBaseBlockSize + m_hive.Length()) {
        if (auto extended = ExtendFile(*size); !extended) {
            return extended;
        }
    }
    if (auto written = WriteHive(runs); !written) {
        return written;
    }
    return WriteBase(m_recovery.sequence, m_recovery.sequence);
}

Result<void> WritableHive::CheckFile()
{
    if (auto named = m_file->CheckName(); !named) {
        return named;
    }
    const Result<std::uint64_t> stamp = m_file->ChangeStamp();
    if (!stamp) {
        return tl::unexpected(stamp.error());
    }
    if (*stamp != m_changeStamp) {
        return Failure(ErrorCode::kSharingViolation,
                       m_hive.File().string() + ": another program changed the hive while it was open");
    }
    return {};
}

/// Puts what lies behind the file's end into it before anything else: a disk that is full says so while nothing is
/// changed.
Result<void> WritableHive::ExtendFile(std::uint64_t fileSize)
{
    const std::uint64_t from = std::max<std::uint64_t>(fileSize, kBaseBlockSize) / kBinAlignment * kBinAlignment;
    if (auto written = m_file->Write(from, m_hive.FileBytes().subspan(from)); !written) {
        static_cast<void>(m_file->Resize(fileSize)); // behind the hive's length it does no harm if it stays
        return written;
    }
    return m_file->Sync();
}

/// Opens the log that the hive has, or makes one that nobody may read who may not read the hive.
Result<void> WritableHive::OpenLog()
{
    const bool isOld = m_logFormat == HiveLog::Kind::kOldFormat;
    Result<std::optional<std::filesystem::path>> found = m_store.Find(m_hive.File().string() + ".LOG1");
    if (found && !*found && isOld) {
        found = m_store.Find(m_hive.File().string() + ".LOG");
    }
    if (!found) {
        return tl::unexpected(std::move(found.error()));
    }
    m_ownsLog = !*found;
    m_logPath = found->value_or(m_hive.File().string() + ".LOG1");
    Result<std::unique_ptr<StoredFile>> log =
        m_ownsLog ? m_store.Create(m_logPath, m_hive.File()) : m_store.Open(m_logPath, FileStore::Mode::kWrite);
    if (!log) {
        return tl::unexpected(std::move(log.error()));
    }
    m_log = *std::move(log);
    m_isLogNameDurable = !m_ownsLog;
    return {};
}

Result<void> WritableHive::WriteLog(std::span<const ChangedRun> runs)
{
    if (auto opened = m_log ? Result<void>() : OpenLog(); !opened) {
        return opened;
    }
    if (!m_isLogNameDurable) {
        if (auto synced = m_store.SyncFolder(m_logPath.parent_path()); !synced) {
            return synced;
        }
        m_isLogNameDurable = true;
    }
    std::uint64_t size = 0;
    const auto append = [&](std::span<const std::byte> piece) {
        auto written = m_log->Write(size, piece);
        size += piece.size();
        return written;
    };
    if (auto written = tolvar::WriteLog(m_logFormat, m_hive.FileBytes().first(kBaseBlockChecked), m_sequence, runs,
                                        m_hive.Bins(), append);
        !written) {
        return written;
    }
    if (auto cut = m_log->Resize(size); !cut) {
        return cut;
    }
    return m_log->Sync();
}

Result<void> WritableHive::WriteHive(std::span<const ChangedRun> runs)
{
    for (const ChangedRun& run : runs) {
        if (auto written =
                m_file->Write(kBaseBlockSize + std::uint64_t{run.begin}, m_hive.Bins().subspan(run.begin, run.size));
            !written) {
            return written;
        }
    }
    return m_file->Sync();
}

Result<void> WritableHive::WriteBase(std::uint32_t sequence1, std::uint32_t sequence2)
{
    const std::span<std::byte> base = m_hive.m_map.Writable().first(kBaseBlockChecked);
    StoreBaseBlock(base, sequence1, sequence2, m_hive.Length(), file_type::kHive);
    m_hive.m_base = BaseBlock::Parse(base);
    if (auto written = m_file->Write(0, base); !written) {
        return written;
    }
    return m_file->Sync();
}

/// The old format finds the log of a flush by its time, which the base block and the first bin hold as well.
void WritableHive::StampOldFormat()
{
    const std::uint64_t now = m_clock.Now();
    tolvar::Store(m_hive.m_map.Writable(), base_fields::kTimeStamp, now);
    constexpr Field<std::uint64_t> kInCell{bin_fields::kTimeStamp.at - kCellHeader}; // as if the bin were a cell
    m_editor.Store(CellOffset{0}, kInCell, now);
}

Result<void> WritableHive::Flush()
{
    if (m_failure) {
        return tl::unexpected(*m_failure);
    }
    if (!m_editor.IsChanged()) {
        return {};
    }
    if (auto checked = CheckFile(); !checked) {
        return checked;
    }
    if (m_logFormat == HiveLog::Kind::kOldFormat) {
        StampOldFormat();
    }
    const std::vector<ChangedRun> runs = m_editor.WrittenPages();
    m_fate = FlushFate::kNotMade;
    const Result<std::uint64_t> size = m_file->Size();
    if (!size) {
        return tl::unexpected(size.error());
    }
    // Up to here and with these two steps the hive in the file is untouched.
    if (*size < kBaseBlockSize + m_hive.Length()) {
        if (auto extended = ExtendFile(*size); !extended) {
            m_changeStamp = m_file->ChangeStamp().value_or(m_changeStamp);
            return extended;
        }
    }
    ++m_sequence;
    if (auto logged = WriteLog(runs); !logged) {
        static_cast<void>(m_file->Resize(*size)); // behind the hive's length it does no harm if it stays
        m_changeStamp = m_file->ChangeStamp().value_or(m_changeStamp);
        return logged;
    }
    auto committed = CommitFlush(runs);
    m_changeStamp = m_file->ChangeStamp().value_or(m_changeStamp);
    if (auto named = m_file->CheckName(); committed && !named) { // it is made, in a file that nobody finds at this path
        m_failure = named.error();
        m_fate = FlushFate::kUnknown;
        return named;
    }
    return committed;
}

/// From the log's entry to a clean hive. The point of no return is the base block that tells of the entry.
Result<void> WritableHive::CommitFlush(std::span<const ChangedRun> runs)
{
    const bool isOld = m_logFormat == HiveLog::Kind::kOldFormat;
    const std::uint32_t before = isOld ? m_sequence - 1 : m_sequence;
    const std::uint32_t after = isOld ? m_sequence : m_sequence + 1;
    std::array<std::byte, kBaseBlockChecked> base{};
    if (auto read = m_file->Read(0, base); !read) {
        return read;
    }
    if (auto begun = WriteBase(after, before); !begun) {
        if (!WithdrawBase(base)) {
            m_failure = begun.error();
            m_fate = FlushFate::kUnknown;
            m_isLogNeeded = true;
        }
        return begun;
    }
    auto done = WriteHive(runs);
    done = done ? WriteBase(after, after) : done;
    if (!done) {
        m_failure = done.error();
        m_fate = FlushFate::kMade;
        m_isLogNeeded = true;
        return done;
    }
    m_sequence = after;
    m_editor.MarkClean();
    return {};
}

/// Puts the base block back that a flush replaced, or was about to replace: nothing reads the log's entry then.
Result<void> WritableHive::WithdrawBase(std::span<const std::byte> base)
{
    auto written = m_file->Write(0, base);
    written = written ? m_file->Sync() : written;
    if (written) {
        const std::uint32_t length = m_hive.Length(); // of the changes, which are still there
        std::ranges::copy(base, m_hive.m_map.Writable().begin());
        m_hive.m_base = BaseBlock::Parse(base);
        m_hive.m_base.length = length;
    }
    return written;
}

/// Fills what was written since the last flush from the file.
Result<void> WritableHive::ReadBack()
{
    const std::uint32_t length = m_editor.CleanLength();
    if (const Result<std::uint64_t> stamp = m_file->ChangeStamp(); stamp && *stamp != m_changeStamp) {
        return CheckFile();
    }
    for (const ChangedRun& run : m_editor.WrittenPages()) {
        if (run.begin < length) {
            const std::span<std::byte> old =
                m_hive.WritableBins().subspan(run.begin, std::min(run.size, length - run.begin));
            if (auto read = m_file->Read(kBaseBlockSize + std::uint64_t{run.begin}, old); !read) {
                return read;
            }
        }
    }
    const std::span<std::byte> base = m_hive.m_map.Writable().first(kBaseBlockChecked);
    if (auto read = m_file->Read(0, base); !read) {
        return read;
    }
    m_hive.m_base = BaseBlock::Parse(base);
    if (length < m_hive.Length()) {
        m_hive.Shrink(length);
    }
    return {};
}

Result<void> WritableHive::Revert()
{
    if (m_failure) {
        return tl::unexpected(*m_failure);
    }
    if (!m_editor.IsChanged()) {
        return {};
    }
    if (auto read = ReadBack(); !read) {
        m_failure = read.error();
        return read;
    }
    m_editor.Restart();
    return {};
}

} // namespace tolvar
