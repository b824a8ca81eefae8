#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace tolvar {

/// Ways to read the bytes at the caret, all in the order that the platform stores: low byte first.
enum class HexReading { kNumber8, kNumber16, kNumber32, kNumber64, kFileTime, kGuid, kText, kCount };

inline constexpr std::size_t kHexInspectedBytes = 64; ///< no reading takes more

/// What the bytes from the caret on say in each reading; "" where there are too few of them, or they say nothing in it.
/// Numbers: "162", and where the sign matters "162 / -94". Times: "2004-03-23 21:28:00.0000000", in universal time.
/// Identifiers: "{00021401-0000-0000-C000-000000000046}". Text: UTF-8, up to the first NUL or what is not text.
using HexReadings = std::array<std::string, static_cast<std::size_t>(HexReading::kCount)>;
[[nodiscard]] HexReadings InspectBytes(std::span<const std::uint8_t> bytes);

} // namespace tolvar
