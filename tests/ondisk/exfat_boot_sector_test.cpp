// The exFAT boot sector and boot region: a good decode, every truncation, each checked field out of
// range, and the checksum sector guarding the region.
#include "ondisk/exfat_boot_sector.h"

#include <gtest/gtest.h>

#include "exfat/exfat_bytes_builder.h"

namespace nua {
namespace {

TEST(ExfatBootSector, DecodesTheGeometry) {
  auto region = testing::exfatBootRegion();
  testing::resealExfatBootRegion(region);
  const auto boot = parseExfatBootRegion(region);
  ASSERT_TRUE(boot) << boot.reason;
  EXPECT_EQ(boot->bytesPerSector(), 512U);
  EXPECT_EQ(boot->bytesPerCluster(), 4096U);
  EXPECT_EQ(boot->fatOffset, 2048U);
  EXPECT_EQ(boot->clusterHeapOffset, 4096U);
  EXPECT_EQ(boot->clusterCount, 15872U);
  EXPECT_EQ(boot->firstClusterOfRootDirectory, 5U);
  EXPECT_EQ(boot->lastCluster(), 15873U);
}

TEST(ExfatBootSector, EveryTruncationFailsCleanly) {
  auto region = testing::exfatBootRegion();
  testing::resealExfatBootRegion(region);
  for (std::size_t length = 0; length < region.size(); length += 7) {
    EXPECT_FALSE(parseExfatBootRegion(ByteSpan(region).first(length))) << length;
  }
  for (std::size_t length = 0; length < kExfatBootSectorSize; ++length)
    EXPECT_FALSE(parseExfatBootSector(ByteSpan(region).first(length))) << length;
}

struct FieldCase {
  const char* field;
  std::size_t offset;
  std::uint64_t value;
  std::size_t width;
};

class ExfatBootField : public ::testing::TestWithParam<FieldCase> {};

TEST_P(ExfatBootField, OutOfRangeIsRejectedNamingTheField) {
  auto region = testing::exfatBootRegion();
  const FieldCase& c = GetParam();
  if (c.width == 1) put8(region, c.offset, static_cast<std::uint8_t>(c.value));
  if (c.width == 2) putLe16(region, c.offset, static_cast<std::uint16_t>(c.value));
  if (c.width == 4) putLe32(region, c.offset, static_cast<std::uint32_t>(c.value));
  if (c.width == 8) putLe64(region, c.offset, c.value);
  testing::resealExfatBootRegion(region);
  const auto boot = parseExfatBootRegion(region);
  ASSERT_FALSE(boot);
  EXPECT_NE(boot.reason.find(c.field), std::string::npos) << boot.reason;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, ExfatBootField,
    ::testing::Values(FieldCase{"FileSystemName", 3, 0x41, 1}, FieldCase{"BootSignature", 510, 0x55AB, 2},
                      FieldCase{"BytesPerSectorShift", 108, 8, 1}, FieldCase{"BytesPerSectorShift", 108, 13, 1},
                      FieldCase{"SectorsPerClusterShift", 109, 17, 1}, FieldCase{"NumberOfFats", 110, 0, 1},
                      FieldCase{"NumberOfFats", 110, 3, 1}, FieldCase{"FatOffset", 80, 10, 4},
                      FieldCase{"FatLength", 84, 0, 4}, FieldCase{"FatLength", 84, 2, 4},
                      FieldCase{"ClusterHeapOffset", 88, 2100, 4}, FieldCase{"ClusterCount", 92, 0, 4},
                      FieldCase{"ClusterCount", 92, 15873, 4},
                      FieldCase{"ClusterCount", 72, 4096, 8}, FieldCase{"FirstClusterOfRootDirectory", 96, 1, 4},
                      FieldCase{"FirstClusterOfRootDirectory", 96, 15874, 4}));

TEST(ExfatBootRegion, ChecksumSectorGuardsTheRegion) {
  auto region = testing::exfatBootRegion();
  testing::resealExfatBootRegion(region);
  // VolumeFlags and PercentInUse change in use and are left out of the checksum.
  put8(region, 106, 0x02);
  put8(region, 112, 57);
  EXPECT_TRUE(parseExfatBootRegion(region));
  // Any other byte of the first eleven sectors is covered, boot code and OEM parameters included.
  for (const std::size_t at : {std::size_t{100}, std::size_t{300}, std::size_t{512 * 9 + 17}, std::size_t{512 * 11 - 1}}) {
    auto changed = region;
    put8(changed, at, static_cast<std::uint8_t>(u8(changed, at) ^ 0x5A));
    const auto boot = parseExfatBootRegion(changed);
    ASSERT_FALSE(boot) << at;
    EXPECT_NE(boot.reason.find("checksum"), std::string::npos) << boot.reason;
  }
  // One repetition of the checksum differing is enough to reject it.
  auto lastWord = region;
  put8(lastWord, 512 * 12 - 1, static_cast<std::uint8_t>(u8(lastWord, 512 * 12 - 1) ^ 1));
  EXPECT_FALSE(parseExfatBootRegion(lastWord));
}

}  // namespace
}  // namespace nua
