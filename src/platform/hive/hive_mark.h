#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/hive/hive.h"

namespace tolvar {

/// By what a hive is known again after a machine has worked with it: another machine's under the same name is not taken
/// for it.
struct HiveMark {
    struct DatedKey {
        std::uint64_t lastWrite = 0;           ///< 100 ns since 1601-01-01 UTC
        std::vector<std::u16string> path = {}; ///< names from the root down, which has none

        [[nodiscard]] bool operator==(const DatedKey&) const = default;
    };

    std::array<std::byte, 16> manager{}; ///< the number of its transaction manager; zeros: none
    std::vector<DatedKey> oldest;        ///< keys of the first three levels that were not written for longest

    [[nodiscard]] bool operator==(const HiveMark&) const = default;
};

/// The mark of a hive: its transaction manager's number (docs/hive-format.md, Base block) and at most 64 keys.
/// Cost: a look at the first three levels.
[[nodiscard]] HiveMark MarkOf(const Hive& hive);

/// Whether the transaction manager has a number.
[[nodiscard]] bool IsManaged(const HiveMark& mark) noexcept;
[[nodiscard]] bool IsManaged(const Hive& hive) noexcept;

/// How many of a mark's keys have the same time in a hive. Cost: a look at these keys.
[[nodiscard]] std::size_t CountKept(const Hive& hive, const HiveMark& mark);

/// Whether a hive is the one of a mark: by the manager's number where both have one, else by at least half of the
/// mark's keys.
[[nodiscard]] bool IsMarked(const Hive& hive, const HiveMark& mark);

} // namespace tolvar
