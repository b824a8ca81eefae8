#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hexctrl/hex_data.h"

namespace tolvar {

/// Upper-case hexadecimal, at least `digits` long.
[[nodiscard]] std::string HexAddress(std::uint64_t address, int digits);

/// The two digits of a byte, "A2".
[[nodiscard]] std::string HexPair(std::uint8_t byte);

/// Bytes as they stand in a value's text: "4d 5a 90 ", with a blank after each, the last too.
[[nodiscard]] std::string HexPairs(std::span<const std::uint8_t> bytes);

/// The bytes of text like "4d 5A90": digits in pairs, with blanks between pairs where one likes. None for other text.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> BytesOfHexText(std::string_view text);

/// Parts of a dump's rows.
namespace HexDumpPart {
inline constexpr unsigned kHex = 2;
inline constexpr unsigned kText = 4;
} // namespace HexDumpPart

/// The rows of the view from that of `position` to that of `position` + `size`, as text: address, digits, a blank,
/// characters, and a line feed. Bytes outside the range are blanks; so is what lies after the data.
[[nodiscard]] std::string HexDump(const CHexData& data, int bytesPerRow, int addressDigits, std::int64_t position,
                                  std::int64_t size, unsigned parts);

} // namespace tolvar
