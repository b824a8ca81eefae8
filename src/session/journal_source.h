#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "journal/tolvar_doc.h"
#include "platform/registry/registry.h"
#include "platform/system/profile.h"

namespace tolvar {

/// The folder for what the program writes: its own where a file "portable" lies in it, else that of the user's data.
[[nodiscard]] std::filesystem::path ProgramDataFolder();

/// A name for a source that stays the same from run to run: 16 hexadecimal digits, from the full paths of the hive
/// files, links resolved, and the keys that they are mounted at, in no particular order and case of the keys.
[[nodiscard]] std::string SourceId(std::span<const MountRequest> mounts);

/// Where and how the journal of a source is kept: the embedded registry's in the profile's "Data Path" (by default
/// "backups" in ProgramDataFolder, which is written back), every other one's below "sources/<id>" there, so that an
/// undo never meets another machine's registry. `mounts`: all that the source consists of, whether or not it could be
/// mounted.
[[nodiscard]] JournalOptions JournalOptionsFor(std::span<const MountRequest> mounts, Profile& profile);

} // namespace tolvar
