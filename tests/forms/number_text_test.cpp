#include <gtest/gtest.h>

#include "forms/number_text.h"

namespace tolvar {
namespace {

constexpr NumberFormat kDecimal32{NumberBase::kDecimal, 32};
constexpr NumberFormat kDecimal64{NumberBase::kDecimal, 64};
constexpr NumberFormat kHex32{NumberBase::kHexadecimal, 32};
constexpr NumberFormat kHex64{NumberBase::kHexadecimal, 64};

TEST(NumberText, LetsOnlyStandWhatIsPartOfANumber)
{
    struct Case {
        NumberFormat format;
        const char* typed;
        const char* text;
        bool isTooLarge;
    };
    for (const Case& c : {
             Case{kDecimal32, "12a3", "123", false},
             Case{kDecimal32, "4294967295", "4294967295", false},
             Case{kDecimal32, "4294967296", "429496729", true},
             Case{kDecimal32, "99999999999999999999999999", "999999999", true},
             Case{kDecimal64, "18446744073709551615", "18446744073709551615", false},
             Case{kDecimal64, "18446744073709551616", "1844674407370955161", true},
             Case{kHex32, "0xFFab", "0ab", false}, // upper case is no digit here
             Case{kHex32, "123456789", "12345678", false},
             Case{kHex64, "0123456789abcdef0", "0123456789abcdef", false},
             Case{kDecimal32, "", "", false},
             Case{kDecimal32, "-1", "1", false},
         }) {
        const FilteredNumber filtered = FilterNumber(c.typed, c.format);
        EXPECT_EQ(filtered.text, c.text) << c.typed;
        EXPECT_EQ(filtered.isTooLarge, c.isTooLarge) << c.typed;
    }
}

TEST(NumberText, ComesBackInBothBases)
{
    for (const std::uint64_t number : {0ULL, 1ULL, 255ULL, 0x01000000ULL, 0xFFFFFFFFULL}) {
        EXPECT_EQ(NumberFromText(NumberToText(number, kDecimal32), kDecimal32), number);
        EXPECT_EQ(NumberFromText(NumberToText(number, kHex32), kHex32), number);
    }
    EXPECT_EQ(NumberFromText(NumberToText(~0ULL, kHex64), kHex64), ~0ULL);
    EXPECT_EQ(NumberFromText("FFFFffff9", kHex32), 0xFFFFFFFFULL); // eight digits count, of either case
    EXPECT_EQ(NumberFromText("", kDecimal32), 0U);
}

} // namespace
} // namespace tolvar
