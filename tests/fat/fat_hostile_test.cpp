// Hostile FAT volumes: boot sector counts and sizes no real volume has, table entries that loop or
// point outside the volume, and images cut at every structure boundary. The type decision, the health
// check, the walk and saving must each come back, with a tree no larger than the image could hold.
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "base/bytes.h"
#include "fat_test_support.h"
#include "hfs/hfs_image_edit.h"

namespace nua {
namespace {

using Image = std::vector<std::byte>;

struct Geometry {
  std::uint64_t reservedBytes = 0, fatBytes = 0, rootBytes = 0;
  std::uint8_t fatCount = 0;
};

Geometry geometryOf(const Image& image) {
  Geometry g;
  const std::uint64_t sector = le16(image, 11);
  g.reservedBytes = le16(image, 14) * sector;
  g.fatCount = u8(image, 16);
  const std::uint32_t fatSectors = le16(image, 22) != 0 ? le16(image, 22) : le32(image, 36);
  g.fatBytes = std::uint64_t{fatSectors} * sector;
  g.rootBytes = std::uint64_t{le16(image, 17)} * 32;
  return g;
}

struct HostileField {
  const char* name;
  std::function<void(Image&)> patch;
};

std::function<void(Image&)> set16(std::size_t at, std::uint16_t v) { return [=](Image& i) { putLe16(i, at, v); }; }
std::function<void(Image&)> set8(std::size_t at, std::uint8_t v) { return [=](Image& i) { put8(i, at, v); }; }

// Every entry of the first table set to `value` from cluster 2 on: all chains loop to one cluster,
// end at once, or leave the volume.
std::function<void(Image&)> everyLink(std::uint32_t value) {
  return [=](Image& image) {
    const Geometry g = geometryOf(image);
    const bool fat32 = le16(image, 22) == 0;
    const std::size_t width = fat32 ? 4 : 2;
    for (std::uint64_t at = g.reservedBytes + 2 * width; at + width <= g.reservedBytes + g.fatBytes; at += width) {
      if (at + width > image.size()) break;
      if (fat32) putLe32(image, at, value);
      else putLe16(image, at, static_cast<std::uint16_t>(value));
    }
  };
}

std::vector<HostileField> hostileFields() {
  return {
      {"BytesPerSectorZero", set16(11, 0)},
      {"BytesPerSectorOne", set16(11, 1)},
      {"BytesPerSectorAllOnes", set16(11, 0xFFFF)},
      {"SectorsPerClusterAllOnes", set8(13, 0xFF)},
      {"ReservedSectorsZero", set16(14, 0)},
      {"ReservedSectorsAllOnes", set16(14, 0xFFFF)},
      {"NoTables", set8(16, 0)},
      {"TwoHundredFiftyFiveTables", set8(16, 0xFF)},
      {"RootEntriesAllOnes", set16(17, 0xFFFF)},
      {"BothTotalsZero", [](Image& i) { putLe16(i, 19, 0); putLe32(i, 32, 0); }},
      {"TotalSectorsBeyondTheImage", [](Image& i) { putLe16(i, 19, 0); putLe32(i, 32, 0xFFFFFFFF); }},
      {"HiddenSectorsAllOnes", [](Image& i) { putLe32(i, 28, 0xFFFFFFFF); }},
      {"TableSizeZero", [](Image& i) { if (le16(i, 22) != 0) putLe16(i, 22, 0); else putLe32(i, 36, 0); }},
      {"TableSizeAllOnes", [](Image& i) { if (le16(i, 22) != 0) putLe16(i, 22, 0xFFFF); else putLe32(i, 36, 0xFFFFFFFF); }},
      {"RootClusterAllOnes", [](Image& i) { if (le16(i, 22) == 0) putLe32(i, 44, 0x0FFFFFF0); }},
      {"RootClusterZero", [](Image& i) { if (le16(i, 22) == 0) putLe32(i, 44, 0); }},
      {"EveryChainLoopsOnClusterTwo", everyLink(2)},
      {"EveryChainLeavesTheVolume", everyLink(0x0FFFFFF0)},
      {"EveryChainPointsToItsBadCluster", everyLink(0x0FFFFFF7)},
  };
}

struct HostileCase {
  const char* scenario;
  HostileField field;
};

// Every field on FAT12 and FAT16; on the larger FAT32 image the ones its own layout reads differently.
std::vector<HostileCase> hostileCases() {
  const std::set<std::string> fat32Fields{"BytesPerSectorZero",  "SectorsPerClusterAllOnes",   "TotalSectorsBeyondTheImage",
                                          "TableSizeAllOnes",    "RootClusterAllOnes",         "RootClusterZero",
                                          "EveryChainLoopsOnClusterTwo", "EveryChainLeavesTheVolume"};
  std::vector<HostileCase> out;
  for (const char* scenario : {"fat12-basic", "fat16-basic", "fat32-basic"})
    for (const HostileField& field : hostileFields())
      if (std::string(scenario) != "fat32-basic" || fat32Fields.count(field.name) != 0) out.push_back({scenario, field});
  return out;
}

// Walks and saves everything; the tree stays bounded by what the image could hold.
void walkAndSave(const std::string& path, std::uint64_t sectors, std::uint64_t imageBytes, const std::string& tag) {
  auto walked = testing::walkFat(path, 0, sectors);
  ASSERT_TRUE(walked.volume);
  Volume& v = *walked.volume;
  if (v.dirRoot != nullptr) {
    EXPECT_LE(testing::entriesByPath(v.dirRoot).size(), imageBytes / 32);
  }
  if (walked.answer == 1) (void)testing::saveAll(v, tag);
}

class FatHostile : public ::testing::TestWithParam<HostileCase> {};

TEST_P(FatHostile, WalkAndSaveEndWithABoundedTree) {
  const HostileCase& c = GetParam();
  const testing::KitImage image = testing::makeKitImage(c.scenario);
  ASSERT_TRUE(image.error.empty()) << image.error;
  Image bytes = testing::readImage(image.path);
  c.field.patch(bytes);
  const std::string variant = image.path + "." + c.field.name;
  testing::writeImage(variant, bytes);
  walkAndSave(variant, bytes.size() / 512, bytes.size(), std::string(c.scenario) + c.field.name);
}

INSTANTIATE_TEST_SUITE_P(Kit, FatHostile, ::testing::ValuesIn(hostileCases()), [](const auto& param) {
  std::string name = std::string(param.param.scenario) + "_" + param.param.field.name;
  for (char& ch : name)
    if (ch == '-') ch = '_';
  return name;
});

// The image cut inside and at the end of each structure: boot sector, reserved area, every table, the
// root folder and the first clusters of data, while the volume still claims its full size.
class FatCutShort : public ::testing::TestWithParam<const char*> {};

TEST_P(FatCutShort, EveryCutIsWalkedToAnEnd) {
  const testing::KitImage image = testing::makeKitImage(GetParam());
  ASSERT_TRUE(image.error.empty()) << image.error;
  const Image whole = testing::readImage(image.path);
  const Geometry g = geometryOf(whole);
  std::vector<std::uint64_t> cuts{256, 512, g.reservedBytes};
  std::uint64_t at = g.reservedBytes;
  for (std::uint8_t t = 0; t < g.fatCount; ++t) {
    cuts.push_back(at + g.fatBytes / 2);
    at += g.fatBytes;
    cuts.push_back(at);
  }
  cuts.push_back(at + g.rootBytes / 2);
  at += g.rootBytes;
  for (int i = 0; i <= 8; ++i) cuts.push_back(at + std::uint64_t(i) * 4096);
  const std::string variant = image.path + ".cut";
  for (std::uint64_t length : cuts) {
    if (length == 0 || length >= whole.size()) continue;
    SCOPED_TRACE("cut at " + std::to_string(length));
    testing::writeImage(variant, Image(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    walkAndSave(variant, whole.size() / 512, whole.size(), std::string(GetParam()) + "-cut");
  }
}

INSTANTIATE_TEST_SUITE_P(Kit, FatCutShort, ::testing::Values("fat12-basic", "fat16-basic", "fat32-basic"));

}  // namespace
}  // namespace nua
