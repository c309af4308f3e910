// Catalog fragments: the shape tests on built bytes, and the whole-volume search on kit images whose
// old catalog leaves lie in free space or whose catalog header is gone.
#include "hfs/catalog_fragments.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "hfs/orphan_entries.h"
#include "hfs_test_support.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

using testing::KitImage;
using testing::makeKitImage;

std::vector<std::byte> leafTail() {
  std::vector<std::byte> sector(512);
  putBe16(sector, 508, 120);  // record 1
  putBe16(sector, 510, 14);   // record 0
  return sector;
}

std::vector<std::byte> leafHead() {
  std::vector<std::byte> sector(512);
  put8(sector, 8, 0xFF);  // kind: leaf
  put8(sector, 9, 1);     // height
  putBe16(sector, 10, 3);
  return sector;
}

TEST(FragmentShape, TailAndHeadOfALeafPass) {
  EXPECT_TRUE(sectorEndsLikeLeafNode(leafTail()));
  EXPECT_TRUE(fragmentDescriptorPasses(leafHead()));
}

TEST(FragmentShape, EveryShorterSpanFailsCleanly) {
  const auto tail = leafTail();
  for (std::size_t n = 0; n < 4; ++n) EXPECT_FALSE(sectorEndsLikeLeafNode(ByteSpan(tail).last(n)));
  const auto head = leafHead();
  for (std::size_t n = 0; n < 14; ++n) EXPECT_FALSE(fragmentDescriptorPasses(ByteSpan(head).first(n)));
}

TEST(FragmentShape, EachTestedFieldOutOfRangeFails) {
  struct Change {
    const char* what;
    std::size_t offset;
    std::uint16_t value;
    bool head;
  };
  for (const Change& c : {Change{"record 0 not at 14", 510, 15, false}, Change{"record 1 below 15", 508, 14, false},
                          Change{"index node", 8, 0x0001, true}, Change{"numRecords 0", 10, 0, true},
                          Change{"numRecords 255", 10, 255, true}, Change{"reserved set", 12, 1, true}}) {
    auto tail = leafTail();
    auto head = leafHead();
    if (c.head && c.offset == 8) {
      put8(head, 9, 2);  // height 2
    } else {
      putBe16(c.head ? head : tail, c.offset, c.value);
    }
    EXPECT_FALSE(sectorEndsLikeLeafNode(tail) && fragmentDescriptorPasses(head)) << c.what;
  }
}

// The reader of one fragment over random and mutated nodes: it must return, whatever the bytes.
TEST(FragmentShape, RandomNodesNeverCrashTheReader) {
  const KitImage image = makeKitImage("hfs-basic");
  ASSERT_TRUE(image.error.empty()) << image.error;
  std::vector<char> bytes(image.manifest.imageBytes);
  std::ifstream(image.path, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::mt19937 random(7);
  const std::string noisy = image.path + ".noise";
  for (std::size_t i = 0; i < bytes.size(); i += 4096) {
    // Every 4096-byte node gets a leaf tail and head, and random damage in between.
    for (int k = 0; k < 64; ++k) bytes[i + random() % 4096] = static_cast<char>(random());
    bytes[i + 8] = static_cast<char>(0xFF);
    bytes[i + 9] = 1;
    bytes[i + 10] = 0;
    bytes[i + 11] = static_cast<char>(1 + random() % 200);
    bytes[i + 12] = bytes[i + 13] = 0;
    bytes[i + 4094] = 0;
    bytes[i + 4095] = 14;
    bytes[i + 4092] = static_cast<char>(random() % 16);
    bytes[i + 4093] = static_cast<char>(random());
  }
  std::ofstream(noisy, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  auto volume = testing::openAsPartition(noisy, bytes.size());
  volume->resetSigArraysAndBtreesAndOthers();
  volume->dirRoot = makeRootDir(*volume->arena, volume->tables.btree.get());
  volume->blockSize = 8;
  HfsVolume hfs(*volume, ProgressSink::none());
  searchCatFrags(hfs);
  volume->catalog.catNodeSize = 8;
  volume->catalog.journalStart = 0;
  volume->catalog.journalSize = bytes.size();
  searchCatFragsForDeletedFiles(hfs);
  SUCCEED();
}

struct FragmentRun {
  std::unique_ptr<Volume> volume;
  std::map<std::uint32_t, const Entry*> found;  // by id, from both orphan tables
};

// The advanced scan's use of the search: header and catalog if they can be had, then the search.
FragmentRun searchImage(const std::string& path, std::uint64_t startSector, std::uint64_t sectors) {
  FragmentRun run;
  run.volume = Volume::initWithDictionary(Dict{{"Volume Scan Type", 0},
                                               {"Path", path},
                                               {"Volume Start", startSector},
                                               {"Volume Size In Sectors", sectors},
                                               {"Content", "Apple_HFS"}},
                                          MediaContext{});
  Volume& v = *run.volume;
  v.resetSigArraysAndBtreesAndOthers();
  v.dirRoot = makeRootDir(*v.arena, v.tables.btree.get());
  HfsVolume hfs(v, ProgressSink::none());
  if (hfs.initializeVIB()) {
    v.advScanEntriesCanBePutIntoOrphanEntryArray = true;
    if (!hfs.checkCatalogAndExtentsFile()) hfs.getCatalogExtFromVIB();
  } else {
    v.blockSize = 8;
  }
  searchCatFrags(hfs);
  for (auto* table : {v.tables.btreeOrph.get(), v.tables.btreeOrphAdvScanEntries.get()})
    table->forEachItemInOrder([&](OrphanItem& item) { run.found.emplace(item.keyField, item.dir); });
  return run;
}

void expectEntries(const KitImage& image, const FragmentRun& run, bool deleted) {
  std::size_t expected = 0;
  for (const auto& e : image.manifest.volumes.at(0).entries) {
    if (e.path.empty() || e.deleted != deleted) continue;
    ++expected;
    auto it = run.found.find(static_cast<std::uint32_t>(e.id));
    ASSERT_NE(it, run.found.end()) << e.path;
    EXPECT_EQ(testing::nameOf(it->second), e.name) << e.path;
    EXPECT_EQ(it->second->parentID, e.parentId) << e.path;
    EXPECT_EQ(it->second->fileType, e.folder ? 1 : 2) << e.path;
    if (!e.folder) {
      EXPECT_EQ(it->second->fileSize, e.size) << e.path;
    }
  }
  EXPECT_GT(expected, 0u);
}

TEST(SearchCatFrags, OldLeavesInFreeSpaceBecomeFragmentEntries) {
  const KitImage image = makeKitImage("hfs-reformatted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const FragmentRun run = searchImage(image.path, 0, image.manifest.imageBytes / 512);
  expectEntries(image, run, true);
  ASSERT_NE(run.volume->dirLostFolders, nullptr);
  EXPECT_EQ(run.volume->dirLostFolders->parent, run.volume->dirRoot);
  EXPECT_EQ(run.volume->tables.btreeAdvScan->retrieveKeyField(kLostFoldersID)->dir, run.volume->dirLostFolders);
  // Old leaves lie outside the new catalog file, so they form the search's own table.
  EXPECT_GT(run.volume->counters.orphAdvScanEntriesTotal, 0u);
}

// Without a catalog header the node size is unknown; 4096- and 8192-byte nodes are both found, and
// nodes inside the catalog file (known from the volume header) wait in btreeOrph.
TEST(SearchCatFrags, WithoutACatalogHeaderBothNodeSizesAreTried) {
  for (const char* nodeSize : {"4096", "8192"}) {
    const KitImage image = makeKitImage("hfs-damaged-catalog", {{"node-size", nodeSize}});
    ASSERT_TRUE(image.error.empty()) << image.error;
    const FragmentRun run = searchImage(image.path, 0, image.manifest.imageBytes / 512);
    expectEntries(image, run, false);
    EXPECT_EQ(run.volume->catalog.catNodeSize, 0) << nodeSize;
    EXPECT_GT(run.volume->counters.orphEntriesTotal, 0u) << nodeSize;
  }
}

// A volume inside a larger image is searched over its own sectors, from its start.
TEST(SearchCatFrags, VolumeInsideADiskIsSearchedFromItsStart) {
  const KitImage image = makeKitImage("hfs-reformatted");
  ASSERT_TRUE(image.error.empty()) << image.error;
  const std::string disk = image.path + ".disk";
  {
    std::ifstream in(image.path, std::ios::binary);
    std::ofstream out(disk, std::ios::binary);
    const std::vector<char> lead(2048 * 512 + 7 * 512, 0);  // an odd start: no batch lines up with it
    out.write(lead.data(), static_cast<std::streamsize>(lead.size()));
    out << in.rdbuf();
  }
  const FragmentRun run = searchImage(disk, 2048 + 7, image.manifest.imageBytes / 512);
  expectEntries(image, run, true);
}

}  // namespace
}  // namespace nua
