#pragma once

#include <filesystem>
#include <string>

#include "platform/registry/registry.h"

namespace tolvar {

/// Mounts a hive that the user has opened, in HKEY_LOCAL_MACHINE below a name made of the file's that no key has yet.
/// Answers its full key path. Errors: those of Registry::Mount.
[[nodiscard]] Result<std::string> MountOpenedHive(Registry& registry, const std::filesystem::path& file,
                                                  MountMode mode);

} // namespace tolvar
