// Deleted entries from the catalog's node slack and freed nodes on a volume without a journal, by the
// deleted-file scan and the advanced scan, against the kit's driver-style deletions.
#include "hfs/node_slack_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "app/scan_entries.h"
#include "app/scan_run.h"
#include "save/recover_to_folder.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"

namespace nua {
namespace {

using testing::KitImage;
using testing::makeKitImage;

enum class Scan { kDeletedFiles, kAdvanced };

std::unique_ptr<Volume> runScan(const KitImage& image, Scan scan) {
  if (scan == Scan::kAdvanced) {
    auto volume = testing::openAsPartition(image.path, image.manifest.imageBytes, image.manifest.sectorSize);
    startMakingTree(*volume, ScanArguments{std::string("Advanced Scan"), std::int64_t{0}}, ScanRunSink::none());
    return volume;
  }
  auto volume = Volume::initWithDictionary(Dict{{"WhetherVolume", true},
                                                {"Path", image.path},
                                                {"Preferred Block Size", 512},
                                                {"Size", image.manifest.imageBytes},
                                                {"Volume Start", 0},
                                                {"Content", "Apple_HFS"},
                                                {"journaled", "No"}},
                                           MediaContext{});
  volume->resetSigArraysAndBtreesAndOthers();
  (void)scanForDeletedFilesHFS(*volume, ScanArguments{std::int64_t{1}, std::int64_t{0}}, ScanRunSink::none());
  return volume;
}

bool survives(const imagekit::ManifestEntry& e) {
  return e.deleted && (e.foundIn == "catalog-slack" || e.foundIn == "catalog-free-node");
}

std::uint64_t blocksOf(const Entry* dir) {
  std::uint64_t sum = 0;
  for (const ExtP& e : dir->dataExt) sum += e.blockCount;
  return sum;
}

class NodeSlackScan : public ::testing::TestWithParam<std::tuple<Scan, std::string>> {};

TEST_P(NodeSlackScan, EveryDeletedEntryLeftInTheCatalogIsListedWithItsBytes) {
  const auto& [scan, perLeaf] = GetParam();
  const KitImage image = makeKitImage("hfs-node-slack", {{"records-per-leaf", perLeaf}});
  ASSERT_TRUE(image.error.empty()) << image.error;
  const imagekit::ManifestVolume& manifest = image.manifest.volumes.at(0);
  auto v = runScan(image, scan);
  ASSERT_NE(v->dirRoot, nullptr);
  const auto tree = testing::entriesByPath(v->dirRoot);
  std::set<std::uint64_t> liveFiles;
  std::size_t checked = 0, reusedSeen = 0, freeNodeSeen = 0, fragmentedSeen = 0;
  for (const auto& e : manifest.entries)
    if (!e.deleted && !e.folder) liveFiles.insert(e.id);
  for (const auto& e : manifest.entries) {
    if (e.path.empty()) continue;
    const auto found = tree.find(e.path);
    if (!e.deleted) {
      // The deleted-file scan shows only deleted entries and the folders that lead to them.
      if (scan == Scan::kAdvanced) {
        ASSERT_NE(found, tree.end()) << e.path;
      }
      if (!e.folder && found != tree.end()) {
        EXPECT_EQ(found->second->deleted, 0) << "live file marked deleted: " << e.path;
      }
      continue;
    }
    if (!survives(e)) continue;
    // Under its folder when that lives or its record survived, else in "Lost Files".
    const auto parent = std::find_if(manifest.entries.begin(), manifest.entries.end(),
                                     [&](const auto& p) { return p.id == e.parentId; });
    const bool parentShown = parent != manifest.entries.end() && (!parent->deleted || survives(*parent));
    const std::string expected = parentShown ? e.path : "Lost Files/" + e.name;
    const auto at = tree.find(expected);
    ASSERT_NE(at, tree.end()) << "deleted entry missing: " << expected;
    const Entry* dir = at->second;
    EXPECT_EQ(dir->deleted, 1) << e.path;
    EXPECT_EQ(dir->fileID, e.id) << e.path;
    EXPECT_EQ(dir->createDate, e.createDate) << e.path;
    if (e.foundIn == "catalog-free-node") ++freeNodeSeen;
    if (e.folder) continue;
    ++checked;
    EXPECT_EQ(dir->fileSize, e.size) << e.path;
    std::uint64_t manifestBlocks = 0;
    for (const auto& [start, count] : e.extents) manifestBlocks += count;
    ASSERT_FALSE(dir->dataExt.empty()) << e.path;
    EXPECT_EQ(dir->dataExt.front().startBlock, e.extents.front().first) << e.path;
    if (e.extents.size() > 8) ++fragmentedSeen;
    if (e.reused) {
      ++reusedSeen;
      EXPECT_EQ(dir->complete, 0) << "reused blocks but complete: " << e.path;
      continue;
    }
    EXPECT_EQ(blocksOf(dir), manifestBlocks) << e.path;
    EXPECT_EQ(dir->complete, 1) << e.path;
    EXPECT_EQ(testing::contentSha256(*v, dir), e.sha256) << e.path;
  }
  EXPECT_GE(checked, 5u);
  EXPECT_EQ(reusedSeen, 1u);
  EXPECT_GE(fragmentedSeen, 1u);
  if (perLeaf == "6") {
    EXPECT_GE(freeNodeSeen, 1u);
  }
  for (const auto& [path, dir] : tree)
    EXPECT_FALSE(dir->fileType == 2 && dir->deleted == 1 && liveFiles.count(dir->fileID) != 0)
        << "live file reported deleted: " << path;
}

INSTANTIATE_TEST_SUITE_P(
    ScansAndLeafSizes, NodeSlackScan,
    ::testing::Combine(::testing::Values(Scan::kDeletedFiles, Scan::kAdvanced), ::testing::Values("6", "4", "0")),
    [](const ::testing::TestParamInfo<NodeSlackScan::ParamType>& param) {
      return std::string(std::get<0>(param.param) == Scan::kAdvanced ? "Advanced" : "DeletedFiles") + "PerLeaf" +
             std::get<1>(param.param);
    });

// Saving everything either scan found writes each deleted file whose blocks are free byte-exact, and
// reports the file whose blocks a live file took as not its own data rather than saved (after the
// deleted-file scan no live file is in the result to compare with: the scan's own finding decides).
class NodeSlackSave : public ::testing::TestWithParam<Scan> {};

TEST_P(NodeSlackSave, AReusedFileIsNeverReportedSavedWhole) {
  const KitImage image = makeKitImage("hfs-node-slack");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const imagekit::ManifestVolume& manifest = image.manifest.volumes.at(0);
  auto v = runScan(image, GetParam());
  const std::filesystem::path out =
      testing::imageFolder() / (GetParam() == Scan::kAdvanced ? "node-slack-saved-adv" : "node-slack-saved-del");
  SilentUiBridge ui;
  const RecoverResult result = recoverToFolder(*v, {out.string(), {"all"}, false, false}, ui, nullptr);
  ASSERT_TRUE(result.saved) << result.message;
  std::set<std::string> failed;
  for (const SaveFailure& f : result.report.failures) failed.insert(f.path);
  std::size_t reused = 0;
  for (const auto& e : manifest.entries) {
    if (!e.deleted || e.folder || !survives(e)) continue;
    const bool listedInFailures = std::any_of(failed.begin(), failed.end(),
                                              [&](const std::string& p) { return p.find(e.name) != std::string::npos; });
    if (e.reused) {
      ++reused;
      EXPECT_TRUE(listedInFailures) << e.path;
      continue;
    }
    EXPECT_FALSE(listedInFailures) << e.path;
  }
  EXPECT_EQ(reused, 1u);
  std::filesystem::remove_all(out);
}

INSTANTIATE_TEST_SUITE_P(BothScans, NodeSlackSave, ::testing::Values(Scan::kDeletedFiles, Scan::kAdvanced),
                         [](const ::testing::TestParamInfo<Scan>& param) {
                           return std::string(param.param == Scan::kAdvanced ? "Advanced" : "DeletedFiles");
                         });

}  // namespace
}  // namespace nua
