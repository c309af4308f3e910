// The records of found catalog fragments: into the orphan tables for the advanced scan, or into the
// tree as deleted entries for the deleted-file scan.
#include <algorithm>

#include "hfs/catalog_fragments.h"
#include "hfs/detail/catalog_leaf_walk.h"
#include "hfs/detail/fork_extents.h"
#include "hfs/detail/fragment_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

using detail::FragmentRecord;
using detail::FragmentRules;
using detail::FragmentStep;

// Reads `nodeSectors` sectors at `sector` into a zero-filled buffer; the descriptor, when it parses.
std::optional<BTNodeDescriptor> readNode(Volume& v, std::uint64_t sector, std::int32_t nodeSectors,
                                         std::vector<std::byte>& node) {
  node.assign(static_cast<std::size_t>(nodeSectors) * static_cast<std::size_t>(v.u32BytesInSector), std::byte{0});
  // An unreadable spot keeps its zeros, and a node of zeros has no records.
  (void)v.readSector(sector, nodeSectors, node);
  auto descriptor = parseBTNodeDescriptor(node);
  if (!descriptor) return std::nullopt;
  return *descriptor;
}

// The fields every fragment record gives its entry.
Entry* newFragmentEntry(Volume& v, std::uint16_t fileType, const HFSPlusCatalogKey& key, std::uint32_t fileID,
                         std::uint32_t createDate, std::uint32_t modDate) {
  Entry* dir = detail::newCatalogEntry(v, fileType, key, fileID, createDate, modDate);
  v.arena->setFileName(key.name, dir);
  return dir;
}

std::uint64_t blockBytesOf(const Volume& v) {
  return static_cast<std::uint64_t>(std::max(v.blockSize, 0)) * static_cast<std::uint64_t>(v.u32BytesInSector);
}

// Puts an entry into an orphan table; a later copy of an id already there is dropped.
void storeOrphan(Volume& v, OrphanTable& table, Entry* dir) {
  if (table.retrieveKeyField(dir->fileID) != nullptr) {
    v.arena->freeNDir(dir);
    return;
  }
  table.insert(OrphanItem{dir->fileID, dir, false, false});
}

// A file of the whole-volume search: the volume, fork and block checks, then the record's own eight
// extents, which must account for every block up to the first empty slot.
Entry* fragmentFile(Volume& v, const FragmentRecord& record) {
  const HFSPlusCatalogFile& f = record.file;
  const std::uint64_t blockBytes = blockBytesOf(v);
  const std::uint64_t volumeBytes = v.sizeInSect * static_cast<std::uint64_t>(v.u32BytesInSector);
  const std::uint64_t forkSum = f.dataFork.logicalSize + f.resourceFork.logicalSize;
  if (forkSum < f.dataFork.logicalSize || forkSum >= volumeBytes) return nullptr;
  if (!detail::forkFitsItsBlocks(f.dataFork, blockBytes) || !detail::forkFitsItsBlocks(f.resourceFork, blockBytes))
    return nullptr;
  Entry* dir = newFragmentEntry(v, 2, record.key, f.fileID, f.createDate, f.contentModDate);
  dir->fileSize = f.dataFork.logicalSize;
  dir->sectorsPerBlock = static_cast<std::uint8_t>(v.blockSize);
  const detail::AddedForkExtents added = detail::addRecordExtents(f.dataFork, dir);
  // A lower sum after all eight is accepted: the rest stood in the extents-overflow file.
  if ((added.endedInRecord && added.blocks != f.dataFork.totalBlocks) || added.blocks > f.dataFork.totalBlocks) {
    v.arena->freeNDir(dir);
    return nullptr;
  }
  dir->fileCount = 1;
  return dir;
}

// A file of the journal: fork checks, id unknown to btree, a size and a first extent, then the
// comparison with the live file of that id.
void journalFile(Volume& v, const FragmentRecord& record) {
  const HFSPlusCatalogFile& f = record.file;
  const std::uint64_t blockBytes = blockBytesOf(v);
  if (!detail::forkFitsItsBlocks(f.dataFork, blockBytes) || !detail::forkFitsItsBlocks(f.resourceFork, blockBytes))
    return;
  if (v.tables.btree->retrieveKeyField(f.fileID) != nullptr) return;
  const HFSPlusExtentDescriptor& first = f.dataFork.extents[0];
  if (f.dataFork.logicalSize == 0 || f.dataFork.totalBlocks == 0 || first.startBlock == 0 || first.blockCount == 0)
    return;
  // A copy of a living file: same id, data size and name in the live catalog.
  if (EntryItem* live = v.tables.btreeNormalScan ? v.tables.btreeNormalScan->retrieveKeyField(f.fileID) : nullptr;
      live != nullptr && live->dir != nullptr && live->dir->fileSize == f.dataFork.logicalSize &&
      EntryArena::fileNameOfDir(live->dir).value_or(u"") == record.key.name)
    return;
  Entry* dir = newFragmentEntry(v, 2, record.key, f.fileID, f.createDate, f.contentModDate);
  dir->fileSize = f.dataFork.logicalSize;
  dir->sectorsPerBlock = static_cast<std::uint8_t>(v.blockSize);
  // The record's own eight; the journal extent search adds what the overflow file held.
  (void)detail::addRecordExtents(f.dataFork, dir);
  dir->fileCount = 1;
  dir->deleted = 1;
  ++v.counters.fileCount;
  ++v.counters.entryCount;
  v.counters.dataSize += dir->fileSize;
  placeDeletedEntry(v, dir);
}

void journalFolder(Volume& v, const FragmentRecord& record) {
  const HFSPlusCatalogFolder& f = record.folder;
  if (v.tables.btree->retrieveKeyField(f.folderID) != nullptr) return;  // known already
  Entry* dir = newFragmentEntry(v, 1, record.key, f.folderID, f.createDate, f.contentModDate);
  dir->deleted = 1;
  ++v.counters.folderCount;
  ++v.counters.entryCount;
  placeDeletedEntry(v, dir);
}

ScanProgress journalCounts(const Volume& v, const std::string* timeRemaining) {
  ScanProgress progress = ScanProgress::withCounts(v.counts());
  if (timeRemaining != nullptr) progress.timeRemaining = *timeRemaining;
  return progress;
}

}  // namespace

// Hangs a deleted entry under its parent when btree knows it, else leaves it to the orphan pass.
void placeDeletedEntry(Volume& v, Entry* dir) {
  EntryItem* parentItem = v.tables.btree->retrieveKeyField(dir->parentID);
  if (parentItem != nullptr && parentItem->dir != nullptr && parentItem->dir != dir) {
    dir->parent = parentItem->dir;
    dir->childBTree = v.tables.btree.get();
    if (dir->fileType == 2) {
      raiseAncestorCountsForFile(dir);
    } else {
      raiseAncestorCountsForFolder(dir);
    }
    addChildUpdateBTree(dir, parentItem->dir, TreeSide::kVolume);
    return;
  }
  ++v.counters.orphEntriesTotal;
  storeOrphan(v, *v.tables.btreeOrph, dir);
}

void processCatFrags(HfsVolume& hfs, std::uint64_t sector, std::int32_t nodeSectors) {
  Volume& v = hfs.volume();
  if (nodeSectors <= 0) {
    if (v.catalog.catNodeSize == 0) v.catalog.catNodeSize = 16;
    nodeSectors = v.catalog.catNodeSize;
  }
  (void)hfs.getIfUnusedSectorForCatalogNode(sector);
  const bool inCatalog = v.advScanEntriesCanBePutIntoOrphanEntryArray && hfs.sectorIsInCatalogFile(sector);
  std::vector<std::byte> node;
  const auto descriptor = readNode(v, sector, nodeSectors, node);
  if (!descriptor || descriptor->numRecords == 0) return;
  const auto sectorBytes = static_cast<std::size_t>(v.u32BytesInSector);
  for (std::size_t i = 0; i < descriptor->numRecords && !v.stopTreeThread; ++i) {
    const FragmentRecord record =
        detail::readFragmentRecord(node, sectorBytes, descriptor->numRecords, i, FragmentRules::kWholeVolume);
    if (record.step == FragmentStep::kEnd) break;
    Entry* dir = nullptr;
    if (record.step == FragmentStep::kFolder) {
      const HFSPlusCatalogFolder& f = record.folder;
      dir = newFragmentEntry(v, 1, record.key, f.folderID, f.createDate, f.contentModDate);
    } else if (record.step == FragmentStep::kFile) {
      dir = fragmentFile(v, record);
    }
    if (dir == nullptr) continue;
    // Records of the live catalog file wait for the catalog walk's tree; the rest form their own.
    if (inCatalog) {
      ++v.counters.orphEntriesTotal;
      storeOrphan(v, *v.tables.btreeOrph, dir);
    } else {
      ++v.counters.orphAdvScanEntriesTotal;
      storeOrphan(v, *v.tables.btreeOrphAdvScanEntries, dir);
    }
  }
}

void processCatFragForDeletedFiles(HfsVolume& hfs, std::uint64_t sector, const std::string* timeRemaining) {
  Volume& v = hfs.volume();
  ScanProgress status = ScanProgress::withStatus(progress_text::kScanStatus);
  if (timeRemaining != nullptr) status.timeRemaining = *timeRemaining;
  hfs.progress().report(status);
  if (v.catalog.catNodeSize <= 0 || !v.tables.btree || !v.tables.btreeOrph) return;
  std::vector<std::byte> node;
  const auto descriptor = readNode(v, sector, v.catalog.catNodeSize, node);
  if (!descriptor || descriptor->numRecords == 0) return;
  const auto sectorBytes = static_cast<std::size_t>(v.u32BytesInSector);
  for (std::size_t i = 0; i < descriptor->numRecords && !v.stopTreeThread; ++i) {
    const FragmentRecord record =
        detail::readFragmentRecord(node, sectorBytes, descriptor->numRecords, i, FragmentRules::kJournal);
    if (record.step == FragmentStep::kEnd) break;
    if (record.step == FragmentStep::kFolder) journalFolder(v, record);
    if (record.step == FragmentStep::kFile) journalFile(v, record);
  }
  hfs.progress().report(journalCounts(v, timeRemaining));
}

}  // namespace nua
