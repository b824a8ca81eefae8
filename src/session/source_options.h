#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/registry/embedded_registry.h"
#include "platform/registry/registry.h"

namespace CLI {
class App;
}

namespace tolvar {

/// What a session works on, as the options of a program name it.
struct SourceOptions {
    std::vector<std::string> hives; ///< "FILE[@KEY]" each; none: the embedded registry
    std::filesystem::path embedded = EmbeddedRegistryFolder();
    bool isReadOnly = false; ///< write nothing, lock nothing

    /// All hives that the source consists of, whether or not they can be had.
    [[nodiscard]] std::vector<MountRequest> Mounts() const;

    /// Whether it is the user's own embedded registry, wherever that lies: its journal is not its hives'.
    [[nodiscard]] bool IsUsersEmbedded() const;
};

/// Adds the options that name a source to a program: --hive, --registry, --read-only. `options` must outlive `program`.
void AddSourceOptions(CLI::App& program, SourceOptions& options);

} // namespace tolvar
