// Gathering the catalog's leaf node numbers from index nodes and by reading the catalog file, for a
// catalog walk that can't trust the leaf chain alone.
#include "hfs/leaf_node_search.h"

#include <chrono>
#include <vector>

#include "media/node_chain.h"
#include "ondisk/bt_node_descriptor.h"

namespace nua {
namespace {

// A node's sibling links from its descriptor; 0 (no sibling) when the node is too short for one.
std::uint32_t fLinkOf(ByteSpan node) {
  const auto descriptor = parseBTNodeDescriptor(node);
  return descriptor ? descriptor->fLink : 0;
}
std::uint32_t bLinkOf(ByteSpan node) {
  const auto descriptor = parseBTNodeDescriptor(node);
  return descriptor ? descriptor->bLink : 0;
}

using Clock = std::chrono::steady_clock;
constexpr const char* kSearchingStatus = progress_text::kSearchingCatalogFile;

// Record 0 always starts right behind the descriptor, so a node's last u16 is 14.
bool firstRecordAt14(ByteSpan node) {
  return node.size() >= kBTNodeDescriptorSize + 2 && be16(node, node.size() - 2) == kBTNodeDescriptorSize;
}

std::size_t nodeBytes(const Volume& v) {
  return static_cast<std::size_t>(v.catalog.catNodeSize) * static_cast<std::size_t>(v.u32BytesInSector);
}

// One node of the catalog at an absolute sector. Sector 0 stands for "past the catalog's extents" and
// gives zeros, as an unreadable spot does, so every node test after it fails.
std::vector<std::byte> readNodeAtSector(Volume& v, std::uint64_t sector) {
  std::vector<std::byte> node(nodeBytes(v), std::byte{0});
  if (sector != 0 && !node.empty()) (void)v.readSector(sector, v.catalog.catNodeSize, node);
  return node;
}

std::vector<std::byte> readNode(HfsVolume& hfs, std::uint32_t number) {
  return readNodeAtSector(hfs.volume(), hfs.catNodeToSector(number));
}

std::uint64_t nodesInExtent(const Volume& v, const Extent& e) {
  return static_cast<std::uint64_t>(e.blockCount) * static_cast<std::uint64_t>(v.blockSize) /
         static_cast<std::uint64_t>(v.catalog.catNodeSize);
}

std::uint64_t catalogNodeCount(const Volume& v) {
  std::uint64_t nodes = 0;
  for (const Extent& e : v.catalog.catalogExt) nodes += nodesInExtent(v, e);
  return nodes;
}

// How many nodes of an extent lie inside the volume: those past its end read as zeros anyway, and a
// damaged extent may claim billions of them.
std::uint64_t readableNodesInExtent(const Volume& v, const Extent& e) {
  const std::uint64_t nodes = nodesInExtent(v, e);
  if (v.sizeInSect == 0) return nodes;
  const std::uint64_t volumeEnd = v.startSector + v.sizeInSect;
  const std::uint64_t first = v.HPlusVolStart + static_cast<std::uint64_t>(e.startBlock) * v.blockSize;
  if (first >= volumeEnd) return 0;
  return std::min(nodes, (volumeEnd - first) / static_cast<std::uint64_t>(v.catalog.catNodeSize));
}

// Appends the child pointer of every record of an index node. A record whose key or pointer lies
// outside the node is passed over; false then, so the caller can note the problem.
bool appendChildPointers(ByteSpan node, std::vector<std::uint32_t>& out) {
  auto descriptor = parseBTNodeDescriptor(node);
  if (!descriptor) return false;
  bool intact = true;
  for (std::size_t i = 0; i < descriptor->numRecords; ++i) {
    const auto offset = recordOffset(node, i);
    if (!offset || !fits(node.size(), *offset, 2)) {
      intact = false;
      continue;
    }
    const std::size_t child = *offset + 2 + be16(node, *offset);
    if (!fits(node.size(), child, 4)) {
      intact = false;
      continue;
    }
    out.push_back(be32(node, child));
  }
  return intact;
}

// The level-2 chain from `first` along fLink into leafNodePointerArray. A failed test, a repeated node
// or a bad record sets the problem flag; a failed test or a repeat ends the chain.
void collectLevel2Chain(HfsVolume& hfs, std::uint32_t first) {
  Volume& v = hfs.volume();
  NodeChain chain(catalogNodeCount(v));
  for (std::uint32_t number = first; number != 0 && !v.stopTreeThread;) {
    if (!chain.step(number)) {
      v.catalog.level2IndexNodeHasProblems = true;
      return;
    }
    const std::vector<std::byte> node = readNode(hfs, number);
    if (!isIndexNodeAtLevel(node, 2)) {
      v.catalog.level2IndexNodeHasProblems = true;
      return;
    }
    if (!appendChildPointers(node, v.catalog.leafNodePointerArray)) v.catalog.level2IndexNodeHasProblems = true;
    number = fLinkOf(node);
  }
}

// The bar of the two searches: one step per node of the catalog file, each message waited for.
class SearchProgress {
 public:
  SearchProgress(ProgressSink& progress, std::uint64_t total) : progress_(progress), total_(total) {
    ScanProgress begins = ScanProgress::withStatus(kSearchingStatus);
    begins.bar = ProgressBar::kDeterminate;
    begins.barMaximum = total_;
    progress_.report(begins);
  }
  void step() {
    ++done_;
    const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
    const double left = done_ < total_ ? static_cast<double>(total_ - done_) * elapsed / static_cast<double>(done_) : 0;
    ScanProgress update = ScanProgress::withStatus(kSearchingStatus);
    update.barIncrement = 1;
    update.timeRemaining = getTimeFormStringForInterval(left);
    progress_.report(update);
  }

 private:
  ProgressSink& progress_;
  std::uint64_t total_;
  std::uint64_t done_ = 0;
  Clock::time_point start_ = Clock::now();
};

}  // namespace

bool isIndexNodeAtLevel(ByteSpan node, std::uint32_t level) {
  auto descriptor = parseBTNodeDescriptor(node);
  return descriptor && descriptor->height == level && descriptor->kind == kBTIndexNode &&
         descriptor->numRecords != 0 && firstRecordAt14(node);
}

bool looksLikeLeafNode(ByteSpan node) {
  auto descriptor = parseBTNodeDescriptor(node);
  return descriptor && descriptor->height == 1 && descriptor->kind == kBTLeafNode && descriptor->numRecords != 0 &&
         firstRecordAt14(node);
}

void enumerateLevel2IndexNodes(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  v.catalog.level2IndexNodeHasProblems = false;
  v.catalog.leafNodePointerArray.clear();
  if (v.catalog.catTreeDepth < 2 || v.catalog.catNodeSize <= 0) return;
  std::uint32_t number = v.catalog.catRootNode;
  // Each step goes one level down, so the descent ends by itself.
  for (auto level = static_cast<std::uint32_t>(v.catalog.catTreeDepth); level >= 2 && !v.stopTreeThread; --level) {
    const std::vector<std::byte> node = readNode(hfs, number);
    if (!isIndexNodeAtLevel(node, level)) {
      v.catalog.level2IndexNodeHasProblems = true;
      return;
    }
    if (level == 2) {
      collectLevel2Chain(hfs, number);
      return;
    }
    // The first record stands at byte 14: its child is the leftmost node one level down.
    const std::size_t child = kBTNodeDescriptorSize + 2 + be16(node, kBTNodeDescriptorSize);
    if (!fits(node.size(), child, 4)) {
      v.catalog.level2IndexNodeHasProblems = true;
      return;
    }
    number = be32(node, child);
  }
}

void searchForLevel2IndexNodes(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  if (v.catalog.catNodeSize <= 0) {
    v.catalog.level2IndexNodeHasProblems = true;
    return;
  }
  SearchProgress progress(hfs.progress(), catalogNodeCount(v));
  if (v.catalog.catalogExt.empty()) {
    v.catalog.level2IndexNodeHasProblems = true;
    return;
  }
  // The running position counts the nodes passed in catalog order; an extent is left at its find.
  std::uint64_t position = 0;
  bool found = false;
  for (const Extent& e : v.catalog.catalogExt) {
    const std::uint64_t nodes = nodesInExtent(v, e);
    const std::uint64_t readable = readableNodesInExtent(v, e);
    const std::uint64_t first = v.HPlusVolStart + static_cast<std::uint64_t>(e.startBlock) * v.blockSize;
    bool foundHere = false;
    for (std::uint64_t i = 0; i < readable && !v.stopTreeThread; ++i) {
      progress.step();
      const std::vector<std::byte> node = readNodeAtSector(v, first + i * static_cast<std::uint64_t>(v.catalog.catNodeSize));
      ++position;
      // An only node of its level, with no sibling, isn't taken for a find.
      if (isIndexNodeAtLevel(node, 2) && (fLinkOf(node) != 0 || bLinkOf(node) != 0)) {
        foundHere = true;
        break;
      }
    }
    if (!foundHere && !v.stopTreeThread) position += nodes - readable;
    found = found || foundHere;
  }
  if (!found || position == 0) {
    v.catalog.level2IndexNodeHasProblems = true;
    return;
  }
  ScanProgress walking = ScanProgress::withStatus(kSearchingStatus);
  walking.bar = ProgressBar::kIndeterminate;
  walking.animation = ProgressAnimation::kStart;
  hfs.progress().report(walking);
  auto number = static_cast<std::uint32_t>(position - 1);
  std::vector<std::byte> node = readNode(hfs, number);
  if (!isIndexNodeAtLevel(node, 2)) {
    v.catalog.level2IndexNodeHasProblems = true;
    return;
  }
  if (fLinkOf(node) == 0 && bLinkOf(node) == 0) return;
  // Left along bLink to the first node of the level; a failed test keeps the last good node.
  NodeChain chain(catalogNodeCount(v));
  (void)chain.step(number);
  for (std::uint32_t left = bLinkOf(node); left != 0 && !v.stopTreeThread;) {
    if (!chain.step(left)) {
      v.catalog.level2IndexNodeHasProblems = true;
      break;
    }
    std::vector<std::byte> leftNode = readNode(hfs, left);
    if (!isIndexNodeAtLevel(leftNode, 2)) {
      v.catalog.level2IndexNodeHasProblems = true;
      break;
    }
    number = left;
    left = bLinkOf(leftNode);
  }
  // What the enumeration gathered stays; the walk's visit counter sorts out doubles.
  if (!v.stopTreeThread) collectLevel2Chain(hfs, number);
}

void searchForLeafNodes(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  v.catalog.leafNodePointerTotalArray.clear();
  if (v.catalog.catNodeSize <= 0) return;
  SearchProgress progress(hfs.progress(), catalogNodeCount(v));
  std::uint64_t number = 0;
  for (const Extent& e : v.catalog.catalogExt) {
    if (v.stopTreeThread) break;
    const std::uint64_t readable = readableNodesInExtent(v, e);
    const std::uint64_t first = v.HPlusVolStart + static_cast<std::uint64_t>(e.startBlock) * v.blockSize;
    for (std::uint64_t i = 0; i < readable && !v.stopTreeThread; ++i) {
      progress.step();
      const std::vector<std::byte> node = readNodeAtSector(v, first + i * static_cast<std::uint64_t>(v.catalog.catNodeSize));
      if (looksLikeLeafNode(node)) v.catalog.leafNodePointerTotalArray.push_back(static_cast<std::uint32_t>(number + i));
    }
    number += nodesInExtent(v, e);
  }
}

void findLeafNodesForCatalogWalk(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  // Lists of an earlier scan on this object mean nothing to this one.
  v.catalog.leafNodePointerArray.clear();
  v.catalog.leafNodePointerTotalArray.clear();
  v.catalog.level2IndexNodeHasProblems = false;
  if (v.catalog.catTreeDepth < 2) return;  // a one-level tree: the walk has only fLink
  enumerateLevel2IndexNodes(hfs);
  if (v.catalog.leafNodePointerArray.empty() || v.catalog.level2IndexNodeHasProblems) searchForLevel2IndexNodes(hfs);
  if (v.catalog.level2IndexNodeHasProblems) searchForLeafNodes(hfs);
}

}  // namespace nua
