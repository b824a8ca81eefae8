#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/files/file_store.h"
#include "platform/hive/hive.h"
#include "platform/registry/registry.h"

namespace tolvar {

// The journal of a hive file lies in the folder "sources/<id>" of the program's data. Which one it is, is decided by
// the file's place in its file system, wherever that is mounted, and confirmed by the file "hive" in the folder, which
// holds a HiveMark: another machine's hive at the same place has a folder of its own, "sources/<id>-2" and so on.
//
//   hive: "TVMARK01"; number of the transaction manager, 16 bytes; number of keys, 4; for each of them its last write
//         time, 8, number of names, 4, and for each name a length in UTF-16 units, 4, and these; a sum over all that, 8
// Numbers are little-endian.

/// 16 hexadecimal digits for the place of a hive file.
[[nodiscard]] std::string HiveId(const std::filesystem::path& file);

struct HiveJournal {
    std::filesystem::path folder;
    bool isNew = false;                          ///< it is not there yet
    std::optional<std::filesystem::path> others; ///< that of another hive which was at the same place
};

/// Finds the journal of a hive. `hive`: what `request` has mounted. `sources`: the folder of all of them. A folder
/// without a readable mark counts as the hive's. Nothing is written.
[[nodiscard]] HiveJournal FindHiveJournal(FileStore& files, const std::filesystem::path& sources,
                                          const MountRequest& request, const Hive& hive);

/// Makes the folder and its mark, where it lacks one or the keys of it have changed much.
/// Errors: the file system's.
[[nodiscard]] Result<void> KeepMark(FileStore& files, const std::filesystem::path& folder, const Hive& hive);

} // namespace tolvar
