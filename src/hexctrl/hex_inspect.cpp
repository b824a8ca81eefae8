#include "hexctrl/hex_inspect.h"

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <type_traits>

namespace tolvar {

namespace {

template <typename Number>
Number ReadNumber(std::span<const std::uint8_t> bytes)
{
    std::uint64_t number = 0;
    for (std::size_t byte = sizeof(Number); byte-- > 0;) {
        number = number << 8 | bytes[byte];
    }
    return static_cast<Number>(number);
}

template <typename Number>
std::string NumberText(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() < sizeof(Number)) {
        return {};
    }
    const auto number = ReadNumber<Number>(bytes);
    const auto withSign = static_cast<std::make_signed_t<Number>>(number);
    return withSign < 0 ? std::to_string(number) + " / " + std::to_string(withSign) : std::to_string(number);
}

/// 100 ns since 1601 as a date. Nobody stored a time after the year 9999.
std::string FileTimeText(std::span<const std::uint8_t> bytes)
{
    constexpr std::uint64_t kTicksPerSecond = 10'000'000;
    constexpr std::uint64_t kFirstOf10000 = 2'650'467'744'000'000'000;
    if (bytes.size() < sizeof(std::uint64_t)) {
        return {};
    }
    const auto ticks = ReadNumber<std::uint64_t>(bytes);
    if (ticks >= kFirstOf10000) {
        return {};
    }
    using namespace std::chrono;
    constexpr sys_days kStart = year{1601} / January / 1;
    const sys_seconds time = sys_seconds(kStart) + seconds(static_cast<std::int64_t>(ticks / kTicksPerSecond));
    const sys_days day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d.%07u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<unsigned>(ticks % kTicksPerSecond));
    return text.data();
}

std::string GuidText(std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t kGuidBytes = 16;
    if (bytes.size() < kGuidBytes) {
        return {};
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "{%08" PRIX32 "-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  ReadNumber<std::uint32_t>(bytes), ReadNumber<std::uint16_t>(bytes.subspan(4)),
                  ReadNumber<std::uint16_t>(bytes.subspan(6)), bytes[8], bytes[9], bytes[10], bytes[11], bytes[12],
                  bytes[13], bytes[14], bytes[15]);
    return text.data();
}

void AppendUtf8(std::string& text, char32_t character)
{
    const auto put = [&](char32_t bits) { text += static_cast<char>(bits); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6);
        put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12);
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | character >> 18);
        put(0x80 | (character >> 12 & 0x3F));
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    }
}

/// UTF-16 up to the first unit that is not text: a control character, half a pair, or a unit that no character has.
std::string WideText(std::span<const std::uint8_t> bytes)
{
    const auto isIn = [](char32_t unit, char32_t first, char32_t last) { return unit >= first && unit <= last; };
    std::string text;
    while (bytes.size() >= 2) {
        char32_t character = ReadNumber<std::uint16_t>(bytes);
        bytes = bytes.subspan(2);
        if (isIn(character, 0xD800, 0xDBFF) && bytes.size() >= 2) {
            const char32_t low = ReadNumber<std::uint16_t>(bytes);
            if (!isIn(low, 0xDC00, 0xDFFF)) {
                break;
            }
            character = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00);
            bytes = bytes.subspan(2);
        }
        if (character < 0x20 || isIn(character, 0x7F, 0x9F) || isIn(character, 0xD800, 0xDFFF) ||
            isIn(character, 0xFDD0, 0xFDEF) || (character & 0xFFFE) == 0xFFFE) {
            break;
        }
        AppendUtf8(text, character);
    }
    return text;
}

} // namespace

HexReadings InspectBytes(std::span<const std::uint8_t> bytes)
{
    bytes = bytes.first(std::min(bytes.size(), kHexInspectedBytes));
    return {NumberText<std::uint8_t>(bytes),
            NumberText<std::uint16_t>(bytes),
            NumberText<std::uint32_t>(bytes),
            NumberText<std::uint64_t>(bytes),
            FileTimeText(bytes),
            GuidText(bytes),
            WideText(bytes)};
}

} // namespace tolvar
