// Finding a session's drive again among image files: by the first 5 sectors, the first of two equal
// drives, a changed drive not at all, and paths of partitions moved with the drive.
#include "session/device_refind.h"

#include <gtest/gtest.h>

#include "session_test_files.h"

namespace nua {
namespace {

using testing_session::scratch;
using testing_session::writeAll;

std::string image(const std::string& name, char fill) {
  const std::string path = (scratch() / name).string();
  writeAll(path, std::string(8 * 512, fill));
  return path;
}

TEST(DeviceRefindTest, DrivesAreFoundByTheirFirstSectors) {
  const std::string a = image("a.img", 'A'), b = image("b.img", 'B'), b2 = image("b2.img", 'B');
  const std::vector<std::byte> first = readFirst5Sectors(b, 512);
  ASSERT_EQ(first.size(), 5u * 512);
  std::vector<DriveRow> drives(3);
  drives[0].path = a;
  drives[1].path = b2;
  drives[2].path = b;
  const int found = checkDriveAvailability(drives, first, 512);
  EXPECT_EQ(found, 1);  // two drives alike: the first listed wins
  EXPECT_TRUE(checkDrivePath(b, drives, found));
  EXPECT_FALSE(checkDrivePath(b2, drives, found));
  EXPECT_FALSE(checkDrivePath(b, drives, -1));
  writeAll(b2, std::string(8 * 512, 'C'));
  writeAll(b, std::string(8 * 512, 'C'));
  EXPECT_EQ(checkDriveAvailability(drives, first, 512), -1);  // changed: not connected
  EXPECT_EQ(checkDriveAvailability({}, first, 512), -1);
  drives.resize(1);
  drives[0].path = "/nonexistent/x";
  EXPECT_EQ(checkDriveAvailability(drives, first, 512), -1);
}

TEST(DeviceRefindTest, VolumesMatchBySizeAndNameAndMovedPathsFollowTheDrive) {
  const std::vector<DriveRow> volumes{
      DriveRow::fromDict(Dict{{"Path", "/dev/sdb1"}, {"Size", 1024 * 512}, {"Volume Name", "Other"}}),
      DriveRow::fromDict(Dict{{"Path", "/dev/sdc1"}, {"Size", 1024 * 512}, {"Volume Name", "Photos"}})};
  VolumeAvailability found = checkVolumeAvailability(volumes, 1024, "Photos", 512, "/dev/sdb1");
  EXPECT_EQ(found.foundVolumeDictArrayIndex, 1);
  EXPECT_TRUE(found.foundDrivePathIsDifferent);
  EXPECT_EQ(checkVolumeAvailability(volumes, 1025, "Photos", 512, "/dev/sdc1").foundVolumeDictArrayIndex, -1);
  EXPECT_EQ(checkVolumeAvailability(volumes, 1024, "Photos", 0, "/dev/sdc1").foundVolumeDictArrayIndex, -1);

  std::vector<PartitionRow> partitions(3);
  partitions[0].path = "/dev/sdb";
  partitions[1].path = "/dev/sdb2";
  partitions[2].path = "/dev/sdd";
  replaceDrivePathInRows(partitions, "/dev/sdb", "/dev/sde");
  EXPECT_EQ(partitions[0].path, "/dev/sde");
  EXPECT_EQ(partitions[1].path, "/dev/sde2");
  EXPECT_EQ(partitions[2].path, "/dev/sdd");
}

}  // namespace
}  // namespace nua
