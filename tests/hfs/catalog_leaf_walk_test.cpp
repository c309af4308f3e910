// The catalog walk over a leaf chain that breaks or loops in the middle of a large catalog: every
// intact leaf is still read once, so the normal and the advanced scan list every file.
#include "hfs/detail/catalog_leaf_walk.h"

#include <gtest/gtest.h>

#include "app/scan_run.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"
#include "ondisk/bt_node_descriptor.h"

namespace nua {
namespace {

using testing::KitImage;

// Leaf numbers in chain order from the first leaf, read straight from the image.
std::vector<std::uint32_t> leafChain(const KitImage& image, const std::vector<std::byte>& bytes) {
  const auto& volume = image.manifest.volumes.at(0);
  const auto& catalog = volume.extra.at("catalogFile");
  const auto total = catalog.at("totalNodes").get<std::size_t>();
  std::vector<std::uint32_t> chain;
  for (auto n = catalog.at("firstLeafNode").get<std::uint32_t>(); n != 0 && chain.size() < total;) {
    chain.push_back(n);
    n = be32(bytes, testing::catalogNodeByte(volume, n));  // fLink
  }
  return chain;
}

enum class Break { kZeroedLink, kSelfLink, kLinkToFirstLeaf };

struct BrokenChainCase {
  const char* label;
  const char* mode;
  Break damage;
};

class BrokenLeafChain : public ::testing::TestWithParam<BrokenChainCase> {};

TEST_P(BrokenLeafChain, EveryFileOfTheManifestIsListed) {
  const BrokenChainCase& c = GetParam();
  const KitImage image = testing::makeKitImage("hfs-many", {{"files", "5000"}});
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto& volume = image.manifest.volumes.at(0);
  auto bytes = testing::readImage(image.path);
  const auto chain = leafChain(image, bytes);
  ASSERT_GT(chain.size(), 100u);
  const std::uint32_t middle = chain[chain.size() / 2];
  const std::uint32_t link = c.damage == Break::kZeroedLink ? 0 : c.damage == Break::kSelfLink ? middle : chain.front();
  putBe32(bytes, testing::catalogNodeByte(volume, middle), link);
  testing::writeImage(image.path, bytes);

  auto v = testing::openAsPartition(image.path, image.manifest.imageBytes);
  startMakingTree(*v, ScanArguments{std::string(c.mode), std::int64_t{0}}, ScanRunSink::none());
  ASSERT_NE(v->dirRoot, nullptr);
  const auto tree = testing::entriesByPath(v->dirRoot);
  std::size_t files = 0;
  for (const auto& e : volume.entries) {
    if (e.folder || e.deleted || e.path.empty()) continue;
    const auto found = tree.find(e.path);
    ASSERT_NE(found, tree.end()) << e.path;
    EXPECT_EQ(found->second->fileID, e.id) << e.path;
    EXPECT_EQ(found->second->fileSize, e.size) << e.path;
    ++files;
  }
  EXPECT_EQ(files, 5000u);
  // Nothing is read twice: no file stands in "Lost Files" beside its own place.
  EXPECT_FALSE(tree.count("Lost Files"));
}

INSTANTIATE_TEST_SUITE_P(
    Kit, BrokenLeafChain,
    ::testing::Values(BrokenChainCase{"NormalZeroedLink", "Normal Scan", Break::kZeroedLink},
                      BrokenChainCase{"AdvancedZeroedLink", "Advanced Scan", Break::kZeroedLink},
                      BrokenChainCase{"NormalSelfLink", "Normal Scan", Break::kSelfLink},
                      BrokenChainCase{"NormalLinkBackToTheFirstLeaf", "Normal Scan", Break::kLinkToFirstLeaf},
                      BrokenChainCase{"AdvancedLinkBackToTheFirstLeaf", "Advanced Scan", Break::kLinkToFirstLeaf}),
    [](const ::testing::TestParamInfo<BrokenChainCase>& param) { return std::string(param.param.label); });

}  // namespace
}  // namespace nua
