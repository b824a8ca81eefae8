#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "platform/hive/base_block.h"
#include "platform/system/error.h"

namespace tolvar {

/// The hash of log entries (docs/hive-format.md, Hash of log entries).
[[nodiscard]] std::uint64_t Marvin32(std::span<const std::byte> bytes) noexcept;

/// Bytes of a hive that a log holds, and where they belong, from the start of the hive bins data.
struct LogRange {
    std::uint32_t place = 0;
    std::span<const std::byte> bytes;
};

/// One complete set of changes.
struct LogEntry {
    std::uint32_t sequence = 0;
    std::uint32_t length = 0; ///< of the hive bins data after it
    std::uint32_t flags = 0;  ///< for the base block
    std::vector<LogRange> ranges;
};

/// A transaction log, its content checked. The entries point into the file's bytes.
struct HiveLog {
    enum class Kind {
        kUnusable,  ///< missing, empty, cut short in its header, or no log at all: as if it were not there
        kOldFormat, ///< one set of 512-byte pages (up to Windows 8)
        kNewFormat, ///< entries in a row (Windows 8.1 and later)
    };

    Kind kind = Kind::kUnusable;
    BaseBlock base;                    ///< of the hive when the log was begun
    std::span<const std::byte> header; ///< its first 512 bytes
    std::vector<LogEntry> entries;     ///< valid ones with sequence numbers in a row
    std::uint32_t highestSequence = 0; ///< of all that looks like an entry, remnants of older ones too

    /// Takes a log's bytes, which must outlive the result, apart.
    [[nodiscard]] static HiveLog Parse(std::span<const std::byte> file);
};

/// Whole pages of a hive that changed, from the start of the hive bins data.
struct ChangedRun {
    std::uint32_t begin = 0;
    std::uint32_t size = 0;
};

/// Takes the next piece of a file that is written from its start to its end.
using PieceSink = std::function<Result<void>(std::span<const std::byte>)>;

/// Hands a log file that holds the given runs of `bins` to `write`, piece by piece: a small one is one piece. `base` is
/// the base block with the length that the hive will have. In the new format the one entry has `sequence`; in the old
/// one the log's header has it twice. Memory: a megabyte or two, however much the runs hold.
/// Errors: the first that `write` answers.
[[nodiscard]] Result<void> WriteLog(HiveLog::Kind kind, std::span<const std::byte> base, std::uint32_t sequence,
                                    std::span<const ChangedRun> runs, std::span<const std::byte> bins,
                                    const PieceSink& write);

} // namespace tolvar
