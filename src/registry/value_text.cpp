#include "registry/value_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include <fmt/format.h>

#include "registry/environment_strings.h"

namespace tolvar {

namespace {

constexpr std::array kTypeNames = {
    "REG_NONE",
    "REG_SZ",
    "REG_EXPAND_SZ",
    "REG_BINARY",
    "REG_DWORD",
    "REG_DWORD_BIG_ENDIAN",
    "REG_LINK",
    "REG_MULTI_SZ",
    "REG_RESOURCE_LIST",
    "REG_FULL_RESOURCE_DESCRIPTOR",
    "REG_RESOURCE_REQUIREMENTS_LIST",
};

std::string FirstString(std::span<const BYTE> data)
{
    return {data.begin(), std::ranges::find(data, BYTE{0})};
}

std::string ListText(std::span<const BYTE> data)
{
    std::string text;
    while (!data.empty() && data.front() != 0) {
        const std::string part = FirstString(data);
        if (!text.empty()) {
            text.push_back(';');
        }
        text.append(part);
        data = data.subspan(std::min(part.size() + 1, data.size()));
    }
    return text;
}

std::string BytesText(std::span<const BYTE> data)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(3 * data.size());
    for (const BYTE byte : data) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
        text.push_back(' ');
    }
    return text;
}

DWORD Number(DWORD type, std::span<const BYTE> data)
{
    DWORD number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8 | data[type == REG_DWORD ? 3 - i : i];
    }
    return number;
}

std::optional<BYTE> DigitPair(std::string_view text)
{
    BYTE value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    const bool isPair = text.size() == 2 && read.ec == std::errc() && read.ptr == text.data() + text.size();
    return isPair ? std::optional(value) : std::nullopt;
}

std::optional<std::vector<BYTE>> NumberFromText(DWORD type, std::string_view text)
{
    DWORD number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    const bool isNumber = text.empty() || (read.ec == std::errc() && read.ptr == text.data() + text.size());
    if (!isNumber || text.size() > 8) {
        return std::nullopt;
    }
    std::vector<BYTE> bytes(4);
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[type == REG_DWORD ? i : 3 - i] = static_cast<BYTE>(number >> (8 * i));
    }
    return bytes;
}

bool IsNumber(DWORD type, std::span<const BYTE> data)
{
    return (type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN) && data.size() >= 4;
}

std::u16string Units(std::span<const std::byte> stored)
{
    std::u16string units(stored.size() / 2, u'\0');
    std::memcpy(units.data(), stored.data(), 2 * units.size());
    return units;
}

/// A row of strings without ";", each ended and none of them empty, with an empty one behind them.
bool IsPlainList(std::u16string_view units)
{
    return units.size() > 2 && units.front() != u'\0' && units.ends_with(std::u16string_view(u"\0\0", 2)) &&
           units.find(std::u16string_view(u"\0\0", 2)) == units.size() - 2 && units.find(u';') == units.npos;
}

} // namespace

std::string ValueTypeName(DWORD type)
{
    return type < kTypeNames.size() ? kTypeNames[type]
                                    : fmt::format("Custom type - {}", static_cast<std::int32_t>(type));
}

std::string ValueToText(DWORD type, std::span<const BYTE> data, ExpandStrings expand)
{
    if (data.empty()) {
        return {};
    }
    if (IsNumber(type, data)) {
        return fmt::format("{:08x}", Number(type, data));
    }
    switch (type) {
    case REG_SZ:
    case REG_LINK:
        return FirstString(data);
    case REG_EXPAND_SZ:
        return expand == ExpandStrings::kYes ? ExpandEnvironmentText(FirstString(data)) : FirstString(data);
    case REG_MULTI_SZ:
        return ListText(data);
    default:
        return BytesText(data);
    }
}

std::string ValueToListText(DWORD type, std::span<const BYTE> data)
{
    if (type == REG_DWORD && IsNumber(type, data)) {
        return fmt::format("0x{:08x} ({})", Number(type, data), Number(type, data));
    }
    return ValueToText(type, data, ExpandStrings::kYes);
}

std::optional<std::vector<BYTE>> ValueFromText(DWORD type, std::string_view text)
{
    switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_LINK:
    case REG_MULTI_SZ: {
        std::vector<BYTE> bytes(text.begin(), text.end());
        if (type == REG_MULTI_SZ) {
            std::ranges::replace(bytes, BYTE{';'}, BYTE{0});
        }
        return bytes;
    }
    case REG_DWORD:
    case REG_DWORD_BIG_ENDIAN:
        return NumberFromText(type, text);
    default:
        break;
    }
    std::vector<BYTE> bytes;
    for (std::size_t at = 0; at < text.size(); at += 3) {
        const std::optional<BYTE> byte = DigitPair(text.substr(at, 2));
        if (!byte) {
            return std::nullopt;
        }
        bytes.push_back(*byte);
    }
    return bytes;
}

std::optional<std::string> NumberToValueText(DWORD type, std::uint64_t number)
{
    if (type == REG_QWORD) {
        std::vector<BYTE> bytes(sizeof number);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<BYTE>(number >> 8 * i);
        }
        return ValueToText(type, bytes, ExpandStrings::kNo);
    }
    const bool fits = (type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN) && number <= 0xFFFFFFFF;
    return fits ? std::optional(fmt::format("{:08x}", number)) : std::nullopt;
}

std::optional<std::uint64_t> NumberFromValueText(DWORD type, std::string_view text)
{
    std::uint64_t number = 0;
    if (type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN) {
        const auto read = std::from_chars(text.data(), text.data() + text.size(), number, 16);
        const bool isWhole = text.size() == 8 && read.ec == std::errc() && read.ptr == text.data() + text.size();
        return isWhole ? std::optional(number) : std::nullopt;
    }
    const std::optional<std::vector<BYTE>> bytes = ValueFromText(type, text);
    if (type != REG_QWORD || !bytes || bytes->size() != sizeof number) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < bytes->size(); ++i) {
        number |= std::uint64_t{(*bytes)[i]} << 8 * i;
    }
    return number;
}

bool TextFormHolds(DWORD type, std::size_t size, std::span<const std::byte> stored)
{
    switch (type) {
    case REG_DWORD:
    case REG_DWORD_BIG_ENDIAN:
        return size == 4;
    case REG_SZ:
    case REG_EXPAND_SZ:
        return size == 0 || (size % 2 == 0 && Units(stored).find(u'\0') == size / 2 - 1);
    case REG_MULTI_SZ:
        return size == 0 || (size % 2 == 0 && IsPlainList(Units(stored)));
    case REG_LINK:
        return std::ranges::find(stored, std::byte{0}) == stored.end();
    default:
        return true;
    }
}

std::optional<DWORD> ValueTypeFromName(std::string_view name)
{
    const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    for (DWORD type = 0; type < kTypeNames.size(); ++type) {
        if (std::ranges::equal(name, std::string_view(kTypeNames[type]), {}, upper)) {
            return type;
        }
    }
    if (std::ranges::equal(name, std::string_view("REG_QWORD"), {}, upper)) {
        return REG_QWORD;
    }
    DWORD number = 0;
    const auto read = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool isNumber = read.ec == std::errc() && read.ptr == name.data() + name.size();
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace tolvar
