#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tolvar {

// JSON is written by hand here: the names of a registry need not be valid Unicode, and a lone surrogate has to come out
// as the escape that brings it back.

/// Appends one unit of a JSON string as the escape, or the UTF-8, that it needs.
void AppendJsonEscaped(std::string& out, char16_t unit);

/// Appends the inside of a JSON string: no quotes around it. `text` is anything that answers its units by their index.
template <class Units>
void AppendJsonText(std::string& out, const Units& text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit >= 0x20 && unit < 0x7F && unit != u'"' && unit != u'\\') {
            out.push_back(static_cast<char>(unit));
        } else {
            AppendJsonEscaped(out, unit);
        }
    }
}

/// A text of the registry in the system's own UTF-8 (see platform/system/text.h), as a JSON string with its quotes.
[[nodiscard]] std::string JsonString(std::string_view text);

/// Two lower-case digits a byte.
void AppendHex(std::string& out, std::span<const std::byte> bytes);

} // namespace tolvar
