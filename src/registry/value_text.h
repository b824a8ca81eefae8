#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry/winreg.h"

namespace tolvar {

/// Whether the environment strings in data of type REG_EXPAND_SZ are replaced.
enum class ExpandStrings { kNo, kYes };

/// The name of a type, "REG_SZ" and so on; a type above 10 is "Custom type - " and its number, as a signed one.
[[nodiscard]] std::string ValueTypeName(DWORD type);

/// The one text form of a value's data, in which values are shown, edited and exchanged. `data` is as RegQueryValueExA
/// hands it out. No data at all gives an empty text. Texts end at their first zero byte, lists at their first empty
/// string, with
/// ";" between the strings; numbers are "%08x"; all else is "%02x " a byte.
/// A number of less than four bytes is rendered as bytes, since the text of a number could not tell their count.
[[nodiscard]] std::string ValueToText(DWORD type, std::span<const BYTE> data, ExpandStrings expand);

/// ValueToText as the list's Data column shows it: expanded, and a REG_DWORD as "0x0000002a (42)".
[[nodiscard]] std::string ValueToListText(DWORD type, std::span<const BYTE> data);

/// The bytes that a text in the form of ValueToText stands for, without a terminator: the way back. Texts are taken as
/// they are, lists are split at ";", numbers are up to 8 hexadecimal digits, all else is two digits and a separator for
/// each byte. Nothing for a text that is not of that form.
[[nodiscard]] std::optional<std::vector<BYTE>> ValueFromText(DWORD type, std::string_view text);

/// The text form of a number as the data of REG_DWORD, REG_DWORD_BIG_ENDIAN or REG_QWORD; nothing for other types, or a
/// number that is too large for the type.
[[nodiscard]] std::optional<std::string> NumberToValueText(DWORD type, std::uint64_t number);

/// The number that such a text form stands for; nothing for other types, or a value that has not the size of a number.
[[nodiscard]] std::optional<std::uint64_t> NumberFromValueText(DWORD type, std::string_view text);

/// Whether the text form brings the same bytes back. `stored` is the data as the hive holds it, and is looked at for
/// texts and lists alone; `size` is its length in bytes. Not so for data behind the first zero of a text, lists with
/// ";" in a string or without their ends, numbers that are not of four bytes.
[[nodiscard]] bool TextFormHolds(DWORD type, std::size_t size, std::span<const std::byte> stored);

/// The type that a user names: "REG_SZ" and the like without regard to case, or any number. Nothing for any other text.
[[nodiscard]] std::optional<DWORD> ValueTypeFromName(std::string_view name);

} // namespace tolvar
