// The two fragment searches: every sector of the volume, or every sector of the journal, tested at
// its tail for the end of a catalog leaf node.
#include "hfs/catalog_fragments.h"
#include "hfs/detail/journal_pass.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "ondisk/bt_node_descriptor.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kProgressEveryBatches = 50;
constexpr std::uint16_t kMaxFragmentRecords = 255;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// "Lost Folders" of the advanced scan, under the root and in btreeAdvScan under id 8.
void makeLostFolders(Volume& v) {
  if (v.dirRoot == nullptr || !v.tables.btree) return;
  EntryArena& arena = *v.arena;
  Entry* lost = arena.newDir();
  arena.setFileName(u"Lost Folders", lost);
  arena.setPathName(u"/Root", lost);
  lost->fileID = kLostFoldersID;
  lost->parentID = kRootID;
  lost->fileType = 1;
  lost->blockBaseSector = static_cast<std::uint32_t>(v.blocksStartsAtSector);
  lost->childBTree = v.tables.btree.get();
  lost->advScanBTree = v.tables.btreeAdvScan;
  lost->parent = v.dirRoot;
  lost->deleted = 1;
  addChildUpdateBTree(lost, v.dirRoot, TreeSide::kVolume);
  ++v.dirRoot->childrenCount;
  if (v.tables.btreeAdvScan != nullptr) v.tables.btreeAdvScan->insert(EntryItem{kLostFoldersID, lost});
  v.dirLostFolders = lost;
}

// Node sizes, in sectors, that a tail hit is tried with: the catalog's own, else 4096 then 8192 bytes.
std::vector<std::int32_t> candidateNodeSizes(const Volume& v) {
  if (v.catalog.catNodeSize > 0) return {v.catalog.catNodeSize};
  std::vector<std::int32_t> sizes;
  for (std::int32_t bytes : {4096, 8192}) {
    const std::int32_t sectors = std::max(bytes / v.u32BytesInSector, 1);
    if (sizes.empty() || sizes.back() != sectors) sizes.push_back(sectors);
  }
  return sizes;
}

}  // namespace

bool sectorEndsLikeLeafNode(ByteSpan sector) {
  const std::size_t n = sector.size();
  if (n < 4) return false;
  return sector[n - 2] == std::byte{0x00} && sector[n - 1] == std::byte{0x0E} && be16(sector, n - 4) >= 15;
}

bool fragmentDescriptorPasses(ByteSpan firstSector) {
  auto descriptor = parseBTNodeDescriptor(firstSector);
  if (!descriptor) return false;
  return descriptor->height == 1 && descriptor->kind == kBTLeafNode && descriptor->numRecords != 0 &&
         descriptor->numRecords < kMaxFragmentRecords && descriptor->reserved == 0;
}

void searchCatFrags(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  const auto sectorBytes = static_cast<std::size_t>(v.u32BytesInSector);
  const std::uint64_t batches = v.sizeInSect / kFragmentBatchSectors;
  ProgressSink& progress = hfs.progress();
  ScanProgress begins = ScanProgress::withStatus(progress_text::kSearchingCatalogFragments);
  begins.bar = ProgressBar::kDeterminate;
  begins.barValue = 0;
  progress.report(begins);
  ScanProgress bar;
  bar.barMaximum = batches;
  bar.barMinimum = 0;
  progress.report(bar);
  makeLostFolders(v);
  const std::vector<std::int32_t> nodeSizes = candidateNodeSizes(v);

  // The volume's own sectors, wherever it starts on the device; the last batch stops at its end.
  const std::uint64_t first = v.startSector;
  const std::uint64_t end = v.startSector + v.sizeInSect;
  std::vector<std::byte> batch(kFragmentBatchSectors * sectorBytes);
  std::vector<std::byte> head(sectorBytes);
  const Clock::time_point start = Clock::now();
  std::uint64_t batchNumber = 0;
  for (std::uint64_t position = first; position < end && !v.stopTreeThread; position += kFragmentBatchSectors) {
    ++batchNumber;
    if (batchNumber % kProgressEveryBatches == 0) {
      const double left = (static_cast<double>(batches) - static_cast<double>(batchNumber)) * secondsSince(start) /
                          static_cast<double>(batchNumber);
      ScanProgress update = ScanProgress::withStatus(progress_text::kSearchingCatalogFragments);
      update.barValue = batchNumber;
      update.timeRemaining = getTimeFormStringForInterval(left);
      progress.report(update);
    }
    const auto count = static_cast<std::int32_t>(std::min(kFragmentBatchSectors, end - position));
    std::fill(batch.begin(), batch.end(), std::byte{0});
    (void)v.readSector(position, count, batch);
    for (std::int32_t index = 0; index < count && !v.stopTreeThread; ++index) {
      const ByteSpan sector = ByteSpan(batch).subspan(static_cast<std::size_t>(index) * sectorBytes, sectorBytes);
      if (!sectorEndsLikeLeafNode(sector)) continue;
      // The node's first sector lies a node back from this tail, and may stand in an earlier batch.
      for (std::int32_t nodeSectors : nodeSizes) {
        const std::uint64_t lastSector = position + static_cast<std::uint64_t>(index);
        const auto back = static_cast<std::uint64_t>(nodeSectors - 1);
        if (lastSector < first + back) continue;
        const std::uint64_t nodeStart = lastSector - back;
        std::fill(head.begin(), head.end(), std::byte{0});
        (void)v.readSector(nodeStart, 1, head);
        if (!fragmentDescriptorPasses(head)) continue;
        processCatFrags(hfs, nodeStart, nodeSectors);
        break;  // the smaller size that fits is the node: a larger one would start inside another node
      }
    }
  }
}

void searchCatFragsForDeletedFiles(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  const auto sectorBytes = static_cast<std::uint64_t>(v.u32BytesInSector);
  v.counters.fileCount = v.counters.folderCount = v.counters.entryCount = v.counters.dataSize = 0;
  const detail::JournalSectors journal = detail::journalSectors(v);
  const std::uint64_t sectors = journal.count;
  const std::uint64_t journalFirst = journal.first;
  ProgressSink& progress = hfs.progress();
  detail::reportJournalPassStart(progress, progress_text::kScanStatus, sectors);
  std::vector<std::byte> tail(sectorBytes);
  std::vector<std::byte> head(sectorBytes);
  const Clock::time_point start = Clock::now();
  for (std::uint64_t i = 0; i < sectors && !v.stopTreeThread; ++i) {
    const double left = (static_cast<double>(sectors) - static_cast<double>(i + 1)) * secondsSince(start) /
                        static_cast<double>(i + 1);
    const std::string timeRemaining = getTimeFormStringForInterval(left);
    if (!progress.tickPending()) {
      ScanProgress update = ScanProgress::withStatus(progress_text::kScanStatus);
      update.barValue = i;
      update.timeRemaining = timeRemaining;
      progress.offerForTick(update);
    }
    std::fill(tail.begin(), tail.end(), std::byte{0});
    (void)v.readSector(journalFirst + i, 1, tail);
    if (!sectorEndsLikeLeafNode(tail) || v.catalog.catNodeSize <= 0) continue;
    const auto back = static_cast<std::uint64_t>(v.catalog.catNodeSize - 1);
    if (journalFirst + i < back) continue;
    const std::uint64_t nodeStart = journalFirst + i - back;
    std::fill(head.begin(), head.end(), std::byte{0});
    (void)v.readSector(nodeStart, 1, head);
    if (fragmentDescriptorPasses(head)) processCatFragForDeletedFiles(hfs, nodeStart, &timeRemaining);
  }
}

}  // namespace nua
