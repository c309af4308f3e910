// The exFAT entry set: live and deleted sets decoded with their checksum, every truncation, each
// structural field out of range, the root's table and label entries, and timestamps with their 10 ms
// part and UTC offset.
#include "ondisk/exfat_directory_entry.h"

#include <gtest/gtest.h>

#include <random>

#include "exfat/exfat_timestamp.h"
#include "exfat_bytes_builder.h"

namespace nua {
namespace {

constexpr const char* kLongName = "Forty units long, so three name entries!";

TEST(ExfatEntrySet, LiveAndDeletedSetsDecodeWithTheirChecksum) {
  for (const bool deleted : {false, true}) {
    const auto bytes = testing::exfatEntrySet(kLongName, deleted);
    const auto set = parseExfatEntrySet(bytes);
    ASSERT_TRUE(set) << set.reason;
    EXPECT_EQ(set->deleted, deleted);
    // A deleted set's checksum holds once its InUse bits are taken as set.
    EXPECT_TRUE(set->checksumMatches);
    EXPECT_EQ(set->name, u"Forty units long, so three name entries!");
    EXPECT_EQ(set->entryCount(), 5U);
    EXPECT_EQ(set->dataLength, 10000U);
    EXPECT_EQ(set->firstCluster, 42U);
    EXPECT_TRUE(set->noFatChain());
    EXPECT_FALSE(set->isFolder());
  }
}

TEST(ExfatEntrySet, ChangedByteIsReportedNotRejected) {
  auto bytes = testing::exfatEntrySet("photo.jpg", false);
  put8(bytes, 40, 0x11);  // ValidDataLength
  const auto set = parseExfatEntrySet(bytes);
  ASSERT_TRUE(set);
  EXPECT_FALSE(set->checksumMatches);
}

TEST(ExfatEntrySet, EveryTruncationFailsCleanly) {
  const auto bytes = testing::exfatEntrySet(kLongName, false);
  for (std::size_t length = 0; length < bytes.size(); ++length)
    EXPECT_FALSE(parseExfatEntrySet(ByteSpan(bytes).first(length))) << length;
}

struct SetCase {
  const char* what;
  std::size_t offset;
  std::uint8_t value;
};

class ExfatEntrySetField : public ::testing::TestWithParam<SetCase> {};

TEST_P(ExfatEntrySetField, BrokenStructureIsRejected) {
  auto bytes = testing::exfatEntrySet(kLongName, false);
  put8(bytes, GetParam().offset, GetParam().value);
  const auto set = parseExfatEntrySet(bytes);
  ASSERT_FALSE(set);
  EXPECT_NE(set.reason.find(GetParam().what), std::string::npos) << set.reason;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, ExfatEntrySetField,
    ::testing::Values(SetCase{"EntryType", 0, 0x83}, SetCase{"SecondaryCount", 1, 1}, SetCase{"SecondaryCount", 1, 19},
                      SetCase{"stream extension", 32, 0xC1}, SetCase{"stream extension", 32, 0x40},
                      SetCase{"NameLength", 35, 0}, SetCase{"NameLength", 35, 46},
                      SetCase{"file name entry", 96, 0xC0}, SetCase{"file name entry", 128, 0x41}));

TEST(ExfatEntrySet, LongestNameFillsSeventeenEntries) {
  const std::string name(255, 'n');
  const auto bytes = testing::exfatEntrySet(name, true);
  const auto set = parseExfatEntrySet(bytes);
  ASSERT_TRUE(set) << set.reason;
  EXPECT_EQ(set->name.size(), 255U);
  EXPECT_EQ(set->entryCount(), 19U);
}

TEST(ExfatRootEntries, TablesAndLabelDecode) {
  std::vector<std::byte> entry(32, std::byte{0});
  put8(entry, 0, kExfatAllocationBitmap);
  putLe32(entry, 20, 2);
  putLe64(entry, 24, 1984);
  const auto bitmap = parseExfatClusterTableEntry(entry);
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(bitmap->firstCluster, 2U);
  EXPECT_EQ(bitmap->dataLength, 1984U);
  put8(entry, 0, kExfatFile);
  EXPECT_FALSE(parseExfatClusterTableEntry(entry));

  std::vector<std::byte> label(32, std::byte{0});
  put8(label, 0, kExfatVolumeLabel);
  put8(label, 1, 4);
  for (std::size_t i = 0; i < 4; ++i) putLe16(label, 2 + 2 * i, static_cast<std::uint16_t>("CARD"[i]));
  EXPECT_EQ(*parseExfatVolumeLabel(label), u"CARD");
  put8(label, 1, 12);
  EXPECT_FALSE(parseExfatVolumeLabel(label));
  for (std::size_t length = 0; length < 32; ++length) {
    EXPECT_FALSE(parseExfatVolumeLabel(ByteSpan(label).first(length)));
    EXPECT_FALSE(parseExfatClusterTableEntry(ByteSpan(entry).first(length)));
  }
}

struct TimestampCase {
  std::uint32_t packed;
  std::uint8_t tenMilliseconds;
  std::uint8_t utcOffset;
  std::int64_t unixSeconds;  // 0: no date
};

class ExfatTimestampCase : public ::testing::TestWithParam<TimestampCase> {};

TEST_P(ExfatTimestampCase, BecomesSecondsSince1904Gmt) {
  const TimestampCase& c = GetParam();
  const std::uint32_t seconds = exfatTimestampToHFSSeconds({c.packed, c.tenMilliseconds, c.utcOffset});
  EXPECT_EQ(seconds, c.unixSeconds == 0 ? 0U : static_cast<std::uint32_t>(c.unixSeconds + 2082844800));
}

// 2023-05-11 14:32:10 local is 0x56AB7405; 1683815530 is 2023-05-11 14:32:10 UTC.
INSTANTIATE_TEST_SUITE_P(
    Cases, ExfatTimestampCase,
    ::testing::Values(TimestampCase{0x56AB7405, 0, 0x80, 1683815530},             // UTC itself
                      TimestampCase{0x56AB7405, 150, 0x88, 1683815530 - 7200 + 1},  // +02:00, 1.5 s
                      TimestampCase{0x56AB7405, 199, 0x80 | 0x6C, 1683815530 + 5 * 3600 + 1},  // -05:00
                      TimestampCase{0x56AB7405, 250, 0x80, 1683815530},           // a 10 ms part past 1.99 s is ignored
                      TimestampCase{0, 0, 0x80, 0},                               // no date
                      TimestampCase{0x56A07405, 0, 0x80, 0},                      // day 0
                      TimestampCase{0x57AB7405, 0, 0x80, 0}));                    // month 13

}  // namespace
}  // namespace nua

namespace nua {
namespace {

// Mutated sets and boot regions with a fixed seed: the only check is that every parser returns.
TEST(ExfatParsersRobustness, MutatedBytesNeverBreakAParser) {
  std::mt19937 random(26);
  const auto liveSet = testing::exfatEntrySet("Forty units long, so three name entries!", false);
  auto region = testing::exfatBootRegion();
  testing::resealExfatBootRegion(region);
  for (int round = 0; round < 3000; ++round) {
    auto set = liveSet;
    auto boot = region;
    for (int i = 0; i < 1 + round % 8; ++i) {
      put8(set, random() % set.size(), static_cast<std::uint8_t>(random()));
      put8(boot, random() % 512, static_cast<std::uint8_t>(random()));
    }
    const std::size_t cut = random() % (set.size() + 1);
    if (const auto parsed = parseExfatEntrySet(ByteSpan(set).first(cut))) {
      EXPECT_LE(parsed->name.size(), kExfatMaxNameUnits);
      (void)exfatTimestampToHFSSeconds(parsed->create);
    }
    (void)parseExfatClusterTableEntry(set);
    (void)parseExfatVolumeLabel(set);
    if (const auto parsed = parseExfatBootRegion(boot)) {
      EXPECT_LE(parsed->bytesPerCluster(), 32U * 1024 * 1024);
    }
  }
}

}  // namespace
}  // namespace nua
