// The carving engine on FAT volumes made by mkfs.fat and mtools: the free-space searches find exactly
// the deleted photos, the whole-volume search finds them all, bad sectors cost only their own finds.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/bytes.h"
#include "filecheck/file_check_list.h"
#include "imagekit/demo_scenarios.h"
#include "imagekit/fat_tool_runner.h"
#include "signature/free_space_maps.h"
#include "signature/scan_test_support.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using scantest::Find;

struct FatImage {
  std::vector<std::byte> bytes;
  SignatureScanGeometry geometry;
  std::uint64_t fatStartSector = 0;
  std::uint64_t clusterCount = 0;
  std::uint32_t entryBits = 0;
  std::set<std::uint64_t> liveStarts;
  std::set<std::uint64_t> deletedStarts;
};

struct FatKind {
  std::uint32_t bits;
  const char* sectorsPerCluster;
  const char* sizeKiB;
};

FatImage makeFatImage(const FatKind& kind) {
  FatImage image;
  image.entryBits = kind.bits;
  const fs::path dir = fs::temp_directory_path() / ("nua-sigscan-fat-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const fs::path path = dir / ("fat" + std::to_string(kind.bits) + ".img");
  fs::remove(path);
  std::string error;
  EXPECT_TRUE(imagekit::runToolChecked(
      {"mkfs.fat", "-C", "-F", std::to_string(kind.bits), "-s", kind.sectorsPerCluster, path.string(), kind.sizeKiB},
      error)) << error;
  const std::vector<imagekit::DemoPhoto> photos{{"A.JPG", 320, 240, 8, false},  {"B.PNG", 120, 90, 0, true},
                                                {"C.JPG", 640, 480, 12, true},  {"D.JPG", 96, 64, 2, false},
                                                {"E.png", 200, 150, 0, false}, {"F.JPG", 160, 120, 4, true}};
  std::vector<std::vector<std::byte>> contents;
  std::uint64_t seed = 700;
  for (const auto& photo : photos) {
    contents.push_back(imagekit::demoPhotoBytes(photo, ++seed));
    const fs::path local = dir / photo.path;
    std::ofstream(local, std::ios::binary)
        .write(reinterpret_cast<const char*>(contents.back().data()), static_cast<std::streamsize>(contents.back().size()));
    EXPECT_TRUE(imagekit::runToolChecked({"mcopy", "-i", path.string(), local.string(), "::/" + photo.path}, error))
        << error;
  }
  for (const auto& photo : photos) {
    if (photo.deleted) {
      EXPECT_TRUE(imagekit::runToolChecked({"mdel", "-i", path.string(), "::/" + photo.path}, error)) << error;
    }
  }
  image.bytes = scantest::readFileBytes(path);
  fs::remove_all(dir);
  for (std::size_t i = 0; i < photos.size(); ++i) {
    const auto at = scantest::sectorsHolding(image.bytes, contents[i]);
    EXPECT_EQ(at.size(), 1U) << photos[i].path;
    (photos[i].deleted ? image.deletedStarts : image.liveStarts).insert(at.begin(), at.end());
  }
  const ByteSpan boot(image.bytes.data(), 512);
  const std::uint32_t spc = u8(boot, 13);
  const std::uint64_t reserved = le16(boot, 14);
  const std::uint64_t fatSize = le16(boot, 22) != 0 ? le16(boot, 22) : le32(boot, 36);
  const std::uint64_t total = le16(boot, 19) != 0 ? le16(boot, 19) : le32(boot, 32);
  const std::uint64_t rootSectors = (le16(boot, 17) * 32U + 511U) / 512U;
  image.fatStartSector = reserved;
  image.geometry.sizeInSectors = total;
  image.geometry.blockSize = spc;
  image.geometry.totalBlocks = total / spc;
  image.geometry.sectorsPerCluster = spc;
  image.geometry.firstDataSector = reserved + u8(boot, 16) * fatSize + rootSectors;
  image.geometry.blocksStartSector = image.geometry.firstDataSector;
  image.clusterCount = (total - image.geometry.firstDataSector) / spc;
  return image;
}

class FatSearch : public testing::TestWithParam<FatKind> {
 protected:
  static std::set<std::uint64_t> all(const FatImage& image) {
    std::set<std::uint64_t> out = image.liveStarts;
    out.insert(image.deletedStarts.begin(), image.deletedStarts.end());
    return out;
  }
};

TEST_P(FatSearch, FreeSpaceLoopsFindTheDeletedPhotosAndTheWholeVolumeLoopFindsAll) {
  const FatImage image = makeFatImage(GetParam());
  ASSERT_EQ(image.deletedStarts.size(), 3U);
  MemorySectorSource source(image.bytes, 512);
  FatTableFreeSpace freeSpace(source, image.fatStartSector, image.entryBits, image.clusterCount);
  const Sig jpg = scantest::jpgRow();
  const Sig png = scantest::pngRow();
  SignatureTables tables;
  tables.populate({&jpg, &png});
  FileCheckScanState state;
  FileCheckList checks = FileCheckList::build({"jpg", "png"}, source, state);
  SignatureTables noTables;

  for (const SignatureScanLoop loop :
       {SignatureScanLoop::kFatVolume, SignatureScanLoop::kFatFreeSpacePhoto, SignatureScanLoop::kWholeVolumePhoto}) {
    const bool combined = traitsOf(loop).combined;
    scantest::RecordingSink sink;
    FormatContext context;
    context.deviceEndSector = image.geometry.sizeInSectors;
    SignatureScanSetup setup;
    setup.loop = loop;
    setup.geometry = image.geometry;
    setup.source = &source;
    setup.tables = combined ? &noTables : &tables;
    setup.fileChecks = combined ? FileCheckStage{&checks, &state} : FileCheckStage{};
    setup.context = &context;
    setup.freeSpace = &freeSpace;
    setup.finds = &sink;
    const SignatureScanResult result = runSignatureScan(setup, 0);
    const bool wholeVolume = loop == SignatureScanLoop::kWholeVolumePhoto;
    EXPECT_EQ(sink.sectors(), wholeVolume ? all(image) : image.deletedStarts) << static_cast<int>(loop);
    EXPECT_EQ(result.finds, sink.finds.size());
    for (const Find& find : sink.finds) {
      EXPECT_EQ(find.recordedSector, find.absoluteSector);  // the volume starts at sector 0 here
      EXPECT_GT(find.sizeBytes, 1000U) << find.kind;
    }
  }
}

TEST_P(FatSearch, UnreadableSectorsLoseOnlyTheirOwnFindsAndKeepTrueSectorNumbers) {
  const FatImage image = makeFatImage(GetParam());
  MemorySectorSource plain(image.bytes, 512);
  const std::uint64_t lostStart = *image.liveStarts.begin();
  // A bad sector in a file's body may cost that file (its check reads the body), so the second one lies
  // in empty space near the end.
  const std::uint64_t emptySpace = image.geometry.sizeInSectors - 5;
  FailingSectorSource source(plain, {lostStart, emptySpace});
  const Sig jpg = scantest::jpgRow();
  const Sig png = scantest::pngRow();
  SignatureTables tables;
  tables.populate({&jpg, &png});
  std::set<std::uint64_t> expected = all(image);
  expected.erase(lostStart);

  for (const SignatureScanLoop loop : {SignatureScanLoop::kDiskSectors, SignatureScanLoop::kWholeVolumePhoto}) {
    scantest::RecordingSink sink;
    FormatContext context;
    SignatureScanSetup setup;
    setup.loop = loop;
    setup.geometry = image.geometry;
    setup.source = &source;
    setup.tables = &tables;
    setup.context = &context;
    setup.finds = &sink;
    const SignatureScanResult result = runSignatureScan(setup, 0);
    EXPECT_EQ(sink.sectors(), expected) << static_cast<int>(loop);
    EXPECT_EQ(result.unreadableSectors, 2U);
  }
}

// Keys as the directory walk stores them: first clusters.
class KnownClusters final : public KnownFileStarts {
 public:
  explicit KnownClusters(std::set<std::uint64_t> clusters) : clusters_(std::move(clusters)) {}
  [[nodiscard]] bool startsAt(std::uint64_t key) const override { return clusters_.count(key) != 0; }

 private:
  std::set<std::uint64_t> clusters_;
};

TEST_P(FatSearch, AFileTheTreeAlreadyHoldsIsNotFoundAgain) {
  const FatImage image = makeFatImage(GetParam());
  MemorySectorSource source(image.bytes, 512);
  FatTableFreeSpace freeSpace(source, image.fatStartSector, image.entryBits, image.clusterCount);
  const Sig jpg = scantest::jpgRow();
  const Sig png = scantest::pngRow();
  SignatureTables tables;
  tables.populate({&jpg, &png});
  const std::uint64_t knownSector = *image.deletedStarts.rbegin();
  const std::uint64_t spc = image.geometry.sectorsPerCluster;
  KnownClusters known({(knownSector - image.geometry.firstDataSector) / spc + 2});
  scantest::RecordingSink sink;
  FormatContext context;
  SignatureScanSetup setup;
  setup.loop = SignatureScanLoop::kFatVolume;
  setup.geometry = image.geometry;
  setup.source = &source;
  setup.tables = &tables;
  setup.context = &context;
  setup.freeSpace = &freeSpace;
  setup.knownFiles = &known;
  setup.finds = &sink;
  (void)runSignatureScan(setup, 0);
  std::set<std::uint64_t> expected = image.deletedStarts;
  expected.erase(knownSector);
  EXPECT_EQ(sink.sectors(), expected);
}

INSTANTIATE_TEST_SUITE_P(EntryWidths, FatSearch,
                         testing::Values(FatKind{12, "4", "4096"}, FatKind{16, "2", "16384"},
                                         FatKind{32, "1", "40960"}),
                         [](const auto& param) { return "Fat" + std::to_string(param.param.bits); });

TEST(FatSearchGeometry, ZeroSectorsPerClusterScansNothingAndDividesByNothing) {
  MemorySectorSource source(std::vector<std::byte>(512 * 64), 512);
  SignatureScanGeometry geometry;
  geometry.sizeInSectors = 64;
  geometry.sectorsPerCluster = 0;
  scantest::RecordingSink sink;
  FormatContext context;
  SignatureScanSetup setup;
  setup.loop = SignatureScanLoop::kFatFreeSpacePhoto;
  setup.geometry = geometry;
  setup.source = &source;
  setup.context = &context;
  setup.finds = &sink;
  EXPECT_EQ(runSignatureScan(setup, 0).finds, 0U);
  EXPECT_EQ(scanUnitRange(SignatureScanLoop::kFatVolume, geometry, 0, 100).endUnit, 0U);
}

}  // namespace
}  // namespace nua
