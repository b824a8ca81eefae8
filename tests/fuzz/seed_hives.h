#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tolvar::fuzz {

/// A sound hive to start from, and what lies in it.
struct SeedHive {
    std::string name; ///< fit for a file name
    std::vector<std::byte> file;
    std::uint64_t keys = 0;
    std::uint64_t values = 0;
    std::uint64_t dataBytes = 0;
};

/// Small hives that have between them every kind of record: leaves of each kind, alone and below an index, names of
/// both widths, classes, data inline, flat and in segments, in each version that knows them.
[[nodiscard]] std::vector<SeedHive> MakeSeedHives();

} // namespace tolvar::fuzz
