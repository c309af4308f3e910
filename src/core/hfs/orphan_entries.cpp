// Placing the entries that arrived before their parents, once the catalog walk is over.
#include "hfs/orphan_entries.h"

#include <chrono>

#include "base/text.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {
namespace {

// "Lost Files" and "Lost Folders": a deleted folder under the root with a fixed id, counted as found.
Entry* makeDeletedFolderUnderRoot(Volume& v, std::u16string_view name, std::uint32_t fileID) {
  EntryArena& arena = *v.arena;
  Entry* folder = arena.newDir();
  arena.setFileName(name, folder);
  folder->fileID = fileID;
  folder->parentID = kRootID;
  folder->fileType = 1;
  arena.setPathName(u"/Root", folder);
  folder->childBTree = v.tables.btree.get();
  folder->parent = v.dirRoot;
  folder->deleted = 1;
  ++v.counters.folderCount;
  ++v.counters.entryCount;
  ++v.dirRoot->childrenCount;
  addChildUpdateBTree(folder, v.dirRoot, TreeSide::kVolume);
  return folder;
}


using Clock = std::chrono::steady_clock;

bool leadsTo(const Entry* from, const Entry* target) {
  std::size_t steps = 0;
  for (const Entry* a = from; a != nullptr && steps < kMaxTreeWalkDepth; a = a->parent, ++steps)
    if (a == target) return true;
  return false;
}

class OrphanPass {
 public:
  OrphanPass(Volume& v, ProgressSink& progress) : v_(v), progress_(progress) {}
  void processThisOrphanEntry(OrphanItem& item);
  void processThisOrphanEntryAdvScan(OrphanItem& item);
  void processThisOrphanEntryAdvScanRun2(OrphanItem& item);

 private:
  void attach(Entry* entry, Entry* parent);
  void countPlaced(const Entry* entry, bool incrementData);
  Entry* lostFolders();
  void reportProgress();
  void reportAdvScanProgress();
  // Counts and the bar at `done` of `total`, with the time the rest will take.
  void offerProgress(std::uint64_t done, std::uint64_t total);
  Volume& v_;
  ProgressSink& progress_;
  Clock::time_point start_ = Clock::now();
};

void OrphanPass::attach(Entry* entry, Entry* parent) {
  const std::u16string name = EntryArena::fileNameOfDir(entry).value_or(u"");
  const std::u16string unique = suggestedRepeatFileName(name, parent, *v_.folderNameIndex);
  if (unique != name) v_.arena->setFileName(unique, entry);
  entry->parent = parent;
  addChildUpdateBTree(entry, parent, TreeSide::kVolume);
  if (entry->fileType == 2) {
    raiseAncestorCountsForFile(entry);
  } else {
    raiseAncestorCountsForSubtree(entry);
  }
}

void OrphanPass::processThisOrphanEntry(OrphanItem& item) {
  Entry* entry = item.dir;
  if (entry == nullptr) return;
  ++v_.counters.orphEntryCount;
  entry->childBTree = v_.tables.btree.get();
  Entry* parent = nullptr;
  if (OrphanItem* waiting = v_.tables.btreeOrph->retrieveKeyField(entry->parentID)) parent = waiting->dir;
  if (parent == nullptr)
    if (EntryItem* placed = v_.tables.btree->retrieveKeyField(entry->parentID)) parent = placed->dir;
  // An entry can't become its own ancestor: damaged ids that would close a loop count as no parent.
  if (parent != nullptr && leadsTo(parent, entry)) parent = nullptr;
  if (parent != nullptr) {
    attach(entry, parent);
    item.alreadyPolled = true;
    item.parentFoundInBtree = true;
  } else if (entry->fileType == 2 && v_.dirLostFiles != nullptr) {
    entry->deleted = 1;
    attach(entry, v_.dirLostFiles);
    item.alreadyPolled = true;
    item.parentFoundInBtree = true;
  } else {
    return;  // a folder with no parent stays out of the tree, with all that hangs on it
  }
  if (v_.tables.btreeOrph->incrementData()) {
    ++v_.counters.entryCount;
    if (entry->fileType == 1) {
      ++v_.counters.folderCount;
    } else {
      ++v_.counters.fileCount;
      v_.counters.dataSize += entry->fileSize;
    }
  }
  reportProgress();
}

void OrphanPass::countPlaced(const Entry* entry, bool incrementData) {
  if (!incrementData) return;
  ++v_.counters.entryCount;
  if (entry->fileType == 1) {
    ++v_.counters.folderCount;
  } else {
    ++v_.counters.fileCount;
    v_.counters.dataSize += entry->fileSize;
  }
}

void OrphanPass::processThisOrphanEntryAdvScan(OrphanItem& item) {
  Entry* entry = item.dir;
  if (entry == nullptr) return;
  ++v_.counters.orphAdvScanEntryCount;
  entry->advScanBTree = v_.tables.btreeAdvScan;
  // Only the fragment search's own table is asked: its finds don't join the catalog walk's tree.
  Entry* parent = nullptr;
  if (OrphanItem* waiting = v_.tables.btreeOrphAdvScanEntries->retrieveKeyField(entry->parentID)) parent = waiting->dir;
  if (parent != nullptr && parent->fileType == 1 && !leadsTo(parent, entry)) {
    attach(entry, parent);
    item.alreadyPolled = true;
    item.parentFoundInBtree = true;
    countPlaced(entry, v_.tables.btreeOrphAdvScanEntries->incrementData());
  }
  reportAdvScanProgress();
}

Entry* OrphanPass::lostFolders() {
  if (EntryItem* found = v_.tables.btree->retrieveKeyField(kLostFoldersID); found != nullptr && found->dir != nullptr)
    return found->dir;
  Entry* lost = makeDeletedFolderUnderRoot(v_, u"Lost Folders", kLostFoldersID);
  lost->advScanBTree = v_.tables.btreeAdvScan;
  return lost;
}

void OrphanPass::processThisOrphanEntryAdvScanRun2(OrphanItem& item) {
  Entry* entry = item.dir;
  if (entry == nullptr || v_.dirRoot == nullptr) return;
  ++v_.counters.orphAdvScanEntryCount;
  const bool incrementData = v_.tables.btreeOrphAdvScanEntries->incrementData();
  EntryArena& arena = *v_.arena;
  if (entry->fileType == 2) {
    const std::uint64_t blocks = v_.blockSize > 0 ? v_.sizeInSect / static_cast<std::uint64_t>(v_.blockSize) : 0;
    if (entry->fileNameLength() == 0 || entry->fileID == 0 || entry->parentID == 0 || entry->fileSize == 0 ||
        (!entry->dataExt.empty() && entry->dataExt.front().startBlock > blocks) || v_.dirLostFiles == nullptr)
      return;
    Entry* lost = v_.dirLostFiles;
    const std::u16string name = EntryArena::fileNameOfDir(entry).value_or(u"");
    const std::u16string unique = suggestedRepeatFileName(name, lost, *v_.folderNameIndex);
    if (unique != name) arena.setFileName(unique, entry);
    entry->parent = lost;
    entry->deleted = 1;
    addChildUpdateBTree(entry, lost, TreeSide::kVolume);
    for (Entry* a : {lost, v_.dirRoot}) {
      ++a->childrenCount;
      ++a->fileCount;
      a->fileSize += entry->fileSize;
    }
    item.parentFoundInBtree = true;
    countPlaced(entry, incrementData);
  } else {
    Entry* lost = lostFolders();
    Entry* folder = arena.newDir();
    folder->blockBaseSector = static_cast<std::uint32_t>(v_.blocksStartsAtSector);
    folder->parent = lost;
    folder->parentID = kLostFoldersID;
    folder->fileID = entry->parentID;
    folder->fileType = 1;
    const std::u16string folderName = toUtf16("LostFolder" + std::to_string(entry->parentID));
    arena.setFileName(suggestedRepeatFileName(folderName, lost, *v_.folderNameIndex), folder);
    const std::u16string lostPath = EntryArena::pathNameOfDir(lost).value_or(u"") + u"/" +
                                    EntryArena::fileNameOfDir(lost).value_or(u"");
    arena.setPathName(lostPath, folder);
    folder->advScanBTree = v_.tables.btreeAdvScan;
    addChildAdvScan(folder, lost);
    raiseAncestorCountsForFolder(folder);
    arena.setPathName(lostPath + u"/" + EntryArena::fileNameOfDir(folder).value_or(u""), entry);
    entry->parent = folder;
    const std::u16string name = EntryArena::fileNameOfDir(entry).value_or(u"");
    const std::u16string unique = suggestedRepeatFileName(name, folder, *v_.folderNameIndex);
    if (unique != name) arena.setFileName(unique, entry);
    addChildAdvScan(entry, folder);
    raiseAncestorCountsForSubtree(entry);
    item.parentFoundInBtree = true;
    if (incrementData) {
      v_.counters.folderCount += 2;
      v_.counters.entryCount += 2;
    }
  }
  reportAdvScanProgress();
}

void OrphanPass::reportAdvScanProgress() {
  if (v_.counters.orphAdvScanEntryCount == 0 || progress_.tickPending()) return;
  offerProgress(v_.counters.orphAdvScanEntryCount, v_.counters.orphAdvScanEntriesTotal);
}

void OrphanPass::reportProgress() {
  if (v_.counters.orphEntryCount == 0 || progress_.tickPending()) return;
  offerProgress(v_.counters.orphEntryCount, v_.counters.orphEntriesTotal);
}

void OrphanPass::offerProgress(std::uint64_t done, std::uint64_t total) {
  const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
  const double left = (static_cast<double>(total) - static_cast<double>(done)) * elapsed / static_cast<double>(done);
  ScanProgress update = ScanProgress::withStatus(progress_text::kProcessingOrphans);
  update.counts = v_.counts();
  update.barValue = done;
  update.timeRemaining = getTimeFormStringForInterval(left);
  progress_.offerForTick(update);
}

}  // namespace

Entry* findOrMakeLostFiles(Volume& v) {
  if (v.dirRoot == nullptr || !v.tables.btree) return nullptr;
  if (EntryItem* existing = v.tables.btree->retrieveKeyField(kLostFilesID); existing != nullptr && existing->dir != nullptr) {
    existing->dir->deleted = 1;
    return existing->dir;
  }
  return makeDeletedFolderUnderRoot(v, u"Lost Files", kLostFilesID);
}

namespace {

enum class Run { kCatalog, kAdvScan, kAdvScanRun2 };

void runOrphanPass(Volume& v, ProgressSink& progress, OrphanTable& table, Run run, std::uint64_t& count,
                   std::uint64_t total, bool incrementData, bool showVolNameOnly) {
  table.setIncrementData(incrementData);
  table.setShowVolNameOnly(showVolNameOnly);
  count = 0;
  ScanProgress begins = ScanProgress::withStatus(progress_text::kProcessingOrphans);
  begins.bar = ProgressBar::kDeterminate;
  begins.barValue = 0;
  progress.report(begins);
  ScanProgress bar;
  bar.barMaximum = total;
  bar.barMinimum = 0;
  progress.report(bar);
  if (run != Run::kAdvScanRun2) v.dirLostFiles = findOrMakeLostFiles(v);
  OrphanPass pass(v, progress);
  // A node's keys come before its branches, so the order is the table's shape, not key order.
  // An abort doesn't end this pass: it reads no disk, and what the scan found before the abort would
  // otherwise drop out of the tree unseen.
  table.forEachNodePreOrder([&](const OrphanTableNode& node) {
    for (int i = 0; i < node.count(); ++i) {
      OrphanItem* item = node.key(i);
      if (item == nullptr || item->parentFoundInBtree) continue;
      switch (run) {
        case Run::kCatalog:
          if (!item->alreadyPolled) pass.processThisOrphanEntry(*item);
          break;
        case Run::kAdvScan:
          if (!item->alreadyPolled) pass.processThisOrphanEntryAdvScan(*item);
          break;
        case Run::kAdvScanRun2: pass.processThisOrphanEntryAdvScanRun2(*item); break;
      }
    }
    return TableWalk::kContinue;
  });
}

}  // namespace

void processOrphanEntriesWithIncrement(Volume& v, ProgressSink& progress, bool incrementData, bool showVolNameOnly) {
  if (!v.tables.btreeOrph || !v.tables.btree) return;
  runOrphanPass(v, progress, *v.tables.btreeOrph, Run::kCatalog, v.counters.orphEntryCount, v.counters.orphEntriesTotal, incrementData, showVolNameOnly);
}

void processOrphanAdvScanEntriesWithIncrement(Volume& v, ProgressSink& progress, bool incrementData, bool showVolNameOnly) {
  if (!v.tables.btreeOrphAdvScanEntries || !v.tables.btree) return;
  runOrphanPass(v, progress, *v.tables.btreeOrphAdvScanEntries, Run::kAdvScan, v.counters.orphAdvScanEntryCount, v.counters.orphAdvScanEntriesTotal,
                incrementData, showVolNameOnly);
}

void processOrphanAdvScanEntriesRun2WithIncrement(Volume& v, ProgressSink& progress, bool incrementData, bool showVolNameOnly) {
  if (!v.tables.btreeOrphAdvScanEntries || !v.tables.btree) return;
  runOrphanPass(v, progress, *v.tables.btreeOrphAdvScanEntries, Run::kAdvScanRun2, v.counters.orphAdvScanEntryCount, v.counters.orphAdvScanEntriesTotal,
                incrementData, showVolNameOnly);
}

}  // namespace nua
