#include "keytree/key_aliases.h"

#include <algorithm>

#include "platform/registry/key_path.h"
#include "platform/registry/registry.h"

namespace tolvar {

std::string MirrorPath(std::string_view path)
{
    struct Mirror {
        std::string_view from;
        std::string_view to;
    };
    constexpr std::string_view kUser = "HKEY_CURRENT_USER";
    constexpr std::string_view kDefaultUser = "HKEY_USERS\\.DEFAULT";
    constexpr std::string_view kClasses = "HKEY_CLASSES_ROOT";
    constexpr std::string_view kMachineClasses = "HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES";
    for (const Mirror& mirror : {Mirror{kUser, kDefaultUser}, Mirror{kDefaultUser, kUser},
                                 Mirror{kClasses, kMachineClasses}, Mirror{kMachineClasses, kClasses}}) {
        if (const std::optional<std::string_view> below = PathBelow(path, mirror.from)) {
            return JoinPath(mirror.to, *below);
        }
    }
    return {};
}

std::vector<std::string> AliasesOf(std::string_view path)
{
    const Registry* const registry = Registry::Current();
    return registry != nullptr ? registry->AliasesOf(path) : std::vector<std::string>();
}

} // namespace tolvar
