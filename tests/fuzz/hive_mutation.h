#pragma once

#include <cstddef>
#include <vector>

#include "fixtures/dice.h"

namespace tolvar::fuzz {

using fixtures::Dice;

/// Breaks a hive in one to four places that a reader looks at: offsets turned to other cells, counts and sizes to their
/// limits, cells freed, grown and exchanged, records of one kind made another, the file cut short. Never makes the file
/// longer. Whatever is no hive gets bytes changed at random.
void MutateHive(std::vector<std::byte>& file, Dice& dice);

} // namespace tolvar::fuzz
