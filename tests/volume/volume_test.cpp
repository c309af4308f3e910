// The three construction shapes of a Volume, told apart by their dictionary keys.
#include "volume/volume.h"

#include <gtest/gtest.h>

namespace nua {
namespace {

TEST(VolumeShapes, WholeDisk) {
  auto v = Volume::initWithDictionary(
      Dict{{"WhetherDiskDict", true}, {"Path", "/dev/sdb"}, {"Preferred Block Size", 4096},
           {"Size", std::uint64_t{8192000}}, {"device model", "Card"}, {"device serial", "7"}},
      {});
  EXPECT_EQ(v->volumeScanType, 3);
  EXPECT_EQ(v->sizeInSect, 2000u);
  EXPECT_EQ(v->totalBlocks, 2000u);
  EXPECT_EQ(v->blockSize, 1);
  EXPECT_EQ(v->maxFileID, 9u);
  EXPECT_EQ(v->model, "Card");
  EXPECT_EQ(u32BytesInSectorForScanClasses.load(), 4096u);
}

TEST(VolumeShapes, VolumeOfTheSystem) {
  auto v = Volume::initWithDictionary(Dict{{"WhetherVolume", true},
                                           {"Path", "/dev/sdb2"},
                                           {"Preferred Block Size", 512},
                                           {"Size", std::uint64_t{1048576}},
                                           {"Volume Name", "Macintosh HD"},
                                           {"Parent Drive Path", "/dev/sdb"},
                                           {"journaled", "Yes"},
                                           {"Content", "Apple_HFS"},
                                           {"supportFileSystemRecovery", 1}},
                                      {});
  EXPECT_EQ(v->volumeScanType, 2);
  EXPECT_EQ(v->sizeInSect, 2048u);
  EXPECT_EQ(v->vibAtSector, 2u);
  EXPECT_TRUE(v->isJournaled);
  EXPECT_TRUE(v->supportsFileSystemRecovery);
  EXPECT_EQ(v->volumeName, "Macintosh HD");
  EXPECT_EQ(v->parentDrivePath, "/dev/sdb");
  EXPECT_EQ(v->deletedFilesPath, "Deleted Files");
  EXPECT_EQ(v->maxFileID, 9u);
}

TEST(VolumeShapes, VolumeInsideAnImageStartsAtItsVolumeStart) {
  Dict row{{"WhetherVolume", true}, {"Path", "/tmp/disk.img"}, {"Preferred Block Size", 512},
           {"Size", std::uint64_t{1048576}}, {"Volume Start", std::uint64_t{2048}}, {"Content", "Apple_HFS"}};
  auto v = Volume::initWithDictionary(row, {});
  EXPECT_EQ(v->startSector, 2048u);
  EXPECT_EQ(v->HPlusVolStart, 2048u);
  EXPECT_EQ(v->vibAtSector, 2050u);
  // With 4096-byte sectors the header lies inside the volume's first sector.
  row.set("Preferred Block Size", 4096);
  row.set("Volume Start", std::uint64_t{256});
  EXPECT_EQ(Volume::initWithDictionary(row, {})->vibAtSector, 256u);
}

TEST(VolumeShapes, PartitionAndLostVolume) {
  Dict partition{{"Volume Scan Type", 0},   {"Path", "/dev/sdb"},
                 {"Preferred Block Size", 512}, {"Volume Name", "Data"},
                 {"Volume Size In Sectors", std::uint64_t{5000}}, {"Volume Start", std::uint64_t{409640}},
                 {"Content", "Apple_HFSX"},      {"WhetherAlternateSector", std::uint64_t{777}}};
  auto v = Volume::initWithDictionary(partition, {});
  EXPECT_EQ(v->volumeScanType, 0);
  EXPECT_EQ(v->startSector, 409640u);
  EXPECT_EQ(v->HPlusVolStart, 409640u);
  EXPECT_EQ(v->vibAtSector, 0u);  // the alternate sector counts only for a lost volume
  EXPECT_EQ(v->lostFilesPath, "Lost Files");
  EXPECT_EQ(v->lostFoldersPath, "Lost Folder");
  EXPECT_EQ(v->maxFileID, 0u);
  EXPECT_TRUE(v->model.empty());

  partition.set("Volume Scan Type", 1);
  auto lost = Volume::initWithDictionary(partition, {});
  EXPECT_EQ(lost->volumeScanType, 1);
  EXPECT_EQ(lost->vibAtSector, 777u);
}

TEST(VolumeShapes, EveryShapeMakesEveryTableAndSharesTheAdvancedOne) {
  for (const Dict& d : {Dict{{"WhetherDiskDict", true}}, Dict{{"WhetherVolume", true}}, Dict{{"WhetherVolume", false}},
                        Dict{{"Volume Scan Type", 0}}}) {
    auto v = Volume::initWithDictionary(d, {});
    EXPECT_TRUE(v->tables.btree && v->tables.btreeNormalScan && v->tables.btreeFirstFileBlock && v->tables.btreeOrph &&
                v->tables.btreeOrphAdvScanEntries && v->tables.btreeForUsedCatNodeSector && v->arena);
    EXPECT_EQ(v->tables.btreeAdvScan, v->tables.btree.get());
    EXPECT_EQ(v->u32BytesInSector, 512);  // an absent sector size never leaves a zero divisor
  }
}

TEST(VolumeShapes, FalseWhetherVolumeReadsNothing) {
  auto v = Volume::initWithDictionary(Dict{{"WhetherVolume", false}, {"Path", "/dev/x"}, {"Volume Name", "N"}}, {});
  EXPECT_TRUE(v->path.empty());
  EXPECT_TRUE(v->volumeName.empty());
}

}  // namespace
}  // namespace nua
