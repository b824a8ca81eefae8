#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/hive/hive.h"

namespace tolvar {

enum class Severity {
    kWarning, ///< untidy, and harmless: leaks, left-overs
    kError,   ///< the platform would refuse, drop or repair it
};

/// One breach of the format.
struct Finding {
    Severity severity = Severity::kError;
    Breach breach = Breach::kNone;
    std::uint64_t filePosition = 0; ///< bytes from the start of the file
    std::string meaning;            ///< one line: what is wrong, and with which key where that is known
};

/// What was counted on the way.
struct ValidationSummary {
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
    std::uint64_t bins = 0;
    std::uint64_t cells = 0;     ///< allocated ones
    std::uint64_t freeBytes = 0; ///< in free cells
    std::uint64_t keys = 0;
    std::uint64_t values = 0;
    std::uint64_t dataBytes = 0;
    std::uint64_t securityRecords = 0;
};

/// Reads the whole hive and hands every breach to `sink`, in the order in which it is met: base block, bins and cells,
/// the tree depth first, the security ring, cells that nothing refers to. Changes nothing.
/// Memory: a few bits for each 8 bytes of the hive, whatever it holds.
ValidationSummary ValidateHive(const Hive& hive, const std::function<void(const Finding&)>& sink);

} // namespace tolvar
