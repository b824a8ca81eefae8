#pragma once

#include <cstdint>

namespace tolvar {

/// The two letters that a record begins with, as the number that they make.
[[nodiscard]] constexpr std::uint16_t Signature(char first, char second)
{
    return static_cast<std::uint16_t>(static_cast<unsigned char>(first) | static_cast<unsigned char>(second) << 8);
}

} // namespace tolvar
