#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace tolvar {

/// Where a file lies, told by what stays the same when its file system is mounted elsewhere.
struct FilePlace {
    std::string fileSystem;     ///< its UUID; empty where it has none that is known
    std::filesystem::path path; ///< inside that file system; without a UUID the file's full path

    [[nodiscard]] bool operator==(const FilePlace&) const = default;
};

/// The place of a file by a mount table. `realPath`: full and without links. `mountTable`: as Linux has it in
/// /proc/self/mountinfo (proc_pid_mountinfo(5)); lines that can't be read are passed over. `uuidOf` answers the UUID of
/// the file system on a device, which is named by its file; an empty text for one without.
[[nodiscard]] FilePlace PlaceIn(std::string_view mountTable, const std::filesystem::path& realPath,
                                const std::function<std::string(const std::string& device)>& uuidOf);

/// The place of a file on this system, whether it is there or not. Links are followed.
[[nodiscard]] FilePlace PlaceOfFile(const std::filesystem::path& file);

} // namespace tolvar
