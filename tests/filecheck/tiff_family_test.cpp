// The TIFF family's shared behaviour: who reads the device, DNG left to its own class, the limits
// on IFD tables and sizes, and plain TIFFs from ImageMagick.
#include <gtest/gtest.h>

#include "camera_raw_builders.h"
#include "file_check_test_support.h"
#include "filecheck/dng_file_check.h"
#include "filecheck/file_check_list.h"
#include "filecheck/nef_file_check.h"
#include "filecheck/threefr_file_check.h"
#include "filecheck/tiff_file_check.h"

namespace nua {
namespace {

using namespace testing_support;

// Counts the reads that reach the device.
class CountingSource final : public SectorSource {
 public:
  explicit CountingSource(MemorySectorSource inner) : inner_(std::move(inner)) {}
  std::uint32_t bytesPerSector() const override { return inner_.bytesPerSector(); }
  std::uint64_t sectorCount() const override { return inner_.sectorCount(); }
  bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) override {
    ++reads;
    return inner_.readSectors(sector, count, buffer);
  }
  int reads = 0;

 private:
  MemorySectorSource inner_;
};

TEST(TiffFileCheck, RealTiffsAreFoundAndCoveredByTheSumOfTheirParts) {
  if (!haveImageMagick()) GTEST_SKIP() << "ImageMagick convert is not installed";
  for (const char* command : {"convert -size 300x200 plasma: -define tiff:endian=msb a.tif",
                              "convert -size 300x200 plasma: -define tiff:endian=lsb -compress lzw a.tif",
                              "convert -size 256x256 plasma: -define tiff:tile-geometry=64x64 a.tif"}) {
    const auto file = makeWithTool(command, "a.tif");
    ASSERT_TRUE(file) << command;
    MemorySectorSource source = deviceWithFile(*file);
    FileCheckScanState state;
    TiffFileCheck check(source, state);
    const Bytes first = headerOfSector(source, kFileSector);
    ASSERT_TRUE(check.isFile(first, kFileSector)) << command;
    EXPECT_FALSE(check.isFile(headerOfSector(source, kFileSector + 1), kFileSector + 1));
    ASSERT_TRUE(check.isFile(first, kFileSector));
    const std::uint64_t size = check.fileSizeCalculation(first, kFileSector);
    // Everything but the 8-byte header and word padding is summed, then a sector of margin.
    EXPECT_GE(size, file->size()) << command;
    EXPECT_LE(size, file->size() + 512) << command;
  }
}

TEST(TiffFamily, ADngOfAnyMakerIsRefusedAsTiffAndLeftToItsOwnClass) {
  const BuiltRaw dng = buildDng("NIKON");
  MemorySectorSource source = deviceWithFile(dng.file);
  FileCheckScanState state;
  TiffFileCheck tiff(source, state);
  NefFileCheck nef(source, state);
  DngFileCheck dngCheck(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  EXPECT_FALSE(tiff.isFile(first, kFileSector));
  EXPECT_FALSE(nef.isFile(first, kFileSector));
  EXPECT_TRUE(dngCheck.isFile(first, kFileSector));
}

TEST(TiffFamily, OnlyTheFirstSelectedMemberReadsTheDevice) {
  const BuiltRaw nef = buildNef();
  CountingSource source(deviceWithFile(nef.file));
  FileCheckScanState state;
  FileCheckList list = FileCheckList::build({"arw", "cr2", "nef", "tiff", "orf", "threeFr"}, source, state);
  const Bytes first = [&] {
    Bytes sector(512);
    EXPECT_TRUE(source.readSectors(kFileSector, 1, sector));
    sector.resize(kFileCheckHeaderBytes);
    return sector;
  }();
  source.reads = 0;
  ASSERT_FALSE(list.checks()[0]->isFile(first, kFileSector));  // arw runs the maker test
  EXPECT_GT(source.reads, 0);
  source.reads = 0;
  EXPECT_FALSE(list.checks()[1]->isFile(first, kFileSector));  // cr2 answers from the verdict
  EXPECT_TRUE(list.checks()[2]->isFile(first, kFileSector));   // nef too
  EXPECT_FALSE(list.checks()[3]->isFile(first, kFileSector));  // tiff
  EXPECT_FALSE(list.checks()[5]->isFile(first, kFileSector));  // 3fr
  EXPECT_EQ(source.reads, 0);
}

// A plain TIFF whose first IFD has `entries` entries, one strip among them.
Bytes tiffWithEntries(std::size_t entries) {
  TiffBuilder tiff(false);
  const std::uint32_t ifd = tiff.reserveIfd(entries);
  tiff.setFirstIfd(ifd);
  const std::uint32_t strip = tiff.appendBlob(rawImageData(5000));
  std::vector<TiffEntry> list = {longs(273, {strip}), longs(279, {5000})};
  for (std::size_t i = list.size(); i < entries; ++i) list.push_back(shorts(static_cast<std::uint16_t>(40000 + i), {1}));
  tiff.writeIfd(ifd, list);
  return tiff.bytes();
}

TEST(TiffFamily, AnIfdOf101EntriesGivesZeroAndOneOf100IsWalked) {
  for (const std::size_t entries : {100u, 101u}) {
    const Bytes file = tiffWithEntries(entries);
    MemorySectorSource source = deviceWithFile(file);
    FileCheckScanState state;
    TiffFileCheck check(source, state);
    const Bytes first = headerOfSector(source, kFileSector);
    state.littleEndianFile = true;
    const std::uint64_t size = check.fileSizeCalculation(first, kFileSector);
    if (entries == 100) {
      EXPECT_EQ(size, 5000 + 100 * 12 + 6 + 512);
    } else {
      EXPECT_EQ(size, 0u);
      EXPECT_FALSE(check.isFile(first, kFileSector));
    }
  }
}

TEST(TiffFamily, ARawEndShortOfTheFirstIfdFallsBackToItsTableAndATinyTableGivesZero) {
  TiffBuilder tiff(false);
  const std::uint32_t ifd0 = tiff.reserveIfd(3);
  tiff.setFirstIfd(ifd0);
  const std::uint32_t subIfd = tiff.reserveIfd(2);
  tiff.writeIfd(ifd0, {ascii(271, "Hasselblad"), ascii(272, "H3D"), longs(330, {subIfd})});
  tiff.writeIfd(subIfd, {longs(273, {2}), longs(279, {4})});  // ends at 6, before IFD 0
  MemorySectorSource source = deviceWithFile(tiff.bytes());
  FileCheckScanState state;
  ThreefrFileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  EXPECT_EQ(check.fileSizeCalculation(first, kFileSector), 0u);  // 8 + 3 * 12 + 8 is below 100
}

TEST(TiffFamily, ARawSizePast200MiBGivesZero) {
  BuiltRaw nef = buildNef();
  // Make the raw strip claim 300,000,000 bytes: its byte count is the last LONG of the raw SubIFD.
  MemorySectorSource original = deviceWithFile(nef.file);
  FileCheckScanState state;
  NefFileCheck check(original, state);
  const Bytes first = headerOfSector(original, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  ASSERT_EQ(check.fileSizeCalculation(first, kFileSector), nef.expectedSize);
  bool patched = false;
  for (std::size_t i = 0; i + 12 <= nef.file.size() && !patched; i += 2) {
    if (be16(nef.file, i) == 279 && be16(nef.file, i + 2) == 4 && be32(nef.file, i + 8) == 200000) {
      putBe32(nef.file, i + 8, 300000000);
      patched = true;
    }
  }
  ASSERT_TRUE(patched);
  MemorySectorSource source = deviceWithFile(nef.file);
  NefFileCheck big(source, state);
  ASSERT_TRUE(big.isFile(first, kFileSector));
  EXPECT_EQ(big.fileSizeCalculation(first, kFileSector), 0u);
}

}  // namespace
}  // namespace nua

namespace nua {
namespace {

using namespace testing_support;

TEST(TiffFamily, AnIfdChainThatLoopsOnItselfEndsAtItsBound) {
  // A TIFF whose IFD links to itself: the sum walk stops after 24 IFDs; CR2 finds no last IFD.
  TiffBuilder tiff(false);
  const std::uint32_t ifd = tiff.reserveIfd(4);
  tiff.setFirstIfd(ifd);
  const std::uint32_t strip = tiff.appendBlob(rawImageData(1000));
  tiff.writeIfd(ifd, {longs(273, {strip}), longs(279, {1000}), shorts(259, {1})}, ifd);
  MemorySectorSource source = deviceWithFile(tiff.bytes());
  FileCheckScanState state;
  state.littleEndianFile = true;
  TiffFileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  EXPECT_EQ(check.fileSizeCalculation(first, kFileSector), 24 * (1000 + 3 * 12 + 6) + 512);
}

}  // namespace
}  // namespace nua
