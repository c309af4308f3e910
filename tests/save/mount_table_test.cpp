// The mount table lines the destination check reads: device numbers, escaped paths, optional fields.
#include "save/detail/mount_table.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

namespace nua::detail {
namespace {

TEST(MountTableTest, ReadsDeviceTypeSourceAndUnescapedMountPoint) {
  const std::vector<Mount> mounts = parseMountInfo(
      "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
      "42 27 7:0 / /media/My\\040Card rw,relatime shared:7 master:1 - vfat /dev/loop0 rw,fmask=0022\n"
      "43 27 0:45 /sub /mnt/data rw - btrfs /dev/sdb2 rw,subvol=/sub\n"
      "garbage line\n"
      "44 27 8:x / /bad rw - ext4 /dev/sdc rw\n"
      "45 27 8:1 / /no-separator rw ext4 /dev/sda1 rw\n");
  ASSERT_EQ(mounts.size(), 3U);
  EXPECT_EQ(mounts[1].deviceNumber, makedev(7, 0));
  EXPECT_EQ(mounts[1].mountPoint, "/media/My Card");
  EXPECT_EQ(mounts[1].fileSystemType, "vfat");
  EXPECT_EQ(mounts[1].source, "/dev/loop0");
  const auto btrfs = mountOfDevice(mounts, makedev(0, 45));
  ASSERT_TRUE(btrfs);
  EXPECT_EQ(btrfs->source, "/dev/sdb2");
  EXPECT_FALSE(mountOfDevice(mounts, makedev(8, 1)));
}

TEST(MountTableTest, EveryCutOfALineParsesOrIsSkipped) {
  const std::string line = "42 27 7:0 / /media/My\\040Card rw shared:7 - vfat /dev/loop0 rw";
  for (std::size_t length = 0; length < line.size(); ++length) {
    const std::vector<Mount> mounts = parseMountInfo(line.substr(0, length));
    for (const Mount& mount : mounts) EXPECT_EQ(mount.deviceNumber, makedev(7, 0));
  }
}

}  // namespace
}  // namespace nua::detail
