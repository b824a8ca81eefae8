#include "registry/path_completion.h"

#include <algorithm>
#include <optional>

#include "platform/system/text.h"
#include "registry/key_path.h"
#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

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
    const RootKey* const named = FindRoot(text);
    const RootKey* const root = named != nullptr ? named : FindRootByShortName(text);
    return root != nullptr ? std::optional<std::string>(root->name) : std::nullopt;
}

/// The subkeys of an open key by their place, which goes by the order of names; a short list that a damaged hive has in
/// another order is searched all the same.
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
        const bool isLong = m_count > kSearchedInFull;
        take(isLong ? LowerBound(prefix, m_count) : 0, m_count, isLong);
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
    static constexpr DWORD kSearchedInFull = 256; ///< up to so many are looked at one by one

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
    rest = TrimPathEnd(rest);
    std::string path;
    bool isFound = true;
    while (!rest.empty()) {
        const auto [component, behind] = SplitFirst(rest);
        rest = behind;
        std::optional<std::string> name;
        if (isFound) {
            name = path.empty() ? RootName(component) : SubkeyNames(path).Named(component);
            isFound = name.has_value();
        }
        path += path.empty() ? "" : std::string(1, kPathSeparator); // an empty name stays where it was typed
        path += name ? *name : std::string(component);
    }
    return path;
}

std::vector<std::string> CompleteKeyPath(std::string_view typed, std::size_t limit)
{
    const std::string_view text = Trimmed(typed);
    std::vector<std::string> paths;
    if (!HoldsSeparator(text)) {
        for (const RootKey& root : ShownRootKeys()) {
            if (HasPrefix(root.name, text) || HasPrefix(root.shortName, text)) {
                paths.emplace_back(root.name);
            }
        }
        return paths;
    }
    const std::string parent = ResolveKeyPath(ParentPath(text));
    for (const std::string& name : SubkeyNames(parent).WithPrefix(LastName(text), limit)) {
        paths.push_back(JoinPath(parent, name));
    }
    return paths;
}

} // namespace tolvar
