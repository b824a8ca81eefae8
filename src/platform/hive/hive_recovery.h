#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/files/file_store.h"
#include "platform/hive/hive.h"
#include "platform/hive/hive_log.h"

namespace tolvar {

/// The transaction logs that lie beside a hive, found without regard to case.
class HiveLogs {
public:
    /// Reads NAME.LOG1, NAME.LOG2 and NAME.LOG. Errors: the file's for one that is there and can't be read, which may
    /// hold what the hive lacks, a link that leads nowhere among them; the folder's where it can't be told what is
    /// there.
    [[nodiscard]] static Result<HiveLogs> Find(FileStore& store, const std::filesystem::path& hive);

    struct Found {
        std::filesystem::path file;
        MappedFile bytes;
        HiveLog log;
    };
    [[nodiscard]] const std::vector<Found>& All() const noexcept { return m_found; }

    /// The highest sequence number in any of them, remnants of older entries too; 0 for none.
    [[nodiscard]] std::uint32_t HighestSequence() const noexcept;

    /// In which format the platform that made them writes; the new one where there are none.
    [[nodiscard]] HiveLog::Kind Format() const noexcept;

private:
    std::vector<Found> m_found;
};

/// What a recovery did.
struct RecoveryReport {
    std::vector<std::filesystem::path> logs; ///< the logs that were applied, in order; none: there was nothing to apply
    std::uint32_t entries = 0;               ///< sets of changes that were applied
    std::vector<ChangedRun> runs;            ///< where in the hive bins data bytes came from a log
    bool isBaseFromLog = false;              ///< the base block was broken and comes from a log
    std::uint32_t sequence = 0;              ///< both sequence numbers of the base block afterwards
    std::optional<Error> failure;            ///< why the logs were not applied: see LogFailure::kReport

    [[nodiscard]] bool DidAnything() const noexcept { return !logs.empty(); }
};

/// Whether the base block at the start of `file` is whole, and its sequence numbers agree: then no log counts, even one
/// with newer entries.
[[nodiscard]] bool NeedsRecovery(std::span<const std::byte> file) noexcept;

/// Applies what the logs hold to a private copy of a hive: the changes of the platform's last complete flushes, in
/// either of its log formats. Changes no file. A hive without a usable log stays as it is. Errors: kNotEnoughMemory;
/// kRegistryCorrupt where a log claims a hive that is larger than what the file and it hold; kReadFault where a log
/// fails under the hand. The copy is of no use then.
[[nodiscard]] Result<RecoveryReport> RecoverHive(MappedFile& hive, const HiveLogs& logs);

/// What becomes of a hive that was not closed cleanly where its logs can't be read or applied.
enum class LogFailure {
    kRefuse, ///< an error, for those who make something of the hive's content
    kReport, ///< it is shown as it lies in its file, and the report says why, for those who only look
};

/// Opens a hive for reading and touches nothing: one that was not closed cleanly as a copy in memory, with its logs
/// applied. `report` tells what they gave. Errors as Hive::Open; those of HiveLogs::Find and RecoverHive.
[[nodiscard]] Result<Hive> OpenForReading(FileStore& store, const std::filesystem::path& name, LogFailure logFailure,
                                          RecoveryReport& report);

/// What a person should know of a hive that was opened, in one line; empty where it was closed cleanly. `isForReading`:
/// what its logs gave is in no file.
[[nodiscard]] std::string RecoveryNotice(const Hive& hive, const RecoveryReport& recovery, bool isForReading);

} // namespace tolvar
