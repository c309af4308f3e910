// Partition rows as the command line prints them and a session stores them: which keys appear, the
// kinds of their values, and the drive's geometry the wizard adds to a listed row.
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
  row.takeDriveGeometry(drive);
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
  row.takeDriveGeometry(Dict{{"Preferred Block Size", 4096}, {"IOBundleResourceFile", "drive-harddisk"}});
  EXPECT_EQ(row.sectorSizeBytes, 4096u);
  EXPECT_EQ(row.sizeBytes, 608u * 4096u);
  EXPECT_EQ(row.iconResource, "drive-harddisk");
  EXPECT_FALSE(row.iconBundlePath.has_value());

  // A drive row without a sector size still gives the row a (zero) size, as the list always shows one.
  PartitionRow bare = foundVolume();
  bare.takeDriveGeometry(Dict{});
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

}  // namespace
}  // namespace nua
