// The normal catalog walk on kit images, compared with the manifest of what was written.
#include "hfs/normal_catalog_scan.h"

#include <gtest/gtest.h>

#include "hfs/orphan_entries.h"
#include "hfs_test_support.h"
#include "view/entry_view_helper.h"
#include "view/outline_columns.h"

namespace nua {
namespace {

using testing::entriesByPath;
using testing::KitImage;
using testing::makeKitImage;

struct ScanOutcome {
  std::unique_ptr<Volume> volume;
  bool vib = false;
  bool structures = false;
};

// The normal scan's HFS+ steps, as the scan thread runs them, ending with the clean-up.
ScanOutcome scan(const KitImage& image, bool cleanUp = true, ProgressSink& progress = ProgressSink::none()) {
  ScanOutcome out;
  out.volume = testing::openAsPartition(image.path, image.manifest.imageBytes);
  Volume& v = *out.volume;
  v.resetSigArraysAndBtreesAndOthers();
  HfsVolume hfs(v, progress);
  out.vib = hfs.initializeVIB();
  if (out.vib) out.structures = hfs.checkCatalogAndExtentsFile();
  if (out.structures) {
    makeTree(hfs);
    if (v.counters.orphEntriesTotal != 0) processOrphanEntriesWithIncrement(v, progress, false, false);
  }
  if (cleanUp) v.finishTree(progress);
  return out;
}

// Every live entry of the manifest is in the tree with its id, size, dates and extents, except the
// folders that the clean-up removes for holding no data.
void expectManifestTree(const KitImage& image, const Volume& v) {
  ASSERT_NE(v.dirRoot, nullptr);
  const auto tree = entriesByPath(v.dirRoot);
  std::size_t expected = 0;
  for (const auto& e : image.manifest.volumes.at(0).entries) {
    if (e.deleted || e.path.empty()) continue;
    auto found = tree.find(e.path);
    if (e.folder) {
      if (found == tree.end()) continue;  // an empty folder is removed by the clean-up
    } else {
      ASSERT_NE(found, tree.end()) << e.path;
    }
    ++expected;
    const Entry* dir = found->second;
    EXPECT_EQ(dir->fileID, e.id) << e.path;
    EXPECT_EQ(dir->fileType, e.folder ? 1 : 2) << e.path;
    if (e.folder) continue;
    EXPECT_EQ(dir->fileSize, e.size) << e.path;
    EXPECT_EQ(dir->createDate, e.createDate) << e.path;
    EXPECT_EQ(dir->modDate, e.modDate) << e.path;
    EXPECT_EQ(dir->complete, 1) << e.path;
    ASSERT_EQ(dir->dataExt.size(), e.extents.size()) << e.path;
    for (std::size_t i = 0; i < e.extents.size(); ++i) {
      EXPECT_EQ(dir->dataExt[i].startBlock, e.extents[i].first) << e.path;
      EXPECT_EQ(dir->dataExt[i].blockCount, e.extents[i].second) << e.path;
    }
  }
  EXPECT_EQ(tree.size(), expected);
}

struct HealthyCase {
  const char* scenario;
  std::map<std::string, std::string> options;
};

class HealthyScenario : public ::testing::TestWithParam<HealthyCase> {};

TEST_P(HealthyScenario, TreeMatchesManifest) {
  const KitImage image = makeKitImage(GetParam().scenario, GetParam().options);
  ASSERT_TRUE(image.error.empty()) << image.error;
  const ScanOutcome out = scan(image);
  ASSERT_TRUE(out.vib);
  ASSERT_TRUE(out.structures);
  expectManifestTree(image, *out.volume);
  EXPECT_EQ(out.volume->tables.btree, nullptr);  // the clean-up released the helper tables
}

INSTANTIATE_TEST_SUITE_P(
    Kit, HealthyScenario,
    ::testing::Values(HealthyCase{"hfs-basic", {}}, HealthyCase{"hfs-basic", {{"hfsx", "1"}}},
                      HealthyCase{"hfs-basic", {{"records-per-leaf", "2"}}}, HealthyCase{"hfs-wrapper", {}},
                      HealthyCase{"hfs-fragmented", {}}, HealthyCase{"hfs-fragmented", {{"records-per-leaf", "2"}}},
                      HealthyCase{"hfs-two-extent-catalog", {}}, HealthyCase{"hfs-journal-deleted", {}},
                      HealthyCase{"hfs-damaged-header", {}}, HealthyCase{"hfs-flink-loop", {}}));

TEST(NormalCatalogScan, FragmentedFileTakesItsExtentsFromTheOverflowFile) {
  const KitImage image = makeKitImage("hfs-fragmented");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const ScanOutcome out = scan(image);
  std::size_t most = 0;
  for (const auto& [path, dir] : entriesByPath(out.volume->dirRoot)) most = std::max(most, dir->dataExt.size());
  EXPECT_GT(most, 8u);
}

TEST(NormalCatalogScan, WrappedVolumeStartsPastTheWrapper) {
  const KitImage image = makeKitImage("hfs-wrapper");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const ScanOutcome out = scan(image, false);
  ASSERT_TRUE(out.vib);
  EXPECT_EQ(out.volume->HPlusVolStart, image.manifest.volumes.at(0).startSector);
  EXPECT_NE(out.volume->HPlusVolStart, 0u);
}

TEST(NormalCatalogScan, DamagedCatalogHeaderRefusesTheWalk) {
  const KitImage image = makeKitImage("hfs-damaged-catalog");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const ScanOutcome out = scan(image);
  EXPECT_TRUE(out.vib);
  EXPECT_FALSE(out.structures);
}

TEST(NormalCatalogScan, ReformattedVolumeGivesOnlyTheRoot) {
  const KitImage image = makeKitImage("hfs-reformatted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const ScanOutcome out = scan(image);
  ASSERT_NE(out.volume->dirRoot, nullptr);
  EXPECT_TRUE(out.volume->dirRoot->childList.empty());
}

TEST(NormalCatalogScan, ProgressCarriesTheCountsAndTheTimerHandOver) {
  const KitImage image = makeKitImage("hfs-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  testing::RecordingSink sink;
  const ScanOutcome out = scan(image, true, sink);
  EXPECT_EQ(sink.ticking, 0);  // the tick is the runner's, never the engine's
  bool sawCounts = false, sawDone = false;
  for (const ScanProgress& p : sink.updates) {
    if (p.counts && p.barValue) {
      sawCounts = true;
      EXPECT_EQ(p.status, progress_text::kScanStatus);
    }
    if (p.status == progress_text::kRearrangingTreeDone) sawDone = p.animation == ProgressAnimation::kStop;
  }
  EXPECT_TRUE(sawCounts);
  EXPECT_TRUE(sawDone);
  // The walk offered its counts once and, as no tick came to take them, offered nothing more.
  ASSERT_EQ(sink.offers.size(), 1u);
  EXPECT_FALSE(sink.offers[0].timeRemaining.empty());
  EXPECT_TRUE(sink.offers[0].counts.has_value());
}

TEST(NormalCatalogScan, StopBeforeTheWalkLeavesOnlyTheRoot) {
  const KitImage image = makeKitImage("hfs-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto volume = testing::openAsPartition(image.path, image.manifest.imageBytes);
  volume->resetSigArraysAndBtreesAndOthers();
  HfsVolume hfs(*volume, ProgressSink::none());
  ASSERT_TRUE(hfs.initializeVIB());
  ASSERT_TRUE(hfs.checkCatalogAndExtentsFile());
  volume->setStopTreeThread(true);
  EXPECT_TRUE(bCancelScanning);
  makeTree(hfs);
  ASSERT_NE(volume->dirRoot, nullptr);
  EXPECT_TRUE(volume->dirRoot->childList.empty());
  volume->setStopTreeThread(false);
}

// Recorded decision: a live file whose extents add up is complete, so the Complete column says
// "Good" for every file of a normal scan, the fragmented one included.
TEST(NormalCatalogScan, NormalScanFilesAreCompleteAndShowGood) {
  for (const char* scenario : {"hfs-basic", "hfs-fragmented"}) {
    const KitImage image = makeKitImage(scenario);
    ASSERT_TRUE(image.error.empty()) << image.error;
    ScanOutcome out = scan(image);
    ASSERT_TRUE(out.structures) << scenario;
    const auto tree = entriesByPath(out.volume->dirRoot);
    std::size_t files = 0;
    for (const auto& [path, dir] : tree) {
      if (dir->fileType != 2) continue;
      ++files;
      EXPECT_EQ(dir->complete, 1) << scenario << " " << path;
      EntryViewHelper helper(const_cast<Entry*>(dir));
      EXPECT_EQ(columnText(helper, "Complete"), "Good") << scenario << " " << path;
    }
    EXPECT_GT(files, 3u) << scenario;
  }
}

TEST(NormalCatalogScan, NodeToSectorPastTheCatalogIsZero) {
  const KitImage image = makeKitImage("hfs-two-extent-catalog");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto volume = testing::openAsPartition(image.path, image.manifest.imageBytes);
  HfsVolume hfs(*volume, ProgressSink::none());
  ASSERT_TRUE(hfs.initializeVIB());
  ASSERT_TRUE(hfs.checkCatalogAndExtentsFile());
  ASSERT_EQ(volume->catalog.catalogExt.size(), 2u);
  std::uint64_t nodes = 0;
  for (const Extent& e : volume->catalog.catalogExt)
    nodes += static_cast<std::uint64_t>(e.blockCount) * volume->blockSize / volume->catalog.catNodeSize;
  EXPECT_NE(hfs.catNodeToSector(nodes - 1), 0u);
  EXPECT_EQ(hfs.catNodeToSector(nodes), 0u);
  EXPECT_TRUE(hfs.sectorIsInCatalogFile(hfs.catNodeToSector(0)));
}

}  // namespace
}  // namespace nua
