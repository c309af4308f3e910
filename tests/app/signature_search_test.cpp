// The signature search run by the real scan thread entries on real images: the kit's demo disk (a GPT
// disk with an HFS+ and a FAT32 volume of photos, some deleted) and a FAT16 volume made by mkfs.fat and
// mtools. Every carved file is read back from the image at its recorded sector and must begin with the
// whole of one known photo.
#include "app/signature_search.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <tuple>

#include "app/scan_run.h"
#include "app/signature_search_progress.h"
#include "base/text.h"
#include "imagekit/demo_scenarios.h"
#include "imagekit/fat_tool_runner.h"
#include "imagekit/scenario.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

const fs::path& imageFolder() {
  struct Folder {
    fs::path path = fs::temp_directory_path() / ("nua-signature-search-" + std::to_string(::getpid()));
    Folder() { fs::create_directories(path); }
    ~Folder() {
      std::error_code ignored;
      fs::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

// A photo the image holds: its size and content hash.
struct Photo {
  std::uint64_t size = 0;
  std::string sha256;
  bool operator<(const Photo& other) const { return sha256 < other.sha256; }
  bool operator==(const Photo& other) const { return sha256 == other.sha256; }
};

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

// A carved file as the tree shows it, where it starts, and the known photo its bytes begin with
// (empty hash when none: a find must hold a whole photo, though a check may measure a margin past it).
struct Carved {
  std::string folder;
  std::string name;
  std::uint64_t absoluteSector = 0;
  Photo photo;
};

std::vector<Carved> carvedFiles(const Volume& volume, const std::string& imagePath, const std::set<Photo>& known,
                                const std::set<std::string>& folderTitles) {
  std::vector<Carved> out;
  std::ifstream image(imagePath, std::ios::binary);
  for (const Entry* folder : volume.dirRoot->childList) {
    const std::string title = toUtf8(EntryArena::fileNameOfDir(folder).value_or(u""));
    if (folderTitles.count(title) == 0) continue;
    for (const Entry* file : folder->childList) {
      Carved carved;
      carved.folder = title;
      carved.name = toUtf8(EntryArena::fileNameOfDir(file).value_or(u""));
      if (file->dataExt.empty()) continue;
      carved.absoluteSector = volume.HPlusVolStart + file->blockBaseSector + file->dataExt.front().startBlock;
      std::vector<std::byte> bytes(file->fileSize);
      image.clear();
      image.seekg(static_cast<std::streamoff>(carved.absoluteSector * 512));
      image.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
      for (const Photo& photo : known) {
        if (photo.size > bytes.size()) continue;
        if (imagekit::sha256Hex(std::span(bytes).first(photo.size)) == photo.sha256) carved.photo = photo;
      }
      out.push_back(carved);
    }
  }
  return out;
}

std::set<Photo> photosOf(const std::vector<Carved>& files) {
  std::set<Photo> out;
  for (const Carved& file : files) out.insert(file.photo);
  return out;
}

// The catalog's JPEG and PNG rows: served by the format checks (plain searches) or, with typeOfFile 1,
// by the file checks (photo searches).
SigSelArray photoSignatures(bool fileChecks) {
  SigSelArray marked;
  for (const auto& [extension, header, length, type] :
       {std::tuple<const char*, std::uint64_t, std::uint8_t, std::uint32_t>{"jpg", 0xFFD8FF, 3, 3},
        {"png", 0x89504E470D0A1A0AULL, 8, 6}}) {
    auto node = std::make_shared<SigNode>();
    node->fileTypeSigNode = SigNode::kFileTypeNode;
    node->selected = 1;
    node->sig = std::make_shared<Sig>();
    node->sig->extension = extension;
    node->sig->header = header;
    node->sig->headerLength = length;
    node->sig->typeOfFile = fileChecks ? 1 : type;
    node->sig->defaultSize = 20;
    marked.push_back(node);
  }
  return marked;
}

// The folders a method's finds go into: by extension (plain) or by format (with the file checks).
std::set<std::string> carvedFolders(std::int64_t method) {
  return method == 0 ? std::set<std::string>{"jpg files", "png files"} : std::set<std::string>{"JPG Files", "PNG Files"};
}

// Records what a scan shows; stops the scan once it has found `stopAfterFiles` files when asked to.
class RecordingSink final : public ScanRunSink {
 public:
  void report(const ScanProgress& progress) override { reports.push_back(progress); }
  [[nodiscard]] bool tickPending() const override { return false; }
  void offerForTick(const ScanProgress& progress) override {
    offers.push_back(progress);
    if (stopVolume != nullptr && progress.counts && progress.counts->files >= stopAfterFiles) {
      stopVolume->setStopTreeThread(true);
    }
  }
  void alert(const Alert& alert) override { alerts.push_back(alert.text); }
  void abandonScan() override {}
  void startTicks() override {}
  void stopTicks() override {}
  void complete(const ScanProgress& last) override { completion = last; }

  std::vector<ScanProgress> reports, offers;
  std::vector<std::string> alerts;
  std::optional<ScanProgress> completion;
  Volume* stopVolume = nullptr;
  std::uint64_t stopAfterFiles = 0;
};

std::unique_ptr<Volume> wholeDisk() {
  const TestImage& disk = demoDisk();
  return Volume::initWithDictionary(
      Dict{{"WhetherDiskDict", true}, {"Path", disk.path}, {"Size", disk.bytes}, {"Preferred Block Size", 512}},
      MediaContext{});
}

std::unique_ptr<Volume> volumeAt(const std::string& path, std::uint64_t start, std::uint64_t sectors,
                                 const char* content) {
  return Volume::initWithDictionary(Dict{{"Volume Scan Type", 0}, {"Path", path}, {"Volume Start", start},
                                         {"Volume Size In Sectors", sectors}, {"Content", content},
                                         {"Volume Name", "Test"}},
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

TEST_F(SignatureSearchTest, RangeAndStopLimitWhatTheDiskSearchFinds) {
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

// A FAT16 volume by mkfs.fat with a live photo, a deleted one whose directory entry is still there
// (the walk recovers it, so the search leaves it alone) and a deleted one whose entry was wiped.
struct FatFixture {
  std::string path;
  std::uint64_t sectors = 0;
  Photo live, kept, gone;
  std::uint64_t goneSector = 0;
};

FatFixture makeFatFixture() {
  FatFixture fixture;
  const fs::path image = imageFolder() / "fat16.img";
  fixture.path = image.string();
  std::string error;
  EXPECT_TRUE(imagekit::runToolChecked({"mkfs.fat", "-C", "-F", "16", "-s", "2", fixture.path, "8192"}, error)) << error;
  const std::vector<std::pair<std::string, imagekit::DemoPhoto>> files{
      {"LIVE.JPG", {"LIVE.JPG", 320, 240, 8, false}},
      {"KEPT.PNG", {"KEPT.PNG", 200, 150, 0, true}},
      {"GONE.JPG", {"GONE.JPG", 480, 360, 10, true}}};
  std::vector<std::vector<std::byte>> contents;
  std::uint64_t seed = 40;
  for (const auto& [name, photo] : files) {
    contents.push_back(imagekit::demoPhotoBytes(photo, ++seed));
    const fs::path local = imageFolder() / name;
    std::ofstream(local, std::ios::binary)
        .write(reinterpret_cast<const char*>(contents.back().data()), static_cast<std::streamsize>(contents.back().size()));
    EXPECT_TRUE(imagekit::runToolChecked({"mcopy", "-i", fixture.path, local.string(), "::/" + name}, error)) << error;
  }
  for (const char* name : {"KEPT.PNG", "GONE.JPG"}) {
    EXPECT_TRUE(imagekit::runToolChecked({"mdel", "-i", fixture.path, std::string("::/") + name}, error)) << error;
  }
  std::fstream bytes(fixture.path, std::ios::binary | std::ios::in | std::ios::out);
  std::vector<char> all((std::istreambuf_iterator<char>(bytes)), std::istreambuf_iterator<char>());
  fixture.sectors = all.size() / 512;
  // The deleted entry of GONE.JPG (first byte 0xE5) becomes an end-of-directory entry.
  const std::string deletedName = "\xE5ONE    JPG";
  const auto entry = std::search(all.begin(), all.end(), deletedName.begin(), deletedName.end());
  EXPECT_NE(entry, all.end());
  bytes.clear();
  bytes.seekp(entry - all.begin());
  const std::string zeros(32, '\0');
  bytes.write(zeros.data(), 32);
  Photo* photos[] = {&fixture.live, &fixture.kept, &fixture.gone};
  for (std::size_t i = 0; i < contents.size(); ++i) {
    *photos[i] = Photo{contents[i].size(), imagekit::sha256Hex(contents[i])};
  }
  const auto* first = reinterpret_cast<const char*>(contents[2].data());
  for (std::size_t at = 0; at + 512 <= all.size(); at += 512) {
    if (std::equal(first, first + 512, all.begin() + static_cast<std::ptrdiff_t>(at))) fixture.goneSector = at / 512;
  }
  EXPECT_NE(fixture.goneSector, 0U);
  return fixture;
}

TEST(FatSignatureSearch, FreeSpaceSearchFindsOnlyTheDeletedPhotoTheTreeLacks) {
  const FatFixture fat = makeFatFixture();
  const std::set<Photo> known{fat.live, fat.kept, fat.gone};
  for (const std::int64_t method : {0, 1}) {
    auto volume = volumeAt(fat.path, 0, fat.sectors, "FAT16");
    RecordingSink sink;
    scanForDeletedFiles(*volume, ScanArguments{std::int64_t{1}, std::int64_t{1}, photoSignatures(method == 1), method},
                        sink);
    const std::vector<Carved> carved = carvedFiles(*volume, fat.path, known, carvedFolders(method));
    ASSERT_EQ(carved.size(), 1U) << method;
    EXPECT_EQ(carved[0].photo.sha256, fat.gone.sha256);
    EXPECT_EQ(carved[0].absoluteSector, fat.goneSector);
    EXPECT_EQ(carved[0].folder, method == 0 ? "jpg files" : "JPG Files");
    EXPECT_EQ(carved[0].name, method == 0 ? "File1.jpg" : "file1.jpg");
    ASSERT_TRUE(sink.completion);
    EXPECT_EQ(sink.completion->status, "Tree Completed ...");
  }
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
