#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tolvar {

/// The path that shows the same keys through another root: HKEY_CURRENT_USER and HKEY_USERS\.DEFAULT, HKEY_CLASSES_ROOT
/// and HKEY_LOCAL_MACHINE\SOFTWARE\CLASSES, each way. Roots are compared without regard to case. Empty for a path
/// without one.
[[nodiscard]] std::string MirrorPath(std::string_view path);

/// The other full paths of the key in the session that is current: see Registry::AliasesOf.
[[nodiscard]] std::vector<std::string> AliasesOf(std::string_view path);

} // namespace tolvar
