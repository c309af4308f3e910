// The journal's old extents-overflow leaves, read for files found deleted, and the placing of the
// extent groups that arrived before the extents they follow.
#include "hfs/journal_extent_search.h"
#include "hfs/detail/journal_pass.h"

#include <algorithm>
#include <chrono>

#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_extent_key.h"
#include "ondisk/hfs_fork_data.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kExtentLeafRecordSize = kExtentKeySize + kExtentRecordSize;  // 76
constexpr std::size_t kSecondKeyOffset = kBTNodeDescriptorSize + kExtentLeafRecordSize;
constexpr std::uint16_t kExtentKeyLength = 10;

std::uint64_t blocksIn(const Entry& dir) {
  std::uint64_t sum = 0;
  for (const ExtP& e : dir.dataExt) sum += e.blockCount;
  return sum;
}

// Records of one extents leaf read as a block: each key that continues a file of btree adds its
// eight descriptors, now or as a parked group.
void takeExtentRecords(Volume& v, ByteSpan block, std::uint64_t blockBytes) {
  std::size_t p = kBTNodeDescriptorSize;
  while (fits(block.size(), p, kExtentLeafRecordSize)) {
    auto key = parseHFSPlusExtentKey(block.subspan(p));
    EntryItem* item = key ? v.tables.btree->retrieveKeyField(key->fileID) : nullptr;
    if (item != nullptr && item->dir != nullptr && item->dir->complete != 1 && key->forkType == kDataFork) {
      Entry* dir = item->dir;
      const std::uint64_t sum = blocksIn(*dir);
      if (blockBytes * sum < dir->fileSize) {
        const HFSPlusExtentRecord record = readExtentRecord(block, p + kExtentKeySize);
        // With no blocks in hand nothing is taken: the first extents come from the catalog record.
        if (key->startBlock == sum) {
          if (sum != 0)
            for (const auto& d : record) addDataExtStartBlock(d.startBlock, d.blockCount, dir);
        } else if (key->startBlock > sum) {
          ExtCompP group;
          group.keyStartBlock = key->startBlock;
          if (sum != 0)
            for (const auto& d : record) addDataExtCompEXTP(ExtP{d.startBlock, d.blockCount}, group);
          addDataExtComp(std::move(group), dir);
        }
      }
    }
    p += kExtentLeafRecordSize;
    if (block.size() < 80 || p >= block.size() - 80) break;
    if (!fits(block.size(), p, 2) || be16(block, p) == 0) break;
  }
}

void placeGroups(Entry* dir, std::uint64_t blockBytes) {
  std::uint64_t sum = blocksIn(*dir);
  if (blockBytes * sum < dir->fileSize && !dir->dataExtComp.empty()) {
    // Journal copies come in any order, so a group may stand before the one it follows: pass again
    // while anything was placed, each group at most once.
    std::vector<bool> placed(dir->dataExtComp.size(), false);
    for (bool progress = true; progress;) {
      progress = false;
      for (std::size_t g = 0; g < dir->dataExtComp.size(); ++g) {
        if (placed[g] || dir->dataExtComp[g].keyStartBlock != sum) continue;
        placed[g] = true;
        const std::vector<ExtP> cells = dir->dataExtComp[g].list;
        for (const ExtP& e : cells) {
          addDataExtStartBlock(e.startBlock, e.blockCount, dir);
          sum += e.blockCount;
        }
        progress = !cells.empty();
      }
    }
  }
  dir->complete = blockBytes * sum >= dir->fileSize ? 1 : 0;
}

}  // namespace

bool looksLikeExtentsLeafNode(ByteSpan firstSector) {
  if (firstSector.size() < kSecondKeyOffset + 2) return false;
  auto descriptor = parseBTNodeDescriptor(firstSector);
  return descriptor && descriptor->kind == kBTLeafNode && descriptor->height == 1 && descriptor->numRecords != 0 &&
         descriptor->reserved == 0 && be16(firstSector, kBTNodeDescriptorSize) == kExtentKeyLength &&
         be16(firstSector, kSecondKeyOffset) == kExtentKeyLength;
}

void searchJournalForExtraExtents(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  const auto sectorBytes = static_cast<std::uint64_t>(v.u32BytesInSector);
  const detail::JournalSectors journal = detail::journalSectors(v);
  const std::uint64_t sectors = journal.count;
  const std::uint64_t journalFirst = journal.first;
  ProgressSink& progress = hfs.progress();
  detail::reportJournalPassStart(progress, progress_text::kSearchingExtraExtents, sectors);
  if (sectors < 1 || !v.tables.btree || v.blockSize <= 0) return;
  const std::uint64_t blockBytes = hfs.blockBytes();
  std::vector<std::byte> first(sectorBytes);
  std::vector<std::byte> block(blockBytes);
  const Clock::time_point start = Clock::now();
  for (std::uint64_t i = 0, round = 1; i < sectors && !v.stopTreeThread; ++i, ++round) {
    if (!progress.tickPending()) {
      const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
      const double left = (static_cast<double>(sectors) - static_cast<double>(round)) * elapsed / static_cast<double>(round);
      ScanProgress update = ScanProgress::withStatus(progress_text::kSearchingExtraExtents);
      update.barValue = i;
      update.timeRemaining = getTimeFormStringForInterval(left);
      progress.offerForTick(update);
    }
    std::fill(first.begin(), first.end(), std::byte{0});
    (void)v.readSector(journalFirst + i, 1, first);
    if (!looksLikeExtentsLeafNode(first)) continue;
    // The node is taken to fit in one allocation block.
    std::fill(block.begin(), block.end(), std::byte{0});
    (void)v.readSector(journalFirst + i, v.blockSize, block);
    takeExtentRecords(v, block, blockBytes);
    i += static_cast<std::uint64_t>(v.blockSize) - 1;
  }
}

void rearrangeExtsFound(HfsVolume& hfs, Entry* dir) {
  Volume& v = hfs.volume();
  if (dir == nullptr) return;
  const std::uint64_t blockBytes = hfs.blockBytes();
  // Depth-first over the tree with a stack of its own, bounded like every tree walk.
  std::vector<Entry*> stack{dir};
  std::size_t steps = 0;
  while (!stack.empty() && !v.stopTreeThread && steps++ < kMaxTreeWalkSteps) {
    Entry* at = stack.back();
    stack.pop_back();
    if (at->fileType == 2) placeGroups(at, blockBytes);
    for (auto it = at->childList.rbegin(); it != at->childList.rend(); ++it) stack.push_back(*it);
  }
}

}  // namespace nua
