#pragma once

#include <cstdint>
#include <vector>

#include "hexctrl/hex_undo_log.h"

namespace tolvar {

/// Which of the `count` bytes from `offset` on the log's changes since the clean state have inserted or overwritten,
/// wherever they stood at that time. Where thousands of changes lie scattered over a view, the oldest of them may be
/// left out, so that it is painted in bounded time.
[[nodiscard]] std::vector<bool> ChangedBytes(const HexUndoLog& log, std::int64_t offset, std::int64_t count);

} // namespace tolvar
