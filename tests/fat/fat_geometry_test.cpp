// FAT volumes as Windows, DOS and other disks leave them: found by discovery as volumes, read in the
// sector size the image was written with, typed by their data cluster count, walked although the
// boot sector's totals are cleared, and saved byte for byte; and the walk's counts on the way.
#include <gtest/gtest.h>

#include <map>

#include "fat_test_support.h"
#include "media/image_media.h"

namespace nua {
namespace {

using testing::KitImage;
using testing::makeKitImage;

bool contentSurvives(const imagekit::ManifestVolume& volume, const std::string& path) {
  const auto& content = volume.extra["deletedContent"];
  if (!content.contains(path)) return false;
  return content[path].value("contiguous", false) && !content[path].value("reused", true);
}

struct GeometryCase {
  const char* tag;
  const char* scenario;
  std::map<std::string, std::string> options;
};

class FatGeometryScenario : public ::testing::TestWithParam<GeometryCase> {};

TEST_P(FatGeometryScenario, IsAVolumeOfItsTypeAndSavesByteForByte) {
  const GeometryCase& c = GetParam();
  const KitImage image = makeKitImage(c.scenario, c.options);
  ASSERT_TRUE(image.error.empty()) << image.error;
  const imagekit::ManifestVolume& expected = image.manifest.volumes.at(0);

  // Discovery: the drive, then its one volume where the manifest puts it, in the disk's sectors.
  const std::vector<Dict> entries = imageMediaEntries(image.path);
  ASSERT_EQ(entries.size(), 2u) << "drive and one volume";
  const Dict& listed = entries[1];
  EXPECT_EQ(listed.uint64("Volume Start"), expected.startSector);
  EXPECT_EQ(listed.uint64("Preferred Block Size"), expected.sectorSize);

  auto volume = Volume::initWithDictionary(listed, MediaContext{});
  Volume& v = *volume;
  v.volumeContent = FatVolume::fatFileSystemDetermination(v, listed);
  EXPECT_EQ(v.volumeContent, expected.fileSystem);
  v.resetSigArraysAndBtreesAndOthers();
  v.dirRoot = makeRootDir(*v.arena, v.tables.btree.get());
  EXPECT_EQ(FatVolume(v, ProgressSink::none()).startFATFileSystemRecovery(), 1);

  const std::filesystem::path saved = testing::saveAll(v, c.tag);
  ASSERT_FALSE(saved.empty());
  std::size_t live = 0, deleted = 0;
  for (const auto& e : expected.entries) {
    if (e.folder || e.size == 0) continue;
    if (e.deleted && !contentSurvives(expected, e.path)) continue;
    (e.deleted ? deleted : live) += 1;
    const std::filesystem::path file = saved / e.path;
    ASSERT_TRUE(std::filesystem::exists(file)) << e.path;
    EXPECT_EQ(std::filesystem::file_size(file), e.size) << e.path;
    EXPECT_EQ(testing::fileSha256(file), e.sha256) << e.path;
  }
  EXPECT_GE(live, 30u);
  EXPECT_GE(deleted, 2u);
}

INSTANTIATE_TEST_SUITE_P(
    Formatters, FatGeometryScenario,
    ::testing::Values(GeometryCase{"windows16", "fat-windows-boot", {}},
                      GeometryCase{"windows12floppy", "fat-windows-boot", {{"fat", "12"}}},
                      GeometryCase{"fat16max", "fat16-max-clusters", {}},
                      GeometryCase{"zerototal12", "fat-zero-total-sectors", {{"fat", "12"}}},
                      GeometryCase{"zerototal16", "fat-zero-total-sectors", {{"fat", "16"}}},
                      GeometryCase{"zerototal32", "fat-zero-total-sectors", {{"fat", "32"}}},
                      GeometryCase{"bare4k16", "fat-4k-sectors", {}},
                      GeometryCase{"bare4k12", "fat-4k-sectors", {{"fat", "12"}}},
                      GeometryCase{"mbr4k", "mbr-4k-fat", {}}),
    [](const auto& p) { return std::string(p.param.tag); });

// The counts reach the progress screen while the folders are walked and, whole, when the walk ends,
// even when it ends before the timer's first tick.
TEST(FatProgress, CountsGoOutWithEachFolderAndAtTheEnd) {
  const KitImage image = makeKitImage("fat16-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  testing::RecordingSink sink;
  auto walked = testing::walkFat(image.path, 0, image.manifest.imageBytes / 512, sink);
  const Volume& v = *walked.volume;
  ASSERT_GT(v.counters.fileCount, 30);
  std::vector<ScanCounts> counted;
  for (const ScanProgress& p : sink.updates)
    if (p.counts) counted.push_back(*p.counts);
  ASSERT_GE(counted.size(), 3u);
  EXPECT_EQ(counted.back().files, static_cast<std::uint64_t>(v.counters.fileCount));
  EXPECT_EQ(counted.back().folders, static_cast<std::uint64_t>(v.counters.folderCount));
  EXPECT_EQ(counted.back().entries, static_cast<std::uint64_t>(v.counters.entryCount));
  EXPECT_EQ(counted.back().data, static_cast<std::uint64_t>(v.counters.dataSize));
  bool partway = false;
  for (const ScanCounts& c : counted) partway = partway || (c.files > 0 && c.files < counted.back().files);
  EXPECT_TRUE(partway) << "no count was sent while the walk was under way";
}

}  // namespace
}  // namespace nua
