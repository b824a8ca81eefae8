#pragma once

#include <filesystem>
#include <vector>

#include "platform/registry/registry.h"

namespace tolvar {

/// Where the embedded registry lies for this user: $XDG_DATA_HOME/tolvar/registry, else below the home folder.
[[nodiscard]] std::filesystem::path EmbeddedRegistryFolder();

/// Makes what is missing of the embedded registry: its hives with a standard skeleton, and a small drive C. Every hive
/// is durable before it gets its name. Errors: the file system's.
[[nodiscard]] Result<void> MakeEmbeddedRegistry(const std::filesystem::path& folder, FileStore& files = SystemFiles(),
                                                const Clock& clock = SystemClock());

/// The hives that make up the embedded registry of `folder`, and the keys that they are shown at.
[[nodiscard]] std::vector<MountRequest> EmbeddedMounts(const std::filesystem::path& folder);

/// Mounts the embedded registry of `folder` into an empty `registry`: the machine's hives, the user's and the default
/// user's, with the links that a running system has. One that is not there is an empty registry. Errors: those of
/// Registry::Mount, kSharingViolation among them where another program has it.
[[nodiscard]] Result<void> MountEmbeddedRegistry(Registry& registry, const std::filesystem::path& folder,
                                                 MountMode mode);

} // namespace tolvar
