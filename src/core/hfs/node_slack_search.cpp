// The catalog and extents-overflow files read node by node for the records deletion left behind.
#include "hfs/node_slack_search.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "hfs/catalog_fragments.h"
#include "hfs/detail/allocation_bitmap.h"
#include "hfs/detail/catalog_leaf_walk.h"
#include "media/node_chain.h"
#include "hfs/detail/node_slack.h"
#include "ondisk/bt_header_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

using detail::FragmentRecord;
using detail::FragmentStep;
using NodeToSector = std::uint64_t (HfsVolume::*)(std::uint64_t) const;

constexpr std::int8_t kBTMapNode = 2;

// One B-tree file as this search reads it: where its nodes lie, their size, how many there are and
// which of them the map marks used (empty when the map can't be read).
class TreeFile {
 public:
  TreeFile(HfsVolume& hfs, NodeToSector toSector, std::int32_t nodeSectors, std::uint64_t nodesInFork)
      : hfs_(hfs), v_(hfs.volume()), toSector_(toSector), nodeSectors_(nodeSectors), nodesInFork_(nodesInFork) {}

  // Reads node `n`; false when it lies outside the file or has no descriptor.
  [[nodiscard]] bool read(std::uint64_t n, std::vector<std::byte>& node, BTNodeDescriptor& descriptor) {
    const std::uint64_t sector = (hfs_.*toSector_)(n);
    if (sector == 0 || nodeSectors_ <= 0) return false;
    node.assign(static_cast<std::size_t>(nodeSectors_) * static_cast<std::size_t>(v_.u32BytesInSector), std::byte{0});
    if (!v_.readSector(sector, nodeSectors_, node)) return false;
    auto parsed = parseBTNodeDescriptor(node);
    if (!parsed) return false;
    descriptor = *parsed;
    return true;
  }

  // The header's node count (within the fork) and the map from the header node and its map nodes.
  void readHeaderAndMap() {
    std::vector<std::byte> node;
    BTNodeDescriptor descriptor;
    if (!read(0, node, descriptor) || descriptor.kind != 1 || descriptor.numRecords < 3) return;
    auto header = parseBTHeaderRecord(ByteSpan(node).subspan(kBTNodeDescriptorSize));
    if (!header) return;
    nodeCount_ = std::min<std::uint64_t>(header->totalNodes, nodesInFork_);
    std::vector<bool> used;
    appendMapRecord(node, 2, used);
    NodeChain chain(nodeCount_);
    for (std::uint32_t next = descriptor.fLink; next != 0 && used.size() < nodeCount_ && chain.step(next);) {
      if (!read(next, node, descriptor) || descriptor.kind != kBTMapNode || descriptor.numRecords < 1) break;
      appendMapRecord(node, 0, used);
      next = descriptor.fLink;
    }
    if (used.size() >= nodeCount_) map_ = std::move(used);
  }

  [[nodiscard]] std::uint64_t nodeCount() const { return nodeCount_; }
  // Known free in the map; false when the map is unknown.
  [[nodiscard]] bool markedFree(std::uint64_t n) const { return n < map_.size() && !map_[n]; }

 private:
  // Record `index` of the node runs from its offset to the next one; its bits go onto `used`.
  static void appendMapRecord(ByteSpan node, std::size_t index, std::vector<bool>& used) {
    const std::size_t slot = 2 * (index + 2);
    if (slot > node.size()) return;
    const std::size_t begin = be16(node, node.size() - slot + 2);
    const std::size_t end = be16(node, node.size() - slot);
    if (begin < kBTNodeDescriptorSize || end < begin || end > node.size() - slot) return;
    for (std::size_t at = begin; at < end; ++at) {
      const auto byte = std::to_integer<unsigned>(node[at]);
      for (unsigned bit = 0; bit < 8; ++bit) used.push_back((byte & (0x80u >> bit)) != 0);
    }
  }

  HfsVolume& hfs_;
  Volume& v_;
  NodeToSector toSector_;
  std::int32_t nodeSectors_;
  std::uint64_t nodesInFork_;
  std::uint64_t nodeCount_ = 0;
  std::vector<bool> map_;
};

// Where the records deletion left in a node lie: all of a freed leaf, else the slack of a leaf in use.
std::optional<detail::NodeSlack> leftoverSpace(const TreeFile& tree, std::uint64_t n, ByteSpan node,
                                               const BTNodeDescriptor& descriptor) {
  if (descriptor.kind != kBTLeafNode || descriptor.height != 1) return std::nullopt;
  if (tree.markedFree(n)) return detail::freedNodeSpace(node);
  return detail::nodeSlack(node, descriptor.numRecords);
}

std::uint64_t nodesIn(const std::vector<Extent>& extents, std::uint64_t blockBytes, std::uint64_t nodeBytes) {
  std::uint64_t bytes = 0;
  for (const Extent& e : extents) bytes += static_cast<std::uint64_t>(e.blockCount) * blockBytes;
  return nodeBytes == 0 ? 0 : bytes / nodeBytes;
}

using ExtentKey = std::tuple<std::uint32_t, std::uint8_t, std::uint32_t>;  // fileID, forkType, startBlock
using StaleExtents = std::map<ExtentKey, HFSPlusExtentRecord>;

StaleExtents staleExtentRecords(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  StaleExtents found;
  const std::uint64_t nodeBytes = static_cast<std::uint64_t>(std::max(v.catalog.extNodeSize, 0)) * v.u32BytesInSector;
  TreeFile tree(hfs, &HfsVolume::extNodeToSector, v.catalog.extNodeSize, hfs.extentsFileNodeCount());
  tree.readHeaderAndMap();
  if (nodeBytes == 0) return found;
  std::vector<std::byte> node;
  BTNodeDescriptor descriptor;
  for (std::uint64_t n = 1; n < tree.nodeCount() && !v.stopTreeThread; ++n) {
    if (!tree.read(n, node, descriptor)) continue;
    const auto space = leftoverSpace(tree, n, node, descriptor);
    if (!space) continue;
    for (const auto& r : detail::findStaleExtentRecords(node, *space))
      found.emplace(ExtentKey{r.key.fileID, r.key.forkType, r.key.startBlock}, r.extents);
  }
  return found;
}

}  // namespace

void NodeSlackSearch::findDeletedEntries() {
  if (v_.catalog.catNodeSize <= 0 || !v_.tables.btree || !v_.tables.btreeOrph || v_.blockSize <= 0) return;
  ScanProgress begins = ScanProgress::withStatus(progress_text::kScanStatus);
  begins.bar = ProgressBar::kIndeterminate;
  begins.animation = ProgressAnimation::kStart;
  hfs_.progress().report(begins);
  const std::uint64_t blockBytes = hfs_.blockBytes();
  const std::uint64_t nodeBytes = static_cast<std::uint64_t>(v_.catalog.catNodeSize) * v_.u32BytesInSector;
  TreeFile catalog(hfs_, &HfsVolume::catNodeToSector, v_.catalog.catNodeSize, nodesIn(v_.catalog.catalogExt, blockBytes, nodeBytes));
  catalog.readHeaderAndMap();
  std::vector<std::byte> node;
  BTNodeDescriptor descriptor;
  for (std::uint64_t n = 1; n < catalog.nodeCount() && !v_.stopTreeThread; ++n) {
    if (!catalog.read(n, node, descriptor)) continue;
    const auto space = leftoverSpace(catalog, n, node, descriptor);
    if (!space) continue;
    for (const FragmentRecord& record : detail::findStaleCatalogRecords(node, *space, blockBytes)) {
      if (record.step == FragmentStep::kFolder) takeFolder(record);
      if (record.step == FragmentStep::kFile) takeFile(record);
    }
  }
  ScanProgress done = ScanProgress::withCounts(v_.counts());
  done.animation = ProgressAnimation::kStop;
  hfs_.progress().report(done);
}

Entry* NodeSlackSearch::newEntry(std::uint16_t fileType, const FragmentRecord& record, std::uint32_t id,
                              std::uint32_t createDate, std::uint32_t modDate) {
  Entry* dir = detail::newCatalogEntry(v_, fileType, record.key, id, createDate, modDate);
  v_.arena->setFileName(record.key.name, dir);
  dir->deleted = 1;
  return dir;
}

void NodeSlackSearch::takeFolder(const FragmentRecord& record) {
  const std::uint32_t id = record.folder.folderID;
  if (v_.tables.btree->retrieveKeyField(id) != nullptr || v_.tables.btreeOrph->retrieveKeyField(id) != nullptr) return;
  if (live_ != nullptr && live_->folders.count(id) != 0) return;  // a living folder's older copy
  Entry* dir = newEntry(1, record, id, record.folder.createDate, record.folder.contentModDate);
  ++v_.counters.folderCount;
  ++v_.counters.entryCount;
  placeDeletedEntry(v_, dir);
}

bool NodeSlackSearch::copyOfLiveFile(const FragmentRecord& record) const {
  const HFSPlusCatalogFile& f = record.file;
  std::uint64_t size = 0;
  std::u16string name;
  if (live_ != nullptr && live_->files.count(f.fileID) != 0) {
    const LiveCatalogIds::LiveFile& file = live_->files.at(f.fileID);
    size = file.size;
    name = file.name;
  } else if (EntryItem* item = v_.tables.btreeNormalScan ? v_.tables.btreeNormalScan->retrieveKeyField(f.fileID) : nullptr;
             item != nullptr && item->dir != nullptr) {
    size = item->dir->fileSize;
    name = EntryArena::fileNameOfDir(item->dir).value_or(u"");
  } else {
    return false;
  }
  // The deleted-file scan's live table keeps data and resource together; a copy matches by either.
  const bool sameSize =
      size == f.dataFork.logicalSize || size == f.dataFork.logicalSize + f.resourceFork.logicalSize;
  return sameSize && name == record.key.name;
}

void NodeSlackSearch::takeFile(const FragmentRecord& record) {
  const HFSPlusCatalogFile& f = record.file;
  if (v_.tables.btree->retrieveKeyField(f.fileID) != nullptr || v_.tables.btreeOrph->retrieveKeyField(f.fileID) != nullptr) return;
  if (copyOfLiveFile(record)) return;
  if (f.dataFork.logicalSize == 0 || f.dataFork.extents[0].blockCount == 0) return;  // nothing to save
  const std::uint64_t volumeBlocks = hfs_.vib().totalBlocks;
  for (const auto& d : f.dataFork.extents)
    if (d.blockCount != 0 && (d.startBlock >= volumeBlocks || d.blockCount > volumeBlocks - d.startBlock)) return;
  Entry* dir = newEntry(2, record, f.fileID, f.createDate, f.contentModDate);
  dir->fileSize = f.dataFork.logicalSize;
  dir->sectorsPerBlock = static_cast<std::uint8_t>(v_.blockSize);
  for (const auto& d : f.dataFork.extents) {
    if (d.blockCount == 0) break;
    addDataExtStartBlock(d.startBlock, d.blockCount, dir);
  }
  dir->fileCount = 1;
  ++v_.counters.fileCount;
  ++v_.counters.entryCount;
  v_.counters.dataSize += dir->fileSize;
  files_.push_back(SlackFile{dir, f.dataFork.totalBlocks});
  placeDeletedEntry(v_, dir);
}

LiveCatalogIds liveCatalogIdsOfTree(const Entry* root) {
  LiveCatalogIds live;
  std::vector<const Entry*> stack;
  if (root != nullptr) stack.push_back(root);
  for (std::size_t steps = 0; !stack.empty() && steps < kMaxTreeWalkSteps; ++steps) {
    const Entry* at = stack.back();
    stack.pop_back();
    if (at->fileType == 2) {
      live.files[at->fileID] = {EntryArena::fileNameOfDir(at).value_or(u""), at->fileSize};
    } else if (at != root) {
      live.folders.insert(at->fileID);
    }
    for (const Entry* child : at->childList) stack.push_back(child);
  }
  return live;
}

void NodeSlackSearch::finishFiles() {
  if (files_.empty() || v_.stopTreeThread) return;
  const StaleExtents extents = staleExtentRecords(hfs_);
  detail::AllocationBitmap bitmap(hfs_);
  const std::uint64_t blockBytes = hfs_.blockBytes();
  for (const SlackFile& file : files_) {
    Entry* dir = file.dir;
    std::uint64_t blocks = 0;
    for (const ExtP& e : dir->dataExt) blocks += e.blockCount;
    // Each stale record continues where the blocks in hand end; at most one per eight blocks promised.
    for (std::size_t step = 0; blocks < file.totalBlocks && step <= file.totalBlocks / 8 + 1; ++step) {
      auto it = extents.find(ExtentKey{dir->fileID, kDataFork, static_cast<std::uint32_t>(blocks)});
      if (it == extents.end()) break;
      bool allFree = true;
      for (const auto& d : it->second)
        if (d.blockCount != 0 && !bitmap.blocksAreFree(d.startBlock, d.blockCount)) allFree = false;
      if (!allFree) break;  // those blocks hold another file now
      for (const auto& d : it->second) {
        if (d.blockCount == 0) break;
        addDataExtStartBlock(d.startBlock, d.blockCount, dir);
        blocks += d.blockCount;
      }
    }
    bool inUse = false;
    for (const ExtP& e : dir->dataExt)
      if (!bitmap.blocksAreFree(e.startBlock, e.blockCount)) inUse = true;
    dir->blocksInUse = inUse ? 1 : 0;
    dir->complete = blockBytes * blocks >= dir->fileSize && !inUse ? 1 : 0;
  }
}

}  // namespace nua
