#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/hive/name_view.h"

namespace tolvar {

// JSON is written by hand here: the names of a registry need not be valid Unicode, and a lone surrogate has to come out
// as the escape that brings it back.

/// Appends the inside of a JSON string: no quotes around it.
void AppendJsonText(std::string& out, std::u16string_view text);
void AppendJsonText(std::string& out, const NameView& name);

/// A text of the registry in the system's own UTF-8 (see platform/system/text.h), as a JSON string with its quotes.
[[nodiscard]] std::string JsonString(std::string_view text);

/// Two lower-case digits a byte.
void AppendHex(std::string& out, std::span<const std::byte> bytes);

} // namespace tolvar
