// Packs sorted records into HFS+ B-tree nodes: leaves as records arrive (streamed to a sink, so huge
// catalogs never sit in memory), then index levels, the header node and any map nodes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace nua::imagekit::hfs {

constexpr std::size_t kNodeDescriptorSize = 14;
constexpr std::int8_t kLeafNode = -1;
constexpr std::int8_t kIndexNode = 0;
constexpr std::int8_t kHeaderNode = 1;
constexpr std::int8_t kMapNode = 2;

struct BTreeShape {
  std::uint32_t nodeSize = 4096;
  std::uint32_t recordsPerLeaf = 0;  // 0 fills each leaf; also caps index nodes, to force depth
  std::uint16_t maxKeyLength = 516;
  bool variableIndexKeys = true;  // catalog: index keys as long as the key; extents: fixed maxKeyLength
  std::uint8_t keyCompareType = 0;
};

struct NodeRecord {
  std::span<const std::byte> key;
  std::span<const std::byte> data;
};

// Encodes one node: descriptor, records in order, the offset table from the node end.
[[nodiscard]] std::vector<std::byte> encodeNode(std::uint32_t nodeSize, std::int8_t kind, std::uint8_t height,
                                                std::uint32_t forwardLink, std::uint32_t backwardLink,
                                                std::span<const NodeRecord> records);

struct BTreeSummary {
  std::uint32_t usedNodes = 1;  // header, leaves, index and map nodes
  std::uint32_t depth = 0;
  std::uint32_t rootNode = 0;
  std::uint32_t firstLeafNode = 0;
  std::uint32_t lastLeafNode = 0;
  std::uint32_t leafRecords = 0;
};

class BTreeBuilder {
 public:
  // The sink receives each finished node with its number; a null sink only counts.
  using NodeSink = std::function<void(std::uint32_t nodeNumber, std::span<const std::byte> node)>;
  BTreeBuilder(BTreeShape shape, NodeSink sink);

  // Appends a record; keys must arrive in tree order. Returns the leaf node number it landed in.
  std::uint32_t add(std::span<const std::byte> key, std::span<const std::byte> data);
  // Emits the last leaf and the index levels; nothing is written for the header yet.
  [[nodiscard]] BTreeSummary finishRecords();
  // Map nodes needed beside the header's map record for a file of `totalNodes` nodes.
  [[nodiscard]] static std::uint32_t mapNodesFor(std::uint32_t nodeSize, std::uint32_t totalNodes);
  // Emits the header node (and map nodes numbered after the used ones) for a file of `totalNodes`.
  void writeHeader(const BTreeSummary& summary, std::uint32_t totalNodes, std::uint32_t clumpSize);

 private:
  void emitLeaf(std::uint32_t forwardLink);
  std::uint32_t buildIndexLevels();

  BTreeShape shape_;
  NodeSink sink_;
  std::vector<std::byte> leafBytes_;  // records of the open leaf, back to back
  std::vector<std::size_t> leafOffsets_;
  std::vector<std::size_t> leafKeySizes_;
  std::uint32_t leafNumber_ = 0;
  std::uint32_t nextNode_ = 1;
  BTreeSummary summary_;
  // First key of every finished leaf, for the index levels.
  std::vector<std::vector<std::byte>> leafFirstKeys_;
  std::vector<std::uint32_t> leafNumbers_;
};

}  // namespace nua::imagekit::hfs
