// The signature search run by the real scan thread entries on the kit's demo disk (a GPT disk with an
// HFS+ and a FAT32 volume of photos, some deleted). Every carved file is read back from the image at
// its recorded sector and must begin with the whole of one known photo.
#include "app/signature_search.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "app/scan_run.h"
#include "app/signature_search_progress.h"
#include "app/signature_search_support.h"
#include "imagekit/scenario.h"

namespace nua {
namespace {

using namespace searchtest;

struct TestImage {
  std::string path;
  std::uint64_t bytes = 0;
  imagekit::Manifest manifest;
};

const TestImage& demoDisk() {
  static const TestImage disk = [] {
    TestImage made;
    made.path = (imageFolder() / "demo.img").string();
    std::string error;
    const imagekit::Scenario* scenario = imagekit::findScenario("demo");
    if (scenario == nullptr || !scenario->make(made.path, {}, made.manifest, error)) made.path.clear();
    made.bytes = made.manifest.imageBytes;
    return made;
  }();
  return disk;
}

// The demo disk's photos on one volume (0 HFS+, 1 FAT32), or on both with -1.
std::set<Photo> demoPhotos(int volumeIndex, bool deleted, bool live) {
  std::set<Photo> out;
  const auto& volumes = demoDisk().manifest.volumes;
  for (std::size_t v = 0; v < volumes.size(); ++v) {
    if (volumeIndex >= 0 && static_cast<int>(v) != volumeIndex) continue;
    for (const imagekit::ManifestEntry& entry : volumes[v].entries) {
      if (entry.folder || entry.reused || (entry.deleted ? !deleted : !live)) continue;
      out.insert({entry.size, entry.sha256});
    }
  }
  return out;
}

std::unique_ptr<Volume> wholeDisk() {
  const TestImage& disk = demoDisk();
  return Volume::initWithDictionary(
      Dict{{"WhetherDiskDict", true}, {"Path", disk.path}, {"Size", disk.bytes}, {"Preferred Block Size", 512}},
      MediaContext{});
}

std::unique_ptr<Volume> demoVolume(int volumeIndex, const char* content) {
  const imagekit::ManifestVolume& v = demoDisk().manifest.volumes.at(static_cast<std::size_t>(volumeIndex));
  return volumeAt(demoDisk().path, v.startSector, v.sectorCount, content);
}

class SignatureSearchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(demoDisk().path.empty());
    ASSERT_EQ(demoDisk().manifest.volumes.size(), 2U);
  }
};

TEST_F(SignatureSearchTest, WholeDiskSearchFindsEveryPhotoOfBothVolumesWithItsProgress) {
  const std::set<Photo> all = demoPhotos(-1, true, true);
  for (const std::int64_t method : {0, 1}) {
    auto disk = wholeDisk();
    RecordingSink sink;
    scanForDeletedFilesDisk(*disk, ScanArguments{photoSignatures(method == 1), method}, sink);
    const std::vector<Carved> carved = carvedFiles(*disk, demoDisk().path, all, carvedFolders(method));
    EXPECT_EQ(photosOf(carved), all) << method;
    EXPECT_EQ(carved.size(), all.size()) << method;
    for (const Carved& file : carved) {
      const std::string extension = file.folder.substr(0, 3) == "png" || file.folder.substr(0, 3) == "PNG" ? "png" : "jpg";
      EXPECT_EQ(file.name.substr(0, 4), method == 0 ? "File" : "file") << file.name;
      EXPECT_EQ(file.name.substr(file.name.size() - 4), "." + extension) << file.name;
    }
    // The opening update sets the bar's range to the disk's sectors; the refreshes say how far it got.
    ASSERT_FALSE(sink.reports.empty());
    EXPECT_EQ(sink.reports.front().barMaximum, disk->sizeInSect);
    EXPECT_EQ(sink.reports.front().status, "default");
    ASSERT_FALSE(sink.offers.empty());
    EXPECT_EQ(sink.offers.front().timeRemaining, kCalculatingTimeRemaining);
    EXPECT_EQ(sink.offers.back().totalSize, disk->sizeInSect * 512);
    ASSERT_TRUE(sink.offers.back().counts);
    EXPECT_EQ(sink.offers.back().counts->files, carved.size());
    ASSERT_TRUE(sink.completion);
    EXPECT_EQ(sink.completion->status, "Tree Completed ...");
    EXPECT_EQ(sink.completion->barValue, 0U);
    EXPECT_TRUE(sink.alerts.empty());
  }
}

TEST_F(SignatureSearchTest, RangeResumeAndStopLimitWhatTheDiskSearchFinds) {
  const std::set<Photo> all = demoPhotos(-1, true, true);
  auto whole = wholeDisk();
  RecordingSink wholeSink;
  scanForDeletedFilesDisk(*whole, ScanArguments{photoSignatures(false), std::int64_t{0}}, wholeSink);
  // The range starts where the FAT32 volume does: the HFS+ volume's photos lie before it.
  const std::uint64_t fatStart = demoDisk().manifest.volumes[1].startSector;
  const float startPercent = 100.0F * static_cast<float>(fatStart) / static_cast<float>(whole->sizeInSect);
  std::set<std::uint64_t> afterStart;
  const std::vector<Carved> everything = carvedFiles(*whole, demoDisk().path, all, carvedFolders(0));
  for (const Carved& file : everything) {
    if (file.absoluteSector >= fatStart) afterStart.insert(file.absoluteSector);
  }
  ASSERT_FALSE(afterStart.empty());
  ASSERT_LT(afterStart.size(), everything.size());

  auto ranged = wholeDisk();
  ranged->setRawSearchStart(startPercent, 100.0F);
  RecordingSink rangedSink;
  scanForDeletedFilesDisk(*ranged, ScanArguments{photoSignatures(false), std::int64_t{0}}, rangedSink);
  std::set<std::uint64_t> found;
  for (const Carved& file : carvedFiles(*ranged, demoDisk().path, all, carvedFolders(0))) {
    found.insert(file.absoluteSector);
  }
  EXPECT_EQ(found, afterStart);

  // A resumed search starts exactly at the position before "auto".
  auto resumed = wholeDisk();
  RecordingSink resumedSink;
  scanForDeletedFilesDisk(*resumed,
                          ScanArguments{photoSignatures(false), std::int64_t{0}, static_cast<std::int64_t>(fatStart),
                                        std::string("auto")},
                          resumedSink);
  found.clear();
  for (const Carved& file : carvedFiles(*resumed, demoDisk().path, all, carvedFolders(0))) {
    found.insert(file.absoluteSector);
  }
  EXPECT_EQ(found, afterStart);

  // A stop asked for once the first find is shown ends the search there; the tree is still completed.
  auto stopped = wholeDisk();
  RecordingSink stopSink;
  stopSink.stopVolume = stopped.get();
  stopSink.stopAfterFiles = 1;
  scanForDeletedFilesDisk(*stopped, ScanArguments{photoSignatures(false), std::int64_t{0}}, stopSink);
  EXPECT_EQ(carvedFiles(*stopped, demoDisk().path, all, carvedFolders(0)).size(), 1U);
  ASSERT_TRUE(stopSink.completion);
  EXPECT_TRUE(stopSink.completion->treeComplete);
}

TEST_F(SignatureSearchTest, HfsFreeSpaceSearchFindsTheDeletedPhotosAndNoLiveOne) {
  for (const std::int64_t method : {0, 1}) {
    auto volume = demoVolume(0, "Apple_HFS");
    RecordingSink sink;
    scanForDeletedFiles(*volume, ScanArguments{std::int64_t{1}, std::int64_t{1}, photoSignatures(method == 1), method},
                        sink);
    const std::vector<Carved> carved = carvedFiles(*volume, demoDisk().path, demoPhotos(0, true, true), carvedFolders(method));
    EXPECT_EQ(photosOf(carved), demoPhotos(0, true, false)) << method;
    EXPECT_EQ(carved.size(), demoPhotos(0, true, false).size()) << method;
    ASSERT_TRUE(sink.completion);
    EXPECT_EQ(sink.completion->status, "Tree Completed ...");
    ASSERT_GE(sink.reports.size(), 1U);
    const bool searching = std::any_of(sink.reports.begin(), sink.reports.end(),
                                       [](const ScanProgress& r) { return r.status == "Searching lost files..."; });
    EXPECT_TRUE(searching);
  }
}

TEST_F(SignatureSearchTest, WholeVolumeSearchAfterTheTreePassesOverTheFilesTheTreeHolds) {
  auto volume = demoVolume(0, "Apple_HFS");
  RecordingSink sink;
  startMakingTree(*volume, ScanArguments{std::string("Normal Scan"), std::int64_t{1}, photoSignatures(true)}, sink);
  const std::vector<Carved> carved = carvedFiles(*volume, demoDisk().path, demoPhotos(0, true, true), carvedFolders(1));
  EXPECT_EQ(photosOf(carved), demoPhotos(0, true, false));
  ASSERT_TRUE(sink.completion);
  EXPECT_EQ(sink.completion->status, "default");
  std::set<std::string> titles;
  for (const Entry* child : volume->dirRoot->childList) {
    titles.insert(toUtf8(EntryArena::fileNameOfDir(child).value_or(u"")));
  }
  EXPECT_EQ(titles.count("Holidays 2014"), 1U);  // the live photos stay in their folders
}

TEST(SignatureSearchUpdate, TimeLeftIsGuessedOnlyAfterAThousandthOfTheRange) {
  const ScanCounts counts{5, 2, 3, 4096};
  SignatureScanProgress early;
  early.unitsDone = 1;
  early.totalUnits = 10000;
  early.elapsedSeconds = 1;
  EXPECT_EQ(signatureSearchUpdate(early, "default", counts).timeRemaining, "Calculating ...");
  SignatureScanProgress half = early;
  half.unitsDone = 5000;
  half.elapsedSeconds = 70;
  half.bytesDone = 5000 * 512;
  half.totalBytes = 10000 * 512;
  const ScanProgress update = signatureSearchUpdate(half, "Searching lost files...", counts);
  EXPECT_EQ(update.timeRemaining, "0:00:01:10");
  EXPECT_EQ(update.percentDone, 50.0);
  EXPECT_EQ(update.barValue, 5000U);
  EXPECT_EQ(update.sizeDone, 5000U * 512);
  ASSERT_TRUE(update.counts);
  EXPECT_EQ(update.counts->files, 3U);
}

}  // namespace
}  // namespace nua
