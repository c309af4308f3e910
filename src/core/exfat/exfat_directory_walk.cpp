#include "exfat/exfat_directory_walk.h"

#include <algorithm>

#include "exfat/exfat_timestamp.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {

std::optional<ExfatBlockUnits> ExfatBlockUnits::of(const ExfatGeometry& geometry, std::uint32_t sectorBytes) {
  if (sectorBytes == 0 || geometry.clusterBytes % sectorBytes != 0 || geometry.heapByteOffset % sectorBytes != 0)
    return std::nullopt;
  const std::uint64_t sectorsPerCluster = geometry.clusterBytes / sectorBytes;
  const std::uint64_t heapSector = geometry.heapByteOffset / sectorBytes;
  if (sectorsPerCluster == 0 || heapSector > UINT32_MAX) return std::nullopt;
  ExfatBlockUnits units;
  units.blockBaseSector = static_cast<std::uint32_t>(heapSector);
  units.sectorsPerBlock = static_cast<std::uint8_t>(std::min<std::uint64_t>(sectorsPerCluster, 128));
  units.blocksPerCluster = static_cast<std::uint32_t>(sectorsPerCluster / units.sectorsPerBlock);
  if (std::uint64_t{geometry.clusterCount} * units.blocksPerCluster > UINT32_MAX) return std::nullopt;
  return units;
}

std::uint8_t ExfatDirectoryWalk::enumerateRoot(Entry* root, std::uint32_t rootCluster) {
  if (root == nullptr) return 0;
  bool whole = false;
  const std::vector<std::byte> directory = readDirectory(rootCluster, 0, false, whole);
  ancestors_.assign(1, rootCluster);
  enters_[rootCluster] = 1;
  progress_.report(ScanProgress{});  // blanks the time left
  heldBytes_ = directory.size();
  enumerateEntries(directory, root, false);
  heldBytes_ = 0;
  // A walk shorter than one timer tick would otherwise leave the counts on screen at 0.
  progress_.report(counts());
  return whole ? 1 : 0;
}

std::vector<std::byte> ExfatDirectoryWalk::readDirectory(std::uint32_t firstCluster, std::uint64_t dataLength,
                                                         bool contiguous, bool& whole) {
  whole = false;
  std::vector<std::byte> bytes;
  if (!geometry_.isCluster(firstCluster) || geometry_.clusterBytes == 0) return bytes;
  const std::uint64_t budget = kMaxHeldDirectoryBytes - std::min(heldBytes_, kMaxHeldDirectoryBytes);
  const std::uint64_t maxClusters = std::min(kMaxDirectoryBytes, budget) / geometry_.clusterBytes;
  if (maxClusters == 0) return bytes;
  std::vector<std::uint32_t> clusters;
  bool chainWhole = true;
  if (contiguous) {
    const std::uint64_t wanted = (dataLength + geometry_.clusterBytes - 1) / geometry_.clusterBytes;
    const std::uint64_t inHeap = std::uint64_t{geometry_.clusterCount} + 2U - firstCluster;
    const std::uint64_t count = std::min({wanted, maxClusters, inHeap});
    chainWhole = count == wanted;
    for (std::uint64_t i = 0; i < count; ++i) clusters.push_back(static_cast<std::uint32_t>(firstCluster + i));
  } else {
    ExfatClusterChain chain = fat_.chainFrom(firstCluster, maxClusters);
    chainWhole = chain.end == ExfatClusterChain::End::kEndOfChain;
    clusters = std::move(chain.clusters);
  }
  bytes.assign(clusters.size() * geometry_.clusterBytes, std::byte{0});
  std::size_t filled = 0;
  for (std::uint32_t cluster : clusters) {
    if (volume_.stopTreeThread) break;
    const std::span<std::byte> piece(bytes.data() + filled, static_cast<std::size_t>(geometry_.clusterBytes));
    if (!readVolumeBytes(volume_, geometry_.clusterByteOffset(cluster), piece)) {
      chainWhole = false;
      break;
    }
    filled += piece.size();
  }
  bytes.resize(filled);
  whole = chainWhole && filled == clusters.size() * geometry_.clusterBytes;
  return bytes;
}

void ExfatDirectoryWalk::enumerateEntries(ByteSpan directory, Entry* parent, bool insideDeleted) {
  Volume& v = volume_;
  // Each folder entered brings the counts so far, so the screen follows the walk between timer ticks.
  ScanProgress entered = counts();
  entered.bar = ProgressBar::kIndeterminate;
  entered.animation = ProgressAnimation::kStart;
  progress_.report(entered);
  std::size_t position = 0;
  while (fits(directory.size(), position, kExfatDirectoryEntrySize)) {
    if (v.stopTreeThread) return;
    const std::uint8_t type = u8(directory, position);
    if (type == kExfatEndOfDirectory) return;
    if ((type | kExfatInUse) != kExfatFile) {
      position += kExfatDirectoryEntrySize;
      continue;
    }
    const auto set = parseExfatEntrySet(directory.subspan(position));
    if (!set) {
      // A set whose slots were partly taken by newer entries: what follows is read on its own.
      position += kExfatDirectoryEntrySize;
      continue;
    }
    const bool deleted = set->deleted || insideDeleted;
    Entry* record = makeRecord(*set, deleted, parent);
    if (set->isFolder()) walkFolder(*set, deleted, record);
    reportProgress();
    position += set->entryCount() * kExfatDirectoryEntrySize;
  }
}

Entry* ExfatDirectoryWalk::makeRecord(const ExfatEntrySet& set, bool deleted, Entry* parent) {
  Volume& v = volume_;
  EntryArena& arena = *v.arena;
  const bool folder = set.isFolder();
  Entry* dir = arena.newDir();
  dir->blockBaseSector = units_.blockBaseSector;
  dir->fileType = folder ? 1 : 2;
  dir->parentID = parent->fileID;
  dir->parent = parent;
  dir->createDate = exfatTimestampToHFSSeconds(set.create);
  dir->modDate = exfatTimestampToHFSSeconds(set.lastModified);
  ++v.counters.entryCount;
  if (folder) {
    ++v.counters.folderCount;
    dir->fileID = static_cast<std::uint32_t>(v.counters.fileCount);  // shared with the file made just before
  } else {
    dir->fileSize = set.dataLength;
    dir->fileCount = 1;
    ++v.counters.fileCount;
    dir->fileID = static_cast<std::uint32_t>(v.counters.fileCount);
    dir->sectorsPerBlock = units_.sectorsPerBlock;
  }
  addChild(dir, parent);
  if (folder) {
    raiseAncestorCountsForFolder(dir);
  } else {
    raiseAncestorCountsForFile(dir);
    v.counters.dataSize += set.dataLength;
  }
  if (deleted) dir->deleted = 1;
  arena.setFileName(set.name, dir);
  std::u16string path = EntryArena::pathNameOfDir(parent).value_or(u"");
  path += u'/';
  path += EntryArena::fileNameOfDir(parent).value_or(u"");
  arena.setPathName(path, dir);
  if (!folder) {
    dir->complete = 1;
    if (set.dataLength != 0) addFileExtents(set, deleted, dir);
    if (v.tables.btreeFirstFileBlock) v.tables.btreeFirstFileBlock->insert(CountedKeyItem{set.firstCluster, 0});
  }
  return dir;
}

void ExfatDirectoryWalk::addClusterRun(std::uint32_t firstCluster, std::uint64_t clusters, Entry* file) {
  const std::uint64_t startBlock = std::uint64_t{firstCluster - kExfatFirstCluster} * units_.blocksPerCluster;
  const std::uint64_t blocks = clusters * units_.blocksPerCluster;
  // ExfatBlockUnits::of made sure every block of the heap has a 32-bit number.
  if (!file->dataExt.empty()) {
    ExtP& last = file->dataExt.back();
    if (std::uint64_t{last.startBlock} + last.blockCount == startBlock && last.blockCount + blocks <= UINT32_MAX) {
      last.blockCount += static_cast<std::uint32_t>(blocks);
      return;
    }
  }
  addDataExtStartBlock(static_cast<std::uint32_t>(startBlock), static_cast<std::uint32_t>(blocks), file);
}

void ExfatDirectoryWalk::addFileExtents(const ExfatEntrySet& set, bool deleted, Entry* file) {
  file->complete = 0;
  if (!geometry_.isCluster(set.firstCluster)) return;  // no cluster of this volume holds it
  const std::uint64_t wanted = (set.dataLength + geometry_.clusterBytes - 1) / geometry_.clusterBytes;
  if (!deleted && !set.noFatChain()) {
    const ExfatClusterChain chain = fat_.chainFrom(set.firstCluster, wanted);
    for (std::uint32_t cluster : chain.clusters) addClusterRun(cluster, 1, file);
    file->complete = chain.clusters.size() == wanted ? 1 : 0;
    return;
  }
  // Contiguous by the flag, or deleted: the FAT chain of a deleted file is gone or stale, so its
  // clusters are taken to follow the first, as far as the heap reaches.
  const std::uint64_t inHeap = std::uint64_t{geometry_.clusterCount} + 2U - set.firstCluster;
  const std::uint64_t count = std::min(wanted, inHeap);
  addClusterRun(set.firstCluster, count, file);
  bool whole = count == wanted;
  // A deleted file whose clusters are in use again has lost at least part of its data.
  if (whole && deleted && bitmap_.anyAllocated(set.firstCluster, count)) whole = false;
  file->complete = whole ? 1 : 0;
}

void ExfatDirectoryWalk::walkFolder(const ExfatEntrySet& set, bool deleted, Entry* folder) {
  const std::uint32_t first = set.firstCluster;
  if (!geometry_.isCluster(first)) return;
  // A folder that leads back to one being walked is not entered again.
  if (std::find(ancestors_.begin(), ancestors_.end(), first) != ancestors_.end()) return;
  if (ancestors_.size() > kMaxDepth) return;
  std::uint8_t& enters = enters_[first];
  if (enters >= kMaxEntersPerCluster) return;
  ++enters;
  bool whole = false;
  // A deleted folder's chain is gone: its clusters are taken as contiguous, like a deleted file's.
  const bool contiguous = deleted || set.noFatChain();
  const std::vector<std::byte> directory = readDirectory(first, set.dataLength, contiguous, whole);
  ancestors_.push_back(first);
  heldBytes_ += directory.size();
  enumerateEntries(directory, folder, deleted);
  heldBytes_ -= directory.size();
  ancestors_.pop_back();
}

void ExfatDirectoryWalk::reportProgress() {
  if (progress_.tickPending()) return;
  progress_.offerForTick(counts());
}

}  // namespace nua
