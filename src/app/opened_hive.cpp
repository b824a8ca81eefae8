#include "app/opened_hive.h"

#include "registry/reg_key.h"
#include "registry/root_keys.h"

namespace tolvar {

namespace {

bool IsFree(const std::string& path)
{
    RegKey key;
    HKEY opened = nullptr;
    const LSTATUS code = OpenKeyPath(path, opened, KEY_QUERY_VALUE);
    key = RegKey(opened);
    return code == ERROR_FILE_NOT_FOUND;
}

} // namespace

Result<std::string> MountOpenedHive(Registry& registry, const std::filesystem::path& file, MountMode mode)
{
    const std::string wanted = MountRequest{file, {}}.KeyPath();
    std::string path = wanted;
    for (int number = 2; !IsFree(path); ++number) {
        path = wanted + " (" + std::to_string(number) + ")";
    }
    return registry.Mount({file, path}, mode).map([&] { return path; });
}

} // namespace tolvar
