// Robustness of the HFS+ scans: kit volumes with random bytes changed in the volume headers, the
// catalog and extents files and the journal, scanned by the standard, advanced and deleted-file scans.
// The only demand is that every scan returns (the sanitizer build checks the rest).
#include <gtest/gtest.h>

#include <random>

#include "app/scan_run.h"
#include "base/bytes.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"

namespace nua {
namespace {

using testing::KitImage;

struct Region {
  std::uint64_t start = 0;
  std::uint64_t length = 0;
};

// The parts of the image worth damaging: both headers, every catalog node (whole, and its descriptor
// and offset table on their own, where a change matters most), the extents file and the journal.
std::vector<Region> regionsOf(const KitImage& image) {
  const auto& volume = image.manifest.volumes.at(0);
  const std::uint64_t base = volume.extra.at("volumeByteOffset").get<std::uint64_t>();
  const std::uint64_t end = base + volume.sectorCount * volume.sectorSize;
  std::vector<Region> regions{{base + 1024, 512}, {end - 1024, 512}};
  const std::uint64_t nodeSize = testing::catalogNodeSize(volume);
  const auto nodes = volume.extra.at("catalogFile").at("totalNodes").get<std::uint64_t>();
  for (std::uint64_t n = 0; n < nodes; ++n) {
    const std::uint64_t at = testing::catalogNodeByte(volume, n);
    regions.push_back({at, nodeSize});
    regions.push_back({at, 14});
    regions.push_back({at + nodeSize - 32, 32});
  }
  for (const auto& extent : volume.extra.at("extentsFile").at("extents"))
    regions.push_back({base + extent.at(0).get<std::uint64_t>() * volume.blockSize,
                       extent.at(1).get<std::uint64_t>() * volume.blockSize});
  if (volume.extra.contains("journal")) {
    const auto& journal = volume.extra.at("journal");
    regions.push_back({base + journal.at("volumeByteOffset").get<std::uint64_t>(),
                       journal.at("bytes").get<std::uint64_t>()});
  }
  return regions;
}

// Changes a few bytes of one region: random values, or a 16-bit value that node and header checks
// look at (0, 14, all ones, the node size).
void corrupt(std::vector<std::byte>& bytes, const std::vector<Region>& regions, std::mt19937& random,
             std::uint16_t nodeSize) {
  const Region& r = regions[random() % regions.size()];
  if (r.length < 2) return;
  const int changes = 1 + static_cast<int>(random() % 12);
  for (int i = 0; i < changes; ++i) {
    const std::uint64_t at = r.start + random() % (r.length - 1);
    if (at + 2 > bytes.size()) continue;
    if (random() % 3 == 0) {
      const std::uint16_t values[] = {0, 14, 0xFFFF, nodeSize, 1, 0x00FF};
      putBe16(bytes, at, values[random() % std::size(values)]);
    } else {
      bytes[at] = static_cast<std::byte>(random() & 0xFF);
    }
  }
}

struct CorruptionCase {
  const char* scenario;
  std::map<std::string, std::string> options;
};

class HfsCorruption : public ::testing::TestWithParam<CorruptionCase> {};

TEST_P(HfsCorruption, EveryScanReturns) {
  const KitImage image = testing::makeKitImage(GetParam().scenario, GetParam().options);
  ASSERT_TRUE(image.error.empty()) << image.error;
  const std::vector<std::byte> original = testing::readImage(image.path);
  const std::vector<Region> regions = regionsOf(image);
  const auto nodeSize = static_cast<std::uint16_t>(testing::catalogNodeSize(image.manifest.volumes.at(0)));
  const std::string variant = image.path + ".variant";
  constexpr int kVariants = 50;
  for (int seed = 1; seed <= kVariants; ++seed) {
    std::mt19937 random(static_cast<std::uint32_t>(seed));
    std::vector<std::byte> bytes = original;
    for (int rounds = 1 + seed % 3; rounds > 0; --rounds) corrupt(bytes, regions, random, nodeSize);
    testing::writeImage(variant, bytes);
    SCOPED_TRACE(std::string(GetParam().scenario) + " seed " + std::to_string(seed));
    for (const char* mode : {"Normal Scan", "Advanced Scan"}) {
      auto volume = testing::openAsPartition(variant, image.manifest.imageBytes);
      startMakingTree(*volume, ScanArguments{std::string(mode), std::int64_t{0}}, ScanRunSink::none());
      if (std::string(mode) == "Advanced Scan") {
        EXPECT_NE(volume->dirRoot, nullptr);  // the advanced scan never refuses a volume
        EXPECT_FALSE(volume->aborting);
      }
    }
    auto volume = testing::openAsPartition(variant, image.manifest.imageBytes);
    scanForDeletedFiles(*volume, ScanArguments{std::int64_t{1}, std::int64_t{0}}, ScanRunSink::none());
    EXPECT_NE(volume->dirRoot, nullptr);
  }
}

INSTANTIATE_TEST_SUITE_P(Kit, HfsCorruption,
                         ::testing::Values(CorruptionCase{"hfs-basic", {{"records-per-leaf", "2"}}},
                                           CorruptionCase{"hfs-two-extent-catalog", {}},
                                           CorruptionCase{"hfs-fragmented", {{"records-per-leaf", "3"}}},
                                           CorruptionCase{"hfs-journal-deleted", {}},
                                           CorruptionCase{"hfs-wrapper", {}},
                                           CorruptionCase{"hfs-reformatted", {}}));

}  // namespace
}  // namespace nua
