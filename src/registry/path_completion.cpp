#include "registry/path_completion.h"

#include <algorithm>
#include <optional>

#include "platform/system/text.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

struct ShortName {
    std::string_view shortName;
    const char* name;
};
constexpr ShortName kShortNames[] = {{"HKLM", "HKEY_LOCAL_MACHINE"},  {"HKCU", "HKEY_CURRENT_USER"},
                                     {"HKCR", "HKEY_CLASSES_ROOT"},   {"HKU", "HKEY_USERS"},
                                     {"HKCC", "HKEY_CURRENT_CONFIG"}, {"HKPD", "HKEY_PERFORMANCE_DATA"},
                                     {"HKDD", "HKEY_DYN_DATA"}};
constexpr std::string_view kMachine = "Computer\\";

bool IsSame(std::string_view left, std::string_view right)
{
    return CompareNames(left, right) == 0;
}

bool HasPrefix(std::string_view name, std::string_view prefix)
{
    // In units: the two cases of a letter may take a different number of bytes.
    const std::optional<std::u16string> nameUnits = ToUtf16(name);
    const std::optional<std::u16string> prefixUnits = ToUtf16(prefix);
    return nameUnits && prefixUnits &&
           CompareNames(std::u16string_view(*nameUnits).substr(0, prefixUnits->size()), *prefixUnits) == 0;
}

std::string_view Trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n\"";
    const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
    text.remove_prefix(begin);
    text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
    return HasPrefix(text, kMachine) ? text.substr(kMachine.size()) : text;
}

std::optional<std::string> RootName(std::string_view text)
{
    for (const ShortName& root : kShortNames) {
        if (IsSame(text, root.shortName) || IsSame(text, root.name)) {
            return root.name;
        }
    }
    return std::nullopt;
}

/// The subkeys of an open key by their place. Those that its hive stores stand first and in the order of names;
/// behind them come the keys that the session has put there, which are few.
class SubkeyNames {
public:
    explicit SubkeyNames(const std::string& path)
    {
        HKEY key = nullptr;
        if (OpenKeyPath(path, key, KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS) == ERROR_SUCCESS) {
            m_key = RegKey(key);
            static_cast<void>(RegQueryInfoKeyA(m_key.Get(), nullptr, nullptr, nullptr, &m_count, nullptr, nullptr,
                                               nullptr, nullptr, nullptr, nullptr, nullptr));
        }
    }

    /// The names that begin with `prefix`, at most `limit`.
    [[nodiscard]] std::vector<std::string> WithPrefix(std::string_view prefix, std::size_t limit) const
    {
        std::vector<std::string> names;
        const auto take = [&](DWORD from, DWORD to, bool isSorted) {
            for (DWORD index = from; index < to && names.size() < limit; ++index) {
                std::string name = At(index);
                if (HasPrefix(name, prefix)) {
                    names.push_back(std::move(name));
                } else if (isSorted) {
                    return;
                }
            }
        };
        const DWORD sorted = m_count > kSearchedInFull ? m_count - kSearchedInFull : 0;
        take(LowerBound(prefix, sorted), sorted, true);
        take(sorted, m_count, false);
        return names;
    }

    [[nodiscard]] std::optional<std::string> Named(std::string_view wanted) const
    {
        // Of all names that begin with this one it is the shortest, and stands first.
        for (std::string& name : WithPrefix(wanted, kSearchedInFull)) {
            if (IsSame(name, wanted)) {
                return std::move(name);
            }
        }
        return std::nullopt;
    }

private:
    static constexpr DWORD kSearchedInFull = 256; ///< so many at the end are looked at one by one

    [[nodiscard]] std::string At(DWORD index) const
    {
        constexpr DWORD kAnyName = 4 * 0x10000; // bytes; a hive counts the length of a name in 16 bits
        std::string name;
        for (const DWORD room : {DWORD{1024}, kAnyName}) {
            name.resize(room);
            DWORD size = room;
            const LSTATUS code =
                RegEnumKeyExA(m_key.Get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
            name.resize(code == ERROR_SUCCESS ? size : 0);
            if (code != ERROR_MORE_DATA) {
                break;
            }
        }
        return name;
    }

    [[nodiscard]] DWORD LowerBound(std::string_view prefix, DWORD end) const
    {
        DWORD begin = 0;
        while (begin < end) {
            const DWORD middle = begin + (end - begin) / 2;
            if (CompareNames(std::string_view(At(middle)), prefix) < 0) {
                begin = middle + 1;
            } else {
                end = middle;
            }
        }
        return begin;
    }

    RegKey m_key;
    DWORD m_count = 0;
};

} // namespace

std::string ResolveKeyPath(std::string_view typed)
{
    std::string_view rest = Trimmed(typed);
    while (rest.ends_with('\\')) {
        rest.remove_suffix(1);
    }
    std::string path;
    bool isFound = true;
    while (!rest.empty()) {
        const std::string_view component = rest.substr(0, rest.find('\\'));
        rest.remove_prefix(std::min(component.size() + 1, rest.size()));
        std::optional<std::string> name;
        if (isFound) {
            name = path.empty() ? RootName(component) : SubkeyNames(path).Named(component);
            isFound = name.has_value();
        }
        path += path.empty() ? "" : "\\";
        path += name ? *name : std::string(component);
    }
    return path;
}

std::vector<std::string> CompleteKeyPath(std::string_view typed, std::size_t limit)
{
    const std::string_view text = Trimmed(typed);
    const std::size_t slash = text.rfind('\\');
    std::vector<std::string> paths;
    if (slash == std::string_view::npos) {
        for (const RootKey& root : ShownRootKeys()) {
            const std::string_view name = root.name;
            const auto shortName = std::ranges::find(kShortNames, name, &ShortName::name);
            if (HasPrefix(name, text) ||
                (shortName != std::end(kShortNames) && HasPrefix(shortName->shortName, text))) {
                paths.emplace_back(name);
            }
        }
        return paths;
    }
    const std::string parent = ResolveKeyPath(text.substr(0, slash));
    for (const std::string& name : SubkeyNames(parent).WithPrefix(text.substr(slash + 1), limit)) {
        paths.push_back(parent + "\\" + name);
    }
    return paths;
}

} // namespace tolvar
