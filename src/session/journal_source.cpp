#include "session/journal_source.h"

#include "platform/registry/embedded_registry.h"
#include "platform/registry/walk_permit.h"
#include "platform/system/text.h"
#include "session/hive_journal.h"

namespace tolvar {

namespace {

constexpr const char* kSection = "settings";
constexpr const char* kDataFolder = "backups";
constexpr int kKeepDays = 20;

/// The hive that is mounted at a key; null where none is.
const Hive* HiveAt(const WalkPermit& permit, const std::string& key)
{
    const Result<KeyRef> found = permit.Find(key);
    const bool isHive =
        found && !found->First().mount->IsVolatile() && found->First().cell == found->First().Reader().Root();
    return isHive ? &found->First().Reader() : nullptr;
}

} // namespace

std::filesystem::path ProgramDataFolder()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    return !error && std::filesystem::exists(program / "portable", error) ? program
                                                                          : EmbeddedRegistryFolder().parent_path();
}

JournalPlace EmbeddedJournalPlace(Profile& profile)
{
    JournalPlace place;
    const std::filesystem::path base = ProgramDataFolder();
    const std::string folder = profile.GetString(kSection, "Data Path", (base / kDataFolder).string());
    profile.WriteString(kSection, "Data Path", folder);
    place.dataFolder = folder;
    place.fallbackFolder = base / "Backups";
    if (!place.dataFolder.is_absolute()) {
        place.notice = Error{ErrorCode::kSuccess, "the journal is kept in " + place.fallbackFolder.string() +
                                                      ", since \"Data Path\" is " +
                                                      (folder.empty() ? "empty" : "no full path: " + folder)};
        place.dataFolder = place.fallbackFolder;
    }
    return place;
}

int KeepDaysOf(const Profile& profile)
{
    return profile.GetInt(kSection, "Keep Undo", kKeepDays);
}

Result<std::vector<JournalPlace>> HiveJournalPlaces(const Registry& registry, std::span<const MountRequest> mounts,
                                                    const JournalPlace& pattern, JournalBeginning beginning)
{
    const std::filesystem::path sources = ProgramDataFolder() / "sources";
    const WalkPermit permit(registry);
    std::vector<JournalPlace> places;
    for (const MountRequest& request : mounts) {
        const Hive* const hive = HiveAt(permit, request.KeyPath());
        if (hive == nullptr) {
            continue;
        }
        const HiveJournal found = FindHiveJournal(*pattern.files, sources, request, *hive);
        JournalPlace place = pattern;
        place.dataFolder = found.folder / kDataFolder;
        place.home = request.KeyPath();
        if (found.others) {
            const std::string text = request.file.string() +
                                     " is another hive than the one that was there; that one's journal stays in " +
                                     found.others->string();
            if (beginning == JournalBeginning::kForbidden) {
                return Failure(ErrorCode::kFileInvalid, text);
            }
            const bool isLost = beginning == JournalBeginning::kNothing;
            place.notice = Error{isLost ? ErrorCode::kFileInvalid : ErrorCode::kSuccess, text};
        }
        if (beginning == JournalBeginning::kAllowed && !pattern.isReadOnly) {
            if (auto kept = KeepMark(*pattern.files, found.folder, *hive); !kept) {
                return tl::unexpected(kept.error());
            }
        }
        places.push_back(std::move(place));
    }
    return places;
}

Result<void> KeepMarks(const Registry& registry, std::span<const JournalPlace> places)
{
    const WalkPermit permit(registry);
    Result<void> all;
    for (const JournalPlace& place : places) {
        const Hive* const hive = HiveAt(permit, place.home);
        auto kept = hive != nullptr ? KeepMark(*place.files, place.dataFolder.parent_path(), *hive) : Result<void>();
        all = all ? std::move(kept) : all;
    }
    return all;
}

} // namespace tolvar
