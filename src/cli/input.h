#pragma once

#include <string>

#include "platform/system/error.h"

namespace tolvar {

/// All bytes of what a command reads: a file, pipe or device by its name, or standard input for "-".
/// Errors: the system's; nothing of what was read before one is answered.
[[nodiscard]] Result<std::string> ReadInput(const std::string& file);

} // namespace tolvar
