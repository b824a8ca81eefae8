#pragma once

#include <filesystem>
#include <span>
#include <vector>

#include "journal/tolvar_doc.h"
#include "platform/registry/registry.h"
#include "platform/system/profile.h"

namespace tolvar {

/// The folder for what the program writes: its own where a file "portable" lies in it, else that of the user's data.
[[nodiscard]] std::filesystem::path ProgramDataFolder();

/// Where the embedded registry's journal is kept: in the profile's "Data Path", by default "backups" in
/// ProgramDataFolder, which is written back. One that is no full path is told, and not taken.
[[nodiscard]] JournalPlace EmbeddedJournalPlace(Profile& profile);

/// For how many days records are kept, by the profile.
[[nodiscard]] int KeepDaysOf(const Profile& profile);

/// What a session may do with the journals of its hives.
enum class JournalBeginning {
    kAllowed,   ///< a hive without a journal gets one
    kForbidden, ///< one whose place has another hive's journal alone is an error
    kNothing,   ///< the same is a notice, and there is nothing to show of it
};

/// Where the journals of a session's hives are kept: one for each hive of `mounts` that `registry` shows. `pattern`:
/// what all of them have in common. Errors: kFileInvalid for a hive whose place has another one's journal, where none
/// may begin; the file system's.
[[nodiscard]] Result<std::vector<JournalPlace>> HiveJournalPlaces(const Registry& registry,
                                                                  std::span<const MountRequest> mounts,
                                                                  const JournalPlace& pattern,
                                                                  JournalBeginning beginning);

/// Marks the hives of journals anew whose oldest keys have changed, so that they are known again.
/// Errors: the file system's; every journal is tried.
[[nodiscard]] Result<void> KeepMarks(const Registry& registry, std::span<const JournalPlace> places);

} // namespace tolvar
