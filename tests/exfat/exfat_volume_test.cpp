// The exFAT engine over the kit's volumes: the tree against the manifest and against Sleuth Kit,
// saved bytes against their digests, reused clusters marked incomplete, the backup boot region, and
// damaged volumes giving fewer entries without a crash or hang.
#include "exfat/exfat_volume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <random>
#include <set>

#include "fat/fat_test_support.h"
#include "imagekit/fat_tool_runner.h"
#include "media/image_media.h"
#include "media/volume_checks.h"
#include "ondisk/exfat_directory_entry.h"

namespace nua {
namespace {

using testing::KitImage;
using testing::makeKitImage;

struct ExfatWalk {
  std::unique_ptr<Volume> volume;
  std::uint8_t answer = 0;
  bool usedBackup = false;
};

ExfatWalk walkExfat(const std::string& path, std::uint64_t start, std::uint64_t sectors,
                    ProgressSink& progress = ProgressSink::none()) {
  ExfatWalk out;
  Dict dict = testing::fatVolumeDict(path, start, sectors);
  dict.set("Content", "exFAT");
  out.volume = Volume::initWithDictionary(dict, MediaContext{});
  Volume& v = *out.volume;
  v.resetSigArraysAndBtreesAndOthers();
  v.dirRoot = makeRootDir(*v.arena, v.tables.btree.get());
  ExfatVolume exfat(v, progress);
  out.answer = exfat.startExfatFileSystemRecovery();
  out.usedBackup = exfat.usedBackupBootRegion();
  return out;
}

ExfatWalk walkImage(const KitImage& image) {
  const auto& volume = image.manifest.volumes.at(0);
  return walkExfat(image.path, volume.startSector, volume.sectorCount);
}

bool listed(const nlohmann::json& list, const std::string& path) {
  for (const auto& item : list)
    if (item == path) return true;
  return false;
}

class ExfatScenario : public ::testing::TestWithParam<const char*> {};

TEST_P(ExfatScenario, TreeAndSavedBytesMatchTheManifest) {
  const KitImage image = makeKitImage(GetParam());
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto& volume = image.manifest.volumes.at(0);
  auto walked = walkImage(image);
  Volume& v = *walked.volume;
  EXPECT_EQ(walked.answer, 1);
  EXPECT_EQ(walked.usedBackup, image.manifest.extra.value("damagedMainBootSector", false));
  const auto tree = testing::entriesByPath(v.dirRoot);
  EXPECT_EQ(tree.size(), volume.entries.size());
  const std::filesystem::path saved = testing::saveAll(v, GetParam());
  ASSERT_FALSE(saved.empty());
  for (const auto& e : volume.entries) {
    const auto found = tree.find(e.path);
    ASSERT_NE(found, tree.end()) << e.path;
    const Entry* dir = found->second;
    EXPECT_EQ(dir->deleted, e.deleted ? 1 : 0) << e.path;
    EXPECT_EQ(dir->fileType, e.folder ? 1 : 2) << e.path;
    if (e.folder) continue;
    EXPECT_EQ(dir->fileSize, e.size) << e.path;
    const bool reused = listed(volume.extra["reused"], e.path);
    const bool scattered = listed(volume.extra["fragmentedDeleted"], e.path);
    // Clusters in use again make a deleted file incomplete; free ones give its bytes back whole.
    if (reused) {
      EXPECT_EQ(dir->complete, 0) << e.path;
    }
    if (reused || scattered || e.size == 0) continue;
    EXPECT_EQ(dir->complete, 1) << e.path;
    EXPECT_EQ(testing::fileSha256(saved / e.path), e.sha256) << e.path;
  }
}

TEST_P(ExfatScenario, DatesKeepTheirUtcOffsetAndTenMillisecondPart) {
  const KitImage image = makeKitImage(GetParam());
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto walked = walkImage(image);
  const auto tree = testing::entriesByPath(walked.volume->dirRoot);
  // The kit writes "DCIM" first: created 2021-11-03 09:05:20.5 +02:00 with a 1.5 s part, modified
  // 2023-05-17 14:32:10 +02:00.
  const Entry* dcim = tree.at("DCIM");
  EXPECT_EQ(dcim->createDate, 1635923121U + 2082844800U);
  EXPECT_EQ(dcim->modDate, 1684326730U + 2082844800U);
}

TEST_P(ExfatScenario, DiscoveryListsTheVolumeAsExfat) {
  const KitImage image = makeKitImage(GetParam());
  ASSERT_TRUE(image.error.empty()) << image.error;
  const std::vector<Dict> volumes = imageMediaEntries(image.path, 0, true);
  ASSERT_EQ(volumes.size(), 1U);
  EXPECT_EQ(volumes[0].uint64("Volume Start"), image.manifest.volumes.at(0).startSector);
  // The volume list takes the row as a FAT-like volume and names it by its boot sector, whatever its
  // partition type (0x07 is NTFS's too, the GPT type any Windows data volume's).
  EXPECT_TRUE(isVolumeFAT(volumes[0]));
  EXPECT_EQ(fatFileSystemDetermination(volumes[0]), "exFAT");
}

INSTANTIATE_TEST_SUITE_P(Kit, ExfatScenario,
                         ::testing::Values("exfat-basic", "exfat-mbr", "exfat-gpt", "exfat-damaged-boot"));

// Sleuth Kit and fsck.exfat read the same volume on their own: the same names, the same deleted flags.
TEST(ExfatOracle, SleuthKitListsWhatTheWalkFinds) {
  if (imagekit::findTool("fls").empty() || imagekit::findTool("fsck.exfat").empty()) GTEST_SKIP() << "no fls or fsck.exfat";
  const KitImage image = makeKitImage("exfat-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const imagekit::ToolRun fsck = imagekit::runTool({"fsck.exfat", "-n", image.path});
  EXPECT_EQ(fsck.exitCode, 0) << fsck.output;
  const imagekit::ToolRun fls = imagekit::runTool({"fls", "-r", "-p", "-f", "exfat", image.path});
  ASSERT_EQ(fls.exitCode, 0) << fls.output;
  std::set<std::pair<std::string, bool>> theirs;
  std::istringstream lines(fls.output);
  for (std::string line; std::getline(lines, line);) {
    const auto tab = line.find('\t');
    if (tab == std::string::npos || line.find('$') != std::string::npos || line.find("Volume Label") != std::string::npos)
      continue;
    theirs.insert({line.substr(tab + 1), line.find(" * ") != std::string::npos});
  }
  auto walked = walkImage(image);
  std::set<std::pair<std::string, bool>> ours;
  for (const auto& [path, dir] : testing::entriesByPath(walked.volume->dirRoot)) ours.insert({path, dir->deleted != 0});
  EXPECT_EQ(ours, theirs);
}

// Random bytes over the boot region, the FAT, the bitmap and the directories: the walk returns with
// fewer entries or an alert, never a crash or hang.
TEST(ExfatHostile, RandomCorruptionOfAKitVolume) {
  const KitImage image = makeKitImage("exfat-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  std::ifstream in(image.path, std::ios::binary);
  std::vector<char> original((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // Boot region and its backup, FAT, and the first clusters of the heap hold everything the walk reads.
  const std::uint64_t hotBytes = 2 * 1024 * 1024 + 128 * 1024;
  std::mt19937_64 random(26);
  const std::string copy = (testing::imageFolder() / "exfat-hostile.img").string();
  for (int round = 0; round < 60; ++round) {
    std::vector<char> bytes = original;
    const int changes = 1 + static_cast<int>(random() % 64);
    for (int i = 0; i < changes; ++i) {
      std::uint64_t at = random() % hotBytes;
      if (random() % 2 == 0) at = 1024 * 1024 + random() % (256 * 1024);  // the heap's start
      bytes[at] = static_cast<char>(random() % 256);
    }
    // Every third round also loses the main boot sector, so the backup region is read.
    if (round % 3 == 0) std::fill(bytes.begin(), bytes.begin() + 512, 0);
    std::ofstream(copy, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    auto walked = walkExfat(copy, 0, bytes.size() / 512);
    EXPECT_LE(walked.volume->counters.entryCount, 100000U);
  }
}

}  // namespace
}  // namespace nua

namespace nua {
namespace {

// Image offset of the stream extension whose FirstCluster is `cluster`, searched in the root.
std::uint64_t streamEntryOf(const std::string& path, std::uint32_t cluster) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const ByteSpan image(reinterpret_cast<const std::byte*>(raw.data()), raw.size());
  const std::uint64_t heap = std::uint64_t{le32(image, 88)} * 512;
  const std::uint64_t root = heap + std::uint64_t{le32(image, 96) - 2} * 4096;
  for (std::uint64_t at = root; at < root + 4096; at += 32)
    if (u8(image, at) == kExfatStreamExtension && le32(image, at + 20) == cluster) return at;
  return 0;
}

std::vector<std::uint8_t> le32Bytes(std::uint32_t value) {
  return {static_cast<std::uint8_t>(value % 256), static_cast<std::uint8_t>(value / 256 % 256),
          static_cast<std::uint8_t>(value / 65536 % 256), static_cast<std::uint8_t>(value / 16777216)};
}

struct DamageCase {
  const char* name;
  // What to change, given the image and the stream entry of "DCIM".
  std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>> (*patches)(std::uint64_t dcimStream);
  bool alert;
};

class ExfatDamage : public ::testing::TestWithParam<DamageCase> {};

TEST_P(ExfatDamage, GivesFewerEntriesOrTheAlert) {
  const KitImage image = makeKitImage("exfat-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const std::uint32_t dcimCluster = static_cast<std::uint32_t>(image.manifest.volumes.at(0).entries.at(0).id);
  const std::uint64_t stream = streamEntryOf(image.path, dcimCluster);
  ASSERT_NE(stream, 0U);
  std::string path = image.path;
  int n = 0;
  for (const auto& [offset, bytes] : GetParam().patches(stream))
    path = testing::patchedCopy(path, std::string(GetParam().name) + std::to_string(n++), offset, bytes);
  testing::RecordingSink sink;
  auto walked = walkExfat(path, 0, image.manifest.imageBytes / 512, sink);
  EXPECT_EQ(sink.alerts.empty(), !GetParam().alert);
  EXPECT_LT(walked.volume->counters.entryCount, image.manifest.volumes.at(0).entries.size() + 1);
  if (!GetParam().alert) {
    EXPECT_GE(walked.volume->counters.entryCount, 3U);  // the root's own files stay
  }
}

std::vector<std::uint8_t> zeros(std::size_t n) { return std::vector<std::uint8_t>(n, 0); }

INSTANTIATE_TEST_SUITE_P(
    Cases, ExfatDamage,
    ::testing::Values(
        // Both boot regions gone: nothing to read the volume by.
        DamageCase{"both-boot-sectors",
                   [](std::uint64_t) { return std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>{
                                           {0, zeros(512)}, {12 * 512, zeros(512)}}; },
                   true},
        // The main region's checksum broken by one byte of boot code: the backup holds.
        DamageCase{"main-checksum",
                   [](std::uint64_t) { return std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>{
                                           {300, {0x77}}}; },
                   false},
        // Both checksum sectors broken: the sound boot sector still opens the volume.
        DamageCase{"both-checksums",
                   [](std::uint64_t) { return std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>{
                                           {11 * 512, zeros(512)}, {23 * 512, zeros(512)}}; },
                   false},
        // A folder that leads back to the root.
        DamageCase{"folder-loop",
                   [](std::uint64_t s) { return std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>{
                                             {s + 20, le32Bytes(5)}}; },
                   false},
        // A folder claiming the largest length there is, and one starting past the heap.
        DamageCase{"folder-length",
                   [](std::uint64_t s) { return std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>{
                                             {s + 24, std::vector<std::uint8_t>(8, 0xFF)}, {s + 8, std::vector<std::uint8_t>(8, 0xFF)}}; },
                   false},
        DamageCase{"folder-past-heap",
                   [](std::uint64_t s) { return std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>{
                                             {s + 20, le32Bytes(0xFFFFFFF0)}}; },
                   false},
        // The FAT's first window all end-of-chain marks, and the bitmap cleared.
        DamageCase{"fat-and-bitmap",
                   [](std::uint64_t) { return std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>{
                                           {2048 * 512, std::vector<std::uint8_t>(8192, 0xFF)},
                                           {4096 * 512, zeros(1024)}}; },
                   false}),
    [](const auto& p) {
      std::string name = p.param.name;
      std::replace(name.begin(), name.end(), '-', '_');
      return name;
    });

}  // namespace
}  // namespace nua
