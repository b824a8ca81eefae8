#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/files/file_store.h"
#include "platform/hive/hive.h"
#include "platform/hive/hive_log.h"

namespace tolvar {

/// The transaction logs that lie beside a hive, found without regard to case.
class HiveLogs {
public:
    /// Reads NAME.LOG1, NAME.LOG2 and NAME.LOG. One that can't be read counts as missing.
    [[nodiscard]] static HiveLogs Find(FileStore& store, const std::filesystem::path& hive);

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

    [[nodiscard]] bool DidAnything() const noexcept { return !logs.empty(); }
};

/// Whether the base block at the start of `file` is whole, and its sequence numbers agree: then no log counts, even one
/// with newer entries.
[[nodiscard]] bool NeedsRecovery(std::span<const std::byte> file) noexcept;

/// Applies what the logs hold to a private copy of a hive: the changes of the platform's last complete flushes, in
/// either of its log formats. Changes no file. A hive without a usable log stays as it is. Errors: kNotEnoughMemory.
[[nodiscard]] Result<RecoveryReport> RecoverHive(MappedFile& hive, const HiveLogs& logs);

/// Opens a hive for reading and touches nothing: one that was not closed cleanly as a copy in memory, with its logs
/// applied. `report` tells what they gave. Errors as Hive::Open.
[[nodiscard]] Result<Hive> OpenForReading(FileStore& store, const std::filesystem::path& file, RecoveryReport& report);

} // namespace tolvar
