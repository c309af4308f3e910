#include "fat/fat_directory_walk.h"

#include <algorithm>

#include "base/text.h"
#include "fat/fat_long_name.h"
#include "ondisk/fat_dos_date.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {

std::uint8_t FatDirectoryWalk::enumerateRoot(Entry* root) {
  if (root == nullptr) return 0;
  std::uint8_t answer = 0;
  if (volume_.volumeContent == "FAT32") {
    // The root is a chain like any folder's; it starts at the first cluster behind the tables.
    const ClusterChain chain = table_.storeClusterDetailsOfFolder(2);
    ancestors_.assign(1, 2);
    answer = enumerateDirectoryEntry(volume_.fat.u32RootDirectoryStart, true, chain, root);
  } else {
    ancestors_.assign(1, 0);  // ".." of a top folder names cluster 0
    answer = enumerateDirectoryEntry(volume_.fat.u32RootDirectoryStart, true, ClusterChain{}, root);
  }
  // A walk shorter than one timer tick would otherwise leave the counts on screen at 0.
  progress_.report(counts());
  return answer;
}

bool FatDirectoryWalk::readPiece(std::uint64_t sector, std::uint32_t sectors, std::vector<std::byte>& buffer) {
  std::fill(buffer.begin(), buffer.end(), std::byte{0});
  return volume_.readSector(volume_.HPlusVolStart + sector, static_cast<std::int32_t>(sectors), buffer);
}

std::uint64_t FatDirectoryWalk::clusterSector(std::uint32_t cluster) const {
  return std::uint64_t{volume_.fat.u32RootDirectoryStart} + volume_.fat.u32RootDirectorySectors +
         std::uint64_t{cluster - 2U} * volume_.fat.u8SectorPerCluster;
}

std::uint8_t FatDirectoryWalk::enumerateDirectoryEntry(std::uint64_t startSector, bool rootDirectory,
                                                       const ClusterChain& fatDetails, Entry* parent) {
  Volume& v = volume_;
  // Each folder entered brings the counts so far, so the screen follows the walk between timer ticks.
  ScanProgress entered = counts();
  entered.bar = ProgressBar::kIndeterminate;
  entered.animation = ProgressAnimation::kStart;
  progress_.report(entered);
  progress_.report(ScanProgress{});  // blanks the time left
  const std::uint32_t sectorsPerCluster = v.fat.u8SectorPerCluster;
  const auto sectorBytes = static_cast<std::size_t>(std::max(v.u32BytesInSector, 1));
  if (sectorsPerCluster == 0 || parent == nullptr) return 0;

  // The fixed root of FAT12/16 is read cluster-sized piece by piece up to its end; everything else
  // is its first cluster and then the clusters of its chain.
  const bool fixedRoot = rootDirectory && v.fat.u32RootDirectorySectors != 0;
  std::uint32_t rootSectorsLeft = fixedRoot ? v.fat.u32RootDirectorySectors : 0;
  std::uint64_t pieceSector = startSector;
  std::uint32_t pieceSectors = fixedRoot ? std::min(sectorsPerCluster, rootSectorsLeft) : sectorsPerCluster;
  std::vector<std::byte> buffer(std::size_t{sectorsPerCluster} * sectorBytes, std::byte{0});
  if (!readPiece(pieceSector, pieceSectors, buffer)) return 0;
  if (fixedRoot) rootSectorsLeft -= pieceSectors;
  if (!rootDirectory) {
    // The whole test for a real subdirectory: "." and ".." in its first two slots.
    if (u8(buffer, 0) != '.' || u8(buffer, 32) != '.' || u8(buffer, 33) != '.') return 0;
  }
  if (v.stopTreeThread) return 1;

  std::size_t chainIndex = 0;
  std::size_t position = rootDirectory ? 0 : 64;
  std::size_t pieceBytes = std::size_t{pieceSectors} * sectorBytes;
  LongNameCollector longName;
  while (true) {
    if (!fits(pieceBytes, position, kFatDirectoryEntrySize)) {
      if (fixedRoot) {
        if (rootSectorsLeft == 0) return 1;
        pieceSector += pieceSectors;
        pieceSectors = std::min(sectorsPerCluster, rootSectorsLeft);
        rootSectorsLeft -= pieceSectors;
      } else {
        if (chainIndex >= fatDetails.clusters.size()) return fatDetails.endedNormally() ? 1 : 0;
        pieceSector = clusterSector(fatDetails.clusters[chainIndex++]);
        pieceSectors = sectorsPerCluster;
      }
      if (!readPiece(pieceSector, pieceSectors, buffer)) return 0;
      pieceBytes = std::size_t{pieceSectors} * sectorBytes;
      position = 0;
      continue;
    }
    const ByteSpan slot = ByteSpan(buffer).subspan(position, kFatDirectoryEntrySize);
    position += kFatDirectoryEntrySize;
    const std::uint8_t first = u8(slot, 0);
    if (first == '.' && (u8(slot, 1) == '.' || u8(slot, 1) == ' ')) {
      longName.clear();
      if (v.stopTreeThread) return 1;
      continue;
    }
    if (first == kFatEndOfDirectory) return 1;
    auto entry = parseFatDirectoryEntry(slot);
    if (!entry) return 0;
    const FatEntryKind kind = fatEntryKindOf(entry->attributes);
    if (kind == FatEntryKind::kLongNameSlot) {
      if (auto longSlot = parseFatLongNameSlot(slot)) longName.add(*longSlot);
    } else if (kind == FatEntryKind::kFolder || kind == FatEntryKind::kFile) {
      const std::optional<std::u16string> name = longName.takeNameFor(*entry);
      Entry* record = makeRecord(*entry, kind == FatEntryKind::kFolder, name, parent);
      if (kind == FatEntryKind::kFolder) walkFolder(entry->firstCluster(), record);
    } else {
      longName.clear();
    }
    if (kind != FatEntryKind::kSystem && kind != FatEntryKind::kLongNameSlot) reportProgress();
    if (v.stopTreeThread) return 1;
  }
}

Entry* FatDirectoryWalk::makeRecord(const FatDirectoryEntry& entry, bool folder,
                                     const std::optional<std::u16string>& longName, Entry* parent) {
  Volume& v = volume_;
  EntryArena& arena = *v.arena;
  Entry* dir = arena.newDir();
  dir->blockBaseSector = static_cast<std::uint32_t>(v.blocksStartsAtSector);
  dir->fileType = folder ? 1 : 2;
  dir->parentID = parent->fileID;
  dir->parent = parent;
  dir->createDate = dosDateTimeToHFSSeconds(entry.createDate, entry.createTime);
  dir->modDate = dosDateTimeToHFSSeconds(entry.writeDate, entry.writeTime);
  ++v.counters.entryCount;
  if (folder) {
    ++v.counters.folderCount;
    dir->fileID = static_cast<std::uint32_t>(v.counters.fileCount);  // shared with the file made just before
  } else {
    dir->fileSize = entry.fileSize;
    dir->fileCount = 1;
    ++v.counters.fileCount;
    dir->fileID = static_cast<std::uint32_t>(v.counters.fileCount);
    dir->sectorsPerBlock = v.fat.u8SectorPerCluster;
  }
  addChild(dir, parent);
  if (folder) {
    raiseAncestorCountsForFolder(dir);
  } else {
    raiseAncestorCountsForFile(dir);
    v.counters.dataSize += entry.fileSize;
  }
  if (entry.isDeleted()) dir->deleted = 1;
  arena.setFileName(longName ? std::u16string_view(*longName) : std::u16string_view(toUtf16(shortNameText(entry))),
                    dir);
  std::u16string path = EntryArena::pathNameOfDir(parent).value_or(u"");
  path += u'/';
  path += EntryArena::fileNameOfDir(parent).value_or(u"");
  arena.setPathName(path, dir);
  if (!folder) {
    if (entry.fileSize != 0) addFileExtents(entry, dir);
    if (v.tables.btreeFirstFileBlock) v.tables.btreeFirstFileBlock->insert(CountedKeyItem{entry.firstCluster(), 0});
  }
  return dir;
}

void FatDirectoryWalk::addFileExtents(const FatDirectoryEntry& entry, Entry* file) {
  const std::uint32_t first = entry.firstCluster();
  const std::uint32_t maxCluster = table_.maxCluster();
  if (first < 2 || first > maxCluster) return;  // no cluster of this volume holds it
  const ClusterChain chain = table_.storeClusterDetailsOfFolder(first);
  addDataExtStartBlock(first - 2, 1, file);
  for (std::uint32_t cluster : chain.clusters) addDataExtStartBlock(cluster - 2, 1, file);
  // Where the chain stops short of the size (a deleted file's links are cleared), the rest is taken to
  // follow the last cluster reached, contiguously, up to the volume's end.
  const std::uint64_t clusterBytes =
      std::uint64_t{volume_.fat.u8SectorPerCluster} * static_cast<std::uint64_t>(std::max(volume_.u32BytesInSector, 1));
  const std::uint64_t covered = std::uint64_t{file->dataExtCount()} * clusterBytes;
  if (entry.fileSize <= covered) return;
  const std::uint32_t start = file->dataExt.back().startBlock + 1;
  std::uint64_t count = (entry.fileSize - covered + clusterBytes - 1) / clusterBytes;
  const std::uint64_t clustersLeft = std::uint64_t{maxCluster} + 1 >= std::uint64_t{start} + 2
                                         ? std::uint64_t{maxCluster} + 1 - (std::uint64_t{start} + 2)
                                         : 0;
  count = std::min(count, clustersLeft);
  if (count != 0) addDataExtStartBlock(start, static_cast<std::uint32_t>(count), file);
}

void FatDirectoryWalk::walkFolder(std::uint32_t firstCluster, Entry* folder) {
  if (firstCluster < 2 || firstCluster > table_.maxCluster()) return;
  // A folder that leads back to one being walked is not entered again.
  if (std::find(ancestors_.begin(), ancestors_.end(), firstCluster) != ancestors_.end()) return;
  if (ancestors_.size() > kMaxDepth) return;
  std::uint8_t& enters = enters_[firstCluster];
  if (enters >= kMaxEntersPerCluster) return;
  ++enters;
  const ClusterChain chain = table_.storeClusterDetailsOfFolder(firstCluster);
  ancestors_.push_back(firstCluster);
  (void)enumerateDirectoryEntry(clusterSector(firstCluster), false, chain, folder);
  ancestors_.pop_back();
}

void FatDirectoryWalk::reportProgress() {
  if (progress_.tickPending()) return;
  progress_.offerForTick(counts());
}

}  // namespace nua
