#include "media/hfs_extents_overflow.h"

#include <algorithm>
#include <tuple>

#include "media/node_chain.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_extent_key.h"
#include "ondisk/hfs_fork_data.h"

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

std::optional<std::vector<Extent>> findOverflowExtents(const ExtentsOverflowTree& tree, std::uint32_t fileID,
                                                       std::uint8_t fork, std::uint32_t startBlock,
                                                       std::uint32_t totalBlocks) {
  if (tree.rootNode == 0) return std::nullopt;
  auto stopped = [&tree] { return tree.stopped && tree.stopped(); };
  std::vector<std::byte> node(tree.nodeBytes);
  auto readNode = [&](std::uint32_t number) -> std::optional<BTNodeDescriptor> {
    std::fill(node.begin(), node.end(), std::byte{0});
    if (!tree.readNode(number, node)) return std::nullopt;
    auto descriptor = parseBTNodeDescriptor(node);
    if (!descriptor) return std::nullopt;
    return *descriptor;
  };

  std::uint32_t current = tree.rootNode;
  std::optional<BTNodeDescriptor> descriptor = readNode(current);
  for (int level = 0; descriptor && descriptor->kind == kBTIndexNode; ++level) {
    if (stopped() || level >= kMaxIndexLevels) return std::nullopt;
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
  if (stopped()) return std::nullopt;

  std::vector<Extent> found;
  std::uint64_t at = startBlock;
  // Each leaf is read at most once, and no more nodes than the extents file can hold: a sibling link
  // back to a node already read (itself, say) ends the lookup with what it has.
  NodeChain chain(tree.nodeCount);
  if (descriptor && !chain.step(current)) descriptor.reset();
  for (; descriptor && !stopped();) {
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
