// HFS+ B-tree node packing: leaves, index levels, header and map nodes.
#include "imagekit/hfs_btree.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/bytes.h"

namespace nua::imagekit::hfs {

namespace {
constexpr std::size_t kHeaderRecordSize = 106;
constexpr std::size_t kUserDataRecordSize = 128;
constexpr std::size_t kHeaderMapOffset = kNodeDescriptorSize + kHeaderRecordSize + kUserDataRecordSize;
constexpr std::uint32_t kBigKeysAttribute = 0x2;
constexpr std::uint32_t kVariableIndexKeysAttribute = 0x4;

std::size_t headerMapBytes(std::uint32_t nodeSize) { return nodeSize - kHeaderMapOffset - 8; }
std::size_t mapNodeBytes(std::uint32_t nodeSize) { return nodeSize - kNodeDescriptorSize - 6; }

// Bytes a node of `count` records totalling `recordBytes` needs, offset table included.
std::size_t nodeBytes(std::size_t recordBytes, std::size_t count) {
  return kNodeDescriptorSize + recordBytes + 2 * (count + 1);
}

void setBits(std::vector<std::byte>& bytes, std::size_t firstBit, std::size_t bitCount) {
  for (std::size_t bit = firstBit; bit < firstBit + bitCount && bit / 8 < bytes.size(); ++bit) {
    bytes[bit / 8] |= static_cast<std::byte>(0x80u >> (bit % 8));
  }
}
}  // namespace

std::vector<std::byte> encodeNode(std::uint32_t nodeSize, std::int8_t kind, std::uint8_t height,
                                  std::uint32_t forwardLink, std::uint32_t backwardLink,
                                  std::span<const NodeRecord> records) {
  std::vector<std::byte> node(nodeSize);
  const MutableByteSpan b(node);
  putBe32(b, 0, forwardLink);
  putBe32(b, 4, backwardLink);
  put8(b, 8, static_cast<std::uint8_t>(kind));
  put8(b, 9, height);
  putBe16(b, 10, static_cast<std::uint16_t>(records.size()));
  std::size_t offset = kNodeDescriptorSize;
  for (std::size_t i = 0; i < records.size(); ++i) {
    putBe16(b, nodeSize - 2 * (i + 1), static_cast<std::uint16_t>(offset));
    std::copy(records[i].key.begin(), records[i].key.end(), node.begin() + static_cast<std::ptrdiff_t>(offset));
    offset += records[i].key.size();
    std::copy(records[i].data.begin(), records[i].data.end(), node.begin() + static_cast<std::ptrdiff_t>(offset));
    offset += records[i].data.size();
  }
  putBe16(b, nodeSize - 2 * (records.size() + 1), static_cast<std::uint16_t>(offset));
  return node;
}

BTreeBuilder::BTreeBuilder(BTreeShape shape, NodeSink sink) : shape_(shape), sink_(std::move(sink)) {}

std::uint32_t BTreeBuilder::add(std::span<const std::byte> key, std::span<const std::byte> data) {
  const std::size_t size = key.size() + data.size();
  const bool full = !leafOffsets_.empty() &&
                    (nodeBytes(leafBytes_.size() + size, leafOffsets_.size() + 1) > shape_.nodeSize ||
                     (shape_.recordsPerLeaf != 0 && leafOffsets_.size() >= shape_.recordsPerLeaf));
  if (full) emitLeaf(nextNode_);
  if (leafOffsets_.empty()) {
    leafNumber_ = nextNode_++;
    leafFirstKeys_.emplace_back(key.begin(), key.end());
    leafNumbers_.push_back(leafNumber_);
  }
  leafOffsets_.push_back(leafBytes_.size());
  leafKeySizes_.push_back(key.size());
  leafBytes_.insert(leafBytes_.end(), key.begin(), key.end());
  leafBytes_.insert(leafBytes_.end(), data.begin(), data.end());
  ++summary_.leafRecords;
  return leafNumber_;
}

void BTreeBuilder::emitLeaf(std::uint32_t forwardLink) {
  if (sink_) {
    std::vector<NodeRecord> records;
    records.reserve(leafOffsets_.size());
    for (std::size_t i = 0; i < leafOffsets_.size(); ++i) {
      const std::size_t end = i + 1 < leafOffsets_.size() ? leafOffsets_[i + 1] : leafBytes_.size();
      const std::span<const std::byte> all(leafBytes_);
      records.push_back({all.subspan(leafOffsets_[i], leafKeySizes_[i]),
                         all.subspan(leafOffsets_[i] + leafKeySizes_[i], end - leafOffsets_[i] - leafKeySizes_[i])});
    }
    const std::uint32_t backwardLink = leafNumbers_.size() > 1 ? leafNumbers_[leafNumbers_.size() - 2] : 0;
    sink_(leafNumber_, encodeNode(shape_.nodeSize, kLeafNode, 1, forwardLink, backwardLink, records));
  }
  leafBytes_.clear();
  leafOffsets_.clear();
  leafKeySizes_.clear();
}

BTreeSummary BTreeBuilder::finishRecords() {
  if (!leafOffsets_.empty()) emitLeaf(0);
  if (leafNumbers_.empty()) return summary_;
  summary_.firstLeafNode = leafNumbers_.front();
  summary_.lastLeafNode = leafNumbers_.back();
  summary_.rootNode = buildIndexLevels();
  summary_.usedNodes = nextNode_;
  return summary_;
}

std::uint32_t BTreeBuilder::buildIndexLevels() {
  std::vector<std::vector<std::byte>> keys = std::move(leafFirstKeys_);
  std::vector<std::uint32_t> children = std::move(leafNumbers_);
  summary_.depth = 1;
  // Each level has fewer nodes than the one below, so this ends within log(leaves) rounds.
  while (children.size() > 1) {
    ++summary_.depth;
    std::vector<std::vector<std::byte>> levelKeys;
    std::vector<std::uint32_t> levelNodes;
    std::vector<std::vector<std::byte>> indexKeys(keys.size());
    std::vector<std::array<std::byte, 4>> pointers(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
      indexKeys[i] = keys[i];
      if (!shape_.variableIndexKeys) {
        indexKeys[i].resize(2u + shape_.maxKeyLength);
        putBe16(MutableByteSpan(indexKeys[i]), 0, shape_.maxKeyLength);
      }
      putBe32(MutableByteSpan(pointers[i]), 0, children[i]);
    }
    std::size_t first = 0;
    while (first < keys.size()) {
      std::size_t count = 0;
      std::size_t bytes = 0;
      while (first + count < keys.size() && (shape_.recordsPerLeaf == 0 || count < std::max(2u, shape_.recordsPerLeaf)) &&
             nodeBytes(bytes + indexKeys[first + count].size() + 4, count + 1) <= shape_.nodeSize) {
        bytes += indexKeys[first + count].size() + 4;
        ++count;
      }
      levelKeys.push_back(keys[first]);
      levelNodes.push_back(nextNode_++);
      std::vector<NodeRecord> records;
      for (std::size_t i = first; i < first + count; ++i) records.push_back({indexKeys[i], pointers[i]});
      const bool last = first + count >= keys.size();
      const std::uint32_t forward = last ? 0 : levelNodes.back() + 1;
      const std::uint32_t backward = levelNodes.size() > 1 ? levelNodes[levelNodes.size() - 2] : 0;
      if (sink_) {
        sink_(levelNodes.back(), encodeNode(shape_.nodeSize, kIndexNode, static_cast<std::uint8_t>(summary_.depth),
                                            forward, backward, records));
      }
      first += count;
    }
    keys = std::move(levelKeys);
    children = std::move(levelNodes);
  }
  return children.front();
}

std::uint32_t BTreeBuilder::mapNodesFor(std::uint32_t nodeSize, std::uint32_t totalNodes) {
  const std::size_t inHeader = headerMapBytes(nodeSize) * 8;
  if (totalNodes <= inHeader) return 0;
  const std::size_t perMapNode = mapNodeBytes(nodeSize) * 8;
  return static_cast<std::uint32_t>((totalNodes - inHeader + perMapNode - 1) / perMapNode);
}

void BTreeBuilder::writeHeader(const BTreeSummary& summary, std::uint32_t totalNodes, std::uint32_t clumpSize) {
  if (!sink_) return;
  const std::uint32_t nodeSize = shape_.nodeSize;
  const std::uint32_t mapNodes = mapNodesFor(nodeSize, totalNodes);
  const std::uint32_t firstMapNode = summary.usedNodes;
  const std::uint32_t usedNodes = summary.usedNodes + mapNodes;

  std::vector<std::byte> header(kHeaderRecordSize);
  const MutableByteSpan h(header);
  putBe16(h, 0, static_cast<std::uint16_t>(summary.depth));
  putBe32(h, 2, summary.rootNode);
  putBe32(h, 6, summary.leafRecords);
  putBe32(h, 10, summary.firstLeafNode);
  putBe32(h, 14, summary.lastLeafNode);
  putBe16(h, 18, static_cast<std::uint16_t>(nodeSize));
  putBe16(h, 20, shape_.maxKeyLength);
  putBe32(h, 22, totalNodes);
  putBe32(h, 26, totalNodes - usedNodes);
  putBe32(h, 32, clumpSize);
  put8(h, 37, shape_.keyCompareType);
  putBe32(h, 38, kBigKeysAttribute | (shape_.variableIndexKeys ? kVariableIndexKeysAttribute : 0));

  // Nodes in use are 0..summary.usedNodes-1 and the map nodes right after them.
  std::vector<std::byte> allBits((usedNodes + 7) / 8);
  setBits(allBits, 0, usedNodes);
  auto slice = [&](std::size_t firstByte, std::size_t length) {
    std::vector<std::byte> part(length);
    for (std::size_t i = 0; i < length && firstByte + i < allBits.size(); ++i) part[i] = allBits[firstByte + i];
    return part;
  };
  const std::vector<std::byte> userData(kUserDataRecordSize);
  const std::vector<std::byte> headerMap = slice(0, headerMapBytes(nodeSize));
  const std::vector<NodeRecord> records = {{{}, header}, {{}, userData}, {{}, headerMap}};
  sink_(0, encodeNode(nodeSize, kHeaderNode, 0, mapNodes > 0 ? firstMapNode : 0, 0, records));

  std::size_t byteCursor = headerMap.size();
  for (std::uint32_t m = 0; m < mapNodes; ++m) {
    const std::vector<std::byte> bits = slice(byteCursor, mapNodeBytes(nodeSize));
    byteCursor += bits.size();
    const std::vector<NodeRecord> mapRecord = {{{}, bits}};
    const std::uint32_t forward = m + 1 < mapNodes ? firstMapNode + m + 1 : 0;
    sink_(firstMapNode + m, encodeNode(nodeSize, kMapNode, 0, forward, 0, mapRecord));
  }
}

}  // namespace nua::imagekit::hfs
