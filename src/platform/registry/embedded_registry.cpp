#include "platform/registry/embedded_registry.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/files/fresh_file.h"
#include "platform/hive/hive_composer.h"
#include "platform/hive/scratch_hive.h"
#include "platform/registry/key_path.h"
#include "platform/system/clock.h"
#include "platform/system/text.h"

namespace tolvar {

namespace {

constexpr const char* kUserSid = "S-1-5-21-1000-1000-1000-1000"; // the one user that an embedded registry has

enum class Kind : std::uint32_t { kText = 1, kExpandable = 2, kNumber = 4 };

/// A value that a new registry holds. Numbers are written in decimal.
struct SkeletonValue {
    const char16_t* key;            ///< below the hive's root; the keys on the way are made too
    const char16_t* name = nullptr; ///< null: the key alone
    Kind kind = Kind::kText;
    const char16_t* text = u"";
};

constexpr SkeletonValue kSystem[] = {
    {u"ControlSet001\\Control\\ComputerName\\ComputerName", u"ComputerName", Kind::kText, u"TOLVAR"},
    {u"ControlSet001\\Control\\Session Manager\\Environment", u"ComSpec", Kind::kExpandable,
     u"%SystemRoot%\\system32\\cmd.exe"},
    {u"ControlSet001\\Control\\Session Manager\\Environment", u"Path", Kind::kExpandable,
     u"%SystemRoot%\\system32;%SystemRoot%"},
    {u"ControlSet001\\Control\\Session Manager\\Environment", u"TEMP", Kind::kExpandable, u"%SystemRoot%\\TEMP"},
    {u"ControlSet001\\Control\\Session Manager\\Environment", u"windir", Kind::kExpandable, u"%SystemRoot%"},
    {u"ControlSet001\\Control\\IDConfigDB", u"CurrentConfig", Kind::kNumber, u"1"},
    {u"ControlSet001\\Enum"},
    {u"ControlSet001\\Hardware Profiles\\0001\\Software"},
    {u"ControlSet001\\Hardware Profiles\\0001\\System"},
    {u"ControlSet001\\Services"},
    {u"MountedDevices"},
    {u"Select", u"Current", Kind::kNumber, u"1"},
    {u"Select", u"Default", Kind::kNumber, u"1"},
    {u"Select", u"Failed", Kind::kNumber, u"0"},
    {u"Select", u"LastKnownGood", Kind::kNumber, u"1"},
    {u"Setup", u"SystemSetupInProgress", Kind::kNumber, u"0"},
};
constexpr SkeletonValue kSoftware[] = {
    {u"Classes"},
    {u"Microsoft\\Windows NT\\CurrentVersion", u"CurrentVersion", Kind::kText, u"5.1"},
    {u"Microsoft\\Windows NT\\CurrentVersion", u"SystemRoot", Kind::kText, u"C:\\WINDOWS"},
    {u"Microsoft\\Windows\\CurrentVersion", u"CommonFilesDir", Kind::kText, u"C:\\Program Files\\Common Files"},
    {u"Microsoft\\Windows\\CurrentVersion", u"ProgramFilesDir", Kind::kText, u"C:\\Program Files"},
    {u"Microsoft\\Windows\\CurrentVersion\\App Paths"},
    {u"Microsoft\\Windows\\CurrentVersion\\Run"},
    {u"Microsoft\\Windows\\CurrentVersion\\SharedDLLs"},
    {u"Microsoft\\Windows\\CurrentVersion\\Uninstall"},
};
constexpr SkeletonValue kSam[] = {{u"SAM"}};
constexpr SkeletonValue kSecurity[] = {{u"Policy"}};
constexpr SkeletonValue kUser[] = {
    {u"Control Panel\\Desktop"},
    {u"Environment", u"TEMP", Kind::kExpandable, u"%USERPROFILE%\\Local Settings\\Temp"},
    {u"Environment", u"TMP", Kind::kExpandable, u"%USERPROFILE%\\Local Settings\\Temp"},
    {u"Software\\Microsoft\\Windows\\CurrentVersion\\Run"},
};

struct EmbeddedHive {
    const char* file;
    const char16_t* rootName;
    std::string mount;
    std::span<const SkeletonValue> skeleton;
};

std::vector<EmbeddedHive> EmbeddedHives()
{
    return {{"SYSTEM", u"SYSTEM", "HKEY_LOCAL_MACHINE\\SYSTEM", kSystem},
            {"SOFTWARE", u"SOFTWARE", "HKEY_LOCAL_MACHINE\\SOFTWARE", kSoftware},
            {"SAM", u"SAM", "HKEY_LOCAL_MACHINE\\SAM", kSam},
            {"SECURITY", u"SECURITY", "HKEY_LOCAL_MACHINE\\SECURITY", kSecurity},
            {"DEFAULT", u"DEFAULT", "HKEY_USERS\\.DEFAULT", kUser},
            {"NTUSER.DAT", u"NTUSER", std::string("HKEY_USERS\\") + kUserSid, kUser}};
}

std::vector<std::byte> DataOf(const SkeletonValue& value)
{
    const std::u16string text = value.text;
    std::vector<std::byte> data;
    if (value.kind == Kind::kNumber) {
        const auto number = static_cast<std::uint32_t>(std::stoul(ToUtf8(text)));
        data.resize(sizeof number);
        std::memcpy(data.data(), &number, sizeof number);
    } else {
        data.resize(2 * (text.size() + 1));
        std::memcpy(data.data(), text.data(), 2 * text.size());
    }
    return data;
}

Result<CellOffset> MakeKeys(const Hive& hive, HiveWriter& writer, std::u16string_view path)
{
    CellOffset at = hive.Root();
    for (const std::u16string_view name : PathUnits(path)) {
        const Checked<KeyNode> node = hive.Key(at);
        const Checked<CellOffset> found = node ? hive.FindSubkey(*node, name) : tl::unexpected(node.error());
        if (!found) {
            return tl::unexpected(hive.ToError(found.error()));
        }
        const Result<CellOffset> next = found->IsNil() ? writer.CreateKey(at, name) : Result<CellOffset>(*found);
        if (!next) {
            return next;
        }
        at = *next;
    }
    return at;
}

/// The content of a new hive, made in memory.
Result<std::vector<std::byte>> ComposeEmbedded(const EmbeddedHive& embedded, const Clock& clock)
{
    constexpr std::size_t kRoom = std::size_t{1} << 20; // a skeleton takes some pages
    Result<MappedFile> copy = MappedFile::CopyOf(EmptyHive(embedded.rootName, clock.Now()), kRoom);
    Result<Hive> hive = copy ? Hive::FromMap(std::move(*copy), embedded.file) : tl::unexpected(copy.error());
    if (!hive) {
        return tl::unexpected(std::move(hive.error()));
    }
    HiveEditor editor(*hive);
    HiveWriter writer(editor, clock);
    for (const SkeletonValue& value : embedded.skeleton) {
        const Result<CellOffset> key = MakeKeys(*hive, writer, value.key);
        if (!key) {
            return tl::unexpected(key.error());
        }
        if (value.name != nullptr) {
            if (auto set = writer.SetValue(*key, value.name, static_cast<std::uint32_t>(value.kind), DataOf(value));
                !set) {
                return tl::unexpected(std::move(set.error()));
            }
        }
    }
    return HiveComposer(*hive, {}, [](const HiveFault&) {}).Compose(hive->Root());
}

} // namespace

std::filesystem::path EmbeddedRegistryFolder()
{
    const char* data = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    const std::filesystem::path base = data != nullptr && *data == '/'
                                           ? std::filesystem::path(data)
                                           : std::filesystem::path(home != nullptr ? home : "/") / ".local/share";
    return base / "tolvar" / "registry";
}

Result<void> MakeEmbeddedRegistry(const std::filesystem::path& folder, FileStore& files, const Clock& clock)
{
    for (const char* path :
         {"", "drive_c/WINDOWS/system32", "drive_c/WINDOWS/TEMP", "drive_c/Program Files/Common Files"}) {
        if (auto made = files.MakeFolder(*path != '\0' ? folder / path : folder); !made) {
            return made;
        }
    }
    for (const EmbeddedHive& hive : EmbeddedHives()) {
        if (!files.Exists(folder / hive.file)) {
            const Result<std::vector<std::byte>> content = ComposeEmbedded(hive, clock);
            if (!content) {
                return tl::unexpected(content.error());
            }
            if (auto written = WriteNewFile(files, folder / hive.file, *content); !written) {
                return written;
            }
        }
    }
    return {};
}

std::vector<MountRequest> EmbeddedMounts(const std::filesystem::path& folder)
{
    std::vector<MountRequest> mounts;
    for (const EmbeddedHive& hive : EmbeddedHives()) {
        mounts.push_back({folder / hive.file, hive.mount});
    }
    return mounts;
}

Result<void> MountEmbeddedRegistry(Registry& registry, const std::filesystem::path& folder, MountMode mode)
{
    if (!registry.Files().Exists(folder / EmbeddedHives().front().file)) {
        return {};
    }
    for (const MountRequest& request : EmbeddedMounts(folder)) {
        if (auto mounted = registry.Mount(request, mode); !mounted) {
            return mounted;
        }
    }
    const std::string user = std::string("HKEY_USERS\\") + kUserSid;
    for (const auto& [link, target] :
         {std::pair<std::string, std::string>{"HKEY_CURRENT_USER", user},
          {"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet", "HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001"},
          {"HKEY_CURRENT_CONFIG", "HKEY_LOCAL_MACHINE\\SYSTEM\\ControlSet001\\Hardware Profiles\\0001"},
          {"HKEY_CLASSES_ROOT", "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes"}}) {
        if (auto linked = registry.Link(link, target); !linked) {
            return linked;
        }
    }
    return {};
}

} // namespace tolvar
