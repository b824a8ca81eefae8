#include "key_text/key_text_line.h"

#include <charconv>

#include "registry/value_text.h"

namespace tolvar {

namespace {

constexpr std::string_view kDefaultName = "@";
constexpr char kLineFeed = '\n'; // no line can hold these two
constexpr char kEndOfText = '\x1A';
constexpr std::size_t kDigitsOfNumber = 8;

bool Holds(std::string_view text, char c)
{
    return text.find(c) != std::string_view::npos;
}

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
    return name != kDefaultName && !name.starts_with('[') && !Holds(name, ':') && !Holds(name, '=') &&
           LineHoldsKeyName(name) && LineHoldsKeyName(text);
}

bool LineHoldsKeyName(std::string_view name)
{
    return !Holds(name, kLineFeed) && !Holds(name, kEndOfText);
}

std::optional<std::string_view> NextLine(std::string_view& text)
{
    if (text.empty() || text.front() == kEndOfText) {
        return std::nullopt;
    }
    const std::size_t feed = text.find(kLineFeed);
    std::string_view line = text.substr(0, feed);
    const std::size_t last = line.find(kEndOfText);
    const bool isEnded = feed != std::string_view::npos && last == std::string_view::npos;
    line = line.substr(0, last);
    text = isEnded ? text.substr(feed + 1) : std::string_view();
    if (isEnded && line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

} // namespace tolvar
