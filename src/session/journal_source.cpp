#include "session/journal_source.h"

#include <algorithm>

#include <fmt/format.h>

#include "journal/content_hash.h"
#include "platform/registry/embedded_registry.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

constexpr const char* kSection = "settings";
constexpr int kKeepDays = 20;

} // namespace

std::filesystem::path ProgramDataFolder()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    return !error && std::filesystem::exists(program / "portable", error) ? program
                                                                          : EmbeddedRegistryFolder().parent_path();
}

std::string SourceId(std::span<const MountRequest> mounts)
{
    std::vector<std::string> lines;
    for (const MountRequest& mount : mounts) {
        std::error_code error;
        const std::filesystem::path file = std::filesystem::weakly_canonical(mount.file, error);
        lines.push_back((error ? mount.file : file).string() + '\n' + UpCased(mount.KeyPath()) + '\n');
    }
    std::ranges::sort(lines);
    ContentHash hash;
    for (const std::string& line : lines) {
        hash.Add(std::as_bytes(std::span(line)));
    }
    return fmt::format("{:016x}", hash.Value());
}

JournalOptions JournalOptionsFor(std::span<const MountRequest> mounts, Profile& profile)
{
    JournalOptions options;
    options.keepDays = profile.GetInt(kSection, "Keep Undo", kKeepDays);
    const std::filesystem::path base = ProgramDataFolder();
    if (SourceId(mounts) != SourceId(EmbeddedMounts(EmbeddedRegistryFolder()))) {
        options.place.dataFolder = base / "sources" / SourceId(mounts) / "backups";
        return options;
    }
    const std::string folder = profile.GetString(kSection, "Data Path", (base / "backups").string());
    profile.WriteString(kSection, "Data Path", folder);
    options.place.dataFolder = folder;
    options.place.fallbackFolder = base / "Backups";
    return options;
}

} // namespace tolvar
