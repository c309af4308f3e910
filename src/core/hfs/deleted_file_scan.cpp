// The live walk of the deleted-file scan and the order of its journal stages.
#include "hfs/deleted_file_scan.h"

#include <chrono>

#include "base/log.h"
#include "hfs/catalog_fragments.h"
#include "hfs/detail/catalog_leaf_walk.h"
#include "hfs/detail/fork_extents.h"
#include "hfs/detail/fragment_record.h"
#include "hfs/journal_extent_search.h"
#include "hfs/leaf_node_search.h"
#include "hfs/node_slack_search.h"
#include "hfs/orphan_entries.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_catalog_file.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"
#include "ondisk/hfs_extent_key.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

using Clock = std::chrono::steady_clock;

class LiveFileWalk {
 public:
  LiveFileWalk(HfsVolume& hfs, LiveFolders* folders)
      : hfs_(hfs), v_(hfs.volume()), progress_(hfs.progress()), folders_(folders), walk_(hfs) {}
  void run();

 private:
  void readRecord(std::size_t index);
  void addLiveFile(const HFSPlusCatalogKey& key, const HFSPlusCatalogFile& f);
  void reportProgress();

  HfsVolume& hfs_;
  Volume& v_;
  ProgressSink& progress_;
  LiveFolders* folders_;
  detail::CatalogLeafWalk walk_;
  std::uint64_t recordsCounted_ = 0;
  Clock::time_point start_ = Clock::now();
};

// The live records are read only to be told from the deleted ones: the counts stay at zero.
ScanProgress zeroCounts() { return ScanProgress::withCounts(ScanCounts{}); }

void LiveFileWalk::run() {
  ScanProgress begins = ScanProgress::withStatus(progress_text::kScanStatus);
  begins.bar = ProgressBar::kDeterminate;
  begins.barMaximum = v_.catalog.leafRecords;
  progress_.report(begins);
  walk_.run([this] {
    for (std::size_t i = 0; i < walk_.numRecords() && !v_.stopTreeThread; ++i) readRecord(i);
  });
  ScanProgress done = zeroCounts();
  done.barValue = v_.catalog.leafRecords;
  progress_.report(done);
}

void LiveFileWalk::readRecord(std::size_t index) {
  const ByteSpan node = walk_.node();
  const std::size_t nodeBytes = node.size();
  const bool doubting = walk_.doubting();
  const auto head = detail::readCatalogRecordHead(node, index, walk_.numRecords(),
                                                  static_cast<std::size_t>(v_.u32BytesInSector), doubting);
  if (!head) return;
  const HFSPlusCatalogKey* key = &head->key;
  const auto within = [&](std::size_t end) { return head->within(end); };
  ++recordsCounted_;
  const std::size_t bodyOffset = head->bodyOffset;
  if (!fits(nodeBytes, bodyOffset, 2)) return;
  const auto recordType = static_cast<std::int16_t>(be16(node, bodyOffset));
  if (recordType == kFolderRecordType && folders_ != nullptr && (!doubting || within(bodyOffset + kCatalogFolderSize))) {
    if (auto folder = parseHFSPlusCatalogFolder(node.subspan(bodyOffset)); folder && folder->folderID != 0)
      folders_->emplace(folder->folderID, LiveFolder{key->parentID, key->name, folder->createDate, folder->contentModDate});
    return;
  }
  if (!fits(nodeBytes, bodyOffset, kCatalogFileSize)) return;
  if (recordType != kFileRecordType) return;  // only files are compared
  if (doubting && !within(bodyOffset + kCatalogFileSize)) return;
  auto file = parseHFSPlusCatalogFile(node.subspan(bodyOffset));
  if (!file) return;
  if (doubting && (file->accessDate == 0 || file->contentModDate == 0 || file->createDate == 0 ||
                    file->fileID == 0 || file->recordType != kFileRecordType))
    return;
  addLiveFile(*key, *file);
  reportProgress();
}

void LiveFileWalk::addLiveFile(const HFSPlusCatalogKey& key, const HFSPlusCatalogFile& f) {
  const std::uint64_t blockBytes = hfs_.blockBytes();
  const std::uint64_t volumeBytes = v_.sizeInSect * static_cast<std::uint64_t>(v_.u32BytesInSector);
  const std::uint64_t forkSum = f.dataFork.logicalSize + f.resourceFork.logicalSize;
  if (forkSum < f.dataFork.logicalSize || forkSum >= volumeBytes) return;
  if (!detail::forkFitsItsBlocks(f.dataFork, blockBytes) || !detail::forkFitsItsBlocks(f.resourceFork, blockBytes))
    return;
  if (v_.tables.btreeNormalScan->retrieveKeyField(f.fileID) != nullptr) return;  // the first record of an id stands
  EntryArena& arena = *v_.arena;
  Entry* dir = arena.newDir();
  dir->blockBaseSector = static_cast<std::uint32_t>(v_.blocksStartsAtSector);
  dir->fileType = 2;
  dir->parentID = key.parentID;
  dir->fileID = f.fileID;
  dir->createDate = f.createDate;
  dir->modDate = f.contentModDate;
  // Data and resource together: the journal's copy is compared by its data size alone.
  dir->fileSize = forkSum;
  dir->sectorsPerBlock = static_cast<std::uint8_t>(v_.blockSize);
  arena.setFileName(key.name, dir);
  const std::uint32_t totalBlocks = f.dataFork.totalBlocks;
  const detail::AddedForkExtents added = detail::addDataForkExtents(hfs_, f.fileID, f.dataFork, dir);
  if ((added.endedInRecord || added.blocks < totalBlocks) && added.blocks != totalBlocks) {
    arena.freeNDir(dir);
    return;
  }
  dir->fileCount = 1;
  v_.tables.btreeNormalScan->insert(EntryItem{f.fileID, dir});
}

void LiveFileWalk::reportProgress() {
  if (walk_.recordsSeen() == 0 || progress_.tickPending()) return;
  const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
  const double total = 2.0 * static_cast<double>(v_.catalog.leafRecords);
  const auto seen = static_cast<double>(walk_.recordsSeen());
  const double remaining = (total - seen) * elapsed / seen;
  ScanProgress update = zeroCounts();
  update.timeRemaining = getTimeFormStringForInterval(remaining);
  update.barValue = recordsCounted_;
  progress_.offerForTick(update);
}

// An entry whose folder still lives, but left no copy in the journal, belongs under that folder: the
// folder and those above it are made from the live catalog, so the orphan pass finds them in btree.
void placeOrphansUnderLiveFolders(Volume& v, const LiveFolders& folders) {
  if (folders.empty() || !v.tables.btreeOrph || !v.tables.btree || v.dirRoot == nullptr) return;
  std::vector<std::uint32_t> wanted;
  v.tables.btreeOrph->forEachItemInOrder([&](OrphanItem& item) {
    if (item.dir != nullptr) wanted.push_back(item.dir->parentID);
  });
  EntryArena& arena = *v.arena;
  for (std::uint32_t id : wanted) {
    // The chain up to a folder already in the tree; every id of it must be a live folder.
    std::vector<std::uint32_t> chain;
    std::uint32_t at = id;
    while (chain.size() < folders.size() && v.tables.btree->retrieveKeyField(at) == nullptr &&
           v.tables.btreeOrph->retrieveKeyField(at) == nullptr && folders.count(at) != 0) {
      chain.push_back(at);
      at = folders.at(at).parentID == kParentOfRootID ? kRootID : folders.at(at).parentID;
    }
    EntryItem* top = v.tables.btree->retrieveKeyField(at);
    if (chain.empty() || top == nullptr || top->dir == nullptr) continue;
    Entry* parent = top->dir;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
      const LiveFolder& f = folders.at(*it);
      Entry* dir = arena.newDir();
      dir->blockBaseSector = static_cast<std::uint32_t>(v.blocksStartsAtSector);
      dir->fileType = 1;
      dir->fileID = *it;
      dir->parentID = parent->fileID;
      dir->createDate = f.createDate;
      dir->modDate = f.modDate;
      dir->deleted = 1;  // a folder on the way to a deleted entry
      arena.setFileName(f.name, dir);
      dir->childBTree = v.tables.btree.get();
      dir->parent = parent;
      ++v.counters.folderCount;
      ++v.counters.entryCount;
      raiseAncestorCountsForFolder(dir);
      addChildUpdateBTree(dir, parent, TreeSide::kVolume);
      parent = dir;
    }
  }
}

}  // namespace

int readFilesAndFoldersDeletedFileScan(HfsVolume& hfs, LiveFolders* folders) {
  LiveFileWalk walk(hfs, folders);
  walk.run();
  return 1;
}

int makeTreeDeletedFileScan(HfsVolume& hfs, LiveFolders* folders) {
  (void)readFilesAndFoldersDeletedFileScan(hfs, folders);
  return 1;
}

void startMakingTreeDeletedFileScan(HfsVolume& hfs, LiveFolders* folders) {
  Volume& v = hfs.volume();
  v.aborting = false;
  if (v.catalog.catNodeSize != 0) findLeafNodesForCatalogWalk(hfs);
  if (v.catalog.firstLeafNode != 0 && v.catalog.catNodeSize != 0) (void)makeTreeDeletedFileScan(hfs, folders);
}

void freeBtreeNormalScanNDIRs(Volume& v) {
  if (!v.tables.btreeNormalScan || v.tables.btreeNormalScan->numItems() == 0) return;
  // The live records hang nowhere, so each is freed on its own.
  v.tables.btreeNormalScan->forEachNodePreOrder([&](const EntryTableNode& node) {
    for (int i = 0; i < node.count(); ++i)
      if (EntryItem* item = node.key(i); item != nullptr && item->dir != nullptr) {
        v.arena->freeNDir(item->dir);
        item->dir = nullptr;
      }
  });
}

void searchJournalForDeletedEntries(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  LiveFolders liveFolders;
  startMakingTreeDeletedFileScan(hfs, &liveFolders);
  v.counters.orphEntriesTotal = 0;
  hfs.getJournalSizeAndStart();
  searchCatFragsForDeletedFiles(hfs);
  // Most volumes have no journal, or one long overwritten: the catalog's own leftovers come next, and
  // a record the journal already gave is not taken twice.
  LiveCatalogIds live;
  for (const auto& [id, folder] : liveFolders) live.folders.insert(id);
  NodeSlackSearch slack(hfs, &live);
  slack.findDeletedEntries();
  placeOrphansUnderLiveFolders(v, liveFolders);
  logLine("Removing redundant entries..");
  freeBtreeNormalScanNDIRs(v);
  v.tables.btreeNormalScan.reset();
  v.tables.btreeForUsedCatNodeSector.reset();
  if (v.counters.orphEntriesTotal != 0) processOrphanEntriesWithIncrement(v, hfs.progress(), false, true);
  searchJournalForExtraExtents(hfs);
  ScanProgress rearranging = ScanProgress::withStatus(progress_text::kRearrangingExtraExtents);
  rearranging.bar = ProgressBar::kIndeterminate;
  rearranging.animation = ProgressAnimation::kStart;
  hfs.progress().report(rearranging);
  rearrangeExtsFound(hfs, v.dirRoot);
  slack.finishFiles();
  ScanProgress rearranged = ScanProgress::withStatus(progress_text::kRearrangingExtraExtents);
  rearranged.animation = ProgressAnimation::kStop;
  hfs.progress().report(rearranged);
  v.treeScanMode = 1;
}

}  // namespace nua
