#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tolvar {

enum class NumberBase { kDecimal, kHexadecimal };

/// A number field's idea of a number: its base, and how many bits it has (32 or 64).
struct NumberFormat {
    NumberBase base = NumberBase::kDecimal;
    unsigned bits = 32;

    [[nodiscard]] std::uint64_t Largest() const
    {
        return bits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
    }
};

/// A typed text as the field lets it stand.
struct FilteredNumber {
    std::string text;
    bool isTooLarge = false; ///< digits at its end went because the number was too large
};

/// Takes out of `typed` what can be no part of a number: in the decimal base all but 0 to 9, and the last digits while
/// the number is too large; in the hexadecimal base all but 0 to 9 and a to f, and what is more than a digit for each
/// four bits.
[[nodiscard]] FilteredNumber FilterNumber(std::string_view typed, NumberFormat format);

/// The number that a filtered text stands for; an empty one is 0. Hexadecimal digits of both cases count.
[[nodiscard]] std::uint64_t NumberFromText(std::string_view text, NumberFormat format);

/// The number in the base, without leading zeros.
[[nodiscard]] std::string NumberToText(std::uint64_t number, NumberFormat format);

} // namespace tolvar
