#pragma once

#include <filesystem>

#include "fixtures/hive_model.h"

namespace tolvar::fuzz {

/// A long row of changes by chance.
struct SeriesPlan {
    std::uint32_t minor = 5;
    std::uint64_t seed = 0;
    unsigned operations = 0;
};

/// What a series did.
struct SeriesTally {
    unsigned done = 0;
    unsigned refused = 0; ///< as they had to be
    unsigned flushes = 0;
    unsigned openings = 0;
};

/// Makes the hive `file` and changes it by chance: keys made, deleted alone and with all below, renamed; values set,
/// inserted, deleted, renamed, many in one key and large ones; classes; descriptors; flushes, and the hive closed and
/// opened again. The names are texts that every reader can show. `model` goes through the same and is equal at the end.
/// Throws BrokenPromise where hive and model differ or the validator finds anything, after each opening.
SeriesTally RunSeries(const std::filesystem::path& file, const SeriesPlan& plan, fixtures::ModelKey& model);

} // namespace tolvar::fuzz
