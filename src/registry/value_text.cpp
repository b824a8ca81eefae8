#include "registry/value_text.h"

#include <algorithm>
#include <array>

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

bool IsNumber(DWORD type, std::span<const BYTE> data)
{
    return (type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN) && data.size() >= 4;
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

} // namespace tolvar
