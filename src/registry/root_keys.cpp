#include "registry/root_keys.h"

#include <algorithm>
#include <functional>

#include "platform/system/version.h"

namespace tolvar {

namespace {

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
    if (!HoldsSeparator(fullPath)) {
        outKey = root;
        return ERROR_SUCCESS;
    }
    return open(root, std::string(SplitFirst(fullPath).rest).c_str());
}

} // namespace

bool RootKeyName(std::string& out, HKEY handle)
{
    const RootKey* root = FindRoot(handle);
    if (root != nullptr) {
        out = root->name;
    }
    return root != nullptr;
}

HKEY RootKeyFromName(std::string_view text)
{
    for (const RootKey& root : RootKeys()) {
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

LSTATUS OpenLinkPath(std::string_view fullPath, HKEY& outKey, REGSAM access)
{
    return WithRoot(fullPath, outKey, [&](HKEY root, const char* rest) {
        return RegOpenKeyExA(root, rest, REG_OPTION_OPEN_LINK, access, &outKey);
    });
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
    std::vector<RootKey> roots;
    for (const RootKey& root : RootKeys()) {
        if (root.handle != HKEY_DYN_DATA && root.handle != HKEY_PERFORMANCE_DATA) {
            roots.push_back(root);
        }
    }
    const PlatformVersion version = GetPlatformVersion();
    if (!version.IsNT()) {
        roots.push_back(*FindRoot(HKEY_DYN_DATA));
    } else if (version.major < 5) {
        roots.push_back(*FindRoot(HKEY_PERFORMANCE_DATA));
    }
    return roots;
}

} // namespace tolvar
