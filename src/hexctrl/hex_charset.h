#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace tolvar {

/// What each byte is shown as in the text column: Unicode code points.
using HexCharacters = std::array<char32_t, 256>;

/// The characters of a font's character set, by its number (1 is the default one, western). Bytes that are control
/// characters, or no character by themselves, are shown as ".".
[[nodiscard]] HexCharacters CharactersOf(std::uint32_t charset);

/// The byte that is shown as `character`. ASCII characters, controls too, are the bytes that they are.
[[nodiscard]] std::optional<std::uint8_t> ByteOf(const HexCharacters& characters, char32_t character);

} // namespace tolvar
