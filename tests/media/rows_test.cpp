// Partition and drive rows as the command line prints them and a session stores them: which keys
// appear, the kinds of their values, and the drive's geometry the wizard adds to a listed partition row.
#include "media/rows.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace nua {
namespace {

std::set<std::string> keysOf(const Dict& dict) {
  std::set<std::string> keys;
  for (const auto& [key, value] : dict) keys.insert(key);
  return keys;
}

PartitionRow foundVolume() {
  PartitionRow row;
  row.volumeStart = 2408;
  row.sizeInSectors = 608;
  row.volumeName = "Large sectors";
  row.scanType = PartitionScanType::kVolumeSearch;
  row.path = "/dev/sdz";
  row.model = "Disk";
  row.serial = "-";
  row.revision = "-";
  row.volumeValidity = 100;
  row.alternateHeaderSector = 2410;
  return row;
}

TEST(PartitionRow, MapRowCarriesOnlyTheNineListedKeys) {
  PartitionRow row;
  row.volumeStart = 40;
  row.volumeName = "Untitled 1";
  const Dict d = row.toDict();
  EXPECT_EQ(keysOf(d), (std::set<std::string>{"Content", "Model", "Path", "Revision", "Serial", "Volume Name",
                                              "Volume Scan Type", "Volume Size In Sectors", "Volume Start"}));
  EXPECT_EQ(toJson(d),
            "{\"Content\": \"Apple_HFS\", \"Model\": \"\", \"Path\": \"\", \"Revision\": \"\", \"Serial\": \"\", "
            "\"Volume Name\": \"Untitled 1\", \"Volume Scan Type\": 0, \"Volume Size In Sectors\": 0, "
            "\"Volume Start\": 40}");
}

TEST(PartitionRow, FoundVolumeKeepsEveryFieldAndValueKindThroughItsDictionary) {
  PartitionRow row = foundVolume();
  Dict drive{{"Preferred Block Size", std::uint64_t{4096}}, {"IOBundleResourceFile", "media-optical"},
             {"bundle path", "/usr/share/icons/hicolor"}};
  row.takeDriveGeometry(DriveRow::fromDict(drive));
  const Dict d = row.toDict();
  EXPECT_EQ(PartitionRow::fromDict(d), row);
  // A session stores each value with its kind, and older sessions hold the scan type as a signed
  // number and the sector counts as unsigned ones.
  EXPECT_TRUE(std::holds_alternative<std::int64_t>(d.find("Volume Scan Type")->value));
  for (const char* key : {"Volume Start", "Volume Size In Sectors", "Volume Validity", "WhetherAlternateSector",
                          "Preferred Block Size", "Size"})
    EXPECT_TRUE(std::holds_alternative<std::uint64_t>(d.find(key)->value)) << key;
}

TEST(PartitionRow, DriveGeometryGivesTheSizeInBytesAndOnlyTheKeysTheDriveHas) {
  PartitionRow row = foundVolume();
  row.takeDriveGeometry(
      DriveRow::fromDict(Dict{{"Preferred Block Size", 4096}, {"IOBundleResourceFile", "drive-harddisk"}}));
  EXPECT_EQ(row.sectorSizeBytes, 4096u);
  EXPECT_EQ(row.sizeBytes, 608u * 4096u);
  EXPECT_EQ(row.iconResource, "drive-harddisk");
  EXPECT_FALSE(row.iconBundlePath.has_value());

  // A drive row without a sector size still gives the row a (zero) size, as the list always shows one.
  PartitionRow bare = foundVolume();
  bare.takeDriveGeometry(DriveRow{});
  EXPECT_FALSE(bare.sectorSizeBytes.has_value());
  EXPECT_EQ(bare.sizeBytes, 0u);
  EXPECT_EQ(keysOf(bare.toDict()).count("Preferred Block Size"), 0u);
  EXPECT_EQ(keysOf(bare.toDict()).count("Size"), 1u);
}

TEST(PartitionRow, StoredDictionaryWithMissingKeysGivesEmptyFields) {
  const PartitionRow row = PartitionRow::fromDict(Dict{{"Path", "/dev/sdz"}, {"Volume Scan Type", 1}});
  EXPECT_EQ(row.path, "/dev/sdz");
  EXPECT_EQ(row.scanType, PartitionScanType::kVolumeSearch);
  EXPECT_EQ(row.content, "");
  EXPECT_FALSE(row.volumeValidity.has_value());
  EXPECT_FALSE(row.alternateHeaderSector.has_value());
}

// A drive as discovery lists it: the fields the wizard reads, properties it only prints, and a volume.
Dict discoveredDrive() {
  const Dict volume{{"WhetherVolume", true},
                    {"Path", "/dev/sdz2"},
                    {"Parent Drive Path", "/dev/sdz"},
                    {"Volume Name", "Mac"},
                    {"Mounted Path", "/media/Mac"},
                    {"Content", "Apple_HFS"},
                    {"journaled", "Yes"},
                    {"Size", std::uint64_t{209715200}},
                    {"Preferred Block Size", std::uint64_t{512}},
                    {"supportFileSystemRecovery", 1},
                    {"fileSystem", 0},
                    {"HFSVolumeStart", std::uint64_t{0}},
                    {"Index of child Volume", 0}};
  return Dict{{"WhetherDiskDict", true},
              {"Path", "/dev/sdz"},
              {"device model", "Samsung SSD"},
              {"device serial", "-"},
              {"device revision", "RVT04B6Q"},
              {"Content", "GUID_partition_scheme"},
              {"Size", std::uint64_t{500107862016}},
              {"Preferred Block Size", std::uint64_t{512}},
              {"IOBundleResourceFile", "drive-harddisk"},
              {"bundle path", ""},
              {"CFBundleIdentifier", "org.freedesktop.udisks2"},
              {"Volume and Drive Index", 0},
              {"Children Volume Array", DictArray{volume}}};
}

TEST(DriveRow, DiscoveredDriveGivesTypedFieldsAndPrintsAsItWasFound) {
  const Dict drive = discoveredDrive();
  const DriveRow row = DriveRow::fromDict(drive);
  EXPECT_TRUE(row.isWholeDisk);
  EXPECT_FALSE(row.isVolume);
  EXPECT_EQ(row.path, "/dev/sdz");
  EXPECT_EQ(row.model, "Samsung SSD");
  EXPECT_EQ(row.sizeBytes, 500107862016u);
  EXPECT_EQ(row.iconBundlePath, "");  // an empty icon path is still the drive's icon path
  ASSERT_EQ(row.childVolumes.size(), 1u);
  const DriveRow& volume = row.childVolumes[0];
  EXPECT_TRUE(volume.isVolume);
  EXPECT_EQ(volume.parentDrivePath, "/dev/sdz");
  EXPECT_EQ(volume.journaled, "Yes");
  EXPECT_TRUE(volume.supportsFileSystemRecovery());
  // What the wizard does not read is kept only for printing.
  EXPECT_EQ(row.otherProperties.size(), 2u);
  EXPECT_EQ(volume.otherProperties.size(), 3u);
  EXPECT_EQ(row.toDict(), drive);
  EXPECT_EQ(toJson(row.toDict()), toJson(drive));
}

TEST(DriveRow, PropertiesOfAnUnexpectedKindStayAsTheyWere) {
  // A size given as text, a flag that is false, an empty name, a negative number and an empty child
  // list are none of them what the fields hold: they are printed back untouched.
  const Dict odd{{"Path", "/dev/sdy"},
                 {"Size", "unknown"},
                 {"WhetherVolume", false},
                 {"Volume Name", ""},
                 {"Preferred Block Size", std::int64_t{-1}},
                 {"Children Volume Array", DictArray{}}};
  const DriveRow row = DriveRow::fromDict(odd);
  EXPECT_FALSE(row.isVolume);
  EXPECT_FALSE(row.sizeBytes.has_value());
  EXPECT_FALSE(row.sectorSizeBytes.has_value());
  EXPECT_TRUE(row.childVolumes.empty());
  EXPECT_EQ(row.otherProperties.size(), 5u);
  EXPECT_EQ(row.toDict(), odd);

  // A signed count reads as a count; it prints the same digits.
  const DriveRow counted = DriveRow::fromDict(Dict{{"Size", 1536000}, {"Preferred Block Size", 4096}});
  EXPECT_EQ(counted.sizeBytes, 1536000u);
  EXPECT_EQ(toJson(counted.toDict()), "{\"Preferred Block Size\": 4096, \"Size\": 1536000}");
}

}  // namespace
}  // namespace nua
