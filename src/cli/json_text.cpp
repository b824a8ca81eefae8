#include "cli/json_text.h"

#include <fmt/format.h>

#include "platform/system/text.h"

namespace tolvar {

namespace {

bool IsSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

} // namespace

void AppendJsonEscaped(std::string& out, char16_t unit)
{
    if (unit == u'"' || unit == u'\\') {
        out.push_back('\\');
        out.push_back(static_cast<char>(unit));
    } else if (unit < 0x20 || unit == 0x7F || IsSurrogate(unit)) {
        // Pairs too: two escapes stand for one character, and a lone one comes back as it was.
        fmt::format_to(std::back_inserter(out), "\\u{:04x}", static_cast<unsigned>(unit));
    } else {
        AppendUtf8Unit(out, unit, NulForm::kPlain);
    }
}

std::string JsonString(std::string_view text)
{
    std::string out = "\"";
    AppendJsonText(out, ToUtf16(text).value_or(u"\xFFFD"));
    out.push_back('"');
    return out;
}

void AppendHex(std::string& out, std::span<const std::byte> bytes)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    const std::size_t at = out.size();
    out.resize(at + 2 * bytes.size());
    char* digit = out.data() + at;
    for (const std::byte byte : bytes) {
        *digit++ = kDigits[std::to_integer<unsigned>(byte) >> 4];
        *digit++ = kDigits[std::to_integer<unsigned>(byte) & 15];
    }
}

} // namespace tolvar
