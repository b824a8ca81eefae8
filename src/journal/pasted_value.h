#pragma once

#include <string>
#include <string_view>

#include "journal/change_record.h"
#include "platform/system/error.h"

namespace tolvar {

/// The change that stores the value that a text names (see ParseValueReference) in the key at `target`, under its own
/// name and with its bytes.
/// Errors: kInvalidData for a text that names no value, or a default value that is not there: nothing is to be said
/// then; kFileNotFound where the root, the key or the value is missing; the registry's.
[[nodiscard]] Result<ChangeRecord> PasteOf(std::string_view text, const std::string& target);

/// The first of "New Key N#1", "New Key N#2" and so on that no subkey of the key at this full path has.
[[nodiscard]] std::string FreshKeyName(const std::string& parent);

} // namespace tolvar
