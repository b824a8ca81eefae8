#include "forms/number_text.h"

#include <algorithm>
#include <charconv>

namespace tolvar {

namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Whether the digits of `text` stand for a number up to `largest`.
bool Fits(std::string_view text, std::uint64_t largest)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return text.empty() || (error == std::errc() && number <= largest);
}

} // namespace

FilteredNumber FilterNumber(std::string_view typed, NumberFormat format)
{
    FilteredNumber filtered;
    const bool isHexadecimal = format.base == NumberBase::kHexadecimal;
    std::ranges::copy_if(typed, std::back_inserter(filtered.text),
                         [isHexadecimal](char c) { return IsDigit(c) || (isHexadecimal && c >= 'a' && c <= 'f'); });
    if (isHexadecimal) {
        filtered.text.resize(std::min<std::size_t>(filtered.text.size(), format.bits / 4));
        return filtered;
    }
    while (!Fits(filtered.text, format.Largest())) {
        filtered.text.pop_back();
        filtered.isTooLarge = true;
    }
    return filtered;
}

std::uint64_t NumberFromText(std::string_view text, NumberFormat format)
{
    const std::string_view digits = format.base == NumberBase::kHexadecimal ? text.substr(0, format.bits / 4) : text;
    std::uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number,
                    format.base == NumberBase::kHexadecimal ? 16 : 10);
    return number;
}

std::string NumberToText(std::uint64_t number, NumberFormat format)
{
    char digits[24];
    const auto end =
        std::to_chars(std::begin(digits), std::end(digits), number, format.base == NumberBase::kHexadecimal ? 16 : 10);
    return {std::begin(digits), end.ptr};
}

} // namespace tolvar
