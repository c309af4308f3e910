// Image checks (BMP, ICNS, MRW, PNG, GIF, JPEG) on files made by ImageMagick and on built bytes.
#include <gtest/gtest.h>

#include "format_test_support.h"
#include "formats/format_checks.h"

namespace nua::formats {
namespace {

using test::Bytes;
using test::runOn;

struct ToolImage {
  const char* name;
  const char* command;  // writes "a.<ext>" in a fresh directory
  const char* file;
  FormatCheck check;
  std::uint32_t typeOfFile;
  bool jumps;
};

void PrintTo(const ToolImage& c, std::ostream* os) { *os << c.name; }

class ImagesMadeByImageMagick : public ::testing::TestWithParam<ToolImage> {};

// Each of these formats is walked to its true end: the size is the file's own length.
TEST_P(ImagesMadeByImageMagick, SizeIsTheFilesOwnLength) {
  const auto& c = GetParam();
  if (!test::haveTool(test::kImageMagick)) GTEST_SKIP() << "ImageMagick convert is not installed";
  const auto file = test::makeWithTool(c.name, c.command, c.file);
  ASSERT_TRUE(file.has_value()) << c.command;
  const auto outcome = runOn(*file, c.check, test::rowOfType(c.typeOfFile));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, file->size());
  EXPECT_EQ(outcome.row.skipFileSize, c.jumps);
  if (c.jumps) {
    EXPECT_EQ(outcome.row.skipSize, file->size() / test::kSectorBytes);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ImagesMadeByImageMagick,
    ::testing::Values(
        ToolImage{"jpeg_baseline", "convert -size 300x200 plasma:fractal -seed 1 a.jpg", "a.jpg", checkJpegFile, 3, true},
        ToolImage{"png", "convert -size 300x200 gradient:red-blue a.png", "a.png", checkPngFile, 6, true},
        ToolImage{"gif", "convert -size 300x200 gradient:red-blue a.gif", "a.gif", checkGifFile, 4, true},
        ToolImage{"bmp", "convert -size 300x200 gradient:red-blue a.bmp", "a.bmp", checkBmpFile, 2, false},
        ToolImage{"tiff_little_endian", "convert -size 300x200 gradient:red-blue -define tiff:endian=lsb a.tif", "a.tif",
                  checkTiffFile, 5, true},
        ToolImage{"tiff_big_endian", "convert -size 300x200 gradient:red-blue -define tiff:endian=msb a.tif", "a.tif",
                  checkTiffFile, 5, true}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

// A progressive JPEG has no baseline frame: the marker walk runs on through the scan data by the
// lengths it happens to read until one is 0, and then the end marker is sought within 63 sectors of
// where it stopped; without one the size is the sectors up to there (the estimate for 0 by 0 pixels).
TEST(JpegCheck, ProgressiveFileWithoutBaselineFrame) {
  if (!test::haveTool(test::kImageMagick)) GTEST_SKIP() << "ImageMagick convert is not installed";
  const auto file = test::makeWithTool("jpeg_progressive", "convert -size 300x200 plasma:fractal -seed 1 -interlace JPEG a.jpg", "a.jpg");
  ASSERT_TRUE(file.has_value());
  auto placed = test::placeFile(*file);
  const auto& device = placed.source.bytes();
  const std::size_t start = placed.sector * test::kSectorBytes;
  const auto at = [&](std::uint64_t p) -> std::uint8_t { return start + p < device.size() ? u8(device, start + p) : 0; };
  // The walk, by hand: step by length plus 2 from the marker at 2 while the length isn't 0.
  std::uint64_t p = 2;
  std::uint64_t n = at(4) * 256u + at(5);
  bool scanSeen = false;
  bool rejected = false;
  while (n != 0) {
    p += n + 2;
    if (at(p) == 0xFF && at(p + 1) == 0xDA) scanSeen = true;
    if (!scanSeen && (at(p) != 0xFF || at(p + 1) == 0 || at(p + 1) == 0xFF)) { rejected = true; break; }
    n = at(p + 2) * 256u + at(p + 3);
  }
  const auto outcome = test::runOn(placed, checkJpegFile, test::rowOfType(3));
  ASSERT_EQ(outcome.found, !rejected);
  if (rejected) return;
  std::uint64_t endMarker = 0;
  for (std::uint64_t q = p / 512 * 512; q < (p / 512 + 63 + 63) * 512 && endMarker == 0; ++q) {
    if (at(q) == 0xFF && at(q + 1) == 0xD9) endMarker = q + 2;
  }
  if (endMarker != 0) {
    EXPECT_EQ(outcome.row.foundSize, endMarker);
    EXPECT_TRUE(outcome.row.skipFileSize);
  } else {
    EXPECT_EQ(outcome.row.foundSize, std::min<std::uint64_t>(p / 512 * 512, 512 * (placed.context.deviceEndSector - placed.sector)));
    EXPECT_FALSE(outcome.row.skipFileSize);
  }
}

// Baseline JPEG builder: SOI, JFIF, a frame of the given size, a scan header, data, optional end
// marker. The walk starts by stepping over the marker at 2, so the frame comes second.
constexpr std::size_t kJfifBytes = 2 + 16;
Bytes baselineJpeg(std::uint16_t width, std::uint16_t height, std::size_t dataBytes, bool endMarker) {
  Bytes b;
  b.u8(0, 0xFF).u8(1, 0xD8).u8(2, 0xFF).u8(3, 0xE0).be16(4, 16).text(6, "JFIF");
  const std::size_t frame = 2 + kJfifBytes;
  b.u8(frame, 0xFF).u8(frame + 1, 0xC0).be16(frame + 2, 17).u8(frame + 4, 8).be16(frame + 5, height).be16(frame + 7, width);
  const std::size_t sos = frame + 2 + 17;
  b.u8(sos, 0xFF).u8(sos + 1, 0xDA).be16(sos + 2, 12);
  const std::size_t data = sos + 2 + 12;
  b.fill(data, dataBytes, 0x55);
  if (endMarker) b.u8(data + dataBytes, 0xFF).u8(data + dataBytes + 1, 0xD9);
  return b;
}

TEST(JpegCheck, EndMarkerGivesTheSizeThroughTheMarkerAndAJump) {
  const auto file = baselineJpeg(64, 64, 5000, true);
  const auto outcome = runOn(file.data(), checkJpegFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, file.size());
  EXPECT_TRUE(outcome.row.skipFileSize);
}

TEST(JpegCheck, EndMarkerPastTheLimitGivesTheEstimateAndNoJump) {
  // 64 x 64 pixels: e = 64*64*3/2/512 = 12 sectors; chunks start below 12*3/4 + 63 = 72 sectors from
  // p, so the chunk at 63 is the last and looks up to sector 125.
  const auto file = baselineJpeg(64, 64, 130 * 512, true);
  const auto outcome = runOn(file.data(), checkJpegFile);
  ASSERT_TRUE(outcome.found);
  const std::uint64_t p = 2 + kJfifBytes + 2 + 17 + 2 + 12;  // past the scan header
  EXPECT_EQ(outcome.row.foundSize, 512u * (12 + p / 512));
  EXPECT_FALSE(outcome.row.skipFileSize);
}

TEST(JpegCheck, FirstTestIsReadLiterally) {
  // Byte 2 not 0xFF together with byte 3 of 0 is turned down; byte 3 alone is not enough.
  auto file = baselineJpeg(64, 64, 100, true);
  file.u8(2, 0x12).u8(3, 0x00);
  EXPECT_FALSE(runOn(file.data(), checkJpegFile).found);
}

TEST(JpegCheck, MarkerWalkRejectsAByteThatIsNoMarkerBeforeTheScan) {
  auto file = baselineJpeg(64, 64, 100, true);
  file.u8(2 + kJfifBytes + 2 + 17, 0x00);  // where the scan marker should be
  EXPECT_FALSE(runOn(file.data(), checkJpegFile).found);
}

Bytes png(int chunks, std::uint8_t bitDepth = 8, std::uint8_t colourType = 2) {
  Bytes b;
  b.text(0, "\x89PNG\r\n\x1a\n").be32(8, 13).text(12, "IHDR").be32(16, 10).be32(20, 10);
  b.u8(24, bitDepth).u8(25, colourType).u8(26, 0).u8(27, 0).u8(28, 0).be32(29, 0);
  std::size_t at = 33;
  for (int i = 0; i < chunks; ++i) {
    b.be32(at, 100).text(at + 4, "IDAT").fill(at + 8, 100, 7).be32(at + 108, 0);
    at += 112;
  }
  b.be32(at, 0).text(at + 4, "IEND").be32(at + 8, 0);
  return b;
}

TEST(PngCheck, AChunkTypeWithADigitEndsTheFileThere) {
  auto file = png(6);
  const std::size_t fifth = 33 + 4 * 112;
  file.text(fifth + 4, "ID4T");
  const auto outcome = runOn(file.data(), checkPngFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, fifth);
  EXPECT_TRUE(outcome.row.skipFileSize);
}

TEST(PngCheck, HeaderFieldsOutOfRangeAreTurnedDown) {
  EXPECT_FALSE(runOn(png(1, 3).data(), checkPngFile).found) << "bit depth 3";
  EXPECT_FALSE(runOn(png(1, 0).data(), checkPngFile).found) << "bit depth 0";
  EXPECT_FALSE(runOn(png(1, 8, 5).data(), checkPngFile).found) << "colour type 5";
  EXPECT_TRUE(runOn(png(1, 6, 0).data(), checkPngFile).found) << "bit depth 6, even and at most 16";
  EXPECT_FALSE(runOn(png(1).be32(16, 0).data(), checkPngFile).found) << "width 0";
  EXPECT_FALSE(runOn(png(1).u8(16, 0x80).data(), checkPngFile).found) << "width top bit";
  EXPECT_FALSE(runOn(png(1).u8(28, 2).data(), checkPngFile).found) << "interlace 2";
}

TEST(GifCheck, AFileWithoutTrailerEndsAtTheLastByteTheWalkUnderstood) {
  Bytes b;
  b.text(0, "GIF89a").le16(6, 4).le16(8, 4).u8(10, 0x00);
  // image descriptor at 13, LZW size at 23, one sub-block of 5 bytes, terminator, then garbage
  b.u8(13, 0x2C).u8(22, 0x00).u8(23, 2).u8(24, 5).fill(25, 5, 1).u8(30, 0).u8(31, 0x99);
  const auto outcome = runOn(b.data(), checkGifFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 31u);  // the walk stops at the unknown tag 0x99
}

TEST(GifCheck, ZerosToTheDeviceEndEndTheWalkThere) {
  Bytes b;
  b.text(0, "GIF89a").le16(6, 4).le16(8, 4).u8(10, 0x00).u8(13, 0x00).resize(512);
  auto placed = test::placeFile(b.data(), 3, 5);
  const auto outcome = test::runOn(placed, checkGifFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 512u * (placed.context.deviceEndSector - placed.sector));
}

TEST(BmpAndIcnsChecks, ReservedWordsAndTheIcnsCap) {
  EXPECT_FALSE(runOn(Bytes().text(0, "BM").le32(2, 100).le32(6, 1).data(), checkBmpFile).found);
  EXPECT_TRUE(runOn(Bytes().text(0, "icns").be32(4, 10000000).data(), checkIcnsFile).found);
  EXPECT_FALSE(runOn(Bytes().text(0, "icns").be32(4, 10000001).data(), checkIcnsFile).found);
}

TEST(MrwCheck, SizeIsTheHeaderBlockPlusTheRawBitsInWholeBytesPlusEight) {
  Bytes b;
  b.text(0, "\0MRM").be32(4, 1000).be16(24, 3).be16(26, 5).u8(32, 12);  // 12*3*5 = 180 bits
  const auto outcome = runOn(b.data(), checkMrwFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 1000u + 22 + 1 + 8);  // 180 / 8 = 22 remainder 4
}

}  // namespace
}  // namespace nua::formats
