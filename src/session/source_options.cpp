#include "session/source_options.h"

#include <CLI/CLI.hpp>

namespace tolvar {

std::vector<MountRequest> SourceOptions::Mounts() const
{
    if (hives.empty()) {
        return EmbeddedMounts(embedded);
    }
    std::vector<MountRequest> mounts;
    for (const std::string& argument : hives) {
        mounts.push_back(MountRequest::FromArgument(argument));
    }
    return mounts;
}

bool SourceOptions::IsUsersEmbedded() const
{
    std::error_code error;
    return hives.empty() && std::filesystem::weakly_canonical(embedded, error) ==
                                std::filesystem::weakly_canonical(EmbeddedRegistryFolder(), error);
}

void AddSourceOptions(CLI::App& program, SourceOptions& options)
{
    program
        .add_option("--hive", options.hives,
                    "A hive file, shown at KEY (default: HKEY_LOCAL_MACHINE\\ and the file's name)")
        ->type_name("FILE[@KEY]")
        ->allow_extra_args(false);
    program
        .add_option("--registry", options.embedded,
                    "Folder of the embedded registry, which is used where no hive is given and made at first use")
        ->type_name("DIR");
    program.add_flag("--read-only", options.isReadOnly, "Write nothing, lock nothing, and leave the files as they are");
}

} // namespace tolvar
