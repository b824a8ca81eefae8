#include "platform/system/text.h"

#include <cstdint>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tolvar {
namespace {

using namespace std::string_view_literals;

/// The ends of every range that the conversion tells apart.
constexpr std::u16string_view kEdges = u"\0a\x7F\x80\x7FF\x800\xD7FF\xD800\xDBFF\xDC00\xDFFF\xE000\xFFFF"sv;

TEST(TextConversion, BringsBackEveryUnitAndEveryNeighbourhoodOfSurrogates)
{
    for (const NulForm nul : {NulForm::kPlain, NulForm::kTwoBytes}) {
        for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
            const std::u16string text(1, static_cast<char16_t>(unit));
            ASSERT_EQ(ToUtf16(ToUtf8(text, nul)), text) << unit;
        }
        for (const char16_t first : kEdges) {
            for (const char16_t second : kEdges) {
                for (const char16_t third : kEdges) {
                    const std::u16string text{first, second, third};
                    ASSERT_EQ(ToUtf16(ToUtf8(text, nul)), text) << +first << ' ' << +second << ' ' << +third;
                }
            }
        }
    }
}

TEST(TextConversion, WritesTheBytesOfUtf8)
{
    struct Case {
        std::u16string_view text;
        std::string_view bytes;
    };
    for (const Case& c : {
             Case{u"a\0b"sv, "a\xC0\x80"
                             "b"},
             Case{u"\x7F\x80\x7FF\x800"sv, "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
             Case{u"\xFFFF"sv, "\xEF\xBF\xBF"},
             Case{u"\xD800\xDC00"sv, "\xF0\x90\x80\x80"},
             Case{u"\xDBFF\xDFFF"sv, "\xF4\x8F\xBF\xBF"},
             Case{u"\xD81D"sv, "\xED\xA0\x9D"},
             Case{u"\xDC00\xD800"sv, "\xED\xB0\x80\xED\xA0\x80"},
             Case{u"\xD800\xD800\xDC00"sv, "\xED\xA0\x80\xF0\x90\x80\x80"},
         }) {
        EXPECT_EQ(ToUtf8(c.text), c.bytes);
        EXPECT_EQ(ToUtf16(c.bytes), c.text);
        EXPECT_EQ(Utf8Size(c.text), ToUtf8(c.text, NulForm::kPlain).size()) << c.bytes;
    }
    EXPECT_EQ(ToUtf8(u"a\0b"sv, NulForm::kPlain), "a\0b"sv);
}

TEST(TextConversion, TakesTwoHalvesThatWerePutTogetherForTheirPair)
{
    const std::string halves = ToUtf8(u"\xD800") + ToUtf8(u"\xDC00");
    EXPECT_EQ(ToUtf16(halves), u"\xD800\xDC00");
    EXPECT_EQ(ToUtf8(*ToUtf16(halves)), "\xF0\x90\x80\x80");
}

TEST(TextConversion, TellsWhereTheLastWholeCharacterOfACutTextEnds)
{
    const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z";
    const std::size_t whole[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11};
    for (std::size_t size = 0; size <= text.size(); ++size) {
        EXPECT_EQ(WholeCharacters(std::string_view(text).substr(0, size)), whole[size]) << size;
    }
    EXPECT_EQ(WholeCharacters("\x80\x80\x80"), 3U) << "no character was cut here";
}

TEST(TextConversion, UpCasesNamesAsTheyCompare)
{
    EXPECT_EQ(UpCased("a\xC3\xA4"
                      "B"),
              "A\xC3\x84"
              "B");
    EXPECT_EQ(UpCased("\xFF"
                      "a"),
              "\xFF"
              "a");
}

TEST(TextConversion, RefusesWhatIsNoUtf8)
{
    for (const std::string_view bytes : {
             "\x80"sv,                 // a tail alone
             "\xC3"sv,                 // cut short
             "\xE2\x82"sv,             //
             "\xF0\x9F\x98"sv,         //
             "\xC3("sv,                // a tail missing
             "\xE2(\xA1"sv,            //
             "\xC0\x81"sv,             // longer than need be, and not the unit 0
             "\xC1\xBF"sv,             //
             "\xE0\x80\x80"sv,         //
             "\xE0\x9F\xBF"sv,         //
             "\xF0\x8F\xBF\xBF"sv,     //
             "\xF4\x90\x80\x80"sv,     // above U+10FFFF
             "\xF8\x88\x80\x80\x80"sv, // five bytes
             "\xFF"sv,
         }) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        EXPECT_EQ(ToUtf16(bytes), std::nullopt);
        EXPECT_EQ(ToUtf16("ok" + std::string(bytes)), std::nullopt);
        EXPECT_EQ(ToUtf16(std::string(bytes) + "ok"), std::nullopt);
    }
}

TEST(UpperCase, IsThatOfThePlatformForEveryUnit)
{
    // Count and fingerprint were taken from the printed table of the format, not from this code.
    std::uint64_t fingerprint = 0xCBF29CE484222325;
    int mapped = 0;
    for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
        const std::uint32_t upper = UpCase(static_cast<char16_t>(unit));
        mapped += upper != unit ? 1 : 0;
        for (const std::uint32_t byte : {upper & 0xFF, upper >> 8}) {
            fingerprint = (fingerprint ^ byte) * 0x100000001B3;
        }
    }
    EXPECT_EQ(mapped, 973);
    EXPECT_EQ(fingerprint, 0x48ED4531E9399927);
}

TEST(UpperCase, DiffersFromThatOfLibraries)
{
    struct Case {
        char16_t unit;
        char16_t upper;
    };
    for (const Case& c : {Case{u'`', u'`'},     Case{u'a', u'A'},     Case{u'z', u'Z'},     Case{u'{', u'{'},
                          Case{0x00B5, 0x00B5}, Case{0x00DF, 0x00DF}, Case{0x00F7, 0x00F7}, Case{0x00FF, 0x0178},
                          Case{0x0131, 0x0131}, Case{0x017F, 0x017F}, Case{0x01C5, 0x01C5}, Case{0x01C6, 0x01C4},
                          Case{0x03C2, 0x03C2}, Case{0x1F80, 0x1F88}, Case{0x1D79, 0xA77D}, Case{0x0524, 0x0524},
                          Case{0x0525, 0x0525}, Case{0xD800, 0xD800}, Case{0xFF5A, 0xFF3A}, Case{0xFF5B, 0xFF5B}}) {
        EXPECT_EQ(+UpCase(c.unit), +c.upper) << std::hex << +c.unit;
    }
}

TEST(NameOrder, GoesByTheUpperCaseOfUnitsAndPutsAPrefixFirst)
{
    const std::u16string_view ascending[] = {u"",       u"\0"sv,         u"A",      u"a\0"sv,  u"ab",    u"B",
                                             u"ss1",    u"SS3",          u"_",      u"\xDF 2", u"\xF7",  u"\xFF",
                                             u"\xD800", u"\xD800\xDC00", u"\xDC00", u"\xE000", u"\xFF5A"};
    for (std::size_t left = 0; left < std::size(ascending); ++left) {
        for (std::size_t right = 0; right < std::size(ascending); ++right) {
            SCOPED_TRACE(testing::Message() << left << " and " << right);
            const int expected = left < right ? -1 : left > right ? 1 : 0;
            const auto sign = [](int order) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
            EXPECT_EQ(sign(CompareNames(ascending[left], ascending[right])), expected);
            EXPECT_EQ(sign(CompareNames(ToUtf8(ascending[left]), ToUtf8(ascending[right]))), expected);
        }
    }
    EXPECT_EQ(CompareNames(u"ControlSet001\xFF", u"cONTROLsET001\x178"), 0);
    EXPECT_NE(CompareNames(u"stra\xDF"
                           u"e",
                           u"strasse"),
              0);
}

} // namespace
} // namespace tolvar
