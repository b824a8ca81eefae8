#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "registry/key_path.h"

namespace tolvar {

/// Stores the name of a predefined handle in `out` and answers true; false, and `out` as it was, for any other handle.
bool RootKeyName(std::string& out, HKEY handle);

/// The root whose name `text` begins with, without regard to case; null if there is none. Only the beginning is
/// compared, so that "HKEY_USERS.OLD" answers HKEY_USERS.
[[nodiscard]] HKEY RootKeyFromName(std::string_view text);

/// Opens a key by its full path. A bare root name stores the predefined handle and opens nothing. The caller closes the
/// key, whichever way it came. Answers 2, with a null key, for a text that begins with no root; otherwise as
/// RegOpenKeyExA.
LSTATUS OpenKeyPath(std::string_view fullPath, HKEY& outKey, REGSAM access);

/// OpenKeyPath, but that a link at the end of the path is opened itself.
LSTATUS OpenLinkPath(std::string_view fullPath, HKEY& outKey, REGSAM access);

/// OpenKeyPath through RegCreateKeyExA.
LSTATUS CreateKeyPath(std::string_view fullPath, HKEY& outKey, REGSAM access);

/// The roots that tree and list show, in the order in which they are added: five, or six on the older platforms.
[[nodiscard]] std::vector<RootKey> ShownRootKeys();

} // namespace tolvar
