#pragma once

#include <string>

#include "platform/registry/winreg.h"

namespace tolvar {

/// The names of a key's owner and group. Answers 87 for a null key, what RegGetKeySecurity answers, or 1337 where an
/// identifier is missing or broken; only the names that were found are written.
LSTATUS GetKeyOwnerAndGroup(HKEY key, std::string& ownerName, std::string& groupName);

} // namespace tolvar
