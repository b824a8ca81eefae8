#pragma once

#include <cstdint>
#include <vector>

#include "hexctrl/hex_undo_log.h"

namespace tolvar {

/// Which of the `count` bytes from `offset` on the log's changes since the clean state have inserted or overwritten,
/// wherever they stood at that time. Bytes that changes older than the newest 10,000 touched may count as unchanged, so
/// that a view is painted in bounded time.
[[nodiscard]] std::vector<bool> ChangedBytes(const HexUndoLog& log, std::int64_t offset, std::int64_t count);

} // namespace tolvar
