#pragma once

#include <optional>
#include <string>
#include <string_view>

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

} // namespace tolvar
