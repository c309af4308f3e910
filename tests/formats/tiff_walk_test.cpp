// The TIFF walk of TIFF, CR2, NEF, Sony and ORF on built files of both byte orders.
#include <gtest/gtest.h>

#include "format_test_support.h"
#include "formats/format_checks.h"

namespace nua::formats {
namespace {

using test::Bytes;
using test::runOn;

struct Entry {
  std::uint16_t tag;
  std::uint16_t type;
  std::uint32_t count;
  std::uint32_t value;  // as it stands in the field for LONG; for SHORT count 1 or 2, see shorts
  std::uint16_t shorts[2] = {0, 0};
};

// Writes a directory at `at`; short values with count 1 or 2 go into the field as shorts.
void writeDirectory(Bytes& b, std::size_t at, const std::vector<Entry>& entries, std::uint32_t next, bool big) {
  b.u16(at, static_cast<std::uint16_t>(entries.size()), big);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::size_t e = at + 2 + 12 * i;
    const Entry& x = entries[i];
    b.u16(e, x.tag, big).u16(e + 2, x.type, big).u32(e + 4, x.count, big);
    if (x.type == 3 && x.count <= 2) {
      b.u16(e + 8, x.shorts[0], big).u16(e + 10, x.shorts[1], big);
    } else {
      b.u32(e + 8, x.value, big);
    }
  }
  b.u32(at + 2 + 12 * entries.size(), next, big);
}

Bytes tiffHeader(bool big, std::uint32_t firstDirectory) {
  Bytes b;
  if (big) {
    b.text(0, "MM").u8(2, 0).u8(3, '*');
  } else {
    b.text(0, "II").u8(2, '*').u8(3, 0);
  }
  b.u32(4, firstDirectory, big);
  return b;
}

// Two strips given as two shorts each: the size is the second (last) strip's offset plus its length,
// on both byte orders.
class TwoStripTiff : public ::testing::TestWithParam<bool> {};

TEST_P(TwoStripTiff, LastStripEndsTheFile) {
  const bool big = GetParam();
  Bytes b = tiffHeader(big, 8);
  Entry offsets{273, 3, 2, 0, {1000, 3000}};
  Entry counts{279, 3, 2, 0, {500, 700}};
  writeDirectory(b, 8, {{256, 3, 1, 0, {10, 0}}, offsets, counts}, 0, big);
  b.resize(3700);
  const auto outcome = runOn(b.data(), checkTiffFile, test::rowOfType(5));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 3700u);
  EXPECT_TRUE(outcome.row.skipFileSize);
  EXPECT_EQ(outcome.row.skipSize, 3700u / 512);
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, TwoStripTiff, ::testing::Values(false, true),
                         [](const auto& paramInfo) { return paramInfo.param ? "BigEndian" : "LittleEndian"; });

std::vector<Entry> entries(std::size_t count) {
  std::vector<Entry> list;
  for (std::size_t i = 0; i < count; ++i) list.push_back(Entry{static_cast<std::uint16_t>(300 + i), 4, 1, 10});
  list.push_back(Entry{273, 4, 1, 2000});
  list.push_back(Entry{279, 4, 1, 100});
  return list;
}

TEST(TiffWalk, FiftyEntriesPassAndFiftyOneAreTurnedDown) {
  Bytes fifty = tiffHeader(false, 8);
  writeDirectory(fifty, 8, entries(48), 0, false);
  EXPECT_TRUE(runOn(fifty.data(), checkTiffFile, test::rowOfType(5)).found);
  Bytes fiftyOne = tiffHeader(false, 8);
  writeDirectory(fiftyOne, 8, entries(49), 0, false);
  EXPECT_FALSE(runOn(fiftyOne.data(), checkTiffFile, test::rowOfType(5)).found);
}

TEST(TiffWalk, OddNextOffsetFailsTiffButPassesCr2) {
  Bytes b = tiffHeader(false, 16);
  b.text(8, "CR").u8(10, 2).u8(11, 0);
  writeDirectory(b, 16, entries(2), 601, false);  // the next directory at an odd offset
  writeDirectory(b, 601, entries(1), 0, false);
  EXPECT_FALSE(runOn(b.data(), checkOrfFile).found);
  const auto cr2 = runOn(b.data(), checkCr2File, test::rowOfType(8));
  ASSERT_TRUE(cr2.found);
  EXPECT_EQ(cr2.row.foundSize, 2100u);
  // The same file is Canon RAW, which the TIFF row leaves to the CR2 row.
  EXPECT_FALSE(runOn(b.data(), checkTiffFile, test::rowOfType(5)).found);
}

TEST(TiffWalk, MakerNamesLeaveTheFileToTheirOwnRows) {
  Bytes b = tiffHeader(false, 8);
  writeDirectory(b, 8, entries(2), 0, false);
  b.text(900, "NIKON");
  EXPECT_FALSE(runOn(b.data(), checkTiffFile, test::rowOfType(5)).found);
  EXPECT_TRUE(runOn(b.data(), checkTiffFile, test::rowOfType(4)).found) << "the test runs for type 5 only";
  EXPECT_TRUE(runOn(b.data(), checkNefFile, test::rowOfType(9)).found);
  EXPECT_FALSE(runOn(b.data(), checkNefFile, test::rowOfType(5)).found);
  EXPECT_FALSE(runOn(b.data(), checkSonyRawFile, test::rowOfType(10)).found);
}

TEST(TiffWalk, DirectoriesThatPointBackAtEachOtherEndTheWalk) {
  Bytes b = tiffHeader(true, 8);
  writeDirectory(b, 8, entries(2), 200, true);
  writeDirectory(b, 200, entries(2), 8, true);
  const auto outcome = runOn(b.data(), checkTiffFile, test::rowOfType(5));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 2100u);
}

TEST(TiffWalk, DataOutsideTheEntriesReachesFurtherThanTheStrips) {
  Bytes b = tiffHeader(false, 8);
  auto list = entries(0);
  list.push_back(Entry{270, 2, 40, 5000});  // a 40-byte text at 5000
  writeDirectory(b, 8, list, 0, false);
  const auto outcome = runOn(b.data(), checkTiffFile, test::rowOfType(5));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 5040u);
}

TEST(SonyRawCheck, WithoutNewSubfileTagItIsSrfSizedOnePointTwoTimesWithAnUnscaledJump) {
  Bytes b = tiffHeader(false, 8);
  b.text(100, "SONY");
  writeDirectory(b, 8, {{273, 4, 1, 10000}, {279, 4, 1, 240}, {330, 4, 1, 400}}, 0, false);
  writeDirectory(b, 400, {{273, 4, 1, 20000}, {279, 4, 1, 480}}, 0, false);
  const auto srf = runOn(b.data(), checkSonyRawFile, test::rowOfType(10, "sr2"));
  ASSERT_TRUE(srf.found);
  EXPECT_EQ(srf.row.extension, "srf");
  EXPECT_EQ(srf.row.foundSize, 20480u * 12 / 10);
  EXPECT_EQ(srf.row.skipSize, 20480u / 512);

  writeDirectory(b, 400, {{254, 4, 1, 0}, {273, 4, 1, 20000}, {279, 4, 1, 480}}, 0, false);
  const auto sr2 = runOn(b.data(), checkSonyRawFile, test::rowOfType(10, "srf"));
  ASSERT_TRUE(sr2.found);
  EXPECT_EQ(sr2.row.extension, "sr2");
  EXPECT_EQ(sr2.row.foundSize, 20480u);
}

TEST(SonyRawCheck, MoreThanThirtyTwoSubDirectoriesAreCut) {
  Bytes b = tiffHeader(false, 8);
  b.text(100, "SONY");
  writeDirectory(b, 8, {{273, 4, 1, 1000}, {279, 4, 1, 10}, {330, 4, 100, 2000}}, 0, false);
  for (std::uint32_t i = 0; i < 100; ++i) b.le32(2000 + 4 * i, 4000 + 64 * i);
  for (std::uint32_t i = 0; i < 100; ++i) writeDirectory(b, 4000 + 64 * i, {{273, 4, 1, 50000 + i * 10}, {279, 4, 1, 10}}, 0, false);
  const auto outcome = runOn(b.data(), checkSonyRawFile, test::rowOfType(10));
  ASSERT_TRUE(outcome.found);
  // Directory 31 (the 32nd) is the last one walked.
  EXPECT_EQ(outcome.row.foundSize, (50000u + 31 * 10 + 10) * 12 / 10);
}

TEST(OrfCheck, IsLittleEndianOnly) {
  Bytes b = tiffHeader(true, 8);
  writeDirectory(b, 8, entries(2), 0, true);
  // Read as little-endian the first directory's offset is 0x08000000: far past the file, all zeros.
  EXPECT_FALSE(runOn(b.data(), checkOrfFile).found);
  EXPECT_TRUE(runOn(b.data(), checkTiffFile, test::rowOfType(5)).found);
}

}  // namespace
}  // namespace nua::formats
