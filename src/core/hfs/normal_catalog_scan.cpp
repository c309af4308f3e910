// The catalog walk of the normal scan and the records it turns into entries.
#include "hfs/normal_catalog_scan.h"

#include <chrono>

#include "hfs/detail/catalog_leaf_walk.h"
#include "hfs/detail/fork_extents.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_catalog_file.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"
#include "ondisk/hfs_extent_key.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

using Clock = std::chrono::steady_clock;

class CatalogWalk {
 public:
  explicit CatalogWalk(HfsVolume& hfs) : hfs_(hfs), v_(hfs.volume()), progress_(hfs.progress()), walk_(hfs) {}
  void run();

 private:
  // Reads record `index` of the node in hand; true when it became an entry or an orphan.
  bool readRecord(std::size_t index);
  void addFolder(const HFSPlusCatalogKey& key, ByteSpan body);
  void addFile(const HFSPlusCatalogKey& key, ByteSpan body);
  [[nodiscard]] bool forkIsConsistent(const HFSPlusForkData& fork) const;
  void reportProgress();

  HfsVolume& hfs_;
  Volume& v_;
  ProgressSink& progress_;
  detail::CatalogLeafWalk walk_;
  Clock::time_point start_ = Clock::now();
};

void CatalogWalk::run() {
  ScanProgress begins = ScanProgress::withStatus(progress_text::kScanStatus);
  begins.bar = ProgressBar::kDeterminate;
  begins.barMaximum = v_.catalog.leafRecords;
  progress_.report(begins);
  walk_.run([this] {
    for (std::size_t i = 0; i < walk_.numRecords() && !v_.stopTreeThread; ++i)
      if (readRecord(i)) reportProgress();
  });
  ScanProgress done = ScanProgress::withCounts(v_.counts());
  done.barValue = v_.catalog.leafRecords;
  progress_.report(done);
}

bool CatalogWalk::readRecord(std::size_t index) {
  const ByteSpan node = walk_.node();
  const bool doubting = walk_.doubting();
  const auto head = detail::readCatalogRecordHead(node, index, walk_.numRecords(),
                                                  static_cast<std::size_t>(v_.u32BytesInSector), doubting);
  if (!head) return false;
  if (!fits(node.size(), head->bodyOffset, 2)) return false;
  const auto recordType = static_cast<std::int16_t>(be16(node, head->bodyOffset));
  if (recordType != kFolderRecordType && recordType != kFileRecordType) return false;  // threads play no part
  if (head->key.parentID == kParentOfRootID) return false;  // the volume's root: the tree's root stands for it
  const ByteSpan body = node.subspan(head->bodyOffset);
  if (recordType == kFolderRecordType) {
    if (doubting && !head->within(head->offset + head->keyLength + 90)) return false;
    addFolder(head->key, body);
  } else {
    if (doubting && !head->within(head->offset + head->keyLength + 250)) return false;
    addFile(head->key, body);
  }
  return true;
}

void CatalogWalk::addFolder(const HFSPlusCatalogKey& key, ByteSpan body) {
  auto parsed = parseHFSPlusCatalogFolder(body);
  if (!parsed) return;
  const HFSPlusCatalogFolder& f = *parsed;
  if (walk_.doubting() && (f.accessDate == 0 || f.contentModDate == 0 || f.createDate == 0 || f.folderID == 0 ||
                    f.recordType != kFolderRecordType))
    return;
  EntryItem* parentItem = v_.tables.btree->retrieveKeyField(key.parentID);
  EntryArena& arena = *v_.arena;
  Entry* dir = detail::newCatalogEntry(v_, 1, key, f.folderID, f.createDate, f.contentModDate);
  arena.setFileName(key.name, dir);
  ++v_.counters.folderCount;
  ++v_.counters.entryCount;
  dir->childBTree = v_.tables.btree.get();
  if (parentItem != nullptr && parentItem->dir != nullptr) {
    Entry* parent = parentItem->dir;
    std::u16string path = EntryArena::pathNameOfDir(parent).value_or(u"");
    path += u'/';
    path += EntryArena::fileNameOfDir(parent).value_or(u"");
    arena.setPathName(path, dir);
    dir->parent = parent;
    raiseAncestorCountsForFolder(dir);
    addChildUpdateBTree(dir, parent, TreeSide::kVolume);
  } else {
    ++v_.counters.orphEntriesTotal;
    v_.tables.btreeOrph->insert(OrphanItem{f.folderID, dir, false, false});
  }
}

bool CatalogWalk::forkIsConsistent(const HFSPlusForkData& fork) const {
  const std::uint64_t blockBytes = hfs_.blockBytes();
  if (blockBytes == 0) return false;
  if (fork.logicalSize > static_cast<std::uint64_t>(fork.totalBlocks) * blockBytes) return false;
  return fork.totalBlocks == fork.logicalSize / blockBytes + (fork.logicalSize % blockBytes != 0 ? 1 : 0);
}

void CatalogWalk::addFile(const HFSPlusCatalogKey& key, ByteSpan body) {
  auto parsed = parseHFSPlusCatalogFile(body);
  if (!parsed) return;
  const HFSPlusCatalogFile& f = *parsed;
  if (walk_.doubting() && (f.accessDate == 0 || f.contentModDate == 0 || f.createDate == 0 || f.fileID == 0 ||
                    f.recordType != kFileRecordType))
    return;
  const std::uint64_t volumeBytes = v_.sizeInSect * static_cast<std::uint64_t>(v_.u32BytesInSector);
  const std::uint64_t dataSize = f.dataFork.logicalSize;
  const std::uint64_t forkSum = dataSize + f.resourceFork.logicalSize;
  if (forkSum < dataSize || forkSum >= volumeBytes) return;
  if (!forkIsConsistent(f.dataFork) || !forkIsConsistent(f.resourceFork)) return;

  EntryArena& arena = *v_.arena;
  Entry* dir = detail::newCatalogEntry(v_, 2, key, f.fileID, f.createDate, f.contentModDate);
  dir->fileSize = dataSize;
  dir->sectorsPerBlock = static_cast<std::uint8_t>(v_.blockSize);

  // Extents: the record's eight, then the overflow file; a file whose blocks don't add up is dropped.
  const detail::AddedForkExtents added = detail::addDataForkExtents(hfs_, f.fileID, f.dataFork, dir);
  if ((added.endedInRecord || added.overflowRead) && added.blocks != f.dataFork.totalBlocks) {
    arena.freeNDir(dir);
    return;
  }
  dir->complete = 1;
  arena.setFileName(key.name, dir);
  const std::uint32_t firstBlock = f.dataFork.extents[0].startBlock;
  dir->fileCount = 1;
  ++v_.counters.fileCount;
  ++v_.counters.entryCount;
  EntryItem* parentItem = v_.tables.btree->retrieveKeyField(key.parentID);
  if (parentItem != nullptr && parentItem->dir != nullptr) {
    if (firstBlock != 0) v_.tables.btreeFirstFileBlock->insert(CountedKeyItem{firstBlock, 0});
    v_.counters.dataSize += dataSize;
    dir->parent = parentItem->dir;
    raiseAncestorCountsForFile(dir);
    addChild(dir, parentItem->dir);
  } else {
    v_.tables.btreeFirstFileBlock->insert(CountedKeyItem{firstBlock, 0});
    v_.counters.dataSize += forkSum;
    ++v_.counters.orphEntriesTotal;
    v_.tables.btreeOrph->insert(OrphanItem{f.fileID, dir, false, false});
  }
}

void CatalogWalk::reportProgress() {
  if (walk_.recordsSeen() == 0 || progress_.tickPending()) return;
  const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
  const double total = 2.0 * static_cast<double>(v_.catalog.leafRecords);
  const auto seen = static_cast<double>(walk_.recordsSeen());
  const double remaining = (total - seen) * elapsed / seen;
  ScanProgress update = ScanProgress::withCounts(v_.counts());
  update.timeRemaining = getTimeFormStringForInterval(remaining);
  update.barValue = v_.counters.entryCount;
  progress_.offerForTick(update);
}

}  // namespace

int readFilesAndFolders(HfsVolume& hfs) {
  CatalogWalk walk(hfs);
  walk.run();
  return 1;
}

void makeTree(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  Entry* root = makeRootDir(*v.arena, v.tables.btree.get());
  root->blockBaseSector = static_cast<std::uint32_t>(v.blocksStartsAtSector);
  v.dirRoot = root;
  (void)readFilesAndFolders(hfs);
}

}  // namespace nua
