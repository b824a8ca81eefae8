#pragma once

#include "journal/stamp.h"

namespace tolvar {

/// Whether something of `date` is to be dropped at `today` when things are kept for `keepDays` days. By the journal's
/// own rule, in which every month has thirty days and another year counts by its day alone, and only if it is that old
/// by the calendar as well: a backup of December is young in January.
[[nodiscard]] bool HasExpired(const StampDate& date, const StampDate& today, int keepDays);

} // namespace tolvar
