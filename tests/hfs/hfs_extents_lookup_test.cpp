// The extents-overflow lookup on the kit's fragmented volume, whole and with its leaf links damaged:
// it finds the overflow extents, and a link back to a leaf already read ends it with what it has.
#include <gtest/gtest.h>

#include "hfs/hfs_volume.h"
#include "hfs/normal_catalog_scan.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"
#include "ondisk/hfs_extent_key.h"

namespace nua {
namespace {

using testing::KitImage;

constexpr std::size_t kVolumeHeaderByte = 1024;
constexpr std::size_t kExtentsFileTotalBlocks = 192 + 12;  // extentsFile fork's totalBlocks in the header

// The manifest's one file with more extents than its record holds.
const imagekit::ManifestEntry& fragmentedFile(const KitImage& image) {
  for (const auto& e : image.manifest.volumes.at(0).entries)
    if (e.extents.size() > 8) return e;
  throw std::runtime_error("no fragmented file");
}

std::uint64_t blocksOf(const std::vector<std::pair<std::uint64_t, std::uint64_t>>& extents, std::size_t from) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < from && i < extents.size(); ++i) sum += extents[i].second;
  return sum;
}

struct LinkDamage {
  const char* label;
  int linkFirstLeafTo;        // -1 leaves the first leaf's fLink alone
  bool hugeExtentsFile;       // the header claims 2^32 - 1 blocks for the extents file
  bool expectAllExtents;
};

class ExtentsLookup : public ::testing::TestWithParam<LinkDamage> {};

TEST_P(ExtentsLookup, EndsWithWhatTheReachableLeavesHold) {
  const LinkDamage& c = GetParam();
  const KitImage image = testing::makeKitImage("hfs-fragmented");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto& volume = image.manifest.volumes.at(0);
  const auto& extentsTree = volume.extra.at("extentsFile");
  const auto firstLeaf = extentsTree.at("firstLeafNode").get<std::uint32_t>();
  ASSERT_NE(firstLeaf, extentsTree.at("lastLeafNode").get<std::uint32_t>()) << "the file's records need two leaves";
  auto bytes = testing::readImage(image.path);
  if (c.linkFirstLeafTo >= 0)
    putBe32(bytes, testing::treeNodeByte(volume, "extentsFile", firstLeaf), static_cast<std::uint32_t>(c.linkFirstLeafTo));
  if (c.hugeExtentsFile) putBe32(bytes, kVolumeHeaderByte + kExtentsFileTotalBlocks, 0xFFFFFFFFu);
  testing::writeImage(image.path, bytes);

  auto v = testing::openAsPartition(image.path, image.manifest.imageBytes);
  HfsVolume hfs(*v, ProgressSink::none());
  ASSERT_TRUE(hfs.initializeVIB());
  ASSERT_TRUE(hfs.checkCatalogAndExtentsFile());
  const auto& file = fragmentedFile(image);
  const std::uint64_t inRecord = blocksOf(file.extents, 8);
  const std::uint64_t total = blocksOf(file.extents, file.extents.size());
  const auto found = hfs.extentsForID(file.id, kDataFork, static_cast<std::uint32_t>(inRecord),
                                      static_cast<std::uint32_t>(total));
  ASSERT_TRUE(found.has_value());
  std::uint64_t blocks = inRecord;
  for (std::size_t i = 0; i < found->size(); ++i) {
    ASSERT_LT(8 + i, file.extents.size());
    EXPECT_EQ((*found)[i].startBlock, file.extents[8 + i].first);
    EXPECT_EQ((*found)[i].blockCount, file.extents[8 + i].second);
    blocks += (*found)[i].blockCount;
  }
  if (c.expectAllExtents) {
    EXPECT_EQ(blocks, total);
  } else {
    // The second leaf is out of reach: the first leaf's records and no more.
    EXPECT_GT(blocks, inRecord);
    EXPECT_LT(blocks, total);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Kit, ExtentsLookup,
    ::testing::Values(LinkDamage{"Whole", -1, false, true},
                      LinkDamage{"WholeWithHugeExtentsFile", -1, true, true},
                      LinkDamage{"SelfLinkedLeafWithHugeExtentsFile", 1, true, false},
                      LinkDamage{"SelfLinkedLeaf", 1, false, false},
                      LinkDamage{"LeafLinkedToTheIndexRoot", 3, true, false}),
    [](const ::testing::TestParamInfo<LinkDamage>& param) { return std::string(param.param.label); });

// The whole normal scan over the self-linked leaf: the fragmented file can't be completed and is
// dropped; every other file stays.
TEST(ExtentsLookupInTheCatalogWalk, SelfLinkedOverflowLeafDropsOnlyTheFragmentedFile) {
  const KitImage image = testing::makeKitImage("hfs-fragmented");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto& volume = image.manifest.volumes.at(0);
  const auto firstLeaf = volume.extra.at("extentsFile").at("firstLeafNode").get<std::uint32_t>();
  auto bytes = testing::readImage(image.path);
  putBe32(bytes, testing::treeNodeByte(volume, "extentsFile", firstLeaf), firstLeaf);
  putBe32(bytes, kVolumeHeaderByte + kExtentsFileTotalBlocks, 0xFFFFFFFFu);
  testing::writeImage(image.path, bytes);
  auto v = testing::openAsPartition(image.path, image.manifest.imageBytes);
  v->resetSigArraysAndBtreesAndOthers();
  HfsVolume hfs(*v, ProgressSink::none());
  ASSERT_TRUE(hfs.initializeVIB());
  ASSERT_TRUE(hfs.checkCatalogAndExtentsFile());
  makeTree(hfs);
  const auto tree = testing::entriesByPath(v->dirRoot);
  const auto& fragmented = fragmentedFile(image);
  EXPECT_FALSE(tree.count(fragmented.path));
  std::size_t others = 0;
  for (const auto& e : volume.entries) {
    if (e.folder || e.deleted || e.path.empty() || e.id == fragmented.id) continue;
    EXPECT_TRUE(tree.count(e.path)) << e.path;
    ++others;
  }
  EXPECT_GT(others, 3u);
}

}  // namespace
}  // namespace nua
