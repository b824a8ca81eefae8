#pragma once

#include <string>

namespace tolvar {

/// The name of the user who runs this program, at most 260 bytes of it.
[[nodiscard]] std::string SessionUserName();

} // namespace tolvar
