#pragma once

#include <string>

#include "platform/registry/winreg.h"

namespace tolvar {

// Recursive operations that the registry itself does not offer. They report by system codes and undo nothing: a walk
// that ends halfway leaves what it did. Names and data of any size are taken. Stored links are not followed: what they
// lead to belongs to others.

/// Deletes the key `name` below the open key `parent` with all its subkeys. On the older platform one call of the
/// registry does it. Answers 0, or the first code that stood against it: the subkeys that were not reached then stay.
LSTATUS DeleteKeyTree(HKEY parent, const std::string& name);

/// Copies all values of an open key to another, with the very bytes that are stored. Answers 0, or the code with which
/// a value could not be read. A value that can't be written is passed over.
LSTATUS CopyKeyValues(HKEY source, HKEY destination);

/// Makes `name` below `destinationParent` a copy of the open key `source`, with its class, values and subkeys; times
/// and security are those of new keys, and a link becomes a key with the link's value. Onto an existing key it merges.
/// Answers 259 (no more items) on a normal end, else the code that ended it. A subkey that fails does not stop its
/// sisters.
LSTATUS CopyKeyTree(HKEY source, HKEY destinationParent, const std::string& name);

} // namespace tolvar
