// Checks the FAT directory read-back on volumes built in code: long names, deleted entries, folders
// that lead back to an ancestor, and random damage, which must never hang or crash the walk.
#include "imagekit/fat_directory.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace nua::imagekit {
namespace {

// A FAT16-shaped volume: 1 reserved sector, two 32-sector tables, 32 root slots, 1-sector clusters.
struct CodeVolume {
  std::vector<std::byte> bytes = std::vector<std::byte>(512 * 4200);
  FatGeometry geometry;

  CodeVolume() {
    putLe16(bytes, 11, 512);
    put8(bytes, 13, 1);
    putLe16(bytes, 14, 1);
    put8(bytes, 16, 2);
    putLe16(bytes, 17, 32);
    putLe16(bytes, 19, 4200);
    putLe16(bytes, 22, 32);
    std::string error;
    geometry = parseFatGeometry(bytes, error).value();
  }

  std::size_t slotOffset(std::uint32_t cluster, std::size_t slot) const {
    const std::uint64_t base = cluster == 0 ? geometry.rootDirByteOffset : geometry.clusterByteOffset(cluster);
    return static_cast<std::size_t>(base) + slot * kFatDirEntrySize;
  }

  void shortEntry(std::uint32_t folderCluster, std::size_t slot, const std::string& name11, std::uint8_t attributes,
                  std::uint32_t firstCluster, std::uint32_t size) {
    const std::size_t at = slotOffset(folderCluster, slot);
    for (std::size_t i = 0; i < 11; ++i) put8(bytes, at + i, static_cast<std::uint8_t>(name11[i]));
    put8(bytes, at + 11, attributes);
    putLe16(bytes, at + 26, static_cast<std::uint16_t>(firstCluster));
    putLe32(bytes, at + 28, size);
  }

  void longNameSlot(std::uint32_t folderCluster, std::size_t slot, std::uint8_t order, const std::u16string& part,
                    std::uint8_t checksum) {
    static constexpr std::size_t kUnitOffsets[] = {1, 3, 5, 7, 9, 14, 16, 18, 20, 22, 24, 28, 30};
    const std::size_t at = slotOffset(folderCluster, slot);
    put8(bytes, at, order);
    put8(bytes, at + 11, kFatAttrLongName);
    put8(bytes, at + 13, checksum);
    for (std::size_t i = 0; i < 13; ++i) {
      const std::uint16_t unit = i < part.size() ? part[i] : (i == part.size() ? 0x0000 : 0xFFFF);
      putLe16(bytes, at + kUnitOffsets[i], unit);
    }
  }
};

std::uint8_t checksumOf(const std::string& name11) {
  std::uint32_t sum = 0;
  for (const char c : name11) sum = ((sum % 2 != 0 ? 0x80U : 0U) + sum / 2 + static_cast<std::uint8_t>(c)) % 256U;
  return static_cast<std::uint8_t>(sum);
}

TEST(FatDirectoryWalk, ReadsLongNamesAndDeletedEntries) {
  CodeVolume volume;
  const std::string shortName = "HOLIDA~1JPG";
  volume.longNameSlot(0, 0, 0x42, u".jpg", checksumOf(shortName));
  volume.longNameSlot(0, 1, 0x01, u"Holiday photo", checksumOf(shortName));
  volume.shortEntry(0, 2, shortName, 0x20, 5, 700);
  setFatEntry(volume.bytes, volume.geometry, 5, 6, 0);
  setFatEntry(volume.bytes, volume.geometry, 6, 0xFFFF, 0);
  volume.shortEntry(0, 3, "\xE5" "ONE    TXT", 0x20, 9, 100);
  volume.shortEntry(0, 4, "notes   txt", 0x20, 0, 0);

  const FatWalk live = walkFatTree(volume.bytes, volume.geometry, false, {});
  ASSERT_EQ(live.entries.size(), 2U);
  EXPECT_EQ(live.entries[0].path, "/Holiday photo.jpg");
  EXPECT_EQ(live.entries[0].clusters, (std::vector<std::uint32_t>{5, 6}));
  EXPECT_EQ(live.entries[1].entry.shortName, "notes.txt");

  const FatWalk all = walkFatTree(volume.bytes, volume.geometry, true,
                                  [](std::uint64_t, std::uint32_t first) { return std::vector<std::uint32_t>{first}; });
  ASSERT_EQ(all.entries.size(), 3U);
  EXPECT_TRUE(all.entries[1].entry.deleted);
  EXPECT_EQ(all.entries[1].entry.shortName, "?ONE.TXT");
  EXPECT_EQ(all.entries[1].clusters, (std::vector<std::uint32_t>{9}));
  EXPECT_EQ(all.shortSlots.size(), 3U);
}

TEST(FatDirectoryWalk, StopsAtAFolderThatLeadsBack) {
  CodeVolume volume;
  volume.shortEntry(0, 0, "OUTER      ", kFatAttrDirectory, 10, 0);
  setFatEntry(volume.bytes, volume.geometry, 10, 0xFFFF, 0);
  volume.shortEntry(10, 0, ".          ", kFatAttrDirectory, 10, 0);
  volume.shortEntry(10, 1, "..         ", kFatAttrDirectory, 0, 0);
  volume.shortEntry(10, 2, "AGAIN      ", kFatAttrDirectory, 10, 0);
  const FatWalk walk = walkFatTree(volume.bytes, volume.geometry, false, {});
  ASSERT_EQ(walk.entries.size(), 2U);
  EXPECT_EQ(walk.entries[1].path, "/OUTER/AGAIN");
  ASSERT_EQ(walk.notes.size(), 1U);
  EXPECT_EQ(walk.notes[0], "/OUTER/AGAIN: leads back to cluster 10");
}

TEST(FatDirectoryWalk, SurvivesRandomDamage) {
  std::mt19937 random(20240601);
  for (int round = 0; round < 200; ++round) {
    CodeVolume volume;
    volume.shortEntry(0, 0, "FOLDER     ", kFatAttrDirectory, 10, 0);
    setFatEntry(volume.bytes, volume.geometry, 10, 11, 0);
    setFatEntry(volume.bytes, volume.geometry, 11, 0xFFFF, 0);
    const std::size_t firstByte = static_cast<std::size_t>(volume.geometry.fatByteOffset);
    const std::size_t lastByte = static_cast<std::size_t>(volume.geometry.clusterByteOffset(40));
    std::uniform_int_distribution<std::size_t> where(firstByte, lastByte - 1);
    for (int hit = 0; hit < 400; ++hit) put8(volume.bytes, where(random), static_cast<std::uint8_t>(random() % 256));
    const FatWalk walk = walkFatTree(volume.bytes, volume.geometry, true, [](std::uint64_t, std::uint32_t first) {
      return std::vector<std::uint32_t>{first, first + 1};
    });
    EXPECT_LE(walk.entries.size(), 20000U);
  }
}

}  // namespace
}  // namespace nua::imagekit
