#include <gtest/gtest.h>

#include "fixtures/scratch_folder.h"
#include "platform/files/file_place.h"

namespace tolvar {
namespace {

TEST(FilePlace, IsTheSameWhereverItsFileSystemIsMounted)
{
    constexpr const char* kTable = "25 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                                   "30 25 8:2 / /mnt/win rw - ntfs3 /dev/sdb1 rw\n"
                                   "31 25 8:2 /Windows /srv/my\\040disk rw master:4 - ntfs3 /dev/sdb1 rw\n"
                                   "32 25 0:31 /@home /home rw shared:9 - btrfs /dev/sdc rw,subvol=/@home\n"
                                   "33 25 0:40 / /run rw - tmpfs tmpfs rw\n"
                                   "not a mount\n"
                                   "34 25 8:3 / /mnt/windows rw - ext4 /dev/sdd rw\n"
                                   "35 30 8:4 / /mnt/win/over rw - ext4 /dev/sde rw\n"
                                   "36 35 8:5 / /mnt/win/over rw - ext4 /dev/sdf rw";
    const auto uuidOf = [](const std::string& device) { return device == "/dev/sdd" ? "" : "id of " + device; };
    struct Case {
        const char* file;
        const char* fileSystem;
        const char* path;
    };
    for (const Case& c : {
             Case{"/etc/x", "id of /dev/sda1", "/etc/x"},
             Case{"/mnt/win/Windows/System32/config/SAM", "id of /dev/sdb1", "/Windows/System32/config/SAM"},
             Case{"/srv/my disk/System32/config/SAM", "id of /dev/sdb1", "/Windows/System32/config/SAM"},
             Case{"/home/tim/a", "id of /dev/sdc", "/@home/tim/a"}, Case{"/run/a", "", "/run/a"}, // no device
             Case{"/mnt/windows/a", "", "/mnt/windows/a"},    // no UUID; and no neighbour of /mnt/win
             Case{"/mnt/win/over/a", "id of /dev/sdf", "/a"}, // the later of two mounts
         }) {
        EXPECT_EQ(PlaceIn(kTable, c.file, uuidOf), (FilePlace{c.fileSystem, c.path})) << c.file;
    }
    EXPECT_EQ(PlaceIn("", "/a/b", uuidOf), (FilePlace{"", "/a/b"}));
}

TEST(FilePlace, FollowsLinksAndNeedsNoFile)
{
    const fixtures::ScratchFolder folder;
    std::filesystem::create_directory(folder / "real");
    std::filesystem::create_directory_symlink(folder / "real", folder / "link");
    EXPECT_EQ(PlaceOfFile(folder / "link" / "hive"), PlaceOfFile(folder / "real" / "hive"));
    EXPECT_NE(PlaceOfFile(folder / "real" / "hive"), PlaceOfFile(folder / "real" / "other"));
    EXPECT_TRUE(PlaceOfFile("hive").path.is_absolute());
}

} // namespace
} // namespace tolvar
