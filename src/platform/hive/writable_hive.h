#pragma once

#include <memory>

#include "platform/files/file_store.h"
#include "platform/hive/hive_recovery.h"
#include "platform/hive/hive_writer.h"

namespace tolvar {

/// What the file will hold of the changes that a failed flush was to write.
enum class FlushFate {
    kNotMade, ///< none of them: the file holds what the last flush made
    kMade,    ///< all of them, once the next Open has read the logs
    kUnknown, ///< all or none: the next Open tells
};

/// A hive file that is being changed. Changes are made in memory, by the writer; Flush makes them durable.
///
/// The file is locked against other programs. Flush writes a log entry before it touches the hive, in the format of the
/// platform that the hive comes from, so that a crash at any moment leaves the state before or after it, for us and for
/// the platform alike. What was not flushed is gone with the object.
class WritableHive {
public:
    /// Opens and locks the hive file that `name` leads to. Where it was not closed cleanly its logs are applied first,
    /// and the result is made durable before this returns; a crash on the way does no harm. Errors: as Hive::Open;
    /// kSharingViolation where another program has it, with its process; kAccessDenied or kWriteProtect for a file that
    /// can't be written; those of HiveLogs::Find, since what a log holds that can't be read would be lost by the first
    /// flush; kRegistryCorrupt for a log that would damage the hive.
    [[nodiscard]] static Result<std::unique_ptr<WritableHive>> Open(FileStore& store, const std::filesystem::path& name,
                                                                    const Clock& clock);
    ~WritableHive();
    WritableHive(const WritableHive&) = delete;
    WritableHive& operator=(const WritableHive&) = delete;

    [[nodiscard]] const Hive& Reader() const noexcept { return m_hive; }
    [[nodiscard]] HiveWriter& Writer() noexcept { return m_writer; }
    [[nodiscard]] const RecoveryReport& Recovery() const noexcept { return m_recovery; }
    [[nodiscard]] bool IsChanged() const noexcept { return m_editor.IsChanged(); }

    /// Makes all changes durable, at a cost by what changed. Success means that they are on the medium.
    /// Errors: the system's. kDiskFull and others leave the file as it was at the last flush, and Flush may be tried
    /// again; an error behind the point of no return leaves a file that the next Open repairs, and every later call
    /// answers it again. kSharingViolation where another program changed the file or put another one in its place,
    /// kFileNotFound where it was removed or renamed: what has its path now is left alone, and where that happened
    /// before this call, the file too.
    [[nodiscard]] Result<void> Flush();

    /// What came of the last Flush that failed; kNotMade where none did.
    [[nodiscard]] FlushFate FailedFlush() const noexcept { return m_fate; }

    /// Brings the hive back to exactly what the last flush made, or to what Open found. Cells may be other ones than
    /// before, and keys may be gone. Cost: by what changed.
    /// Errors: that of a flush that failed behind its point of no return; kSharingViolation where another program
    /// changed the file, and the system's. The hive in memory is then of no use, and every later Flush answers the
    /// error.
    [[nodiscard]] Result<void> Revert();

private:
    WritableHive(FileStore& store, Hive hive, std::unique_ptr<StoredFile> file, const Clock& clock);

    [[nodiscard]] Result<void> CheckFile();
    [[nodiscard]] Result<void> ExtendFile(std::uint64_t fileSize);
    [[nodiscard]] Result<void> OpenLog();
    [[nodiscard]] Result<void> WriteLog(std::span<const ChangedRun> runs);
    [[nodiscard]] Result<void> WriteHive(std::span<const ChangedRun> runs);
    [[nodiscard]] Result<void> WriteBase(std::uint32_t sequence1, std::uint32_t sequence2);
    [[nodiscard]] Result<void> CommitFlush(std::span<const ChangedRun> runs);
    [[nodiscard]] Result<void> WithdrawBase(std::span<const std::byte> base);
    [[nodiscard]] Result<void> ReadBack();
    [[nodiscard]] Result<void> PersistRecovery();
    void StampOldFormat();

    FileStore& m_store;
    Hive m_hive;
    std::unique_ptr<StoredFile> m_file;
    std::unique_ptr<StoredFile> m_log; ///< open from the first flush on
    std::filesystem::path m_logPath;
    bool m_ownsLog = false; ///< the log was made here, and goes with a clean close
    bool m_isLogNameDurable = false;
    bool m_isLogNeeded = false; ///< it holds what a failed flush did not bring into the file
    HiveLog::Kind m_logFormat = HiveLog::Kind::kNewFormat;
    RecoveryReport m_recovery;
    HiveEditor m_editor;
    const Clock& m_clock;
    HiveWriter m_writer;
    std::uint32_t m_sequence = 0;    ///< of the last flush
    std::uint64_t m_changeStamp = 0; ///< of the file after it
    std::optional<Error> m_failure;  ///< behind the point of no return
    FlushFate m_fate = FlushFate::kNotMade;
};

} // namespace tolvar
