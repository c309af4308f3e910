// The carving engine over the kit's demo disk: the whole-disk search finds every photo where it lies,
// the HFS+ free-space search finds the deleted ones only, and a resumed search finds exactly what the
// uninterrupted one found from the stored position on; the photo search puts every photo in the tree.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "base/bytes.h"
#include "base/text.h"
#include "filecheck/file_check_list.h"
#include "imagekit/demo_scenarios.h"
#include "imagekit/scenario.h"
#include "records/entry_ops.h"
#include "signature/carved_entry_registrar.h"
#include "signature/free_space_maps.h"
#include "signature/scan_test_support.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

struct DemoDisk {
  std::vector<std::byte> bytes;
  imagekit::Manifest manifest;
  std::set<std::uint64_t> photoStarts;
  std::set<std::uint64_t> deletedHfsPhotoStarts;
};

// The demo's photos in the order the kit writes them (HFS+ first), as it seeds them.
const DemoDisk& demoDisk() {
  static const DemoDisk disk = [] {
    DemoDisk d;
    const fs::path path = fs::temp_directory_path() / ("nua-sigscan-demo-" + std::to_string(::getpid()) + ".img");
    std::string error;
    EXPECT_TRUE(imagekit::findScenario("demo")->make(path.string(), {}, d.manifest, error)) << error;
    d.bytes = scantest::readFileBytes(path);
    fs::remove(path);
    const std::vector<imagekit::DemoPhoto> photos{
        {"/Holidays 2014/IMG_0001.jpg", 800, 600, 14, false}, {"/Holidays 2014/IMG_0002.jpg", 320, 240, 8, false},
        {"/Holidays 2014/IMG_0003.jpg", 160, 120, 4, true},   {"/Holidays 2014/Sunset over the bay.jpg", 640, 480, 10, true},
        {"/Birthday/cake.png", 120, 90, 0, false},            {"/Birthday/Party guests.png", 300, 200, 6, true},
        {"/Birthday/candles.jpg", 480, 360, 8, false},        {"/DCIM/100NUA/IMG_1001.JPG", 640, 480, 12, false},
        {"/DCIM/100NUA/IMG_1002.JPG", 240, 180, 6, false},    {"/DCIM/100NUA/IMG_1003.JPG", 800, 600, 10, true},
        {"/DCIM/100NUA/IMG_1004.JPG", 96, 64, 2, false},      {"/Screenshots/Screen 1.png", 200, 150, 0, false},
        {"/Screenshots/Map of the trail.png", 320, 280, 0, true}};
    std::uint64_t salt = 0;
    for (std::size_t i = 0; i < photos.size(); ++i) {
      const auto at = scantest::sectorsHolding(d.bytes, imagekit::demoPhotoBytes(photos[i], 100 + ++salt));
      EXPECT_EQ(at.size(), 1U) << photos[i].path;
      d.photoStarts.insert(at.begin(), at.end());
      if (i < 7 && photos[i].deleted) d.deletedHfsPhotoStarts.insert(at.begin(), at.end());
    }
    return d;
  }();
  return disk;
}

SignatureScanGeometry wholeDisk(const DemoDisk& disk) {
  SignatureScanGeometry geometry;
  geometry.sizeInSectors = disk.bytes.size() / 512;
  geometry.totalBlocks = geometry.sizeInSectors;
  return geometry;
}

struct TableScan {
  Sig jpg = scantest::jpgRow();
  Sig png = scantest::pngRow();
  SignatureTables tables;
  FormatContext context;
  scantest::RecordingSink sink;
  scantest::RecordingResume resume;
  SignatureScanSetup setup;

  TableScan(SignatureScanLoop loop, SectorSource& source, const SignatureScanGeometry& geometry) {
    tables.populate({&jpg, &png});
    context.deviceEndSector = source.sectorCount();
    setup.loop = loop;
    setup.geometry = geometry;
    setup.source = &source;
    setup.tables = &tables;
    setup.context = &context;
    setup.finds = &sink;
    setup.resume = &resume;
  }
};

TEST(DemoDiskSearch, WholeDiskFindsEveryPhotoAtItsSectorWithItsSize) {
  const DemoDisk& disk = demoDisk();
  ASSERT_EQ(disk.photoStarts.size(), 13U);
  MemorySectorSource source(disk.bytes, 512);
  TableScan scan(SignatureScanLoop::kDiskSectors, source, wholeDisk(disk));
  const SignatureScanResult result = runSignatureScan(scan.setup, 0);
  EXPECT_EQ(scan.sink.sectors(), disk.photoStarts);
  EXPECT_EQ(result.unreadableSectors, 0U);
  for (const scantest::Find& find : scan.sink.finds) {
    EXPECT_EQ(find.recordedSector, find.absoluteSector);
    // The bytes the size covers end where the photo's own end marker does.
    const auto* end = disk.bytes.data() + find.absoluteSector * 512 + find.sizeBytes;
    if (find.kind == "jpg") {
      EXPECT_TRUE(end[-2] == std::byte{0xFF} && end[-1] == std::byte{0xD9});
    } else {
      EXPECT_EQ(std::string(reinterpret_cast<const char*>(end - 8), 4), "IEND");
    }
  }
}

TEST(DemoDiskSearch, ResumedSearchFindsExactlyWhatTheWholeSearchFoundFromThere) {
  const DemoDisk& disk = demoDisk();
  MemorySectorSource source(disk.bytes, 512);
  TableScan whole(SignatureScanLoop::kDiskSectors, source, wholeDisk(disk));
  (void)runSignatureScan(whole.setup, 0);
  ASSERT_GE(whole.resume.positions.size(), 2U);
  for (std::size_t k = 1; k < whole.resume.positions.size(); ++k) {
    // Every 20001 steps a save is due; it is made at the next read's first sector.
    EXPECT_GE(whole.resume.positions[k] - whole.resume.positions[k - 1], 20001U - kDiskStepsPerBuffer);
    EXPECT_LE(whole.resume.positions[k] - whole.resume.positions[k - 1], 20001U + kDiskStepsPerBuffer);
  }
  const std::uint64_t seventhPhoto = *std::next(disk.photoStarts.begin(), 6);
  for (const std::uint64_t from : {whole.resume.positions[0], seventhPhoto, seventhPhoto + 1}) {
    TableScan resumed(SignatureScanLoop::kDiskSectors, source, wholeDisk(disk));
    (void)runSignatureScan(resumed.setup, from);
    std::set<std::uint64_t> expected;
    for (const std::uint64_t s : whole.sink.sectors()) {
      if (s >= from) expected.insert(s);
    }
    if (from < whole.resume.positions[0]) {
      EXPECT_GE(expected.size(), 6U);
    }
    EXPECT_EQ(resumed.sink.sectors(), expected) << from;
  }
}

TEST(DemoDiskSearch, HfsFreeSpaceSearchFindsOnlyTheDeletedPhotos) {
  const DemoDisk& disk = demoDisk();
  ASSERT_FALSE(disk.manifest.volumes.empty());
  const imagekit::ManifestVolume& hfs = disk.manifest.volumes[0];
  ASSERT_EQ(hfs.fileSystem.substr(0, 3), "HFS");
  const ByteSpan header(disk.bytes.data() + hfs.startSector * 512 + 1024, 512);
  const std::uint32_t blockBytes = be32(header, 0x28);
  std::vector<AllocationFileExtent> extents;
  for (std::size_t k = 0; k < 8; ++k) {
    const std::uint32_t count = be32(header, 0x80 + 8 * k + 4);
    if (count != 0) extents.push_back({be32(header, 0x80 + 8 * k), count});
  }
  ASSERT_FALSE(extents.empty());
  SignatureScanGeometry geometry;
  geometry.volumeStartSector = hfs.startSector;
  geometry.blockSize = blockBytes / 512;
  geometry.totalBlocks = be32(header, 0x2C);
  geometry.sizeInSectors = hfs.sectorCount;
  MemorySectorSource source(disk.bytes, 512);
  HfsAllocationFreeSpace freeSpace(source, hfs.startSector, geometry.blockSize, extents);
  TableScan scan(SignatureScanLoop::kHfsVolume, source, geometry);
  scan.setup.freeSpace = &freeSpace;
  (void)runSignatureScan(scan.setup, 0);
  ASSERT_EQ(disk.deletedHfsPhotoStarts.size(), 3U);
  EXPECT_EQ(scan.sink.sectors(), disk.deletedHfsPhotoStarts);
  for (const scantest::Find& find : scan.sink.finds) {
    EXPECT_EQ(find.recordedSector, find.absoluteSector - hfs.startSector);
  }
}

TEST(DemoDiskSearch, AStopBeforeTheFirstBufferFindsNothing) {
  const DemoDisk& disk = demoDisk();
  MemorySectorSource source(disk.bytes, 512);
  TableScan scan(SignatureScanLoop::kDiskPhoto, source, wholeDisk(disk));
  std::atomic<bool> stop{true};
  scan.setup.stop = &stop;
  const SignatureScanResult result = runSignatureScan(scan.setup, 0);
  EXPECT_TRUE(result.stopped);
  EXPECT_TRUE(scan.sink.finds.empty());
}

TEST(DemoDiskSearch, PhotoSearchRegistersEveryPhotoInItsFormatFolder) {
  const DemoDisk& disk = demoDisk();
  MemorySectorSource source(disk.bytes, 512);
  FileCheckScanState state;
  FileCheckList checks = FileCheckList::build({"jpg", "png"}, source, state);
  SignatureTables noTables;
  EntryArena arena;
  Entry* root = makeRootDir(arena, nullptr);
  std::uint32_t maxFileID = kFirstFreeFileID;
  CarvedEntryRegistrar registrar(CarvedRegistrarSetup{&arena, root, &maxFileID, nullptr, 512, disk.bytes.size(), false});
  FormatContext context;
  SignatureScanSetup setup;
  setup.loop = SignatureScanLoop::kDiskPhoto;
  setup.geometry = wholeDisk(disk);
  setup.source = &source;
  setup.tables = &noTables;
  setup.fileChecks = {&checks, &state};
  setup.context = &context;
  setup.finds = &registrar;
  (void)runSignatureScan(setup, 0);

  ASSERT_EQ(root->childListCount(), 2U);
  std::set<std::uint64_t> registeredStarts;
  std::size_t jpgFiles = 0;
  for (const Entry* folder : root->childList) {
    const std::string title = toUtf8(*EntryArena::fileNameOfDir(folder));
    EXPECT_TRUE(title == "JPG Files" || title == "PNG Files") << title;
    if (title == "JPG Files") jpgFiles = folder->childListCount();
    for (const Entry* file : folder->childList) registeredStarts.insert(file->dataExt.at(0).startBlock);
  }
  EXPECT_EQ(jpgFiles, 9U);
  EXPECT_EQ(registeredStarts, disk.photoStarts);
  EXPECT_EQ(root->fileCount, 13U);
  EXPECT_EQ(registrar.counters().fileCount, 13U);
}

TEST(ScanRange, SlidersWorkInSinglePrecision) {
  SignatureScanGeometry geometry;
  geometry.sizeInSectors = 16777217;  // not representable as a float: the range ends one short
  const ScanUnitRange whole = scanUnitRange(SignatureScanLoop::kDiskSectors, geometry, 0, 100);
  EXPECT_EQ(whole.endUnit, 16777216U);
  const ScanUnitRange part = scanUnitRange(SignatureScanLoop::kDiskSectors, geometry, 25.5F, 50);
  EXPECT_EQ(part.firstUnit, static_cast<std::uint64_t>(16777216.0F * 25.5F / 100.0F));
  EXPECT_EQ(part.endUnit - part.firstUnit, static_cast<std::uint64_t>(24.5F * 16777216.0F / 100.0F));
}

}  // namespace
}  // namespace nua
