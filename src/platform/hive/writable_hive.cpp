#include "platform/hive/writable_hive.h"

#include <algorithm>
#include <functional>

#include "platform/hive/bin_header.h"

namespace tolvar {

namespace {

constexpr std::size_t kRoom = std::size_t{kMaxLength} + kBaseBlockSize; // address space, not memory
constexpr std::size_t kTimeStamp = 12;                                  // in the base block
constexpr std::size_t kBinTimeStamp = 20;                               // in the first bin

} // namespace

WritableHive::WritableHive(FileStore& store, Hive hive, std::unique_ptr<StoredFile> file, const Clock& clock)
    : m_store(store), m_hive(std::move(hive)), m_file(std::move(file)), m_editor(m_hive), m_clock(clock),
      m_writer(m_editor, clock)
{}

WritableHive::~WritableHive()
{
    m_log.reset();
    if (m_ownsLog && !m_failure) {
        static_cast<void>(m_store.Remove(m_logPath)); // a log that stays is one that no one reads
    }
}

Result<std::unique_ptr<WritableHive>> WritableHive::Open(FileStore& store, const std::filesystem::path& file,
                                                         const Clock& clock)
{
    Result<std::unique_ptr<StoredFile>> stored = store.Open(file, FileStore::Mode::kWrite);
    if (!stored) {
        return tl::unexpected(std::move(stored.error()));
    }
    if (auto locked = (*stored)->Lock(); !locked) {
        return tl::unexpected(std::move(locked.error()));
    }
    Result<MappedFile> copy = store.Map(file, kRoom);
    if (!copy) {
        return tl::unexpected(std::move(copy.error()));
    }
    const HiveLogs logs = HiveLogs::Find(store, file);
    RecoveryReport recovery;
    if (NeedsRecovery(copy->Bytes())) {
        Result<RecoveryReport> recovered = RecoverHive(*copy, logs);
        if (!recovered) {
            return tl::unexpected(std::move(recovered.error()));
        }
        recovery = std::move(*recovered);
    }
    Result<Hive> hive = Hive::FromCopy(std::move(*copy), file);
    if (!hive) {
        return tl::unexpected(std::move(hive.error()));
    }
    if (hive->Damage()) { // what is missing would be made up
        return tl::unexpected(*hive->Damage());
    }
    std::unique_ptr<WritableHive> opened(new WritableHive(store, std::move(*hive), std::move(*stored), clock));
    opened->m_recovery = std::move(recovery);
    opened->m_logFormat = logs.Format();
    const BaseBlock& base = opened->m_hive.Base();
    opened->m_sequence = std::max(base.sequence1, base.sequence2);
    if (logs.HighestSequence() != 0 && static_cast<std::int32_t>(logs.HighestSequence() + 1 - opened->m_sequence) > 0) {
        opened->m_sequence = logs.HighestSequence() + 1; // no remnant may ever pass for newer than what we write
    }
    if (opened->m_recovery.DidAnything()) {
        if (auto persisted = opened->PersistRecovery(); !persisted) {
            return tl::unexpected(std::move(persisted.error()));
        }
    }
    const Result<std::uint64_t> stamp = opened->m_file->ChangeStamp();
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

Result<void> WritableHive::WriteLog(std::span<const ChangedRun> runs)
{
    if (!m_log) {
        const bool isOld = m_logFormat == HiveLog::Kind::kOldFormat;
        std::optional<std::filesystem::path> found = m_store.Find(m_hive.File().string() + ".LOG1");
        if (!found && isOld) {
            found = m_store.Find(m_hive.File().string() + ".LOG");
        }
        m_ownsLog = !found;
        m_logPath = found.value_or(m_hive.File().string() + ".LOG1");
        Result<std::unique_ptr<StoredFile>> log = m_store.Open(m_logPath, FileStore::Mode::kCreate);
        if (!log) {
            return tl::unexpected(std::move(log.error()));
        }
        m_log = std::move(*log);
        if (m_ownsLog) {
            if (auto synced = m_store.SyncFolder(m_logPath.parent_path()); !synced) {
                return synced;
            }
        }
    }
    const std::vector<std::byte> log =
        ComposeLog(m_logFormat, m_hive.FileBytes().first(kBaseBlockChecked), m_sequence, runs, m_hive.Bins());
    if (auto written = m_log->Write(0, log); !written) {
        return written;
    }
    if (auto cut = m_log->Resize(log.size()); !cut) {
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
    StoreBaseBlock(base, sequence1, sequence2, m_hive.Length(), 0);
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
    std::memcpy(m_hive.m_map.Writable().data() + kTimeStamp, &now, sizeof now);
    std::memcpy(m_editor.Touch(CellOffset{0}, kBinTimeStamp - 4, sizeof now), &now, sizeof now);
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
        m_changeStamp = m_file->ChangeStamp().value_or(m_changeStamp);
        return logged;
    }
    const bool isOld = m_logFormat == HiveLog::Kind::kOldFormat;
    const std::uint32_t before = isOld ? m_sequence - 1 : m_sequence;
    const std::uint32_t after = isOld ? m_sequence : m_sequence + 1;
    for (const auto& step :
         {std::function([&] { return WriteBase(after, before); }), std::function([&] { return WriteHive(runs); }),
          std::function([&] { return WriteBase(after, after); })}) {
        if (auto done = step(); !done) {
            m_failure = done.error();
            return done;
        }
    }
    m_sequence = after;
    m_editor.MarkClean();
    const Result<std::uint64_t> stamp = m_file->ChangeStamp();
    m_changeStamp = stamp.value_or(m_changeStamp);
    return {};
}

std::vector<std::byte> EmptyHive(std::u16string_view rootName, std::uint64_t time)
{
    // Owner Administrators, group SYSTEM; SYSTEM and Administrators may do all, Users read; subkeys inherit that.
    constexpr unsigned char kDescriptor[] = {
        1, 0, 4,    0x80, 0x60, 0, 0,   0, 0x70, 0, 0, 0, 0,    0, 0, 0, 0x14, 0, 0, 0,                // header
        2, 0, 0x4C, 0,    3,    0, 0,   0,                                                             // three entries
        0, 2, 0x14, 0,    0x3F, 0, 0xF, 0, 1,    1, 0, 0, 0,    0, 0, 5, 0x12, 0, 0, 0,                // S-1-5-18
        0, 2, 0x18, 0,    0x3F, 0, 0xF, 0, 1,    2, 0, 0, 0,    0, 0, 5, 0x20, 0, 0, 0, 0x20, 2, 0, 0, // -544
        0, 2, 0x18, 0,    0x19, 0, 2,   0, 1,    2, 0, 0, 0,    0, 0, 5, 0x20, 0, 0, 0, 0x21, 2, 0, 0, // -545
        1, 2, 0,    0,    0,    0, 0,   5, 0x20, 0, 0, 0, 0x20, 2, 0, 0,                               // the owner
        1, 1, 0,    0,    0,    0, 0,   5, 0x12, 0, 0, 0,                                              // the group
    };
    constexpr std::uint32_t kRoot = kBinHeaderSize;
    std::vector<std::byte> file(kBaseBlockSize + kBinAlignment);
    const auto put = [&file](std::size_t at, auto value) { std::memcpy(file.data() + at, &value, sizeof value); };
    const auto bins = std::span(file).subspan(kBaseBlockSize);
    const auto nameBytes = static_cast<std::uint32_t>(2 * rootName.size());
    const std::uint32_t keySize = (4 + 76 + nameBytes + 7) / 8 * 8;
    const std::uint32_t security = kRoot + keySize;
    const std::uint32_t securitySize = (4 + 20 + sizeof kDescriptor + 7) / 8 * 8;
    const std::uint32_t rest = security + securitySize;

    put(0, kHiveSignature);
    put(kTimeStamp, time);
    for (const auto& [at, value] : {std::pair{20U, 1U}, {24U, 5U}, {32U, 1U}, {36U, kRoot}, {44U, 1U}}) {
        put(at, value);
    }
    StoreBaseBlock(std::span(file).first(kBaseBlockChecked), 1, 1, kBinAlignment, 0);
    WriteBinHeader(bins, 0, kBinAlignment);
    put(kBaseBlockSize + kBinTimeStamp, time);

    const std::size_t key = kBaseBlockSize + kRoot;
    put(key, -static_cast<std::int32_t>(keySize));
    std::memcpy(file.data() + key + 4, "nk", 2);
    put(key + 4 + 2, static_cast<std::uint16_t>(key_flags::kHiveEntry | key_flags::kNoDelete));
    put(key + 4 + 4, time);
    for (const std::size_t nil : {16U, 28U, 32U, 40U, 48U}) {
        put(key + 4 + nil, CellOffset::kNil);
    }
    put(key + 4 + 44, security);
    put(key + 4 + 72, static_cast<std::uint16_t>(nameBytes));
    std::memcpy(file.data() + key + 4 + 76, rootName.data(), nameBytes);

    const std::size_t record = kBaseBlockSize + security;
    put(record, -static_cast<std::int32_t>(securitySize));
    std::memcpy(file.data() + record + 4, "sk", 2);
    put(record + 4 + 4, security);
    put(record + 4 + 8, security);
    put(record + 4 + 12, 1U);
    put(record + 4 + 16, static_cast<std::uint32_t>(sizeof kDescriptor));
    std::memcpy(file.data() + record + 4 + 20, kDescriptor, sizeof kDescriptor);
    put(kBaseBlockSize + rest, kBinAlignment - rest);
    return file;
}

} // namespace tolvar
