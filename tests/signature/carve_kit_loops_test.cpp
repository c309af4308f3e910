// The searches over the kit's carve images with the shipped catalogs, as the scan runs them: every
// expected file is found at its first sector, in the folder and under the name registration gives,
// with the size its check measures; the saved bytes are the original's where the format's size rule
// reaches its true end; the free-space searches find nothing in used space; decoys are turned down.
#include <gtest/gtest.h>

#include <algorithm>

#include "carve_kit_support.h"

namespace nua {
namespace {

using carvetest::CarvedFile;
using carvetest::KitImage;
using carvetest::PlantedFile;

// Per format: folder and extension of a table find and of a file-check find, as registration names
// them. In the plain catalog the MP4 row (ftyp at 4, 4 bytes) stands before the QuickTime row, and
// its check takes any ftyp brand but 3GP's, so a QuickTime movie is an "mp4" there. The table checks
// walk every one of these formats to its true end except AVI (the RIFF length plus 2048 bytes); the
// file checks add a sector or so to what they walk, so there the saved file begins with the original.
struct FormatExpectation {
  const char* format;
  const char* tableFolder;
  const char* tableExtension;
  const char* checkFolder;
  const char* checkExtension;
  bool wholeByTable;
};
const std::vector<FormatExpectation>& formatExpectations() {
  static const std::vector<FormatExpectation> table = {
      {"jpg", "jpg files", "jpg", "JPG Files", "jpg", true},   {"png", "png files", "png", "PNG Files", "png", true},
      {"gif", "gif files", "gif", "GIF Files", "gif", true},   {"bmp", "bmp files", "bmp", "BMP Files", "bmp", true},
      {"tif", "tif files", "tif", "TIFF Files", "tiff", true}, {"wav", "wav files", "wav", "WAV Files", "wav", true},
      {"aiff", "aif files", "aif", "AIFF Files", "aiff", true}, {"mp3", "mp3 files", "mp3", "MP3 Files", "mp3", true},
      {"mp4", "mp4 files", "mp4", "MP4 Files", "mp4", true},   {"mov", "mp4 files", "mp4", "MOV Files", "mov", true},
      {"avi", "avi files", "avi", "AVI Files", "avi", false},
  };
  return table;
}
const FormatExpectation& expectationOf(const std::string& format) {
  const auto& table = formatExpectations();
  const auto it = std::find_if(table.begin(), table.end(), [&](const auto& e) { return format == e.format; });
  EXPECT_NE(it, table.end()) << format;
  return *it;
}

// Decoys whose check turns a header followed by garbage down. The others are accepted by rule: a RIFF
// header alone gives a WAV or AVI size, and the JPEG and GIF file checks end their walks at the first
// byte they cannot use with the length so far.
bool decoyTurnedDown(const std::string& format, bool combined) {
  return format == "png" || format == "bmp" || (format == "jpg" && !combined);
}

// What one search must find on one image.
struct LoopCase {
  const char* name;
  const char* scenario;
  SignatureScanLoop loop;
  bool freeSpaceOnly;     // the free-space searches: deleted files only
  bool liveFilesKnown;    // the whole-volume search after a tree scan: live files' starts are passed over
};
void PrintTo(const LoopCase& c, std::ostream* os) { *os << c.name; }

// First blocks of the live files, as the tree scan before the whole-volume search stored them.
class LiveFileStarts final : public KnownFileStarts {
 public:
  explicit LiveFileStarts(const imagekit::ManifestVolume& volume) {
    for (const auto& entry : volume.entries) {
      if (!entry.folder && !entry.deleted && !entry.extents.empty()) blocks_.insert(entry.extents[0].first);
    }
  }
  [[nodiscard]] bool startsAt(std::uint64_t key) const override { return blocks_.count(key) != 0; }

 private:
  std::set<std::uint64_t> blocks_;
};

class CarveKitSearch : public testing::TestWithParam<LoopCase> {};

TEST_P(CarveKitSearch, FindsWhatThePlantingSaysAndSavesItWhole) {
  const LoopCase& c = GetParam();
  const KitImage& image = carvetest::kitImage(c.scenario);
  ASSERT_FALSE(image.planted.empty());
  MemorySectorSource source(image.bytes, 512);
  std::unique_ptr<FreeSpaceMap> freeSpace;
  carvetest::CarveRequest request = carvetest::requestFor(image, c.loop, c.freeSpaceOnly, source, freeSpace);
  std::unique_ptr<LiveFileStarts> known;
  if (c.liveFilesKnown) {
    known = std::make_unique<LiveFileStarts>(image.manifest.volumes.at(0));
    request.knownFiles = known.get();
  }
  const auto run = carvetest::runCarve(image, request);
  const bool combined = traitsOf(c.loop).combined;
  const std::uint64_t volumeStart = request.geometry.volumeStartSector;
  const auto inKnownBlock = [&](const PlantedFile& p) {
    return known && known->startsAt((p.startSector - volumeStart) / request.geometry.blockSize);
  };
  // A file inside a live file is passed over when it shares the live file's first block.
  const auto expected = [&](const PlantedFile& p) {
    if (p.state == "decoy") return false;
    if (c.freeSpaceOnly) return p.deleted;
    if (c.liveFilesKnown) return p.deleted || (p.state == "embedded" && !inKnownBlock(p));
    return true;
  };
  const auto comparison = carvetest::compareWithPlanted(run->files(), image.planted, expected);
  for (const PlantedFile& p : comparison.missing) ADD_FAILURE() << "missed " << p.name << " at " << p.startSector;
  for (const CarvedFile& f : comparison.unplanted) {
    ADD_FAILURE() << "found " << f.folder << "/" << f.name << " at " << f.startSector << ", where nothing starts";
  }

  // The file checks' own answer at a sector, for the sizes of the combined searches.
  MemorySectorSource checkSource(image.bytes, 512);
  FileCheckScanState checkState;
  FileCheckList checks = FileCheckList::build(carvetest::markEveryRow(SigDataFile::kPR).fileCheckFormats,
                                              checkSource, checkState);
  const auto sizeByCheck = [&](std::uint64_t sector) {
    checkState.clearPerStepFlags();
    return checks.run(ByteSpan(image.bytes.data() + sector * 512, 25), sector).size;
  };

  std::vector<PlantedFile> byPosition = image.planted;
  std::sort(byPosition.begin(), byPosition.end(),
            [](const auto& a, const auto& b) { return a.startSector < b.startSector; });
  const auto saved = carvetest::saveCarvedTree(image, *run);
  std::map<std::string, std::uint32_t> perFolder;
  for (const PlantedFile& p : byPosition) {
    const auto found = comparison.foundAt.find(p.startSector);
    if (found == comparison.foundAt.end()) continue;
    const CarvedFile& f = found->second;
    // Nothing in used space: the free-space searches never reach a live file, nor one inside it.
    if (c.freeSpaceOnly) {
      EXPECT_TRUE(p.deleted) << p.name << " found in used space";
    }
    if (c.liveFilesKnown) {
      EXPECT_TRUE(p.deleted || p.state == "embedded") << p.name << " is a known file";
    }
    // Finds are numbered in their folder in the order they are found, which is the order on disk.
    const std::uint32_t number = ++perFolder[f.folder];
    if (p.state == "decoy") {
      EXPECT_FALSE(decoyTurnedDown(p.format, combined)) << p.name << " passed off as " << f.folder << "/" << f.name;
      continue;
    }
    const FormatExpectation& e = expectationOf(p.format);
    EXPECT_EQ(f.folder, combined ? e.checkFolder : e.tableFolder) << p.name;
    EXPECT_EQ(f.name, (combined ? "file" : "File") + std::to_string(number) + "." +
                          (combined ? e.checkExtension : e.tableExtension)) << p.name;
    if (p.state == "fragmented") continue;
    const auto file = saved.find(f.folder + "/" + f.name);
    ASSERT_NE(file, saved.end()) << p.name;
    EXPECT_EQ(file->second.size(), f.sizeBytes) << p.name;
    if (combined) {
      EXPECT_EQ(f.sizeBytes, sizeByCheck(p.startSector)) << p.name;
    } else if (e.wholeByTable) {
      EXPECT_EQ(f.sizeBytes, p.lengthBytes) << p.name;
    }
    ASSERT_GE(f.sizeBytes, p.lengthBytes) << p.name;
    const std::span<const std::byte> original(file->second.data(), p.lengthBytes);
    EXPECT_EQ(imagekit::sha256Hex(original), p.sha256) << p.name;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Loops, CarveKitSearch,
    testing::Values(LoopCase{"DiskPlain", "carve-disk", SignatureScanLoop::kDiskSectors, false, false},
                    LoopCase{"DiskPhoto", "carve-disk", SignatureScanLoop::kDiskPhoto, false, false},
                    LoopCase{"HfsFreeSpacePlain", "carve-hfs", SignatureScanLoop::kHfsVolume, true, false},
                    LoopCase{"HfsFreeSpacePhoto", "carve-hfs", SignatureScanLoop::kHfsFreeSpacePhoto, true, false},
                    LoopCase{"HfsWholeVolume", "carve-hfs", SignatureScanLoop::kWholeVolumePhoto, false, true},
                    LoopCase{"FatFreeSpacePlain", "carve-fat32", SignatureScanLoop::kFatVolume, true, false},
                    LoopCase{"FatFreeSpacePhoto", "carve-fat32", SignatureScanLoop::kFatFreeSpacePhoto, true, false},
                    LoopCase{"FatWholeVolume", "carve-fat32", SignatureScanLoop::kWholeVolumePhoto, false, false}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

}  // namespace
}  // namespace nua
