#include "platform/registry/key_path.h"

#include "platform/system/text.h"

namespace tolvar {

namespace {

const RootKey kRootKeys[] = {
    {"HKEY_CLASSES_ROOT", "HKCR", HKEY_CLASSES_ROOT},
    {"HKEY_CURRENT_USER", "HKCU", HKEY_CURRENT_USER},
    {"HKEY_LOCAL_MACHINE", "HKLM", HKEY_LOCAL_MACHINE},
    {"HKEY_USERS", "HKU", HKEY_USERS},
    {"HKEY_PERFORMANCE_DATA", "HKPD", HKEY_PERFORMANCE_DATA},
    {"HKEY_CURRENT_CONFIG", "HKCC", HKEY_CURRENT_CONFIG},
    {"HKEY_DYN_DATA", "HKDD", HKEY_DYN_DATA},
};

constexpr char ToUpper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

template <class Matches>
const RootKey* FindRootWhere(Matches&& matches)
{
    const auto* const found = std::ranges::find_if(kRootKeys, matches);
    return found != std::end(kRootKeys) ? found : nullptr;
}

} // namespace

std::span<const RootKey> RootKeys() noexcept
{
    return kRootKeys;
}

const RootKey* FindRoot(std::string_view name) noexcept
{
    return FindRootWhere(
        [name](const RootKey& root) { return std::ranges::equal(std::string_view(root.name), name, {}, {}, ToUpper); });
}

const RootKey* FindRootByShortName(std::string_view name) noexcept
{
    return FindRootWhere([name](const RootKey& root) {
        return std::ranges::equal(std::string_view(root.shortName), name, {}, {}, ToUpper);
    });
}

const RootKey* FindRoot(HKEY handle) noexcept
{
    return FindRootWhere([handle](const RootKey& root) { return root.handle == handle; });
}

FirstAndRest SplitFirst(std::string_view path) noexcept
{
    const std::size_t end = std::min(path.find(kPathSeparator), path.size());
    return {path.substr(0, end), path.substr(std::min(end + 1, path.size()))};
}

std::optional<ParentAndName> SplitLast(std::string_view path) noexcept
{
    const std::size_t end = path.rfind(kPathSeparator);
    return end == std::string_view::npos || end + 1 == path.size()
               ? std::nullopt
               : std::optional(ParentAndName{path.substr(0, end), path.substr(end + 1)});
}

std::string_view ParentPath(std::string_view path) noexcept
{
    const std::size_t end = path.rfind(kPathSeparator);
    return end == std::string_view::npos ? std::string_view() : path.substr(0, end);
}

std::string_view LastName(std::string_view path) noexcept
{
    return path.substr(path.rfind(kPathSeparator) + 1); // npos + 1 is 0
}

void AppendPath(std::string& path, std::string_view name)
{
    if (!path.empty() && !name.empty()) {
        path.push_back(kPathSeparator);
    }
    path.append(name);
}

std::string JoinPath(std::string_view path, std::string_view name)
{
    std::string joined(path);
    AppendPath(joined, name);
    return joined;
}

bool HoldsSeparator(std::string_view text) noexcept
{
    return text.find(kPathSeparator) != std::string_view::npos;
}

std::string_view TrimPathEnd(std::string_view path) noexcept
{
    return path.substr(0, path.find_last_not_of(kPathSeparator) + 1); // npos + 1 is 0
}

std::optional<std::string_view> PathBelow(std::string_view path, std::string_view top)
{
    while (!top.empty()) {
        const FirstAndRest wanted = SplitFirst(top);
        const FirstAndRest found = SplitFirst(path);
        if (CompareNames(wanted.first, found.first) != 0) {
            return std::nullopt;
        }
        top = wanted.rest;
        path = found.rest;
    }
    return path;
}

} // namespace tolvar
