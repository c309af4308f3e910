// The FAT boot sector as discovery reads it: the type by the data area's cluster count at each
// threshold, the volume length when the totals are cleared or too large, and which sectors pass as a
// FAT boot sector whatever formatted them.
#include "media/fat_boot_peek.h"

#include <gtest/gtest.h>

#include "media_test_bytes.h"

namespace nua {
namespace {

using testing::Bytes;

struct Layout {
  std::uint16_t bytesPerSector = 512;
  std::uint8_t sectorsPerCluster = 1;
  std::uint16_t reservedSectors = 1;
  std::uint8_t fatCount = 2;
  std::uint16_t rootEntries = 512;
  std::uint32_t fatSize = 0;
  std::uint64_t clusters = 0;
};

// A boot sector as Windows writes one: jump, OEM name, the parameter block, boot code to the end.
Bytes bootSector(const Layout& l, bool setTotal = true) {
  Bytes b(512, std::byte{0});
  put8(b, 0, 0xEB);
  put8(b, 1, 0x3C);
  put8(b, 2, 0x90);
  testing::putText(b, 3, "MSDOS5.0");
  putLe16(b, 11, l.bytesPerSector);
  put8(b, 13, l.sectorsPerCluster);
  putLe16(b, 14, l.reservedSectors);
  put8(b, 16, l.fatCount);
  putLe16(b, 17, l.rootEntries);
  put8(b, 21, 0xF8);
  const std::uint64_t rootSectors = (std::uint64_t{l.rootEntries} * 32 + l.bytesPerSector - 1) / l.bytesPerSector;
  const std::uint64_t total =
      l.reservedSectors + std::uint64_t{l.fatCount} * l.fatSize + rootSectors + l.clusters * l.sectorsPerCluster;
  if (l.fatSize <= 0xFFFF) putLe16(b, 22, static_cast<std::uint16_t>(l.fatSize));
  else putLe32(b, 36, l.fatSize);
  if (setTotal) {
    if (total <= 0xFFFF) putLe16(b, 19, static_cast<std::uint16_t>(total));
    else putLe32(b, 32, static_cast<std::uint32_t>(total));
  }
  putLe32(b, 28, 63);
  for (std::size_t at = 0x3E; at < 0x1FE; ++at) put8(b, at, static_cast<std::uint8_t>(at * 7 + 3));
  putLe16(b, 510, 0xAA55);
  return b;
}

// Table sectors for `clusters` entries of the variant the count gives, as formatters size them.
std::uint32_t tableSectors(std::uint64_t clusters, std::uint32_t bitsPerEntry) {
  return static_cast<std::uint32_t>(((clusters + 2) * bitsPerEntry / 8 + 511) / 512);
}

struct TypeCase {
  const char* name;
  std::uint64_t clusters;
  std::uint32_t bits;
  std::uint8_t sectorsPerCluster;
  const char* type;
};

class FatTypeByClusters : public ::testing::TestWithParam<TypeCase> {};

TEST_P(FatTypeByClusters, FollowsTheStandardThresholds) {
  const TypeCase& c = GetParam();
  Layout l;
  l.clusters = c.clusters;
  l.sectorsPerCluster = c.sectorsPerCluster;
  l.rootEntries = c.bits == 32 ? 0 : 512;
  l.fatSize = tableSectors(c.clusters, c.bits);
  const auto boot = parseFatBootSector(bootSector(l));
  ASSERT_TRUE(boot);
  EXPECT_EQ(fatClusterCount(*boot, 0), c.clusters);
  EXPECT_STREQ(fatTypeOf(*boot), c.type);
}

INSTANTIATE_TEST_SUITE_P(Thresholds, FatTypeByClusters,
                         ::testing::Values(TypeCase{"fat12top", 4084, 12, 1, "FAT12"},
                                           TypeCase{"fat16bottom", 4085, 16, 1, "FAT16"},
                                           TypeCase{"fat16near", 65439, 16, 1, "FAT16"},
                                           TypeCase{"fat16top", 65524, 16, 1, "FAT16"},
                                           TypeCase{"fat32bottom", 65525, 32, 1, "FAT32"},
                                           TypeCase{"fat16clusters4", 60000, 16, 4, "FAT16"}),
                         [](const auto& p) { return std::string(p.param.name); });

TEST(FatVolumeLength, ComesFromTheSourceWhenTheTotalsAreClearedOrTooLarge) {
  Layout l;
  l.clusters = 30000;
  l.fatSize = tableSectors(l.clusters, 16);
  const std::uint64_t realSectors = 1 + 2 * l.fatSize + 32 + l.clusters;
  const auto cleared = parseFatBootSector(bootSector(l, false));
  ASSERT_TRUE(cleared);
  EXPECT_EQ(fatVolumeSectors(*cleared, realSectors), realSectors);
  EXPECT_EQ(fatClusterCount(*cleared, realSectors), l.clusters);
  EXPECT_STREQ(fatTypeOf(*cleared, realSectors * 512), "FAT16");
  EXPECT_STREQ(fatTypeOf(*cleared), "-") << "no total and no source length";

  Bytes oversized = bootSector(l);
  putLe16(oversized, 19, 0);
  putLe32(oversized, 32, 4000000);
  const auto claimed = parseFatBootSector(oversized);
  ASSERT_TRUE(claimed);
  EXPECT_EQ(fatVolumeSectors(*claimed, realSectors), realSectors);
  EXPECT_STREQ(fatTypeOf(*claimed, realSectors * 512), "FAT16");
  EXPECT_EQ(fatVolumeSectors(*claimed, 0), 4000000u) << "an unknown source length trusts the field";
}

struct BootCase {
  const char* name;
  std::size_t offset;
  std::vector<std::uint8_t> bytes;
  bool fat;
};

class FatBootSectorTest : public ::testing::TestWithParam<BootCase> {};

TEST_P(FatBootSectorTest, TellsAFatVolumeFromOtherFirstSectors) {
  const BootCase& c = GetParam();
  Layout l;
  l.clusters = 2847;
  l.fatSize = 9;
  Bytes b = bootSector(l);
  for (std::size_t i = 0; i < c.bytes.size(); ++i) put8(b, c.offset + i, c.bytes[i]);
  const auto boot = parseFatBootSector(b);
  ASSERT_TRUE(boot);
  EXPECT_EQ(isFatBootSector(*boot), c.fat);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, FatBootSectorTest,
    ::testing::Values(BootCase{"windows", 0, {}, true},
                      BootCase{"floppyMedia", 21, {0xF0}, true},
                      BootCase{"nearJump", 0, {0xE9, 0x00, 0x00}, true},
                      BootCase{"sector4096", 11, {0x00, 0x10}, true},
                      // A boot loader's MBR: a short jump, then code where the parameters would be.
                      BootCase{"mbrCode", 11, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, false},
                      BootCase{"noJump", 0, {0x33, 0xC0, 0x8E}, false},
                      BootCase{"sector768", 11, {0x00, 0x03}, false},
                      BootCase{"sector8192", 11, {0x00, 0x20}, false},
                      BootCase{"clusters3", 13, {3}, false},
                      BootCase{"clusters0", 13, {0}, false},
                      BootCase{"reserved0", 14, {0, 0}, false},
                      BootCase{"tables3", 16, {3}, false},
                      BootCase{"tables0", 16, {0}, false},
                      BootCase{"media12", 21, {0x12}, false},
                      BootCase{"tableSize0", 22, {0, 0}, false},
                      BootCase{"noSignature", 510, {0x00, 0x00}, false}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(FatBootSectorDecode, ReadsHiddenSectorsAndSurvivesMutations) {
  Layout l;
  l.clusters = 2847;
  l.fatSize = 9;
  const Bytes b = bootSector(l);
  const auto boot = parseFatBootSector(b);
  ASSERT_TRUE(boot);
  EXPECT_EQ(boot->hiddenSectors, 63u);
  for (std::size_t length = 0; length < kFatBootSectorSize; ++length)
    EXPECT_FALSE(parseFatBootSector(ByteSpan(b).first(length))) << length;
  testing::mutationLoop(b, [](ByteSpan bytes) {
    if (const auto mutated = parseFatBootSector(bytes)) {
      (void)isFatBootSector(*mutated);
      (void)fatTypeOf(*mutated, 1024 * 1024);
    }
  });
}

}  // namespace
}  // namespace nua
