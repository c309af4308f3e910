// Where saving may go: space, writable, type, and never the device or image being recovered, however
// the destination's device is stacked on it.
#include "save/destination_check.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <map>

namespace nua {
namespace {

// A made-up machine. Disk 800 with partitions 801 and 802, a mapping 2530 over 802 and a btrfs on 802
// (anonymous device 45). Disk 900 holds the images disk.img (inode 11) and other.img (inode 12).
// Loop 700 is backed by disk.img and has the partition 7001, whose file system holds inner.img
// (inode 5) behind loop 701. Loop 702 is backed by other.img, loop 703 by disk.img seen only by path,
// loop 704 by disk.img again, loop 705 by an image kept on partition 801.
const FileIdentity kDiskImage{900, 11, "/images/disk.img"};

StorageBelow fakeLayout(std::uint64_t device) {
  static const std::map<std::uint64_t, StorageBelow> kLayout{
      {801, {{800}, {}}},
      {802, {{800}, {}}},
      {2530, {{802}, {}}},
      {45, {{802}, {}}},
      {700, {{}, kDiskImage}},
      {7001, {{700}, {}}},
      {701, {{}, FileIdentity{7001, 5, "/mnt/outer/inner.img"}}},
      {702, {{}, FileIdentity{900, 12, "/images/other.img"}}},
      {703, {{}, FileIdentity{0, 0, "/images/disk.img"}}},
      {704, {{}, kDiskImage}},
      {705, {{}, FileIdentity{801, 9, "/media/part1/backup.img"}}},
  };
  const auto found = kLayout.find(device);
  return found == kLayout.end() ? StorageBelow{} : found->second;
}

DestinationFacts folderOn(std::uint64_t device) {
  DestinationFacts facts;
  facts.exists = true;
  facts.deviceNumber = device;
  facts.inodeNumber = 99;
  facts.freeBytes = 1000;
  facts.fileSystemKnown = true;
  facts.writable = true;
  facts.type = "0xef53";
  facts.mountType = "ext4";
  return facts;
}

struct PlaceCase {
  const char* what;
  SourceIdentity source;
  std::uint64_t destinationDevice;
  bool onSource;
};

const SourceIdentity kImageSource{true, false, kDiskImage.deviceNumber, kDiskImage.inodeNumber, kDiskImage.path};
const SourceIdentity kDiskSource{true, true, 800, 0, "/dev/sdb"};
const SourceIdentity kPartitionSource{true, true, 801, 0, "/dev/sdb1"};
const SourceIdentity kLoopSource{true, true, 700, 0, "/dev/loop0"};

void PrintTo(const PlaceCase& place, std::ostream* out) { *out << place.what; }

class DestinationPlaceTest : public testing::TestWithParam<PlaceCase> {};

TEST_P(DestinationPlaceTest, IsRefusedExactlyWhenWritingThereWritesToTheSource) {
  const PlaceCase& c = GetParam();
  EXPECT_EQ(destinationOnSource(c.source, folderOn(c.destinationDevice), fakeLayout), c.onSource) << c.what;
  const DestinationVerdict verdict = checkDestinationFacts(folderOn(c.destinationDevice), 10, c.source, fakeLayout);
  EXPECT_EQ(verdict.refusal.has_value(), c.onSource) << c.what;
  if (verdict.refusal) {
    EXPECT_EQ(verdict.refusal->title, "! Can not save");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, DestinationPlaceTest,
    testing::Values(PlaceCase{"the source disk itself", kDiskSource, 800, true},
                    PlaceCase{"a partition of the source disk", kDiskSource, 801, true},
                    PlaceCase{"a mapping over a partition of it", kDiskSource, 2530, true},
                    PlaceCase{"a btrfs mounted from a partition of it", kDiskSource, 45, true},
                    PlaceCase{"a loop image kept on a partition of it", kDiskSource, 705, true},
                    PlaceCase{"another disk", kDiskSource, 900, false},
                    PlaceCase{"a sibling partition of a partition source", kPartitionSource, 802, false},
                    PlaceCase{"a loop device backed by the source image", kImageSource, 700, true},
                    PlaceCase{"a partition of that loop device", kImageSource, 7001, true},
                    PlaceCase{"a loop device backed by a file inside the source image", kImageSource, 701, true},
                    PlaceCase{"a loop backing file known only by the image's path", kImageSource, 703, true},
                    PlaceCase{"a loop device backed by another image", kImageSource, 702, false},
                    PlaceCase{"the disk holding the image, beside it", kImageSource, 900, false},
                    PlaceCase{"a partition of the source loop device", kLoopSource, 7001, true},
                    PlaceCase{"a second loop device over the same image", kLoopSource, 704, true},
                    PlaceCase{"a loop device over another image", kLoopSource, 702, false}));

TEST(DestinationCheckTest, SpaceWritableAndTypeAreCheckedInOrder) {
  const SourceIdentity none;
  EXPECT_FALSE(checkDestinationFacts(folderOn(900), 1000, none, fakeLayout).refusal);  // equal is enough
  const auto full = checkDestinationFacts(folderOn(900), 1001, none, fakeLayout);
  ASSERT_TRUE(full.refusal);
  EXPECT_EQ(full.refusal->title, "! Not enough free disk space");
  DestinationFacts readOnly = folderOn(900);
  readOnly.writable = false;
  const auto refused = checkDestinationFacts(readOnly, 1, none, fakeLayout);
  ASSERT_TRUE(refused.refusal);
  EXPECT_EQ(refused.refusal->text, "The volume chosen to save data to, is not writable.");
  EXPECT_EQ(checkDestinationFacts(folderOn(900), 1, none, fakeLayout).canSaveSlashes, 0);
  DestinationFacts hfs = folderOn(900);
  hfs.type = "hfs";
  EXPECT_EQ(checkDestinationFacts(hfs, 1, none, fakeLayout).canSaveSlashes, 1);
  DestinationFacts unknown = folderOn(900);
  unknown.fileSystemKnown = false;
  unknown.writable = false;
  EXPECT_EQ(checkDestinationFacts(unknown, 1, none, fakeLayout).canSaveSlashes, 1);
}

struct FileSystemCase {
  const char* type;
  const char* mountType;
  const char* limitedName;  // "" when the file system keeps files as they are
};

void PrintTo(const FileSystemCase& system, std::ostream* out) { *out << system.type << " " << system.mountType; }

class LimitedFileSystemTest : public testing::TestWithParam<FileSystemCase> {};

TEST_P(LimitedFileSystemTest, OnlyFileSystemsThatCannotKeepFilesAsTheyWereAreNamed) {
  DestinationFacts facts = folderOn(900);
  facts.type = GetParam().type;
  facts.mountType = GetParam().mountType;
  EXPECT_EQ(checkDestinationFacts(facts, 1, SourceIdentity{}, fakeLayout).limitedFileSystem, GetParam().limitedName)
      << GetParam().type << " " << GetParam().mountType;
}

INSTANTIATE_TEST_SUITE_P(Types, LimitedFileSystemTest,
                         testing::Values(FileSystemCase{"0x4d44", "vfat", "FAT"}, FileSystemCase{"0x4d44", "", "FAT"},
                                         FileSystemCase{"0x2011bab0", "exfat", "exFAT"},
                                         FileSystemCase{"0x7366746e", "ntfs3", "NTFS"},
                                         FileSystemCase{"0x65735546", "ntfs", "NTFS"},  // ntfs-3g, by udev
                                         FileSystemCase{"0x65735546", "exfat", "exFAT"},
                                         FileSystemCase{"0x65735546", "fuseblk", ""},
                                         FileSystemCase{"0xef53", "ext4", ""}, FileSystemCase{"0x58465342", "xfs", ""},
                                         FileSystemCase{"0x9123683e", "btrfs", ""}, FileSystemCase{"hfs", "hfsplus", ""}));

// A real folder: on the source when its file system's device is the source device; an image file
// beside it is a different file, so the folder is not on that image.
TEST(DestinationCheckTest, AFolderOfThisMachineIsOnTheDeviceItsFileSystemLivesOn) {
  const std::string folder = std::filesystem::temp_directory_path().string();
  struct stat st{};
  ASSERT_EQ(::stat(folder.c_str(), &st), 0);
  EXPECT_TRUE(folderOnSource({true, true, st.st_dev, 0, "/dev/holding-tmp"}, folder));
  EXPECT_FALSE(folderOnSource({true, false, st.st_dev, st.st_ino + 1000000, folder + "/disk.img"}, folder));
  EXPECT_FALSE(folderOnSource({false, true, st.st_dev, 0, ""}, folder)) << "an unknown source claims nothing";
}

}  // namespace
}  // namespace nua
