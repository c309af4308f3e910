// The still-image checks against real files made by ImageMagick, and their edge cases on built bytes.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "file_check_test_support.h"
#include "filecheck/bmp_file_check.h"
#include "filecheck/gif_file_check.h"
#include "filecheck/jpg_file_check.h"
#include "filecheck/png_file_check.h"
#include "filecheck/psd_file_check.h"

namespace nua {
namespace {

using namespace testing_support;

using MakeCheck = std::function<std::unique_ptr<FileCheck>(SectorSource&, FileCheckScanState&)>;
template <typename Check>
MakeCheck maker() {
  return [](SectorSource& s, FileCheckScanState& st) { return std::make_unique<Check>(s, st); };
}

struct ImageCase {
  const char* name;
  const char* command;  // ImageMagick, run in a scratch folder
  const char* file;
  MakeCheck makeCheck;
  // The size the format's rule gives for a file of `fileSize` bytes followed by zeros.
  std::uint64_t (*expectedSize)(std::uint64_t fileSize);
};
void PrintTo(const ImageCase& c, std::ostream* os) { *os << c.name; }

class ImageChecksOnRealFiles : public ::testing::TestWithParam<ImageCase> {};

TEST_P(ImageChecksOnRealFiles, FoundAtTheFirstSectorOnlyAndMeasuredByTheRule) {
  const ImageCase& c = GetParam();
  if (!haveImageMagick()) GTEST_SKIP() << "ImageMagick convert is not installed";
  const auto file = makeWithTool(c.command, c.file);
  ASSERT_TRUE(file) << c.command;
  MemorySectorSource source = deviceWithFile(*file);
  FileCheckScanState state;
  auto check = c.makeCheck(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check->isFile(first, kFileSector));
  EXPECT_FALSE(check->isFile(headerOfSector(source, kFileSector + 1), kFileSector + 1));
  EXPECT_EQ(check->fileSizeCalculation(first, kFileSector), c.expectedSize(file->size())) << "file of " << file->size();
}

INSTANTIATE_TEST_SUITE_P(
    ImageMagick, ImageChecksOnRealFiles,
    ::testing::Values(
        // A JPEG ends at FF D9; the check adds 514.
        ImageCase{"jpg", "convert -size 300x200 plasma: -quality 90 a.jpg", "a.jpg", maker<JpgFileCheck>(),
                  [](std::uint64_t n) { return n + 514; }},
        ImageCase{"jpg_progressive", "convert -size 300x200 plasma: -interlace JPEG a.jpg", "a.jpg",
                  maker<JpgFileCheck>(), [](std::uint64_t n) { return n + 514; }},
        // PNG and GIF walks reach the file's end; one sector of margin.
        ImageCase{"png", "convert -size 300x200 plasma: a.png", "a.png", maker<PngFileCheck>(),
                  [](std::uint64_t n) { return n + 512; }},
        ImageCase{"png_text", "convert -size 40x30 gradient:red-blue -set comment hello a.png", "a.png",
                  maker<PngFileCheck>(), [](std::uint64_t n) { return n + 512; }},
        ImageCase{"gif", "convert -size 300x200 plasma: a.gif", "a.gif", maker<GifFileCheck>(),
                  [](std::uint64_t n) { return n + 512; }},
        ImageCase{"gif_animated", "convert -size 60x40 xc:red xc:blue -loop 0 a.gif", "a.gif", maker<GifFileCheck>(),
                  [](std::uint64_t n) { return n + 512; }},
        // A bitmap's size is its own header field.
        ImageCase{"bmp", "convert -size 300x200 plasma: a.bmp", "a.bmp", maker<BmpFileCheck>(),
                  [](std::uint64_t n) { return n; }}));

TEST(PsdFileCheck, RealFileIsCoveredAndEndsShortlyAfterTheDataGivesWayToZeros) {
  if (!haveImageMagick()) GTEST_SKIP() << "ImageMagick convert is not installed";
  const auto file = makeWithTool("convert -seed 3 -size 300x200 plasma: -depth 8 a.psd", "a.psd");
  ASSERT_TRUE(file);
  MemorySectorSource source = deviceWithFile(*file, Bytes(8192));
  FileCheckScanState state;
  PsdFileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  EXPECT_FALSE(check.isFile(headerOfSector(source, kFileSector + 1), kFileSector + 1));
  const std::uint64_t size = check.fileSizeCalculation(first, kFileSector);
  // The zero run that ends the walk is 48 bytes of 4-byte words, plus one sector of margin.
  EXPECT_GE(size, file->size() + 512);
  EXPECT_LE(size, file->size() + 512 + 48 + 4);
}

TEST(PsdFileCheck, CoefficientsFollowTheModeAndDepthTable) {
  EXPECT_EQ(psdCoefficient(0, 1), static_cast<double>(648.0f));
  EXPECT_EQ(psdCoefficient(3, 8), static_cast<double>(15564.8f));
  EXPECT_NE(psdCoefficient(3, 8), 15564.8);  // single precision, widened
  EXPECT_EQ(psdCoefficient(4, 32), 0.0);
  EXPECT_EQ(psdCoefficient(9, 16), static_cast<double>(31129.6f));
  EXPECT_EQ(psdCoefficient(5, 8), 0.0);
}

TEST(PsdFileCheck, AZeroDimensionRejects) {
  Bytes psd = bytesOf("8BPS");
  psd.resize(600);
  putBe16(psd, 4, 1);
  putBe32(psd, 14, 0);
  putBe32(psd, 18, 100);
  putBe16(psd, 22, 8);
  putBe16(psd, 24, 3);
  MemorySectorSource source = deviceWithFile(psd);
  FileCheckScanState state;
  PsdFileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  EXPECT_EQ(check.fileSizeCalculation(first, kFileSector), 0u);
}

TEST(BmpFileCheck, NonZeroReservedBytesAreNoBitmapAndTooSmallASizeRejects) {
  Bytes bmp = bytesOf("BM");
  bmp.resize(64);
  putLe32(bmp, 2, 49);
  MemorySectorSource source = deviceWithFile(bmp);
  FileCheckScanState state;
  BmpFileCheck check(source, state);
  EXPECT_TRUE(check.isFile(bmp, kFileSector));
  EXPECT_EQ(check.fileSizeCalculation(bmp, kFileSector), 0u);
  putLe32(bmp, 2, 50);
  EXPECT_EQ(check.fileSizeCalculation(bmp, kFileSector), 50u);
  putLe32(bmp, 2, 104857601);
  EXPECT_EQ(check.fileSizeCalculation(bmp, kFileSector), 0u);
  for (std::size_t reserved = 6; reserved < 10; ++reserved) {
    Bytes damaged = bmp;
    damaged[reserved] = std::byte{1};
    EXPECT_FALSE(check.isFile(damaged, kFileSector)) << reserved;
  }
}

// A JPEG skeleton: SOI, APP0, SOS, then `scanBytes` of entropy-coded data without FF D9, then EOI.
Bytes jpegSkeleton(std::size_t scanBytes) {
  Bytes jpeg;
  for (int b : {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10}) jpeg.push_back(static_cast<std::byte>(b));
  jpeg.resize(jpeg.size() + 14);
  for (int b : {0xFF, 0xDA, 0x00, 0x08}) jpeg.push_back(static_cast<std::byte>(b));
  jpeg.resize(jpeg.size() + 6);
  jpeg.resize(jpeg.size() + scanBytes, std::byte{0x3C});
  jpeg.push_back(std::byte{0xFF});
  jpeg.push_back(std::byte{0xD9});
  return jpeg;
}

TEST(JpgFileCheck, AClaimOver25MiBIsGiven5MiB) {
  const Bytes jpeg = jpegSkeleton(26214400);
  MemorySectorSource source = deviceWithFile(jpeg);
  FileCheckScanState state;
  JpgFileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  EXPECT_EQ(check.fileSizeCalculation(first, kFileSector), 0x500000u);
}

TEST(JpgFileCheck, UnknownFourthByteIsNoJpegAndABrokenSegmentChainEndsTheWalk) {
  Bytes jpeg = jpegSkeleton(1000);
  MemorySectorSource source = deviceWithFile(jpeg);
  FileCheckScanState state;
  JpgFileCheck check(source, state);
  EXPECT_EQ(check.fileSizeCalculation(jpeg, kFileSector), jpeg.size() + 514);
  Bytes other = jpeg;
  other[3] = std::byte{0xC0};
  EXPECT_FALSE(check.isFile(other, kFileSector));
  // A segment length that lands off a marker: the walk ends there, without margin.
  putBe16(jpeg, 4, 0x30);
  MemorySectorSource broken = deviceWithFile(jpeg);
  JpgFileCheck brokenCheck(broken, state);
  EXPECT_EQ(brokenCheck.fileSizeCalculation(jpeg, kFileSector), 4u + 0x30);
}

TEST(JpgFileCheck, ACancelDuringTheScanReturnsWhatWasMeasured) {
  const Bytes jpeg = jpegSkeleton(3'000'000);
  MemorySectorSource source = deviceWithFile(jpeg);
  std::atomic<bool> cancel{true};
  FileCheckScanState state;
  state.cancelScanning = &cancel;
  JpgFileCheck check(source, state);
  const std::uint64_t size = check.fileSizeCalculation(jpeg, kFileSector);
  EXPECT_LT(size, jpeg.size());
}

TEST(ImageChecks, AFailedReadGivesZeroAndIsReported) {
  FailingSectorSource source;
  FileCheckScanState state;
  int reports = 0;
  state.onReadError = [&](std::uint64_t) { ++reports; };
  const Bytes header = jpegSkeleton(10);
  JpgFileCheck jpg(source, state);
  PngFileCheck png(source, state);
  GifFileCheck gif(source, state);
  PsdFileCheck psd(source, state);
  EXPECT_EQ(jpg.fileSizeCalculation(header, 9), 0u);
  EXPECT_EQ(png.fileSizeCalculation(header, 9), 0u);
  EXPECT_EQ(gif.fileSizeCalculation(header, 9), 0u);
  EXPECT_EQ(psd.fileSizeCalculation(header, 9), 0u);
  EXPECT_EQ(reports, 4);
}

}  // namespace
}  // namespace nua
