// The extents-overflow lookup: the extents of a fork beyond the eight its record holds. Every step is
// bounded by the size of the extents file, so a damaged tree ends the lookup instead of looping.
#include <algorithm>
#include <tuple>

#include "hfs/detail/node_chain.h"
#include "hfs/hfs_volume.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_extent_key.h"

namespace nua {
namespace {

constexpr std::size_t kLeafRecordSize = kExtentKeySize + kExtentRecordSize;
constexpr int kMaxIndexLevels = 16;

struct KeyAt {
  HFSPlusExtentKey key;
  std::size_t offset = 0;
};

std::optional<KeyAt> keyOfRecord(ByteSpan node, std::size_t index, std::size_t length) {
  auto offset = recordOffset(node, index);
  if (!offset || !fits(node.size(), *offset, length)) return std::nullopt;
  auto key = parseHFSPlusExtentKey(node.subspan(*offset));
  if (!key) return std::nullopt;
  return KeyAt{*key, *offset};
}

// The descent's order: fork first, then file id, then start block. For a data fork it lands at or left
// of the leaf that holds the key.
bool atOrBelowForDescent(const HFSPlusExtentKey& k, std::uint8_t fork, std::uint32_t id, std::uint32_t start) {
  return std::tie(k.forkType, k.fileID, k.startBlock) <= std::tie(fork, id, start);
}

// The file system's own order: file id, fork, start block.
bool belowInTreeOrder(const HFSPlusExtentKey& k, std::uint8_t fork, std::uint32_t id, std::uint32_t start) {
  return std::tie(k.fileID, k.forkType, k.startBlock) < std::tie(id, fork, start);
}

}  // namespace

std::uint64_t HfsVolume::extentsFileNodeCount() const {
  const auto nodeSize = static_cast<std::uint64_t>(volume_.extNodeSize);
  const auto perBlock = static_cast<std::uint64_t>(volume_.blockSize);
  if (nodeSize == 0) return 0;
  // The nodes that extNodeToSector can place; no more than the volume holds, whatever the header says.
  std::uint64_t nodes = 0;
  for (const auto& e : vib_.extentsFile.extents) nodes += static_cast<std::uint64_t>(e.blockCount) * perBlock / nodeSize;
  const std::uint64_t volumeNodes = volume_.sizeInSect / nodeSize;
  return volumeNodes != 0 ? std::min(nodes, volumeNodes) : nodes;
}

std::optional<std::vector<Extent>> HfsVolume::extentsForID(std::uint32_t fileID, std::uint8_t fork,
                                                           std::uint32_t startBlock, std::uint32_t totalBlocks) {
  Volume& v = volume_;
  if (v.extRootNode == 0 || v.extNodeSize <= 0) return std::nullopt;
  const std::size_t nodeBytes =
      static_cast<std::size_t>(v.extNodeSize) * static_cast<std::size_t>(v.u32BytesInSector);
  std::vector<std::byte> node(nodeBytes);
  auto readNode = [&](std::uint32_t number) -> std::optional<BTNodeDescriptor> {
    const std::uint64_t sector = extNodeToSector(number);
    if (sector == 0) return std::nullopt;
    std::fill(node.begin(), node.end(), std::byte{0});
    (void)v.readSector(sector, v.extNodeSize, node);
    auto descriptor = parseBTNodeDescriptor(node);
    if (!descriptor) return std::nullopt;
    return *descriptor;
  };

  std::uint32_t current = v.extRootNode;
  std::optional<BTNodeDescriptor> descriptor = readNode(current);
  for (int level = 0; descriptor && descriptor->kind == kBTIndexNode; ++level) {
    if (v.stopTreeThread || level >= kMaxIndexLevels) return std::nullopt;
    std::optional<std::uint32_t> child;
    for (std::size_t i = descriptor->numRecords; i-- > 0;) {
      auto key = keyOfRecord(node, i, kExtentKeySize + 4);
      if (key && atOrBelowForDescent(key->key, fork, fileID, startBlock)) {
        child = be32(node, key->offset + kExtentKeySize);
        break;
      }
    }
    // An index node with no key at or below the target can't lead anywhere.
    if (!child) return std::nullopt;
    current = *child;
    if (current == 0) return std::vector<Extent>{};
    descriptor = readNode(current);
  }
  if (v.stopTreeThread) return std::nullopt;

  std::vector<Extent> found;
  std::uint64_t at = startBlock;
  // Each leaf is read at most once, and no more nodes than the extents file can hold: a sibling link
  // back to a node already read (itself, say) ends the lookup with what it has.
  detail::NodeChain chain(extentsFileNodeCount());
  if (descriptor && !chain.step(current)) descriptor.reset();
  for (; descriptor && !v.stopTreeThread;) {
    if (descriptor->kind != kBTLeafNode) {
      if (descriptor->fLink == 0 || !chain.step(descriptor->fLink)) break;
      descriptor = readNode(descriptor->fLink);
      continue;
    }
    if (descriptor->numRecords == 0) break;
    bool movedOn = false;
    std::size_t passed = 0;  // records below this index were used or passed
    for (;;) {
      std::optional<std::size_t> match;
      bool lastIsBelow = false;
      for (std::size_t i = descriptor->numRecords; i-- > passed;) {
        auto key = keyOfRecord(node, i, kLeafRecordSize);
        if (!key) continue;
        if (i + 1 == descriptor->numRecords) lastIsBelow = belowInTreeOrder(key->key, fork, fileID, static_cast<std::uint32_t>(at));
        if (key->key.forkType == fork && key->key.fileID == fileID && key->key.startBlock == at) {
          match = i;
          const HFSPlusExtentRecord record = readExtentRecord(node, key->offset + kExtentKeySize);
          for (const auto& d : record) {
            if (d.startBlock == 0) break;
            found.push_back(Extent{d.startBlock, d.blockCount});
            at += d.blockCount;
          }
          break;
        }
      }
      if (match && at >= totalBlocks) return found;
      if (match && *match + 1 < descriptor->numRecords) {
        passed = *match + 1;
        continue;
      }
      // The node is used up, or the key lies further right: go on to the next leaf. Anything else
      // means the record is not there, and the lookup ends with what it has.
      if (match || lastIsBelow) movedOn = descriptor->fLink != 0;
      break;
    }
    if (!movedOn || !chain.step(descriptor->fLink)) break;
    descriptor = readNode(descriptor->fLink);
  }
  return found;
}

}  // namespace nua
