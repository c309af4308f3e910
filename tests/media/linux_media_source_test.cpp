// Discovery from a fake system root: sysfs devices of every interconnect, udev database entries and
// mountinfo text, through the drive finder to the lists.
#include "media/linux_media_source.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "media/rows.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

class JudgingProbe : public VolumeProbe {
 public:
  std::optional<Dict> checkForJournal(const Dict&) override {
    return Dict{{"Content", "Apple_HFS"}, {"journaled", "Yes"}, {"HFSVolumeStart", std::uint64_t{0}}, {"supportFileSystemRecovery", 1}};
  }
  bool isVolumeFAT(const Dict&) override { return true; }
  std::string fatFileSystemDetermination(const Dict&) override { return "FAT32"; }
  bool isFATWithoutPartitionMap(const Dict&) override { return false; }
  std::string fileSystemType(const Dict& mount) override { return mount.string("File System Type"); }
  std::string bundlePath(const std::string&) override { return "nil"; }
};

class FakeRoot : public ::testing::Test {
 protected:
  void SetUp() override {
    root = fs::temp_directory_path() / ("nua-sysfs-" + std::to_string(::getpid()) + "-" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root);
    fs::create_directories(root / "sys/class/block");
    fs::create_directories(root / "run/udev/data");
    fs::create_directories(root / "proc/self");
  }
  void TearDown() override { fs::remove_all(root); }

  static void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text << "\n";
  }
  // A disk at sys/devices/<parent>/block/<name>, linked from sys/class/block.
  fs::path disk(const std::string& parent, const std::string& name, const std::string& number, std::uint64_t sectors,
                const std::map<std::string, std::string>& device = {}, int logicalBlock = 512) {
    const fs::path dir = root / "sys/devices" / parent / "block" / name;
    write(dir / "dev", number);
    write(dir / "size", std::to_string(sectors));
    write(dir / "ro", "0");
    write(dir / "removable", "0");
    write(dir / "queue/logical_block_size", std::to_string(logicalBlock));
    for (const auto& [file, text] : device) write(root / "sys/devices" / parent / file, text);
    if (!device.empty()) fs::create_directory_symlink(root / "sys/devices" / parent, dir / "device");
    fs::create_directory_symlink(dir, root / "sys/class/block" / name);
    return dir;
  }
  void partition(const fs::path& diskDir, const std::string& name, const std::string& number, std::uint64_t sectors) {
    const fs::path dir = diskDir / name;
    write(dir / "dev", number);
    write(dir / "size", std::to_string(sectors));
    write(dir / "ro", "0");
    write(dir / "partition", "1");
    fs::create_directory_symlink(dir, root / "sys/class/block" / name);
  }
  void udev(const std::string& number, const std::string& lines) { write(root / "run/udev/data" / ("b" + number), lines); }

  DriveFinder run() {
    media = findLinuxMedia(root.string(), rules);
    DriveFinder finder(rules, probe);
    finder.responseDriveFinder = media.responseDriveFinder;
    finder.finalArrayForVolumes = media.finalArrayForVolumes;
    finder.buildLists();
    return finder;
  }

  fs::path root;
  LinuxPathRules rules;
  JudgingProbe probe;
  LinuxMedia media;
};

TEST_F(FakeRoot, ListsEveryKindOfDiskWithItsKeys) {
  const fs::path sda = disk("pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0", "sda", "8:0", 976773168,
                            {{"vendor", "ATA"}, {"model", "Samsung SSD 860 EVO"}, {"rev", "4B6Q"}});
  partition(sda, "sda1", "8:1", 409600);
  partition(sda, "sda2", "8:2", 600000000);
  partition(sda, "sda3", "8:3", 200000000);
  udev("8:0", "E:ID_PART_TABLE_TYPE=gpt\nE:ID_SERIAL_SHORT=S3Z9NB0K");
  udev("8:2", "E:ID_PART_ENTRY_SCHEME=gpt\nE:ID_PART_ENTRY_TYPE=48465300-0000-11aa-aa11-00306543ecac");
  udev("8:3", "E:ID_PART_ENTRY_SCHEME=gpt\nE:ID_PART_ENTRY_TYPE=ebd0a0a2-b9e5-4433-87c0-68b6b72699c7");
  const fs::path sdb = disk("pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0", "sdb", "8:16", 31266816,
                            {{"vendor", "SanDisk"}, {"model", "Cruzer Blade"}, {"rev", "1.00"}});
  partition(sdb, "sdb1", "8:17", 31264768);
  udev("8:17", "E:ID_PART_ENTRY_SCHEME=dos\nE:ID_PART_ENTRY_TYPE=0xc");
  disk("platform/mmc0/mmc0:aaaa", "mmcblk0", "179:0", 62333952,
       {{"name", "SD32G"}, {"manfid", "0x000003"}, {"fwrev", "0x0"}, {"serial", "0x1234"}});
  const fs::path nvme = disk("pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0/nvme0n1", "nvme0n1", "259:0", 1000215216,
                             {{"model", "WDC PC SN730"}, {"serial", "2011"}, {"firmware_rev", "11170101"}});
  partition(nvme, "nvme0n1p1", "259:1", 1000000000);
  disk("virtual", "loop1", "7:1", 2048);
  disk("virtual", "zram0", "253:0", 2048);
  write(root / "proc/self/mountinfo",
        "27 1 8:2 / /media/u/Mac\\040HD rw,relatime - hfsplus /dev/sda2 rw\n"
        "28 1 8:3 / /media/u/SHARED rw,relatime - vfat /dev/sda3 rw\n"
        "29 1 8:3 / /mnt/bind rw,relatime - vfat /dev/sda3 rw\n"
        "30 1 8:17 / /media/u/STICK rw - vfat /dev/sdb1 rw\n"
        "31 1 0:22 / /sys rw - sysfs sysfs rw\n");
  const DriveFinder finder = run();

  std::vector<std::string> drives;
  for (const Dict& d : finder.driveDictArray) drives.push_back(d.string("Path"));
  EXPECT_EQ(drives, (std::vector<std::string>{"/dev/loop1", "/dev/mmcblk0", "/dev/nvme0n1", "/dev/sda", "/dev/sdb"}));
  const Dict& sataDrive = finder.driveDictArray[3];
  EXPECT_EQ(sataDrive.string("device model"), "Samsung SSD 860 EVO");
  EXPECT_EQ(sataDrive.string("device serial"), "S3Z9NB0K");
  EXPECT_EQ(sataDrive.string("device revision"), "4B6Q");
  EXPECT_EQ(sataDrive.string("Physical Interconnect"), "SATA");
  EXPECT_EQ(sataDrive.string("Content"), "GUID_partition_scheme");
  EXPECT_EQ(sataDrive.uint64("Size"), 976773168ull * 512);
  EXPECT_EQ(sataDrive.uint64("Preferred Block Size"), 512u);
  EXPECT_EQ(sataDrive.string("CFBundleIdentifier"), "org.freedesktop.icon-theme");
  EXPECT_EQ(sataDrive.string("IOBundleResourceFile"), "drive-harddisk");
  EXPECT_EQ(DriveRow::fromDict(sataDrive).childVolumes.size(), 2u);
  EXPECT_EQ(finder.driveDictArray[4].string("Physical Interconnect"), "USB");
  EXPECT_EQ(finder.driveDictArray[4].string("device model"), "SanDisk");
  EXPECT_EQ(finder.driveDictArray[4].string("device serial"), "Cruzer Blade");
  EXPECT_EQ(finder.driveDictArray[4].string("IOBundleResourceFile"), "drive-removable-media");
  EXPECT_EQ(finder.driveDictArray[1].string("Physical Interconnect"), "Secure Digital");
  EXPECT_EQ(finder.driveDictArray[1].string("device serial"), "SD32G");
  EXPECT_EQ(finder.driveDictArray[2].string("Physical Interconnect"), "NVMe");
  EXPECT_EQ(finder.driveDictArray[2].string("device model"), "WDC PC SN730");
  EXPECT_EQ(finder.driveDictArray[2].string("device revision"), "11170101");

  ASSERT_EQ(finder.volumeDictArray.size(), 3u);
  const Dict& mac = finder.volumeDictArray[0];
  EXPECT_EQ(mac.string("Path"), "/dev/sda2");
  EXPECT_EQ(mac.string("Volume Name"), "Mac HD");
  EXPECT_EQ(mac.string("Mounted Path"), "/media/u/Mac HD");
  EXPECT_EQ(mac.string("journaled"), "Yes");
  EXPECT_EQ(mac.string("Parent Drive Path"), "/dev/sda");
  EXPECT_EQ(finder.volumeDictArray[1].string("Mounted Path"), "/media/u/SHARED");  // the first of two mounts
  EXPECT_EQ(finder.volumeDictArray[1].string("Content"), "FAT32");
  EXPECT_EQ(finder.volumeDictArray[2].string("Parent Drive Path"), "/dev/sdb");
  EXPECT_EQ(finder.volumeDictArrayHFSOnly.size(), 1u);

  // Disks with nothing mounted are read from their own maps.
  std::vector<std::string> unmounted;
  for (const Dict& d : media.unmountedDisks) unmounted.push_back(d.string("Path"));
  EXPECT_EQ(unmounted, (std::vector<std::string>{"/dev/loop1", "/dev/mmcblk0", "/dev/nvme0n1"}));
}

TEST(MountInfo, ParsesEscapesAndFields) {
  const auto mounts = parseMountInfo("36 35 98:0 /mnt1 /mnt/a\\040b rw,noatime master:1 - ext3 /dev/root rw\nbad line\n");
  ASSERT_EQ(mounts.size(), 1u);
  EXPECT_EQ(mounts[0].string("Mounted Path"), "/mnt/a b");
  EXPECT_EQ(mounts[0].string("Volume Name"), "a b");
  EXPECT_EQ(mounts[0].string("Device Number"), "98:0");
  EXPECT_EQ(mounts[0].string("File System Type"), "ext3");
  EXPECT_EQ(mounts[0].string("Volume Path"), "/dev/root");
}

TEST(PartitionContent, NamesAreThoseTheListsExpect) {
  EXPECT_EQ(contentForPartitionType("dos", "0xc"), "Windows_FAT_32");
  EXPECT_EQ(contentForPartitionType("dos", "0x6"), "Windows_FAT_16");
  EXPECT_EQ(contentForPartitionType("dos", "0x1"), "DOS_FAT_12");
  EXPECT_EQ(contentForPartitionType("dos", "0xaf"), "Apple_HFS");
  EXPECT_EQ(contentForPartitionType("gpt", "48465300-0000-11aa-aa11-00306543ecac"), "48465300-0000-11AA-AA11-00306543ECAC");
}

}  // namespace
}  // namespace nua
