#pragma once

#include <cstddef>
#include <span>

namespace tolvar::fuzz {

/// Takes `input` as a row of changes to a hive (keys made, deleted and renamed, values set, deleted and renamed,
/// flushes, the hive closed and opened again) and compares the hive with a plain model after each opening. Throws
/// BrokenPromise where they differ, or the validator finds anything.
void RunOperations(std::span<const std::byte> input);

/// Takes `input` as a hive and two logs beside it, recovers the one from the others, and reads what comes out.
/// Throws BrokenPromise where an answer can't be right.
void RecoverAndRead(std::span<const std::byte> input);

} // namespace tolvar::fuzz
