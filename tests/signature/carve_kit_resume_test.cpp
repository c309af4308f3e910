// A search resumed from a position it saved (or any unit) finds exactly what the uninterrupted search found from
// that position on, on the carve images with the shipped catalogs.
#include <gtest/gtest.h>

#include "carve_kit_support.h"

namespace nua {
namespace {

struct ResumeCase {
  const char* name;
  const char* scenario;
  SignatureScanLoop loop;
  bool freeSpaceOnly;
};
void PrintTo(const ResumeCase& c, std::ostream* os) { *os << c.name; }

class CarveKitResume : public testing::TestWithParam<ResumeCase> {};

TEST_P(CarveKitResume, FromEverySavedPositionTheRestIsFoundAgain) {
  const ResumeCase& c = GetParam();
  const carvetest::KitImage& image = carvetest::kitImage(c.scenario);
  MemorySectorSource source(image.bytes, 512);
  std::unique_ptr<FreeSpaceMap> freeSpace;
  carvetest::CarveRequest request = carvetest::requestFor(image, c.loop, c.freeSpaceOnly, source, freeSpace);
  scantest::RecordingResume positions;
  request.resume = &positions;
  const auto whole = carvetest::runCarve(image, request);
  ASSERT_FALSE(positions.positions.empty()) << "the search saved no position";
  // Units are sectors on the whole disk, clusters on the FAT loops, blocks otherwise.
  const SignatureScanGeometry& g = request.geometry;
  const ScanLoopTraits traits = traitsOf(c.loop);
  const auto unitOf = [&](std::uint64_t sector) {
    const std::uint64_t inVolume = sector - g.volumeStartSector;
    if (traits.fatClusters) return (inVolume - g.firstDataSector) / g.sectorsPerCluster + 2;
    return traits.diskSectors ? inVolume : inVolume / g.blockSize;
  };
  // The saved positions lie past the planted files here, so the buffers that hold the other finds
  // are tried as well. Positions are saved at buffer starts: a search resumed inside a buffer would
  // read its buffers 40 units from there, and a find's jump could then skip a file right behind it
  // that the whole search, whose buffer ended sooner, did not skip.
  const std::uint64_t firstUnit = traits.fatClusters ? 2 : 0;
  std::vector<std::uint64_t> starts = positions.positions;
  const std::vector<carvetest::CarvedFile> wholeFiles = whole->files();
  ASSERT_GE(wholeFiles.size(), 4U);
  for (std::size_t k = 0; k < wholeFiles.size(); k += 2) {
    starts.push_back(firstUnit + (unitOf(wholeFiles[k].startSector) - firstUnit) / kUnitsPerBuffer * kUnitsPerBuffer);
  }
  for (const std::uint64_t from : starts) {
    std::set<std::uint64_t> expected;
    for (const carvetest::CarvedFile& f : wholeFiles) {
      if (unitOf(f.startSector) >= from) expected.insert(f.startSector);
    }
    request.resume = nullptr;
    request.resumeUnit = from;
    std::set<std::uint64_t> found;
    for (const carvetest::CarvedFile& f : carvetest::runCarve(image, request)->files()) found.insert(f.startSector);
    EXPECT_EQ(found, expected) << "resumed at unit " << from;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Loops, CarveKitResume,
    testing::Values(ResumeCase{"FatFreeSpacePhoto", "carve-fat32", SignatureScanLoop::kFatFreeSpacePhoto, true},
                    ResumeCase{"FatWholeVolume", "carve-fat32", SignatureScanLoop::kWholeVolumePhoto, false},
                    ResumeCase{"FatPlain", "carve-fat32", SignatureScanLoop::kFatVolume, true}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

}  // namespace
}  // namespace nua
