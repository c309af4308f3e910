// Hostile HFS+ images: links that loop, counts and sizes no real volume has, and images cut short at
// every allocation block. Each of the three scans must come back with a bounded tree (the sanitizer
// build checks memory; a hang fails the suite by its timeout).
#include <gtest/gtest.h>

#include <functional>

#include "app/scan_run.h"
#include "base/bytes.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"
#include "ondisk/bt_node_descriptor.h"

namespace nua {
namespace {

using testing::KitImage;
using Image = std::vector<std::byte>;
using Patch = std::function<void(Image&, const imagekit::ManifestVolume&)>;

// Volume header field offsets (the header is 1024 bytes into the volume; the alternate 1024 from its end).
constexpr std::size_t kJournalInfoBlock = 12, kBlockSize = 40, kTotalBlocks = 44;
constexpr std::size_t kExtentsFork = 192, kCatalogFork = 272;
// Fork data: logicalSize +0 u64, totalBlocks +12 u32, first extent's startBlock +16, blockCount +20.
// Header record of a B-tree, behind the node descriptor: rootNode +2, leafRecords +6, firstLeafNode +10,
// nodeSize +18, totalNodes +22.
constexpr std::size_t kHeaderRecord = kBTNodeDescriptorSize;

std::vector<std::uint64_t> headerOffsets(const Image& image, const imagekit::ManifestVolume& volume) {
  const auto base = volume.extra.at("volumeByteOffset").get<std::uint64_t>();
  const std::uint64_t end = base + volume.sectorCount * volume.sectorSize;
  std::vector<std::uint64_t> out{base + 1024};
  if (end <= image.size() && end >= base + 2048) out.push_back(end - 1024);
  return out;
}

// Sets a field in both volume headers, so the alternate cannot stand in for the primary.
Patch inBothHeaders(std::size_t field, std::uint32_t value) {
  return [=](Image& image, const imagekit::ManifestVolume& volume) {
    for (std::uint64_t at : headerOffsets(image, volume)) putBe32(image, at + field, value);
  };
}

Patch inCatalogHeader(std::size_t field, std::uint32_t value, bool sixteenBits = false) {
  return [=](Image& image, const imagekit::ManifestVolume& volume) {
    const std::uint64_t at = testing::catalogNodeByte(volume, 0) + kHeaderRecord + field;
    if (sixteenBits) putBe16(image, at, static_cast<std::uint16_t>(value));
    else putBe32(image, at, value);
  };
}

// Applies `change` to every catalog node whose descriptor has the given kind.
void forEachCatalogNode(Image& image, const imagekit::ManifestVolume& volume, std::int8_t kind,
                        const std::function<void(std::uint64_t at, std::uint32_t node, std::size_t nodeSize)>& change) {
  const std::size_t nodeSize = testing::catalogNodeSize(volume);
  const auto nodes = volume.extra.at("catalogFile").at("totalNodes").get<std::uint32_t>();
  for (std::uint32_t node = 0; node < nodes; ++node) {
    const std::uint64_t at = testing::catalogNodeByte(volume, node);
    if (at == 0 || !fits(image.size(), at, nodeSize)) continue;
    if (static_cast<std::int8_t>(u8(image, at + 8)) == kind) change(at, node, nodeSize);
  }
}

struct HostileCase {
  const char* name;
  const char* scenario;
  std::map<std::string, std::string> options;
  Patch patch;
};

std::vector<HostileCase> hostileCases() {
  const std::map<std::string, std::string> deep{{"records-per-leaf", "2"}};
  return {
      {"BlockSizeZero", "hfs-basic", {}, inBothHeaders(kBlockSize, 0)},
      {"BlockSizeTwoToThe31", "hfs-basic", {}, inBothHeaders(kBlockSize, 0x80000000u)},
      {"BlockSizeOdd", "hfs-basic", {}, inBothHeaders(kBlockSize, 4097)},
      {"TotalBlocksBeyondTheImage", "hfs-basic", {}, inBothHeaders(kTotalBlocks, 0xFFFFFFFFu)},
      {"CatalogExtentBeyondTheImage", "hfs-basic", {},
       [](Image& image, const imagekit::ManifestVolume& volume) {
         for (std::uint64_t at : headerOffsets(image, volume)) {
           putBe32(image, at + kCatalogFork + 16, 0x7FFFFFF0u);
           putBe32(image, at + kCatalogFork + 20, 0xFFFFFFFFu);
         }
       }},
      {"CatalogForkOfAbsurdSize", "hfs-basic", {},
       [](Image& image, const imagekit::ManifestVolume& volume) {
         for (std::uint64_t at : headerOffsets(image, volume)) {
           putBe64(image, at + kCatalogFork, 0x7FFFFFFFFFFFFFFFull);
           putBe32(image, at + kCatalogFork + 12, 0xFFFFFFFFu);
         }
       }},
      {"ExtentsFileOfAbsurdSize", "hfs-fragmented", {},
       [](Image& image, const imagekit::ManifestVolume& volume) {
         for (std::uint64_t at : headerOffsets(image, volume)) {
           putBe32(image, at + kExtentsFork + 12, 0xFFFFFFFFu);
           putBe32(image, at + kExtentsFork + 20, 0xFFFFFFFFu);
         }
       }},
      {"NodeSizeZero", "hfs-basic", deep, inCatalogHeader(18, 0, true)},
      {"NodeSizeLargest", "hfs-basic", deep, inCatalogHeader(18, 0xFFFF, true)},
      {"NodeSizeTiny", "hfs-basic", deep, inCatalogHeader(18, 14, true)},
      {"RecordAndNodeCountsAllOnes", "hfs-basic", deep,
       [](Image& image, const imagekit::ManifestVolume& volume) {
         inCatalogHeader(6, 0xFFFFFFFFu)(image, volume);
         inCatalogHeader(22, 0xFFFFFFFFu)(image, volume);
       }},
      {"RootIsTheHeaderNode", "hfs-basic", deep, inCatalogHeader(2, 0)},
      {"FirstLeafIsTheHeaderNode", "hfs-basic", deep, inCatalogHeader(10, 0)},
      {"RootBeyondTheCatalog", "hfs-basic", deep, inCatalogHeader(2, 0xFFFFFFFEu)},
      {"LeafRecordCountAllOnes", "hfs-basic", deep,
       [](Image& image, const imagekit::ManifestVolume& volume) {
         forEachCatalogNode(image, volume, kBTLeafNode,
                            [&](std::uint64_t at, std::uint32_t, std::size_t) { putBe16(image, at + 10, 0xFFFF); });
       }},
      {"EveryLeafLinksToItself", "hfs-basic", deep,
       [](Image& image, const imagekit::ManifestVolume& volume) {
         forEachCatalogNode(image, volume, kBTLeafNode, [&](std::uint64_t at, std::uint32_t node, std::size_t) {
           putBe32(image, at, node);
           putBe32(image, at + 4, node);
         });
       }},
      {"LeavesLinkInATwoCycle", "hfs-basic", deep,
       [](Image& image, const imagekit::ManifestVolume& volume) {
         std::vector<std::pair<std::uint64_t, std::uint32_t>> leaves;
         forEachCatalogNode(image, volume, kBTLeafNode,
                            [&](std::uint64_t at, std::uint32_t node, std::size_t) { leaves.emplace_back(at, node); });
         for (std::size_t i = 0; i + 1 < leaves.size(); i += 2) {
           putBe32(image, leaves[i].first, leaves[i + 1].second);
           putBe32(image, leaves[i + 1].first, leaves[i].second);
         }
       }},
      {"IndexPointersLeadBackToTheirNode", "hfs-basic", deep,
       [](Image& image, const imagekit::ManifestVolume& volume) {
         forEachCatalogNode(image, volume, kBTIndexNode, [&](std::uint64_t at, std::uint32_t node, std::size_t size) {
           const ByteSpan bytes(image.data() + at, size);
           const std::uint16_t records = be16(bytes, 10);
           for (std::size_t r = 0; r < records; ++r) {
             const auto offset = recordOffset(bytes, r);
             if (!offset || !fits(size, *offset, 2)) break;
             const std::size_t pointer = *offset + 2 + be16(bytes, *offset);
             if (fits(size, pointer, 4)) putBe32(image, at + pointer, node);
           }
         });
       }},
      {"IndexHeightsAllOnes", "hfs-basic", deep,
       [](Image& image, const imagekit::ManifestVolume& volume) {
         forEachCatalogNode(image, volume, kBTIndexNode,
                            [&](std::uint64_t at, std::uint32_t, std::size_t) { put8(image, at + 9, 0xFF); });
       }},
      {"JournalInfoBlockBeyondTheVolume", "hfs-journal-deleted", {}, inBothHeaders(kJournalInfoBlock, 0xFFFFFFF0u)},
      {"JournalInfoBlockIsTheHeader", "hfs-journal-deleted", {}, inBothHeaders(kJournalInfoBlock, 0)},
  };
}

// Runs the standard, advanced and deleted-file scans on an image; the tree must stay bounded by what
// the image could hold.
void scanAll(const std::string& path, std::uint64_t imageBytes) {
  for (const char* mode : {"Normal Scan", "Advanced Scan"}) {
    auto volume = testing::openAsPartition(path, imageBytes);
    startMakingTree(*volume, ScanArguments{std::string(mode), std::int64_t{0}}, ScanRunSink::none());
    if (volume->dirRoot != nullptr) {
      EXPECT_LE(testing::entriesByPath(volume->dirRoot).size(), imageBytes / 32) << mode;
    }
  }
  auto volume = testing::openAsPartition(path, imageBytes);
  scanForDeletedFiles(*volume, ScanArguments{std::int64_t{1}, std::int64_t{0}}, ScanRunSink::none());
  ASSERT_NE(volume->dirRoot, nullptr);
  EXPECT_LE(testing::entriesByPath(volume->dirRoot).size(), imageBytes / 32);
}

class HfsHostile : public ::testing::TestWithParam<HostileCase> {};

TEST_P(HfsHostile, EveryScanEndsWithABoundedTree) {
  const HostileCase& c = GetParam();
  const KitImage image = testing::makeKitImage(c.scenario, c.options);
  ASSERT_TRUE(image.error.empty()) << image.error;
  Image bytes = testing::readImage(image.path);
  c.patch(bytes, image.manifest.volumes.at(0));
  const std::string variant = image.path + "." + c.name;
  testing::writeImage(variant, bytes);
  scanAll(variant, bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Kit, HfsHostile, ::testing::ValuesIn(hostileCases()),
                         [](const auto& param) { return std::string(param.param.name); });

// The image cut short after every allocation block: the catalog, the journal or the alternate header
// goes missing, and reads past the end find nothing.
class HfsCutShort : public ::testing::TestWithParam<const char*> {};

TEST_P(HfsCutShort, EveryCutIsScannedToAnEnd) {
  const KitImage image = testing::makeKitImage(GetParam());
  ASSERT_TRUE(image.error.empty()) << image.error;
  const Image whole = testing::readImage(image.path);
  const std::uint32_t blockSize = image.manifest.volumes.at(0).blockSize;
  ASSERT_GT(blockSize, 0u);
  const std::string variant = image.path + ".cut";
  for (std::size_t length = 512; length < whole.size(); length += blockSize) {
    SCOPED_TRACE("cut at " + std::to_string(length));
    testing::writeImage(variant, Image(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    // The volume still claims its full size, as a partition entry would after the disk was cut.
    scanAll(variant, whole.size());
  }
}

INSTANTIATE_TEST_SUITE_P(Kit, HfsCutShort, ::testing::Values("hfs-basic", "hfs-journal-deleted"));

}  // namespace
}  // namespace nua
