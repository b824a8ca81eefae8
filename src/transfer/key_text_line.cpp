#include "transfer/key_text_line.h"

#include <charconv>

#include "registry/value_text.h"

namespace tolvar {

namespace {

constexpr std::string_view kDefaultName = "@";
constexpr std::string_view kEndsLine = "\n\x1A"; // no line can hold these
constexpr std::string_view kEndOfText = "\x1A";
constexpr std::size_t kDigitsOfNumber = 8;

/// A type as "%d" prints it: one above 2^31 comes as a negative number.
std::optional<DWORD> TypeFromText(std::string_view text)
{
    std::int64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isType = !text.empty() && read.ec == std::errc() && read.ptr == text.data() + text.size() &&
                        number >= INT32_MIN && number <= std::int64_t{UINT32_MAX};
    return isType ? std::optional(static_cast<DWORD>(number)) : std::nullopt;
}

} // namespace

KeyTextLine ParseKeyTextLine(std::string_view line)
{
    if (line.empty()) {
        return OtherLine{true};
    }
    if (line.front() == '[') {
        // The last character is taken for the bracket that closes it.
        return SectionLine{line.size() < 2 ? std::string_view() : line.substr(1, line.size() - 2)};
    }
    const std::size_t colon = line.find(':');
    const std::size_t equals = line.substr(0, colon).find('=');
    if (colon == std::string_view::npos || equals == std::string_view::npos) {
        return OtherLine{};
    }
    const std::optional<DWORD> type = TypeFromText(line.substr(equals + 1, colon - equals - 1));
    if (!type) {
        return OtherLine{};
    }
    std::string_view text = line.substr(colon + 1);
    if (*type == REG_DWORD || *type == REG_DWORD_BIG_ENDIAN) {
        text = text.substr(0, kDigitsOfNumber);
    }
    std::optional<std::vector<BYTE>> data = ValueFromText(*type, text);
    if (!data) {
        return OtherLine{};
    }
    const std::string_view name = line.substr(0, equals);
    return ValueLine{std::string(name == kDefaultName ? std::string_view() : name), *type, *std::move(data)};
}

bool LineHoldsValue(std::string_view name, std::string_view text)
{
    return name != kDefaultName && !name.starts_with('[') && name.find_first_of(":=") == std::string_view::npos &&
           name.find_first_of(kEndsLine) == std::string_view::npos &&
           text.find_first_of(kEndsLine) == std::string_view::npos;
}

bool LineHoldsKeyName(std::string_view name)
{
    return name.find_first_of(kEndsLine) == std::string_view::npos;
}

std::optional<std::string_view> NextLine(std::string_view& text)
{
    const std::size_t end = text.find_first_of(kEndsLine);
    if (text.empty() || text.starts_with(kEndOfText)) {
        return std::nullopt;
    }
    std::string_view line = text.substr(0, end);
    const bool isEnded = end != std::string_view::npos && text[end] == '\n';
    text = isEnded ? text.substr(end + 1) : std::string_view();
    if (isEnded && line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

} // namespace tolvar
