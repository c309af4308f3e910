// The walk over the kit's FAT volumes: the tree against the manifest, saved bytes against their
// digests, and each kind of damage giving fewer entries or the corrupted-volume alert.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "fat_test_support.h"

namespace nua {
namespace {

using testing::KitImage;
using testing::makeKitImage;
using testing::walkFat;

const imagekit::ManifestVolume& onlyVolume(const KitImage& image) { return image.manifest.volumes.at(0); }

testing::FatWalk walkImage(const KitImage& image) {
  return walkFat(image.path, 0, image.manifest.imageBytes / image.manifest.sectorSize);
}

// Runs of clusters (first cluster, count) from the record's one-cluster extents.
std::vector<std::pair<std::uint64_t, std::uint64_t>> clusterRuns(const Entry* file) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> runs;
  for (const ExtP& e : file->dataExt) {
    if (!runs.empty() && runs.back().first + runs.back().second == e.startBlock + 2ULL) {
      runs.back().second += e.blockCount;
    } else {
      runs.emplace_back(e.startBlock + 2ULL, e.blockCount);
    }
  }
  return runs;
}

bool contentSurvives(const imagekit::ManifestVolume& volume, const std::string& path) {
  const auto& content = volume.extra["deletedContent"];
  if (!content.contains(path)) return false;
  return content[path].value("contiguous", false) && !content[path].value("reused", true);
}

class BasicScenario : public ::testing::TestWithParam<const char*> {};

TEST_P(BasicScenario, TreeAndSavedBytesMatchTheManifest) {
  const KitImage image = makeKitImage(GetParam());
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto& volume = onlyVolume(image);
  auto walked = walkImage(image);
  Volume& v = *walked.volume;
  EXPECT_EQ(v.volumeContent, volume.fileSystem);
  EXPECT_EQ(walked.answer, 1);
  const auto tree = testing::entriesByPath(v.dirRoot);
  std::size_t live = 0;
  for (const auto& e : volume.entries) {
    if (e.path.empty()) continue;
    const auto found = tree.find(e.path);
    ASSERT_NE(found, tree.end()) << e.path;
    const Entry* dir = found->second;
    EXPECT_EQ(dir->deleted, e.deleted ? 1 : 0) << e.path;
    EXPECT_EQ(dir->fileType, e.folder ? 1 : 2) << e.path;
    if (!e.deleted) ++live;
    if (e.folder) continue;
    EXPECT_EQ(dir->fileSize, e.size) << e.path;
    EXPECT_EQ(dir->sectorsPerBlock, volume.blockSize / volume.sectorSize) << e.path;
    // Live chains are followed on every variant, so fragments come out where they lie.
    if (!e.deleted) {
      EXPECT_EQ(clusterRuns(dir), e.extents) << e.path;
    }
  }
  std::size_t liveInTree = 0;
  for (const auto& [path, dir] : tree) liveInTree += dir->deleted == 0 ? 1 : 0;
  EXPECT_EQ(liveInTree, live);

  const std::filesystem::path saved = testing::saveAll(v, GetParam());
  ASSERT_FALSE(saved.empty());
  std::size_t deletedChecked = 0;
  for (const auto& e : volume.entries) {
    if (e.folder || e.size == 0) continue;
    if (e.deleted && !contentSurvives(volume, e.path)) continue;
    deletedChecked += e.deleted ? 1 : 0;
    EXPECT_EQ(testing::fileSha256(saved / e.path), e.sha256) << e.path;
  }
  EXPECT_GE(deletedChecked, 3u);
}

INSTANTIATE_TEST_SUITE_P(Variants, BasicScenario, ::testing::Values("fat12-basic", "fat16-basic", "fat32-basic"));

TEST(DamagedFat, ZeroSectorsPerClusterPassesTheCheckAndGivesNoEntries) {
  const KitImage image = makeKitImage("fat-zero-sectors-per-cluster");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto walked = walkImage(image);
  EXPECT_EQ(walked.answer, 0);
  EXPECT_TRUE(walked.volume->dirRoot->childList.empty());
}

TEST(DamagedFat, FolderLeadingBackToAnAncestorIsListedButNotEntered) {
  const KitImage image = makeKitImage("fat-dir-loop");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto walked = walkImage(image);
  const auto tree = testing::entriesByPath(walked.volume->dirRoot);
  const auto loop = tree.find("Nested/Level two/Level three/BACKUP");
  ASSERT_NE(loop, tree.end());
  EXPECT_EQ(loop->second->fileType, 1);
  EXPECT_TRUE(loop->second->childList.empty());
  for (const auto& e : onlyVolume(image).entries)
    if (!e.path.empty()) {
      EXPECT_NE(tree.find(e.path), tree.end()) << e.path;
    }
}

TEST(DamagedFat, LoopingChainEndsAtItsFirstRepeat) {
  const KitImage image = makeKitImage("fat-chain-loop");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto walked = walkImage(image);
  const auto tree = testing::entriesByPath(walked.volume->dirRoot);
  const auto victim = tree.find("Fragments/first part.bin");
  ASSERT_NE(victim, tree.end());
  for (const auto& e : onlyVolume(image).entries)
    if (e.path == "Fragments/first part.bin") {
      EXPECT_EQ(clusterRuns(victim->second), e.extents);
    }
}

TEST(DamagedFat, TablesThatDisagreeStillGiveTheTreeOfTheFirst) {
  for (const bool badFirstMedia : {false, true}) {
    std::map<std::string, std::string> options;
    if (badFirstMedia) options["bad-first-media"] = "";
    const KitImage image = makeKitImage("fat-second-fat-differs", options);
    ASSERT_TRUE(image.error.empty()) << image.error;
    auto walked = walkImage(image);
    EXPECT_EQ(walked.volume->fat.bFATOneIsHealthy, !badFirstMedia);
    const auto tree = testing::entriesByPath(walked.volume->dirRoot);
    const auto report = tree.find("Documents/Quarterly report 2014.txt");
    ASSERT_NE(report, tree.end());
    for (const auto& e : onlyVolume(image).entries)
      if (e.path == report->first) {
        EXPECT_EQ(clusterRuns(report->second), e.extents);
      }
  }
}

TEST(DamagedFat, BootSectorClaimingMoreSectorsKeepsTheEntries) {
  const KitImage image = makeKitImage("fat-oversized-boot");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto walked = walkImage(image);
  const auto tree = testing::entriesByPath(walked.volume->dirRoot);
  for (const auto& e : onlyVolume(image).entries)
    if (!e.path.empty()) {
      EXPECT_NE(tree.find(e.path), tree.end()) << e.path;
    }
}

// A boot sector field out of range: the alert, and the tree stays the root alone.
TEST(FatHealth, RejectedBootSectorsRaiseTheCorruptedAlert) {
  const KitImage image = makeKitImage("fat16-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  struct Case {
    const char* tag;
    std::uint64_t offset;
    std::vector<std::uint8_t> bytes;
    bool healthy;
  };
  const std::vector<Case> cases = {{"three-fats", 16, {3}, false},
                                   {"spc3", 13, {3}, false},
                                   {"spc6", 13, {6}, true},
                                   {"bps0", 11, {0, 0}, true},
                                   {"bps700", 11, {0xBC, 0x02}, false},
                                   {"jump", 0, {0x00}, false},
                                   {"signature", 510, {0x55, 0xAB}, false}};
  testing::RecordingSink sink;
  for (const Case& c : cases) {
    const std::string copy = testing::patchedCopy(image.path, c.tag, c.offset, c.bytes);
    sink.alerts.clear();
    auto walked = walkFat(copy, 0, image.manifest.imageBytes / 512, sink);
    if (c.healthy) {
      EXPECT_TRUE(sink.alerts.empty()) << c.tag;
      continue;
    }
    ASSERT_EQ(sink.alerts.size(), 1u) << c.tag;
    EXPECT_EQ(sink.alerts[0].title, "!Volume corrupted");
    EXPECT_EQ(sink.alerts[0].text,
              "File system based recovery not possible. Recommend for Advanced scan or Signature Search");
    EXPECT_TRUE(walked.volume->dirRoot->childList.empty()) << c.tag;
    EXPECT_EQ(walked.answer, 0) << c.tag;
  }
  EXPECT_EQ(sink.ticking, 0) << "the walk leaves the tick to the scan runner";
}

// The demo disk's second volume is FAT32 inside a GPT disk: its deleted photos come back whole.
TEST(DemoDisk, DeletedPhotosOfTheFatVolumeAreRecovered) {
  const KitImage image = makeKitImage("demo");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const imagekit::ManifestVolume* fat = nullptr;
  for (const auto& volume : image.manifest.volumes)
    if (volume.fileSystem.rfind("FAT", 0) == 0) fat = &volume;
  ASSERT_NE(fat, nullptr);
  auto walked = walkFat(image.path, fat->startSector, fat->sectorCount);
  const std::filesystem::path saved = testing::saveAll(*walked.volume, "demo");
  ASSERT_FALSE(saved.empty());
  std::size_t photos = 0;
  for (const auto& e : fat->entries) {
    if (!e.deleted || e.folder) continue;
    ++photos;
    // A deleted 8.3 name has lost its first letter.
    std::filesystem::path path = saved / e.path;
    if (!std::filesystem::exists(path)) path = path.parent_path() / (" " + e.name.substr(1));
    EXPECT_EQ(testing::fileSha256(path), e.sha256) << e.path;
  }
  EXPECT_GE(photos, 2u);
}

}  // namespace
}  // namespace nua
