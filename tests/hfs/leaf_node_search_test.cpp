// The three ways to leaf nodes without the header's chain, on kit catalogs several index levels deep,
// whole and with index nodes or leaf links destroyed; and the catalog walk that uses what they find.
#include "hfs/leaf_node_search.h"

#include <gtest/gtest.h>

#include "hfs/normal_catalog_scan.h"
#include "hfs/orphan_entries.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"
#include "ondisk/bt_node_descriptor.h"

namespace nua {
namespace {

using testing::KitImage;

// A catalog of two records per node: five levels, thirteen leaves, seven level-2 index nodes.
KitImage deepCatalog() { return testing::makeKitImage("hfs-basic", {{"records-per-leaf", "2"}}); }

struct NodeFacts {
  std::uint32_t number = 0;
  BTNodeDescriptor descriptor;
};

// Every node of the catalog with its descriptor, read straight from the image.
std::vector<NodeFacts> catalogNodes(const KitImage& image) {
  const auto& volume = image.manifest.volumes.at(0);
  const auto bytes = testing::readImage(image.path);
  const std::size_t nodeSize = testing::catalogNodeSize(volume);
  std::vector<NodeFacts> nodes;
  const auto total = volume.extra.at("catalogFile").at("totalNodes").get<std::uint32_t>();
  for (std::uint32_t n = 0; n < total; ++n) {
    const std::uint64_t at = testing::catalogNodeByte(volume, n);
    auto parsed = parseBTNodeDescriptor(ByteSpan(bytes).subspan(at, nodeSize));
    if (parsed) nodes.push_back({n, *parsed});
  }
  return nodes;
}

// Leaf numbers in chain order from the first leaf.
std::vector<std::uint32_t> leafChain(const KitImage& image) {
  const auto nodes = catalogNodes(image);
  std::vector<std::uint32_t> chain;
  std::uint32_t n = image.manifest.volumes.at(0).extra.at("catalogFile").at("firstLeafNode").get<std::uint32_t>();
  while (n != 0 && chain.size() < nodes.size()) {
    chain.push_back(n);
    n = nodes.at(n).descriptor.fLink;
  }
  return chain;
}

// Level-2 index nodes in chain order.
std::vector<std::uint32_t> level2Chain(const KitImage& image) {
  const auto nodes = catalogNodes(image);
  std::vector<std::uint32_t> chain;
  for (const NodeFacts& f : nodes)
    if (f.descriptor.kind == kBTIndexNode && f.descriptor.height == 2 && f.descriptor.bLink == 0) chain.push_back(f.number);
  while (!chain.empty() && nodes.at(chain.back()).descriptor.fLink != 0 && chain.size() < nodes.size())
    chain.push_back(nodes.at(chain.back()).descriptor.fLink);
  return chain;
}

void zeroNode(const KitImage& image, std::uint32_t node) {
  auto bytes = testing::readImage(image.path);
  const auto& volume = image.manifest.volumes.at(0);
  const std::uint64_t at = testing::catalogNodeByte(volume, node);
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), testing::catalogNodeSize(volume), std::byte{0});
  testing::writeImage(image.path, bytes);
}

struct Opened {
  std::unique_ptr<Volume> volume;
  std::unique_ptr<HfsVolume> hfs;
};

Opened open(const KitImage& image, ProgressSink& progress = ProgressSink::none()) {
  Opened o;
  o.volume = testing::openAsPartition(image.path, image.manifest.imageBytes);
  o.volume->resetSigArraysAndBtreesAndOthers();
  o.hfs = std::make_unique<HfsVolume>(*o.volume, progress);
  EXPECT_TRUE(o.hfs->initializeVIB());
  EXPECT_TRUE(o.hfs->checkCatalogAndExtentsFile());
  return o;
}

TEST(LeafNodeSearch, EnumerationListsEveryLeafInChainOrder) {
  const KitImage image = deepCatalog();
  ASSERT_TRUE(image.error.empty()) << image.error;
  ASSERT_GE(level2Chain(image).size(), 3u);
  Opened o = open(image);
  ASSERT_GE(o.volume->catalog.catTreeDepth, 3);
  enumerateLevel2IndexNodes(*o.hfs);
  EXPECT_FALSE(o.volume->catalog.level2IndexNodeHasProblems);
  EXPECT_EQ(o.volume->catalog.leafNodePointerArray, leafChain(image));
  findLeafNodesForCatalogWalk(*o.hfs);
  EXPECT_TRUE(o.volume->catalog.leafNodePointerTotalArray.empty());  // no problem, no search of the whole file
}

TEST(LeafNodeSearch, OneLevelTreeGathersNothing) {
  const KitImage image = testing::makeKitImage("hfs-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  Opened o = open(image);
  ASSERT_EQ(o.volume->catalog.catTreeDepth, 1);
  findLeafNodesForCatalogWalk(*o.hfs);
  EXPECT_TRUE(o.volume->catalog.leafNodePointerArray.empty());
  EXPECT_TRUE(o.volume->catalog.leafNodePointerTotalArray.empty());
  EXPECT_FALSE(o.volume->catalog.level2IndexNodeHasProblems);
}

TEST(LeafNodeSearch, LostRootIsReplacedByTheLevel2SearchAndTheLeafSearch) {
  const KitImage image = deepCatalog();
  ASSERT_TRUE(image.error.empty()) << image.error;
  zeroNode(image, image.manifest.volumes.at(0).extra.at("catalogFile").at("rootNode").get<std::uint32_t>());
  Opened o = open(image);
  enumerateLevel2IndexNodes(*o.hfs);
  EXPECT_TRUE(o.volume->catalog.level2IndexNodeHasProblems);
  EXPECT_TRUE(o.volume->catalog.leafNodePointerArray.empty());
  findLeafNodesForCatalogWalk(*o.hfs);
  // The search walks left from what it found and collects the whole level, as the enumeration would.
  EXPECT_EQ(o.volume->catalog.leafNodePointerArray, leafChain(image));
  auto sortedLeaves = leafChain(image);
  std::sort(sortedLeaves.begin(), sortedLeaves.end());
  EXPECT_EQ(o.volume->catalog.leafNodePointerTotalArray, sortedLeaves);
}

TEST(LeafNodeSearch, BrokenLevel2ChainKeepsThePointersUpToTheBreak) {
  const KitImage image = deepCatalog();
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto level2 = level2Chain(image);
  ASSERT_GE(level2.size(), 3u);
  const auto leaves = leafChain(image);
  zeroNode(image, level2[1]);
  Opened o = open(image);
  enumerateLevel2IndexNodes(*o.hfs);
  EXPECT_TRUE(o.volume->catalog.level2IndexNodeHasProblems);
  const std::vector<std::uint32_t> upToBreak = o.volume->catalog.leafNodePointerArray;
  ASSERT_FALSE(upToBreak.empty());
  EXPECT_TRUE(std::equal(upToBreak.begin(), upToBreak.end(), leaves.begin()));
  EXPECT_LT(upToBreak.size(), leaves.size());
  findLeafNodesForCatalogWalk(*o.hfs);
  // The search appends behind what the enumeration had, and the leaf search lists the rest.
  EXPECT_GT(o.volume->catalog.leafNodePointerArray.size(), upToBreak.size());
  EXPECT_TRUE(std::equal(upToBreak.begin(), upToBreak.end(), o.volume->catalog.leafNodePointerArray.begin()));
  EXPECT_EQ(o.volume->catalog.leafNodePointerTotalArray.size(), leaves.size());
}

TEST(LeafNodeSearch, ProgressCountsTheCatalogNodes) {
  const KitImage image = deepCatalog();
  ASSERT_TRUE(image.error.empty()) << image.error;
  zeroNode(image, image.manifest.volumes.at(0).extra.at("catalogFile").at("rootNode").get<std::uint32_t>());
  testing::RecordingSink sink;
  Opened o = open(image, sink);
  searchForLeafNodes(*o.hfs);
  const auto total = image.manifest.volumes.at(0).extra.at("catalogFile").at("totalNodes").get<std::uint64_t>();
  std::uint64_t increments = 0;
  bool sawMax = false;
  for (const ScanProgress& p : sink.updates) {
    if (p.status != progress_text::kSearchingCatalogFile) continue;
    if (p.barIncrement == 1u) ++increments;
    if (p.barMaximum) sawMax = true;
  }
  EXPECT_TRUE(sawMax);
  EXPECT_EQ(increments, total);
}

// The walk, fed by the lists, still rebuilds the whole tree when the leaf chain is cut.
TEST(LeafNodeSearch, WalkCrossesACutLeafChain) {
  for (const bool loseRoot : {false, true}) {
    const KitImage image = deepCatalog();
    ASSERT_TRUE(image.error.empty()) << image.error;
    const auto leaves = leafChain(image);
    const auto& volume = image.manifest.volumes.at(0);
    auto bytes = testing::readImage(image.path);
    // The first leaf's fLink to 0: the chain ends after one node.
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(testing::catalogNodeByte(volume, leaves.front())), 4,
                std::byte{0});
    testing::writeImage(image.path, bytes);
    if (loseRoot) zeroNode(image, volume.extra.at("catalogFile").at("rootNode").get<std::uint32_t>());
    Opened o = open(image);
    findLeafNodesForCatalogWalk(*o.hfs);
    makeTree(*o.hfs);
    if (o.volume->counters.orphEntriesTotal != 0) processOrphanEntriesWithIncrement(*o.volume, ProgressSink::none(), false, false);
    const auto tree = testing::entriesByPath(o.volume->dirRoot);
    for (const auto& e : volume.entries) {
      if (e.deleted || e.path.empty()) continue;
      ASSERT_TRUE(tree.count(e.path)) << e.path << (loseRoot ? " (root lost)" : "");
      if (!e.folder) {
        EXPECT_EQ(testing::contentSha256(*o.volume, tree.at(e.path)), e.sha256) << e.path;
      }
    }
  }
}

}  // namespace
}  // namespace nua
