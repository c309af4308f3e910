// The deleted-file scan of journaled kit volumes, from the scan entry to the saved files, compared with
// the manifest: every deleted entry under its folder, no live file, and the saved bytes by SHA-256.
#include "hfs/deleted_file_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "app/scan_entries.h"
#include "hfs/journal_extent_search.h"
#include "hfs_image_edit.h"
#include "hfs_test_support.h"
#include "records/entry_ops.h"
#include "save/recover_to_folder.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing::entriesByPath;
using testing::KitImage;
using testing::makeKitImage;

std::unique_ptr<Volume> openDeleted(const std::string& path, std::uint64_t startSector, std::uint64_t sectors) {
  auto volume = Volume::initWithDictionary(Dict{{"WhetherVolume", true},
                                                {"Path", path},
                                                {"Preferred Block Size", 512},
                                                {"Size", sectors * 512},
                                                {"Volume Start", startSector},
                                                {"Content", "Apple_HFS"},
                                                {"journaled", "Yes"}},
                                           MediaContext{});
  volume->resetSigArraysAndBtreesAndOthers();
  return volume;
}

std::unique_ptr<Volume> scanDeleted(const std::string& path, std::uint64_t startSector, std::uint64_t sectors,
                                    const ScanArguments& arguments = {std::int64_t{1}, std::int64_t{0}}) {
  auto volume = openDeleted(path, startSector, sectors);
  (void)scanForDeletedFilesHFS(*volume, arguments, ScanRunSink::none());
  return volume;
}

bool overlaps(const imagekit::ManifestEntry& a, const imagekit::ManifestEntry& b) {
  for (const auto& [s1, n1] : a.extents)
    for (const auto& [s2, n2] : b.extents)
      if (s1 < s2 + n2 && s2 < s1 + n1) return true;
  return false;
}

std::string fileSha256(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), {});
  return imagekit::sha256Hex(std::as_bytes(std::span(bytes.data(), bytes.size())));
}

// The tree holds every deleted entry under its own folder, living or deleted, and no live file; saving everything gives each deleted file's bytes where no live file has
// taken its blocks since.
void expectDeletedEntriesRecovered(const imagekit::ManifestVolume& manifest, Volume& v) {
  ASSERT_NE(v.dirRoot, nullptr);
  const auto tree = entriesByPath(v.dirRoot);
  std::set<std::uint64_t> liveFileIDs;
  std::map<std::uint64_t, std::string> pathOfID;
  for (const auto& e : manifest.entries) {
    pathOfID[e.id] = e.path;
    if (!e.deleted && !e.folder) liveFileIDs.insert(e.id);
  }
  std::size_t deletedFiles = 0;
  for (const auto& e : manifest.entries) {
    if (!e.deleted) continue;
    const auto found = tree.find(e.path);
    ASSERT_NE(found, tree.end()) << e.path;
    EXPECT_EQ(found->second->deleted, 1) << e.path;
    EXPECT_EQ(found->second->fileID, e.id) << e.path;
    if (e.folder) continue;
    ++deletedFiles;
    EXPECT_EQ(found->second->fileSize, e.size) << e.path;
    EXPECT_EQ(found->second->createDate, e.createDate) << e.path;
    EXPECT_EQ(found->second->complete, 1) << e.path;
  }
  EXPECT_GT(deletedFiles, 0u);
  for (const auto& [path, dir] : tree)
    EXPECT_FALSE(dir->fileType == 2 && liveFileIDs.count(dir->fileID) != 0) << "live file shown: " << path;

  const fs::path out = testing::imageFolder() / ("saved-" + std::to_string(reinterpret_cast<std::uintptr_t>(&v)));
  SilentUiBridge ui;
  const RecoverResult result = recoverToFolder(v, {out.string(), {"all"}, false, false}, ui, nullptr);
  ASSERT_TRUE(result.saved) << result.message;
  for (const auto& e : manifest.entries) {
    if (!e.deleted || e.folder) continue;
    bool reused = false;
    for (const auto& other : manifest.entries)
      if (!other.deleted && !other.folder && overlaps(e, other)) reused = true;
    if (reused) continue;
    const fs::path saved = out / "Root" / e.path;
    ASSERT_TRUE(fs::exists(saved)) << e.path;
    EXPECT_EQ(fileSha256(saved), e.sha256) << e.path;
  }
  fs::remove_all(out);
}

TEST(DeletedFileScan, JournalCopiesGiveEveryDeletedEntryAndItsBytes) {
  for (const char* perLeaf : {"4", "2"}) {
    const KitImage image = makeKitImage("hfs-journal-deleted", {{"records-per-leaf", perLeaf}});
    ASSERT_TRUE(image.error.empty()) << image.error;
    auto v = scanDeleted(image.path, 0, image.manifest.imageBytes / 512);
    EXPECT_EQ(v->treeScanMode, 1);
    expectDeletedEntriesRecovered(image.manifest.volumes.at(0), *v);
  }
}

// Hides every journal copy of a folder's catalog record by zeroing the name length of its key
// (parent id, then name in UTF-16BE), which makes the journal search pass the record over.
void hideFolderRecordInJournal(const KitImage& image, const imagekit::ManifestEntry& folder) {
  const auto& journal = image.manifest.volumes.at(0).extra.at("journal");
  const std::uint64_t start = journal.at("volumeByteOffset").get<std::uint64_t>();
  const std::uint64_t length = journal.at("bytes").get<std::uint64_t>();
  std::vector<std::byte> key(6 + 2 * folder.name.size());
  putBe32(key, 0, static_cast<std::uint32_t>(folder.parentId));
  putBe16(key, 4, static_cast<std::uint16_t>(folder.name.size()));
  for (std::size_t i = 0; i < folder.name.size(); ++i) putBe16(key, 6 + 2 * i, static_cast<std::uint8_t>(folder.name[i]));
  auto bytes = testing::readImage(image.path);
  std::size_t hidden = 0;
  for (std::uint64_t at = start; at + key.size() <= start + length && at + key.size() <= bytes.size(); ++at)
    if (std::equal(key.begin(), key.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at))) {
      putBe16(bytes, at + 4, 0);
      ++hidden;
    }
  ASSERT_GT(hidden, 0u) << folder.path;
  testing::writeImage(image.path, bytes);
}

// Recorded decision: a deleted file whose folder still lives hangs under that folder, marked
// deleted, rather than in "Lost Files", even where the journal kept no copy of the folder's record.
TEST(DeletedFileScan, DeletedFileWhoseFolderLivesHangsUnderThatFolder) {
  const KitImage image = makeKitImage("hfs-journal-deleted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto& manifest = image.manifest.volumes.at(0);
  std::map<std::uint64_t, const imagekit::ManifestEntry*> byID;
  for (const auto& e : manifest.entries) byID[e.id] = &e;
  for (const auto& e : manifest.entries)
    if (e.deleted && !e.folder && byID.count(e.parentId) != 0 && !byID.at(e.parentId)->deleted &&
        !byID.at(e.parentId)->path.empty())
      hideFolderRecordInJournal(image, *byID.at(e.parentId));
  auto v = scanDeleted(image.path, 0, image.manifest.imageBytes / 512);
  const auto tree = entriesByPath(v->dirRoot);
  std::size_t checked = 0;
  for (const auto& e : manifest.entries) {
    if (!e.deleted || e.folder || byID.count(e.parentId) == 0 || byID.at(e.parentId)->deleted) continue;
    const auto& folder = *byID.at(e.parentId);
    if (folder.path.empty()) continue;  // the root
    ++checked;
    const auto found = tree.find(e.path);
    ASSERT_NE(found, tree.end()) << e.path;
    EXPECT_EQ(found->second->deleted, 1) << e.path;
    ASSERT_NE(found->second->parent, nullptr) << e.path;
    EXPECT_EQ(found->second->parent->fileID, folder.id) << e.path;
    EXPECT_FALSE(tree.count("Lost Files/" + e.name)) << e.path;
  }
  EXPECT_GT(checked, 0u) << "the kit volume has a deleted file in a live folder";
}

// Stops the journal search as the user's abort does, when its `stopAt`-th node comes up: the scan
// waits on each node's first message, so the nodes before it have been read whole.
class StopAtJournalNode : public testing::RecordingSink {
 public:
  StopAtJournalNode(Volume& v, int stopAt) : volume_(v), stopAt_(stopAt) {}
  void report(const ScanProgress& update) override {
    RecordingSink::report(update);
    if (update.barMinimum) inJournal_ = true;  // the journal search's set-up
    if (!inJournal_ || volume_.stopTreeThread) return;
    if (update.counts) {
      filesWalked = update.counts->files;  // the counts after a whole node
    } else if (!update.timeRemaining.empty() && update.status == progress_text::kScanStatus && ++nodes == stopAt_) {
      volume_.setStopTreeThread(true);
    }
  }
  int nodes = 0;
  std::uint64_t filesWalked = 0;

 private:
  Volume& volume_;
  int stopAt_;
  bool inJournal_ = false;
};

// An abort in the middle of the journal search keeps what the nodes read before it gave: those
// deleted files with their bytes, no more, and the scan still ends with its tree.
TEST(DeletedFileScan, AbortMidwayKeepsTheFilesOfTheNodesAlreadyRead) {
  const KitImage image = makeKitImage("hfs-journal-deleted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const auto& manifest = image.manifest.volumes.at(0);
  std::size_t deletedFiles = 0;
  for (const auto& e : manifest.entries) deletedFiles += e.deleted && !e.folder ? 1 : 0;
  bool sawPartial = false;
  for (int stopAt = 2; stopAt <= 8 && !sawPartial; ++stopAt) {
    auto v = openDeleted(image.path, 0, image.manifest.imageBytes / 512);
    StopAtJournalNode controller(*v, stopAt);
    const ScanProgress last = scanForDeletedFilesHFS(*v, {std::int64_t{1}, std::int64_t{0}}, controller);
    v->setStopTreeThread(false);
    if (controller.nodes < stopAt) break;  // the journal holds fewer nodes
    ASSERT_NE(v->dirRoot, nullptr);
    EXPECT_TRUE(last.treeComplete) << stopAt;
    EXPECT_EQ(last.status, progress_text::kTreeCompleted) << stopAt;
    std::size_t found = 0;
    for (const auto& [path, dir] : testing::entriesByPath(v->dirRoot)) {
      if (dir->fileType != 2) continue;
      const imagekit::ManifestEntry* entry = nullptr;
      for (const auto& e : manifest.entries)
        if (e.id == dir->fileID) entry = &e;
      ASSERT_NE(entry, nullptr) << path;
      EXPECT_TRUE(entry->deleted) << path;
      EXPECT_EQ(dir->fileSize, entry->size) << path;
      EXPECT_EQ(testing::contentSha256(*v, dir), entry->sha256) << path;
      ++found;
    }
    // A file waiting in a folder whose own parent was never found stays out, as in a whole scan.
    EXPECT_LE(found, controller.filesWalked) << stopAt;
    sawPartial = found > 0 && found < deletedFiles && found == controller.filesWalked;
  }
  EXPECT_TRUE(sawPartial) << "no stop midway kept exactly the files of the nodes already read";
}

TEST(DeletedFileScan, FragmentedDeletedFileTakesItsExtentsFromTheJournal) {
  const KitImage image = makeKitImage("hfs-journal-extents");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto v = scanDeleted(image.path, 0, image.manifest.imageBytes / 512);
  expectDeletedEntriesRecovered(image.manifest.volumes.at(0), *v);
  const auto tree = entriesByPath(v->dirRoot);
  ASSERT_TRUE(tree.count("Data/split.bin"));
  EXPECT_GT(tree.at("Data/split.bin")->dataExt.size(), 8u);
}

// The demo disk's HFS+ volume sits at sector 2048 of a GPT disk: the scan reads it there.
TEST(DeletedFileScan, DemoDiskVolumeInsideItsPartition) {
  const KitImage image = makeKitImage("demo");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const imagekit::ManifestVolume& hfs = image.manifest.volumes.at(0);
  ASSERT_EQ(hfs.name, "Family Photos");
  auto v = scanDeleted(image.path, hfs.startSector, hfs.sectorCount);
  expectDeletedEntriesRecovered(hfs, *v);
}

TEST(DeletedFileScan, WithoutTheJournalStageOnlyTheRootRemains) {
  const KitImage image = makeKitImage("hfs-journal-deleted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto v = scanDeleted(image.path, 0, image.manifest.imageBytes / 512, {std::int64_t{0}, std::int64_t{0}});
  ASSERT_NE(v->dirRoot, nullptr);
  EXPECT_TRUE(v->dirRoot->childList.empty());
  EXPECT_EQ(v->tables.btree, nullptr);  // the clean-up ran
}

// A journal said to be larger than the volume is read only up to the volume's end.
TEST(DeletedFileScan, JournalPastTheVolumeEndIsCut) {
  const KitImage image = makeKitImage("hfs-journal-deleted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  auto v = Volume::initWithDictionary(Dict{{"Volume Scan Type", 0},
                                           {"Path", image.path},
                                           {"Volume Start", 0},
                                           {"Volume Size In Sectors", image.manifest.imageBytes / 512},
                                           {"Content", "Apple_HFS"}},
                                      MediaContext{});
  v->resetSigArraysAndBtreesAndOthers();
  v->dirRoot = makeRootDir(*v->arena, v->tables.btree.get());
  testing::RecordingSink sink;
  HfsVolume hfs(*v, sink);
  hfs.fillVIB();
  ASSERT_TRUE(hfs.checkCatalogAndExtentsFile());
  hfs.getJournalSizeAndStart();
  v->catalog.journalSize = ~std::uint64_t{0};
  searchJournalForExtraExtents(hfs);
  bool sawMax = false;
  for (const ScanProgress& p : sink.updates)
    if (p.barMaximum) {
      sawMax = true;
      EXPECT_LE(*p.barMaximum, image.manifest.imageBytes / 512);
    }
  EXPECT_TRUE(sawMax);
}

}  // namespace
}  // namespace nua
