#include "platform/files/file_place.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

namespace tolvar {

namespace {

std::vector<std::string_view> Words(std::string_view line)
{
    std::vector<std::string_view> words;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(' '), line.size());
        words.push_back(line.substr(0, end));
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    return words;
}

/// The table writes blanks and the like as a backslash and three octal digits.
std::string Unescaped(std::string_view text)
{
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view digits = text.substr(i + 1, 3);
        if (text[i] == '\\' && digits.size() == 3 && std::ranges::all_of(digits, isOctal)) {
            plain += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
            i += digits.size();
        } else {
            plain += text[i];
        }
    }
    return plain;
}

/// Whether a path is `folder` or lies below it.
bool LiesIn(const std::filesystem::path& path, const std::filesystem::path& folder)
{
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

struct MountLine {
    std::filesystem::path root;  ///< inside the file system
    std::filesystem::path point; ///< where that is seen
    std::string device;
};

/// "36 35 98:0 /root /point options [optional ...] - type device options"; nothing but a device file is a device.
bool ParseLine(std::string_view line, MountLine& mount)
{
    const std::vector<std::string_view> words = Words(line);
    const auto dash = std::ranges::find(words, "-");
    if (words.size() < 6 || words.end() - dash < 3) {
        return false;
    }
    mount = {Unescaped(words[3]), Unescaped(words[4]), Unescaped(dash[2])};
    return true;
}

std::string SystemUuidOf(const std::string& device)
{
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/dev/disk/by-uuid", error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code gone;
        if (std::filesystem::equivalent(entry->path(), device, gone)) {
            return entry->path().filename().string();
        }
    }
    return {};
}

} // namespace

FilePlace PlaceIn(std::string_view mountTable, const std::filesystem::path& realPath,
                  const std::function<std::string(const std::string& device)>& uuidOf)
{
    MountLine holder;
    while (!mountTable.empty()) {
        const std::size_t end = std::min(mountTable.find('\n'), mountTable.size());
        MountLine mount;
        // Of two mounts at one point, the later one hides the other.
        if (ParseLine(mountTable.substr(0, end), mount) && LiesIn(realPath, mount.point) &&
            mount.point.native().size() >= holder.point.native().size()) {
            holder = std::move(mount);
        }
        mountTable.remove_prefix(std::min(end + 1, mountTable.size()));
    }
    std::string uuid = holder.device.starts_with('/') ? uuidOf(holder.device) : std::string();
    if (uuid.empty()) {
        return {{}, realPath};
    }
    return {std::move(uuid), (holder.root / realPath.lexically_relative(holder.point)).lexically_normal()};
}

FilePlace PlaceOfFile(const std::filesystem::path& file)
{
    std::error_code error;
    std::filesystem::path real = std::filesystem::weakly_canonical(file, error);
    if (error || real.is_relative()) {
        real = std::filesystem::absolute(file, error).lexically_normal();
    }
    std::ifstream table("/proc/self/mountinfo", std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(table), {}};
    return PlaceIn(text, real, SystemUuidOf);
}

} // namespace tolvar
