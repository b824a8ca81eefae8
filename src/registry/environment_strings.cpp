#include "registry/environment_strings.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

constexpr DWORD kLongestVariable = 32767;    ///< bytes, the platform's limit
constexpr std::size_t kExpandUpTo = 1 << 16; ///< bytes: a text that repeats a variable could grow beyond all bounds

std::optional<std::string> TextValue(const char* keyPath, const std::string& name)
{
    RegKey key;
    if (OpenKeyPath(keyPath, *key.Put(), KEY_QUERY_VALUE) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    DWORD type = 0;
    DWORD size = 0;
    if (RegQueryValueExA(key.Get(), name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        size > kLongestVariable) {
        return std::nullopt;
    }
    std::vector<BYTE> data(size);
    if (RegQueryValueExA(key.Get(), name.c_str(), nullptr, &type, data.data(), &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ)) {
        return std::nullopt;
    }
    return std::string(data.begin(), std::ranges::find(data, BYTE{0}));
}

std::optional<std::string> Variable(const std::string& name)
{
    constexpr const char* kEnvironments[] = {
        "HKEY_CURRENT_USER\\Environment",
        "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", // SystemRoot
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion",    // ProgramFilesDir
    };
    for (const char* environment : kEnvironments) {
        if (std::optional<std::string> value = TextValue(environment, name)) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace

std::string ExpandEnvironmentText(std::string_view text)
{
    std::string out;
    while (true) {
        const std::size_t open = text.find('%');
        const std::size_t close = open == std::string_view::npos ? open : text.find('%', open + 1);
        if (close == std::string_view::npos || out.size() > kExpandUpTo) {
            return out.append(text);
        }
        const std::string name(text.substr(open + 1, close - open - 1));
        const std::optional<std::string> value = name.empty() ? std::nullopt : Variable(name);
        out.append(text.substr(0, open));
        if (value) {
            out.append(*value);
            text.remove_prefix(close + 1);
        } else {
            out.append(text.substr(open, close - open)); // the second sign may open the next name
            text.remove_prefix(close);
        }
    }
}

} // namespace tolvar
