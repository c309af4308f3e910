// The drive finder's rules over plain dictionaries: merging, descriptions by interconnect, mount
// matching, judging of volumes and attachment to drives. The cell texts of these rows are tested in
// tests/app.
#include "media/drive_finder.h"

#include <gtest/gtest.h>

#include "media/drive_finder_fixture.h"
#include "media/linux_media_source.h"
#include "media/rows.h"

namespace nua {
namespace {

using drive_finder_fixture::Fixture;
using drive_finder_fixture::medium;
using drive_finder_fixture::mount;
using drive_finder_fixture::protocol;

TEST(DriveFinder, SataDiskWithJournaledHfsAndFatVolumes) {
  Fixture f;
  const Dict sata{{"Device Characteristics", Dict{{"Vendor Name", "ATA"}, {"Product Name", "  Samsung SSD 860  "},
                                                  {"Product Revision Level", "RVT04B6Q"}, {"Serial Number", "S3Z"}}}};
  const Dict disk = medium("sda", 500107862016, "GUID_partition_scheme");
  f.add({disk, sata, protocol("SATA")}, "8:0", false);
  f.add({medium("sda1", 209715200, "C12A7328-F81F-11D2-BA4B-00A0C93EC93B"), disk, sata, protocol("SATA")}, "8:1", true);
  f.add({medium("sda2", 300000000000, "48465300-0000-11AA-AA11-00306543ECAC"), disk, sata, protocol("SATA")}, "8:2", true);
  f.add({medium("sda3", 100000000000, "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7"), disk, sata, protocol("SATA")}, "8:3", true);
  f.finder.finalArrayForVolumes = {mount("/media/Mac", "8:2", "hfsplus"), mount("/media/SHARED", "8:3", "vfat")};
  f.finder.buildLists();

  ASSERT_EQ(f.finder.driveDictArray.size(), 1u);
  const Dict& drive = f.finder.driveDictArray[0];
  EXPECT_EQ(drive.string("Path"), "/dev/sda");
  EXPECT_EQ(drive.string("device model"), "Samsung SSD 860");  // a SATA disk is named by its product
  EXPECT_EQ(drive.string("device serial"), "S3Z");
  EXPECT_EQ(drive.string("device revision"), "RVT04B6Q");
  EXPECT_TRUE(drive.boolean("WhetherDiskDict"));
  EXPECT_EQ(drive.string("bundle path"), "/icons");

  ASSERT_EQ(f.finder.volumeDictArray.size(), 2u);  // the unmounted EFI partition is not a volume
  const Dict& hfs = f.finder.volumeDictArray[0];
  EXPECT_EQ(hfs.string("Content"), "Apple_HFS");
  EXPECT_EQ(hfs.string("journaled"), "Yes");
  EXPECT_EQ(hfs.int64("supportFileSystemRecovery"), 1);
  EXPECT_EQ(hfs.int64("fileSystem"), 0);
  EXPECT_EQ(hfs.string("Parent Drive Path"), "/dev/sda");
  EXPECT_EQ(hfs.string("Volume Name"), "Mac");
  EXPECT_EQ(hfs.string("Mounted Path"), "/media/Mac");
  EXPECT_EQ(hfs.int64("Volume and Drive Index"), 1);
  EXPECT_EQ(hfs.int64("Total Volumes in a disk"), 2);
  const Dict& fat = f.finder.volumeDictArray[1];
  EXPECT_EQ(fat.string("Content"), "FAT32");
  EXPECT_EQ(fat.string("journaled"), "-");
  EXPECT_EQ(fat.int64("fileSystem"), 1);
  EXPECT_EQ(fat.int64("Index of child Volume"), 1);
  ASSERT_EQ(f.finder.volumeDictArrayHFSOnly.size(), 1u);
  EXPECT_EQ(f.finder.volumeDictArrayHFSOnly[0].string("Parent Drive Path"), "/dev/sda");

  const DriveRow driveRow = DriveRow::fromDict(f.finder.driveDictArray[0]);
  EXPECT_FALSE(driveRow.isVolume);
  EXPECT_EQ(driveRow.childVolumes.size(), 2u);
  const DriveRow hfsRow = DriveRow::fromDict(hfs);
  EXPECT_TRUE(hfsRow.isVolume);
  EXPECT_EQ(hfsRow.volumeName, "Mac");
  EXPECT_EQ(hfsRow.journaled, "Yes");

  // The typed rows print exactly what discovery found, children included.
  for (const auto* list : {&f.finder.driveDictArray, &f.finder.volumeDictArray})
    for (const Dict& row : *list) EXPECT_EQ(toJson(DriveRow::fromDict(row).toDict()), toJson(row));
}

TEST(DriveFinder, UsbStickIsNamedByVendorAndProductIdentification) {
  Fixture f;
  const Dict usb{{"Vendor Identification", "SanDisk"}, {"Product Identification", "Cruzer Blade"},
                 {"Product Revision Level", "1.00"}, {"Vendor Name", "ignored"}};
  f.add({medium("sdb", 16008609792, "FDisk_partition_scheme"), usb, protocol("USB")}, "8:16", false);
  f.add({medium("sdb1", 16000000000, "Apple_HFS"), medium("sdb", 16008609792), usb, protocol("USB")}, "8:17", true);
  f.finder.finalArrayForVolumes = {mount("/media/u/Stick", "8:17", "hfsplus")};
  f.finder.buildLists();
  ASSERT_EQ(f.finder.driveDictArray.size(), 1u);
  EXPECT_EQ(f.finder.driveDictArray[0].string("device model"), "SanDisk");
  EXPECT_EQ(f.finder.driveDictArray[0].string("device serial"), "Cruzer Blade");
  ASSERT_EQ(f.finder.volumeDictArray.size(), 1u);
  EXPECT_EQ(f.finder.volumeDictArray[0].string("Content"), "Apple_HFSX");
  EXPECT_EQ(f.finder.volumeDictArray[0].string("journaled"), "No");
  EXPECT_EQ(f.finder.volumeDictArray[0].int64("supportFileSystemRecovery"), 0);
}

TEST(DriveFinder, SecureDigitalAndUnknownDescriptionsBecomeDashes) {
  Fixture f;
  f.add({medium("mmcblk0", 31914983424), Dict{{"Card Characteristics", Dict{{"Vendor Name", "0x000003"}, {"Product Name", "SD32G"}}}},
         protocol("Secure Digital")},
        "179:0", false);
  f.add({medium("loop1", 1048576), Dict{{"Model", ""}}}, "7:1", false);
  f.finder.buildLists();
  ASSERT_EQ(f.finder.driveDictArray.size(), 2u);
  EXPECT_EQ(f.finder.driveDictArray[0].string("device model"), "0x000003");
  EXPECT_EQ(f.finder.driveDictArray[0].string("device serial"), "SD32G");
  EXPECT_EQ(f.finder.driveDictArray[1].string("device model"), "-");
  EXPECT_TRUE(DriveRow::fromDict(f.finder.driveDictArray[1]).childVolumes.empty());
}

TEST(DriveFinder, ADiskMountedWithoutAMapIsADriveAndAVolume) {
  Fixture f;
  f.add({medium("sdc", 8000000000)}, "8:32", false);
  f.finder.finalArrayForVolumes = {mount("/media/CARD", "8:32", "vfat")};
  f.finder.buildLists();
  ASSERT_EQ(f.finder.driveDictArray.size(), 1u);
  ASSERT_EQ(f.finder.volumeDictArray.size(), 1u);
  EXPECT_EQ(f.finder.volumeDictArray[0].string("Content"), "FAT32");
  EXPECT_EQ(f.finder.volumeDictArray[0].string("Parent Drive Path"), "/dev/sdc");
}

TEST(LinuxPathRules, ChildrenFollowKernelPartitionNaming) {
  const LinuxPathRules rules;
  EXPECT_TRUE(rules.volumeBelongsToDrive("/dev/sda1", "/dev/sda"));
  EXPECT_FALSE(rules.volumeBelongsToDrive("/dev/sdaa1", "/dev/sda"));
  EXPECT_TRUE(rules.volumeBelongsToDrive("/dev/nvme0n1p1", "/dev/nvme0n1"));
  EXPECT_FALSE(rules.volumeBelongsToDrive("/dev/nvme0n11", "/dev/nvme0n1"));
  EXPECT_TRUE(rules.volumeBelongsToDrive("/dev/loop1p1", "/dev/loop1"));
  EXPECT_FALSE(rules.volumeBelongsToDrive("/dev/loop11p2", "/dev/loop1"));
  EXPECT_TRUE(rules.volumeBelongsToDrive("/tmp/disk.img", "/tmp/disk.img"));
}

TEST(NewKeyForKey, MapsContentAndDescriptionKeys) {
  EXPECT_EQ(newKeyForKey("Content", "48465300-0000-11AA-AA11-00306543ECAC", nullptr).second.toString(), "Apple_HFS");
  EXPECT_EQ(newKeyForKey("Content", "Windows_FAT_32", nullptr).second.toString(), "FAT32");
  EXPECT_EQ(newKeyForKey("Content", "Windows_FAT_16", nullptr).second.toString(), "FAT16");
  EXPECT_EQ(newKeyForKey("Serial Number", "X", nullptr).first, "device serial");
  EXPECT_EQ(newKeyForKey("BSD Name", "disk1", nullptr).second.toString(), "/dev/rdisk1");
  EXPECT_EQ(valueRequired("Writable"), 0);
}

}  // namespace
}  // namespace nua
