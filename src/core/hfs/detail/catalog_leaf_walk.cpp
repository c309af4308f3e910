#include "hfs/detail/catalog_leaf_walk.h"

#include <algorithm>

#include "media/node_chain.h"
#include "ondisk/bt_node_descriptor.h"
#include "records/entry_arena.h"

namespace nua::detail {

void CatalogLeafWalk::run(const std::function<void()>& readRecords) {
  const auto sectorBytes = static_cast<std::size_t>(v_.u32BytesInSector);
  node_.assign(static_cast<std::size_t>(v_.catalog.catNodeSize) * sectorBytes, std::byte{0});
  // Every leaf is read once. A link to a node already read, or a broken one, hands over to the
  // gathered lists, which go on with the leaves not yet read: one bad link loses no other node.
  NodeChain chain(catalogNodeCount());
  std::size_t pointerIndex = 0;
  std::size_t totalIndex = 0;
  // The next entry of the lists: the index's leaves (trusted), then the leaves found by searching,
  // whose records are doubted from then on. 0 when both are used up.
  auto fromLists = [&]() -> std::uint32_t {
    if (!doubting_ && pointerIndex < v_.catalog.leafNodePointerArray.size()) return v_.catalog.leafNodePointerArray[pointerIndex++];
    if (totalIndex < v_.catalog.leafNodePointerTotalArray.size()) {
      doubting_ = true;
      return v_.catalog.leafNodePointerTotalArray[totalIndex++];
    }
    return 0;
  };
  std::uint32_t nodeNumber = v_.catalog.firstLeafNode;
  while (nodeNumber != 0 && !v_.stopTreeThread && !node_.empty()) {
    if (!chain.step(nodeNumber)) {
      if (chain.exhausted()) break;
      nodeNumber = fromLists();  // read before: its records are in already
      continue;
    }
    const std::uint64_t sector = hfs_.catNodeToSector(nodeNumber);
    std::optional<BTNodeDescriptor> descriptor;
    if (sector != 0) {
      std::fill(node_.begin(), node_.end(), std::byte{0});
      (void)v_.readSector(sector, v_.catalog.catNodeSize, node_);
      if (auto parsed = parseBTNodeDescriptor(node_); parsed && verifyLeafNodeDesc(*parsed)) descriptor = *parsed;
    }
    // Two node numbers may share a sector only through a damaged list; its records count once.
    const bool sectorRead = descriptor && v_.tables.btreeForUsedCatNodeSector->retrieveKeyField(sector) != nullptr;
    const bool completed = descriptor && !sectorRead;
    if (completed) {
      v_.tables.btreeForUsedCatNodeSector->insert(CountedKeyItem{sector, 0});
      numRecords_ = descriptor->numRecords;
      recordsSeen_ += numRecords_;
      readRecords();
    }
    // The next node: the sibling link while the chain is trusted (a bad descriptor has none to
    // trust), then the gathered lists.
    if (!doubting_ && descriptor && descriptor->fLink != 0) {
      nodeNumber = descriptor->fLink;
    } else if (!doubting_ && completed && recordsSeen_ >= 2 * static_cast<std::uint64_t>(v_.catalog.leafRecords)) {
      nodeNumber = 0;  // every record has been seen: a null link is the true end
    } else {
      nodeNumber = fromLists();
    }
  }
  node_.clear();
  node_.shrink_to_fit();
}

std::uint64_t CatalogLeafWalk::catalogNodeCount() const {
  const auto nodeSize = static_cast<std::uint64_t>(v_.catalog.catNodeSize);
  if (nodeSize == 0) return 0;
  std::uint64_t nodes = 0;
  for (const Extent& e : v_.catalog.catalogExt)
    nodes += static_cast<std::uint64_t>(e.blockCount) * static_cast<std::uint64_t>(v_.blockSize) / nodeSize;
  return nodes;
}

std::optional<CatalogRecordHead> readCatalogRecordHead(ByteSpan node, std::size_t index, std::uint16_t numRecords,
                                                       std::size_t sectorBytes, bool doubting) {
  const std::size_t nodeBytes = node.size();
  if (2 * (index + 1) > nodeBytes) return std::nullopt;
  const std::size_t slot = nodeBytes - 2 * (index + 1);
  if (slot < kBTNodeDescriptorSize) return std::nullopt;
  CatalogRecordHead head;
  head.offset = be16(node, slot);
  head.limit = static_cast<std::int64_t>(nodeBytes) - 1 - 2 - 2 * static_cast<std::int64_t>(numRecords);
  if (head.offset < kBTNodeDescriptorSize || !fits(nodeBytes, head.offset, 8)) return std::nullopt;
  head.keyLength = be16(node, head.offset);
  if (doubting) {
    if (slot + sectorBytes < nodeBytes) return std::nullopt;
    if (!head.within(head.offset + 2)) return std::nullopt;
    if (head.keyLength >= 517 || head.keyLength < kCatalogKeyMinLength ||
        !head.within(head.offset + 2 + head.keyLength))
      return std::nullopt;
    if (be32(node, head.offset + 2) == 0) return std::nullopt;
  }
  const std::uint16_t nameLength = be16(node, head.offset + 6);
  if (nameLength == 0 || nameLength >= 256) return std::nullopt;
  auto key = parseHFSPlusCatalogKey(node.subspan(head.offset, std::min(kCatalogKeyMaxSize, nodeBytes - head.offset)));
  if (!key) return std::nullopt;
  if (doubting && !head.within(head.offset + head.keyLength + 4)) return std::nullopt;
  if (key->name == u".DS_Store") return std::nullopt;
  head.key = std::move(*key);
  head.bodyOffset = head.offset + 2 + head.keyLength;
  return head;
}

Entry* newCatalogEntry(Volume& v, std::uint16_t fileType, const HFSPlusCatalogKey& key, std::uint32_t fileID,
                        std::uint32_t createDate, std::uint32_t modDate) {
  Entry* dir = v.arena->newDir();
  dir->blockBaseSector = static_cast<std::uint32_t>(v.blocksStartsAtSector);
  dir->fileType = fileType;
  dir->parentID = key.parentID;
  dir->createDate = createDate;
  dir->modDate = modDate;
  dir->fileID = fileID;
  if (fileID > v.maxFileID) v.maxFileID = fileID;
  return dir;
}

}  // namespace nua::detail
