#include "session/settings_file.h"

#include <charconv>
#include <cstdlib>
#include <fstream>

#include "platform/system/text.h"

namespace tolvar {

namespace {

int HexDigit(char c)
{
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

/// "Data%20Path" as "Data Path".
std::string KeyFromText(std::string_view text)
{
    std::string key;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape =
            text[i] == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0;
        key.push_back(isEscape ? static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2])) : text[i]);
        i += isEscape ? 2 : 0;
    }
    return key;
}

/// A value with its quotes and escapes taken away. "\x41" is one character of up to 16 bits.
std::string ValueFromIni(std::string_view text)
{
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            continue;
        }
        if (text[i] != '\\' || i + 1 == text.size()) {
            value.push_back(text[i]);
            continue;
        }
        const char escape = text[++i];
        if (escape != 'x') {
            value.push_back(escape == 'n' ? '\n' : escape == 't' ? '\t' : escape);
            continue;
        }
        unsigned unit = 0;
        for (int digits = 0; digits < 4 && i + 1 < text.size() && HexDigit(text[i + 1]) >= 0; ++digits) {
            unit = unit * 16 + static_cast<unsigned>(HexDigit(text[++i]));
        }
        AppendUtf8(value, std::u16string(1, static_cast<char16_t>(unit)));
    }
    return value;
}

} // namespace

std::filesystem::path SettingsFile::DefaultFile()
{
    const char* config = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    const std::filesystem::path base = config != nullptr && *config == '/'
                                           ? std::filesystem::path(config)
                                           : std::filesystem::path(home != nullptr ? home : "/") / ".config";
    return base / "Kordo" / "Tolvar.conf";
}

SettingsFile::SettingsFile(const std::filesystem::path& file)
{
    std::ifstream lines(file);
    std::string section;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('[') && line.ends_with(']')) {
            section = KeyFromText(std::string_view(line).substr(1, line.size() - 2));
        } else if (const std::size_t equals = line.find('='); equals != std::string::npos) {
            const std::string_view text = line;
            m_values[section + "/" + KeyFromText(text.substr(0, equals))] = ValueFromIni(text.substr(equals + 1));
        }
    }
}

std::string SettingsFile::GetString(std::string_view section, std::string_view key, std::string_view fallback) const
{
    const auto found = m_values.find(std::string(section).append("/").append(key));
    return found != m_values.end() ? found->second : std::string(fallback);
}

int SettingsFile::GetInt(std::string_view section, std::string_view key, int fallback) const
{
    const std::string text = GetString(section, key, {});
    int number = fallback;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() ? number : fallback;
}

} // namespace tolvar
