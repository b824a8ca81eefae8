#include "registry/root_keys.h"

#include <algorithm>
#include <functional>

#include "platform/system/version.h"

namespace tolvar {

namespace {

/// In the order in which a text is compared with them.
const RootKey kRootKeys[] = {
    {"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},       {"HKEY_USERS", HKEY_USERS},
    {"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},         {"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
    {"HKEY_CURRENT_USER", HKEY_CURRENT_USER},         {"HKEY_DYN_DATA", HKEY_DYN_DATA},
    {"HKEY_PERFORMANCE_DATA", HKEY_PERFORMANCE_DATA},
};

char ToUpper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

LSTATUS WithRoot(std::string_view fullPath, HKEY& outKey, const std::function<LSTATUS(HKEY, const char*)>& open)
{
    outKey = nullptr;
    const HKEY root = RootKeyFromName(fullPath);
    if (root == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    const std::size_t slash = fullPath.find('\\');
    if (slash == std::string_view::npos) {
        outKey = root;
        return ERROR_SUCCESS;
    }
    return open(root, std::string(fullPath.substr(slash + 1)).c_str());
}

} // namespace

bool RootKeyName(std::string& out, HKEY handle)
{
    const auto found = std::ranges::find(kRootKeys, handle, &RootKey::handle);
    if (found == std::end(kRootKeys)) {
        return false;
    }
    out = found->name;
    return true;
}

HKEY RootKeyFromName(std::string_view text)
{
    for (const RootKey& root : kRootKeys) {
        const std::string_view name = root.name;
        if (std::ranges::equal(text.substr(0, name.size()), name, {}, ToUpper)) {
            return root.handle;
        }
    }
    return nullptr;
}

LSTATUS OpenKeyPath(std::string_view fullPath, HKEY& outKey, REGSAM access)
{
    return WithRoot(fullPath, outKey,
                    [&](HKEY root, const char* rest) { return RegOpenKeyExA(root, rest, 0, access, &outKey); });
}

LSTATUS CreateKeyPath(std::string_view fullPath, HKEY& outKey, REGSAM access)
{
    return WithRoot(fullPath, outKey, [&](HKEY root, const char* rest) {
        DWORD disposition = 0;
        return RegCreateKeyExA(root, rest, 0, nullptr, 0, access, nullptr, &outKey, &disposition);
    });
}

std::vector<RootKey> ShownRootKeys()
{
    std::vector<RootKey> roots = {{"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
                                  {"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
                                  {"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
                                  {"HKEY_USERS", HKEY_USERS},
                                  {"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG}};
    const PlatformVersion version = GetPlatformVersion();
    if (!version.IsNT()) {
        roots.push_back({"HKEY_DYN_DATA", HKEY_DYN_DATA});
    } else if (version.major < 5) {
        roots.push_back({"HKEY_PERFORMANCE_DATA", HKEY_PERFORMANCE_DATA});
    }
    return roots;
}

} // namespace tolvar
