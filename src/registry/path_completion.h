#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tolvar {

/// A key path as people type it, made into one that is compared exactly: root names may be short (HKLM, HKCU, HKCR,
/// HKU, HKCC), letters may have any case, and blanks around it, a trailing backslash and a first component "Computer"
/// do no harm. Components are put into the registry's own case as far as keys of that name exist; what follows stays as
/// it was typed. Cost: a few reads for each component, however many subkeys a key has.
[[nodiscard]] std::string ResolveKeyPath(std::string_view typed);

/// Full paths that begin with what was typed, in the order of the registry, at most `limit`: the roots, or the subkeys
/// of the last key that the text names in full. Cost: as ResolveKeyPath.
[[nodiscard]] std::vector<std::string> CompleteKeyPath(std::string_view typed, std::size_t limit);

} // namespace tolvar
