// The drive list's cell texts over the rows discovery really makes: a SATA disk with a journaled HFS+
// and a FAT volume, a USB stick with a case-sensitive volume, and an unnamed loop device.
#include "app/drive_cell_text.h"

#include <gtest/gtest.h>

#include "media/drive_finder_fixture.h"

namespace nua {
namespace {

using drive_finder_fixture::Fixture;
using drive_finder_fixture::medium;
using drive_finder_fixture::mount;
using drive_finder_fixture::protocol;

TEST(DriveCellText, LinesOfDisksAndVolumesAsDiscoveryListsThem) {
  Fixture f;
  DriveFinder& finder = f.finder;
  const Dict sata{{"Device Characteristics", Dict{{"Vendor Name", "ATA"}, {"Product Name", "Samsung SSD 860"},
                                                  {"Product Revision Level", "RVT04B6Q"}, {"Serial Number", "S3Z"}}}};
  const Dict disk = medium("sda", 500107862016, "GUID_partition_scheme");
  f.add({disk, sata, protocol("SATA")}, "8:0", false);
  f.add({medium("sda2", 300000000000, "48465300-0000-11AA-AA11-00306543ECAC"), disk, sata, protocol("SATA")}, "8:2", true);
  f.add({medium("sda3", 100000000000, "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7"), disk, sata, protocol("SATA")}, "8:3", true);
  const Dict usb{{"Vendor Identification", "SanDisk"}, {"Product Identification", "Cruzer Blade"}};
  f.add({medium("sdb", 16008609792, "FDisk_partition_scheme"), usb, protocol("USB")}, "8:16", false);
  f.add({medium("sdb1", 16000000, "Apple_HFS"), medium("sdb", 16008609792), usb, protocol("USB")}, "8:17", true);
  f.add({medium("loop1", 1048576), Dict{{"Model", ""}}}, "7:1", false);
  finder.finalArrayForVolumes = {mount("/media/Mac", "8:2", "hfsplus"), mount("/media/SHARED", "8:3", "vfat"),
                                 mount("/media/u/Stick", "8:17", "hfsplus")};
  finder.buildLists();
  ASSERT_EQ(finder.driveDictArray.size(), 3u);
  ASSERT_EQ(finder.volumeDictArray.size(), 3u);

  const Dict* sataDisk = nullptr;
  const Dict* loop = nullptr;
  for (const Dict& d : finder.driveDictArray) {
    if (d.string("Path") == "/dev/sda") sataDisk = &d;
    if (d.string("Path") == "/dev/loop1") loop = &d;
  }
  ASSERT_NE(sataDisk, nullptr);
  ASSERT_NE(loop, nullptr);
  EXPECT_EQ(logicalDriveCellLines(DriveRow::fromDict(*sataDisk)),
            (std::array<std::string, 5>{"Samsung SSD 860 S3Z RVT04B6Q", "Mount Point: /dev/sda", "Type: Disk",
                                        "Size: 500.11 GB", "Volumes Contained: 2"}));
  EXPECT_EQ(logicalDriveCellLines(DriveRow::fromDict(*loop))[4], "Volumes Contained: 0");
  EXPECT_EQ(logicalDriveCellLines(DriveRow::fromDict(*loop))[0], "- - -");

  const auto hfs = logicalDriveCellLines(DriveRow::fromDict(finder.volumeDictArray[0]));
  EXPECT_EQ(hfs, (std::array<std::string, 5>{"Mac", "Mount Point: /dev/sda2", "Type: Volume", "Size: 300.00 GB",
                                             "File System: Mac OS Extended (Journaled)"}));
  EXPECT_EQ(logicalDriveCellLines(DriveRow::fromDict(finder.volumeDictArray[1]))[4], "File System: FAT32");
  const auto stick = logicalDriveCellLines(DriveRow::fromDict(finder.volumeDictArray[2]));
  EXPECT_EQ(stick[3], "Size: 16.00 MB");
  EXPECT_EQ(stick[4], "File System: Mac OS Extended (Case Sensitive)");
  Dict exfat = finder.volumeDictArray[1];
  exfat.set("Content", "exFAT");
  EXPECT_EQ(logicalDriveCellLines(DriveRow::fromDict(exfat))[4], "File System: exFAT");
}

}  // namespace
}  // namespace nua
