#include "platform/system/text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

namespace tolvar {

namespace {

struct UpCaseRange {
    std::uint16_t first;
    std::uint16_t last;
    std::uint16_t step;
    std::int32_t delta;
};

/// The kernel's fixed table (docs/hive-format.md, Upper case). No library's case mapping agrees with it.
constexpr UpCaseRange kUpCaseRanges[] = {
    // clang-format off
    {0x0061, 0x007A, 1, -32},
    {0x00E0, 0x00F6, 1, -32},
    {0x00F8, 0x00FE, 1, -32},
    {0x00FF, 0x00FF, 1, 121},
    {0x0101, 0x012F, 2, -1},
    {0x0133, 0x0137, 2, -1},
    {0x013A, 0x0148, 2, -1},
    {0x014B, 0x0177, 2, -1},
    {0x017A, 0x017E, 2, -1},
    {0x0180, 0x0180, 1, 195},
    {0x0183, 0x0185, 2, -1},
    {0x0188, 0x0188, 1, -1},
    {0x018C, 0x018C, 1, -1},
    {0x0192, 0x0192, 1, -1},
    {0x0195, 0x0195, 1, 97},
    {0x0199, 0x0199, 1, -1},
    {0x019A, 0x019A, 1, 163},
    {0x019E, 0x019E, 1, 130},
    {0x01A1, 0x01A5, 2, -1},
    {0x01A8, 0x01A8, 1, -1},
    {0x01AD, 0x01AD, 1, -1},
    {0x01B0, 0x01B0, 1, -1},
    {0x01B4, 0x01B6, 2, -1},
    {0x01B9, 0x01B9, 1, -1},
    {0x01BD, 0x01BD, 1, -1},
    {0x01BF, 0x01BF, 1, 56},
    {0x01C6, 0x01C6, 1, -2},
    {0x01C9, 0x01C9, 1, -2},
    {0x01CC, 0x01CC, 1, -2},
    {0x01CE, 0x01DC, 2, -1},
    {0x01DD, 0x01DD, 1, -79},
    {0x01DF, 0x01EF, 2, -1},
    {0x01F3, 0x01F3, 1, -2},
    {0x01F5, 0x01F5, 1, -1},
    {0x01F9, 0x021F, 2, -1},
    {0x0223, 0x0233, 2, -1},
    {0x023C, 0x023C, 1, -1},
    {0x0242, 0x0242, 1, -1},
    {0x0247, 0x024F, 2, -1},
    {0x0250, 0x0250, 1, 10783},
    {0x0251, 0x0251, 1, 10780},
    {0x0253, 0x0253, 1, -210},
    {0x0254, 0x0254, 1, -206},
    {0x0256, 0x0257, 1, -205},
    {0x0259, 0x0259, 1, -202},
    {0x025B, 0x025B, 1, -203},
    {0x0260, 0x0260, 1, -205},
    {0x0263, 0x0263, 1, -207},
    {0x0268, 0x0268, 1, -209},
    {0x0269, 0x0269, 1, -211},
    {0x026B, 0x026B, 1, 10743},
    {0x026F, 0x026F, 1, -211},
    {0x0271, 0x0271, 1, 10749},
    {0x0272, 0x0272, 1, -213},
    {0x0275, 0x0275, 1, -214},
    {0x027D, 0x027D, 1, 10727},
    {0x0280, 0x0280, 1, -218},
    {0x0283, 0x0283, 1, -218},
    {0x0288, 0x0288, 1, -218},
    {0x0289, 0x0289, 1, -69},
    {0x028A, 0x028B, 1, -217},
    {0x028C, 0x028C, 1, -71},
    {0x0292, 0x0292, 1, -219},
    {0x0371, 0x0373, 2, -1},
    {0x0377, 0x0377, 1, -1},
    {0x037B, 0x037D, 1, 130},
    {0x03AC, 0x03AC, 1, -38},
    {0x03AD, 0x03AF, 1, -37},
    {0x03B1, 0x03C1, 1, -32},
    {0x03C3, 0x03CB, 1, -32},
    {0x03CC, 0x03CC, 1, -64},
    {0x03CD, 0x03CE, 1, -63},
    {0x03D7, 0x03D7, 1, -8},
    {0x03D9, 0x03EF, 2, -1},
    {0x03F2, 0x03F2, 1, 7},
    {0x03F8, 0x03F8, 1, -1},
    {0x03FB, 0x03FB, 1, -1},
    {0x0430, 0x044F, 1, -32},
    {0x0450, 0x045F, 1, -80},
    {0x0461, 0x0481, 2, -1},
    {0x048B, 0x04BF, 2, -1},
    {0x04C2, 0x04CE, 2, -1},
    {0x04CF, 0x04CF, 1, -15},
    {0x04D1, 0x0523, 2, -1},
    {0x0561, 0x0586, 1, -48},
    {0x1D79, 0x1D79, 1, 35332},
    {0x1D7D, 0x1D7D, 1, 3814},
    {0x1E01, 0x1E95, 2, -1},
    {0x1EA1, 0x1EFF, 2, -1},
    {0x1F00, 0x1F07, 1, 8},
    {0x1F10, 0x1F15, 1, 8},
    {0x1F20, 0x1F27, 1, 8},
    {0x1F30, 0x1F37, 1, 8},
    {0x1F40, 0x1F45, 1, 8},
    {0x1F51, 0x1F57, 2, 8},
    {0x1F60, 0x1F67, 1, 8},
    {0x1F70, 0x1F71, 1, 74},
    {0x1F72, 0x1F75, 1, 86},
    {0x1F76, 0x1F77, 1, 100},
    {0x1F78, 0x1F79, 1, 128},
    {0x1F7A, 0x1F7B, 1, 112},
    {0x1F7C, 0x1F7D, 1, 126},
    {0x1F80, 0x1F87, 1, 8},
    {0x1F90, 0x1F97, 1, 8},
    {0x1FA0, 0x1FA7, 1, 8},
    {0x1FB0, 0x1FB1, 1, 8},
    {0x1FB3, 0x1FB3, 1, 9},
    {0x1FC3, 0x1FC3, 1, 9},
    {0x1FD0, 0x1FD1, 1, 8},
    {0x1FE0, 0x1FE1, 1, 8},
    {0x1FE5, 0x1FE5, 1, 7},
    {0x1FF3, 0x1FF3, 1, 9},
    {0x214E, 0x214E, 1, -28},
    {0x2170, 0x217F, 1, -16},
    {0x2184, 0x2184, 1, -1},
    {0x24D0, 0x24E9, 1, -26},
    {0x2C30, 0x2C5E, 1, -48},
    {0x2C61, 0x2C61, 1, -1},
    {0x2C65, 0x2C65, 1, -10795},
    {0x2C66, 0x2C66, 1, -10792},
    {0x2C68, 0x2C6C, 2, -1},
    {0x2C73, 0x2C73, 1, -1},
    {0x2C76, 0x2C76, 1, -1},
    {0x2C81, 0x2CE3, 2, -1},
    {0x2D00, 0x2D25, 1, -7264},
    {0xA641, 0xA65F, 2, -1},
    {0xA663, 0xA66D, 2, -1},
    {0xA681, 0xA697, 2, -1},
    {0xA723, 0xA72F, 2, -1},
    {0xA733, 0xA76F, 2, -1},
    {0xA77A, 0xA77C, 2, -1},
    {0xA77F, 0xA787, 2, -1},
    {0xA78C, 0xA78C, 1, -1},
    {0xFF41, 0xFF5A, 1, -32},
    // clang-format on
};

constexpr std::array<char16_t, 0x10000> MakeUpCaseTable()
{
    std::array<char16_t, 0x10000> table{};
    for (std::size_t unit = 0; unit < table.size(); ++unit) {
        table[unit] = static_cast<char16_t>(unit);
    }
    for (const UpCaseRange& range : kUpCaseRanges) {
        for (std::uint32_t unit = range.first; unit <= range.last; unit += range.step) {
            table[unit] = static_cast<char16_t>(static_cast<std::int32_t>(unit) + range.delta);
        }
    }
    return table;
}

const std::array<char16_t, 0x10000>& UpCaseTable() noexcept
{
    static const auto table = std::make_unique<const std::array<char16_t, 0x10000>>(MakeUpCaseTable());
    return *table;
}

constexpr bool IsHighSurrogate(char32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(char32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendCodePoint(std::string& out, char32_t point, NulForm nul)
{
    const auto append = [&out](char32_t byte) { out.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (point == 0 && nul == NulForm::kTwoBytes) {
        append(0xC0);
        append(0x80);
    } else if (point < 0x80) {
        append(point);
    } else if (point < 0x800) {
        append(0xC0 | point >> 6);
        append(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        append(0xE0 | point >> 12);
        append(0x80 | (point >> 6 & 0x3F));
        append(0x80 | (point & 0x3F));
    } else {
        append(0xF0 | point >> 18);
        append(0x80 | (point >> 12 & 0x3F));
        append(0x80 | (point >> 6 & 0x3F));
        append(0x80 | (point & 0x3F));
    }
}

/// One code point and the bytes that it took; 0 bytes for what is no UTF-8.
struct Decoded {
    char32_t point;
    std::size_t length;
};

Decoded DecodeOne(std::string_view text)
{
    const auto byte = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const auto isTail = [&](std::size_t at) { return at < text.size() && (byte(at) & 0xC0) == 0x80; };
    const auto tail = [&](std::size_t at) { return static_cast<char32_t>(byte(at) & 0x3F); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    if ((lead & 0xE0) == 0xC0 && isTail(1)) {
        const char32_t point = static_cast<char32_t>(lead & 0x1F) << 6 | tail(1);
        return {point, point >= 0x80 || point == 0 ? 2U : 0U}; // C0 80 is the unit 0, other overlong forms are refused
    }
    if ((lead & 0xF0) == 0xE0 && isTail(1) && isTail(2)) {
        const char32_t point = static_cast<char32_t>(lead & 0x0F) << 12 | tail(1) << 6 | tail(2);
        return {point, point >= 0x800 ? 3U : 0U};
    }
    if ((lead & 0xF8) == 0xF0 && isTail(1) && isTail(2) && isTail(3)) {
        const char32_t point = static_cast<char32_t>(lead & 0x07) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3);
        return {point, point >= 0x10000 && point <= 0x10FFFF ? 4U : 0U};
    }
    return {0, 0};
}

} // namespace

void AppendUtf8Unit(std::string& out, char16_t unit, NulForm nul)
{
    AppendCodePoint(out, unit, nul);
}

void AppendUtf8(std::string& out, std::u16string_view text, NulForm nul)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (IsHighSurrogate(point) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
            point = 0x10000 + ((point - 0xD800) << 10) + (text[i + 1] - 0xDC00U);
            ++i;
        }
        AppendCodePoint(out, point, nul);
    }
}

std::string ToUtf8(std::u16string_view text, NulForm nul)
{
    std::string out;
    out.reserve(text.size());
    AppendUtf8(out, text, nul);
    return out;
}

std::size_t Utf8Size(std::u16string_view text) noexcept
{
    // Each block is counted in 16 bits, so that the compiler takes several units at once.
    constexpr std::size_t kBlock = 0x3FFF; // units that count at most 4 each
    std::size_t size = text.size();
    char16_t before = 0; // the last unit of the previous block
    while (!text.empty()) {
        const std::u16string_view block = text.substr(0, kBlock);
        const auto extra = [](char16_t last, char16_t unit) {
            const int isPair =
                static_cast<int>((last & 0xFC00) == 0xD800) & static_cast<int>((unit & 0xFC00) == 0xDC00);
            // A pair takes four bytes, not two times three.
            return static_cast<std::uint16_t>((unit >= 0x80 ? 1 : 0) + (unit >= 0x800 ? 1 : 0) + 2 * (1 - isPair));
        };
        std::uint16_t more = extra(before, block.front());
        for (std::size_t i = 1; i < block.size(); ++i) {
            more = static_cast<std::uint16_t>(more + extra(block[i - 1], block[i]));
        }
        size += more - 2 * block.size();
        before = block.back();
        text.remove_prefix(block.size());
    }
    return size;
}

std::optional<std::u16string> ToUtf16(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const Decoded decoded = DecodeOne(text);
        if (decoded.length == 0) {
            return std::nullopt;
        }
        if (decoded.point >= 0x10000) {
            out.push_back(static_cast<char16_t>(0xD800 + ((decoded.point - 0x10000) >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + ((decoded.point - 0x10000) & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(decoded.point));
        }
        text.remove_prefix(decoded.length);
    }
    return out;
}

char16_t UpCase(char16_t unit) noexcept
{
    if (unit < 0x80) {
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
    }
    return UpCaseTable()[unit];
}

std::string UpCased(std::string_view name)
{
    std::optional<std::u16string> units = ToUtf16(name);
    if (!units) {
        return std::string(name);
    }
    std::ranges::transform(*units, units->begin(), UpCase);
    return ToUtf8(*units);
}

std::size_t WholeCharacters(std::string_view text) noexcept
{
    const auto byte = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    std::size_t tail = 0;
    while (tail < std::min<std::size_t>(3, text.size()) && (byte(text.size() - 1 - tail) & 0xC0) == 0x80) {
        ++tail;
    }
    if (tail == text.size()) {
        return text.size();
    }
    const unsigned lead = byte(text.size() - 1 - tail);
    const std::size_t needed = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    return tail < needed ? text.size() - tail - 1 : text.size();
}

int CompareNames(std::u16string_view left, std::u16string_view right) noexcept
{
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (const int order = UpCase(left[i]) - UpCase(right[i]); order != 0) {
            return order;
        }
    }
    return left.size() < right.size() ? -1 : left.size() > right.size() ? 1 : 0;
}

int CompareNames(std::string_view left, std::string_view right)
{
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const auto a = static_cast<unsigned char>(left[i]);
        const auto b = static_cast<unsigned char>(right[i]);
        if (a >= 0x80 || b >= 0x80) {
            const std::optional<std::u16string> leftUnits = ToUtf16(left);
            const std::optional<std::u16string> rightUnits = ToUtf16(right);
            return leftUnits && rightUnits ? CompareNames(*leftUnits, *rightUnits) : left.compare(right);
        }
        if (const int order = UpCase(a) - UpCase(b); order != 0) {
            return order;
        }
    }
    return left.size() < right.size() ? -1 : left.size() > right.size() ? 1 : 0;
}

} // namespace tolvar
