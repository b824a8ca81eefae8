#pragma once

#include "fixtures/dice.h"
#include "platform/hive/hive.h"

namespace tolvar::fuzz {

/// What became of writing calls.
struct WriteTally {
    unsigned done = 0;
    unsigned refused = 0;
};

/// Opens `file`, a hive that may be damaged in any way, and runs `calls` writing calls of the engine on keys of it,
/// taken by `dice`. Throws BrokenPromise where one changes what it was not to touch, changes anything and fails, or
/// leaves more breaches than there were. Nothing for a file that does not open. `left` takes the file that came of it.
WriteTally WriteIntoDamaged(std::span<const std::byte> file, fixtures::Dice& dice, unsigned calls,
                            std::vector<std::byte>* left = nullptr);

} // namespace tolvar::fuzz
