#pragma once

#include <string>

#include "platform/registry/winreg.h"

namespace tolvar {

// Operations on a key with all below it. They report by system codes. Names and data of any size are taken. Stored
// links are not followed: what they lead to belongs to others.

/// Deletes the key `name` below the open key `parent` with all its subkeys, or nothing. Answers 0, or a code that
/// stands against it: 5 where any of its keys refuses KEY_ALL_ACCESS, on the newer platform alone, which looks at each;
/// otherwise as RegDeleteTreeA.
LSTATUS DeleteKeyTree(HKEY parent, const std::string& name);

/// Copies all values of an open key to another, with the very bytes that are stored. Answers 0, or the code with which
/// a value could not be read: those before it stay. A value that can't be written is passed over.
LSTATUS CopyKeyValues(HKEY source, HKEY destination);

/// Makes `name` below `destinationParent` a copy of the open key `source`, with its class, values and subkeys; times
/// and security are those of new keys, and a link becomes a key with the link's value. Onto an existing key it merges.
/// Answers 259 (no more items) on a normal end, else the code that ended it. A subkey that fails does not stop its
/// sisters, and what was copied stays.
LSTATUS CopyKeyTree(HKEY source, HKEY destinationParent, const std::string& name);

} // namespace tolvar
