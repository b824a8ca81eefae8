#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "journal/change_record.h"
#include "platform/system/error.h"

namespace tolvar {

/// What a text of the clipboard names: "HKEY_CURRENT_USER\Software\x\\[Size]" is the value "Size" of that key. Two
/// backslashes can't stand in a key's path, so the first "\\[" parts the two; the name ends at the last "]", or with
/// the text.
struct ValueReference {
    std::string key;
    std::string name;
};

/// Nothing for a text that names no value.
[[nodiscard]] std::optional<ValueReference> ParseValueReference(std::string_view text);

/// The text that ParseValueReference takes apart.
[[nodiscard]] std::string FormatValueReference(const ValueReference& value);

/// The change that stores the named value in the key at `target`, under its own name and with its bytes.
/// Errors: kInvalidData for a text that names no value, or a default value that is not there: nothing is to be said
/// then; kFileNotFound where the root, the key or the value is missing; the registry's.
[[nodiscard]] Result<ChangeRecord> PasteOf(std::string_view text, const std::string& target);

/// The first of "New Key N#1", "New Key N#2" and so on that no subkey of the key at this full path has.
[[nodiscard]] std::string FreshKeyName(const std::string& parent);

} // namespace tolvar
