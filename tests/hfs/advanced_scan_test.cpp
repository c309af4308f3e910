// The advanced scan from the scan thread's entry on damaged and reformatted kit volumes: every file of
// the manifest comes back with its content, at its own path or under the lost folders.
#include "hfs/advanced_scan.h"

#include <gtest/gtest.h>

#include <functional>

#include "app/scan_run.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"

namespace nua {
namespace {

using testing::KitImage;

// Runs startMakingTree as the thread does, with the clean-up at its end.
std::unique_ptr<Volume> scanImage(const KitImage& image, const std::string& mode,
                                  ScanRunSink& progress = ScanRunSink::none()) {
  auto volume = testing::openAsPartition(image.path, image.manifest.imageBytes, image.manifest.sectorSize);
  startMakingTree(*volume, ScanArguments{mode, std::int64_t{0}}, progress);
  return volume;
}

void zeroBoth(const KitImage& image) {
  auto bytes = testing::readImage(image.path);
  const std::uint64_t start = image.manifest.volumes.at(0).extra.at("volumeByteOffset").get<std::uint64_t>();
  const std::uint64_t end = start + image.manifest.volumes.at(0).sectorCount * image.manifest.sectorSize;
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(start + 1024), 512, std::byte{0});
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(end - 1024), 512, std::byte{0});
  testing::writeImage(image.path, bytes);
}

// The primary header's block-size field (byte 40 of the header at byte 1024) set to `bytes`.
std::function<void(const KitImage&)> blockSizeField(std::uint32_t bytes) {
  return [bytes](const KitImage& image) {
    auto content = testing::readImage(image.path);
    const std::uint64_t start = image.manifest.volumes.at(0).extra.at("volumeByteOffset").get<std::uint64_t>();
    putBe32(content, start + 1024 + 40, bytes);
    testing::writeImage(image.path, content);
  };
}

enum class Where { kOwnPath, kLost };

struct AdvancedCase {
  const char* label;
  const char* scenario;
  std::map<std::string, std::string> options;
  std::function<void(const KitImage&)> damage;
  bool deletedEntries;  // the manifest's deleted entries are the ones to find
  Where where;
};

// The tree entry standing for a manifest entry: at its own path, or, once its folders were lost, at
// the same path below a "LostFolder<id>" folder, or by its name in "Lost Files".
const Entry* findEntry(const std::map<std::string, const Entry*>& tree, const imagekit::ManifestEntry& e,
                        Where where) {
  if (auto own = tree.find(e.path); own != tree.end()) return own->second;
  if (where == Where::kOwnPath) return nullptr;
  if (auto lost = tree.find("Lost Files/" + e.name); lost != tree.end()) return lost->second;
  for (const auto& [path, dir] : tree)
    if (path.rfind("Lost Folders/LostFolder", 0) == 0 && path.size() > e.path.size() &&
        path.compare(path.size() - e.path.size() - 1, std::string::npos, "/" + e.path) == 0)
      return dir;
  return nullptr;
}

class AdvancedScan : public ::testing::TestWithParam<AdvancedCase> {};

TEST_P(AdvancedScan, RecoversTheManifestFilesWithTheirContent) {
  const AdvancedCase& c = GetParam();
  const KitImage image = testing::makeKitImage(c.scenario, c.options);
  ASSERT_TRUE(image.error.empty()) << image.error;
  if (c.damage) c.damage(image);
  auto volume = scanImage(image, "Advanced Scan");
  ASSERT_NE(volume->dirRoot, nullptr);
  const auto tree = testing::entriesByPath(volume->dirRoot);
  std::size_t files = 0;
  for (const auto& e : image.manifest.volumes.at(0).entries) {
    if (e.folder || e.path.empty() || e.deleted != c.deletedEntries) continue;
    // An empty file has nothing to recover; a lost one is left out by design.
    if (e.size == 0 && c.where == Where::kLost) continue;
    const Entry* dir = findEntry(tree, e, c.where);
    ASSERT_NE(dir, nullptr) << e.path;
    ++files;
    EXPECT_EQ(testing::nameOf(dir), e.name);
    EXPECT_EQ(dir->fileID, e.id) << e.path;
    EXPECT_EQ(dir->fileSize, e.size) << e.path;
    EXPECT_EQ(dir->createDate, e.createDate) << e.path;
    EXPECT_EQ(dir->modDate, e.modDate) << e.path;
    EXPECT_EQ(testing::contentSha256(*volume, dir), e.sha256) << e.path;
  }
  EXPECT_GT(files, 3u);
}

INSTANTIATE_TEST_SUITE_P(
    Kit, AdvancedScan,
    ::testing::Values(
        AdvancedCase{"DamagedCatalog", "hfs-damaged-catalog", {}, nullptr, false, Where::kOwnPath},
        AdvancedCase{"DamagedCatalog2KiBBlocks", "hfs-damaged-catalog", {{"block-size", "2048"}}, nullptr, false,
                     Where::kOwnPath},
        AdvancedCase{"DeepDamagedCatalog", "hfs-damaged-catalog", {{"records-per-leaf", "2"}}, nullptr, false,
                     Where::kOwnPath},
        AdvancedCase{"PrimaryHeaderLost", "hfs-damaged-header", {}, nullptr, false, Where::kOwnPath},
        AdvancedCase{"BothHeadersLost", "hfs-damaged-header", {}, zeroBoth, false, Where::kLost},
        // Without a header the block is taken as 4096 bytes: one sector of a 4096-byte-sector disk.
        AdvancedCase{"BothHeadersLost4096ByteSectors", "hfs-damaged-header", {{"sector-size", "4096"}}, zeroBoth,
                     false, Where::kLost},
        // A corrupt block size in a header that is otherwise found: the usual 4096 bytes instead.
        AdvancedCase{"BlockSizeFieldZero", "hfs-basic", {}, blockSizeField(0), false, Where::kLost},
        AdvancedCase{"BlockSizeFieldNotAPowerOfTwo", "hfs-basic", {}, blockSizeField(4608), false, Where::kLost},
        AdvancedCase{"BlockSizeFieldHalved", "hfs-basic", {}, blockSizeField(2048), false, Where::kLost},
        AdvancedCase{"BlockSizeFieldDoubled", "hfs-basic", {}, blockSizeField(8192), false, Where::kLost},
        AdvancedCase{"BlockSizeFieldTooLarge", "hfs-basic", {}, blockSizeField(1u << 20), false, Where::kLost},
        AdvancedCase{"FLinkLoop", "hfs-flink-loop", {}, nullptr, false, Where::kOwnPath},
        AdvancedCase{"Healthy", "hfs-basic", {{"records-per-leaf", "2"}}, nullptr, false, Where::kOwnPath},
        AdvancedCase{"Reformatted", "hfs-reformatted", {}, nullptr, true, Where::kLost},
        AdvancedCase{"ReformattedSmallNodes", "hfs-reformatted", {{"records-per-leaf", "2"}}, nullptr, true,
                     Where::kLost}),
    [](const ::testing::TestParamInfo<AdvancedCase>& param) { return std::string(param.param.label); });

// A reformatted volume's old top folders each get a folder named after their lost parent (the old
// root, id 2); the second and third such folder take underscores.
TEST(AdvancedScanNaming, LostTopFoldersGoIntoLostFolderOfTheirParentId) {
  const KitImage image = testing::makeKitImage("hfs-reformatted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto volume = scanImage(image, "Advanced Scan");
  const auto tree = testing::entriesByPath(volume->dirRoot);
  ASSERT_TRUE(tree.count("Lost Folders"));
  const Entry* lostFolders = tree.at("Lost Folders");
  EXPECT_EQ(lostFolders->fileID, 8u);
  EXPECT_EQ(lostFolders->deleted, 1);
  std::vector<std::string> names;
  for (const Entry* child : lostFolders->childList) names.push_back(testing::nameOf(child));
  std::sort(names.begin(), names.end());
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.front(), "LostFolder2");
  for (std::size_t i = 1; i < names.size(); ++i) EXPECT_EQ(names[i], "LostFolder2" + std::string(i, '_'));
  // The old root's own files have no folder to join: they wait in "Lost Files".
  EXPECT_TRUE(tree.count("Lost Files/readme.txt"));
}

// The standard scan still refuses a volume whose catalog header is gone; the advanced one doesn't.
TEST(AdvancedScanEntry, OnlyTheStandardScanRefusesADamagedCatalog) {
  const KitImage image = testing::makeKitImage("hfs-damaged-catalog");
  ASSERT_TRUE(image.error.empty()) << image.error;
  testing::RecordingSink sink;
  auto standard = scanImage(image, "Normal Scan", sink);
  EXPECT_TRUE(standard->aborting);
  ASSERT_EQ(sink.alerts.size(), 1u);
  EXPECT_EQ(sink.abandoned, 1);  // back to the list, no tree
  auto advanced = scanImage(image, "Advanced Scan", sink);
  EXPECT_FALSE(advanced->aborting);
  EXPECT_EQ(sink.alerts.size(), 1u);
  EXPECT_EQ(sink.ticking, 0);  // the runner stopped every tick it started
  ASSERT_FALSE(sink.updates.empty());
  EXPECT_TRUE(sink.updates.back().treeComplete);
}

}  // namespace
}  // namespace nua
