// The names of listed HFS+ partitions, read from the root folder's record in the first catalog
// leaf, and the node-to-sector and extent lookups that reach it.
#include <set>

#include "base/bytes.h"
#include "media/partition_reader.h"

namespace nua {
namespace {

constexpr int kMaxIndexDepth = 16;
constexpr std::size_t kMaxLeafSteps = 65536;

}  // namespace

bool PartitionReader::readVolumeHeaderAt(std::uint64_t volumeStart, bool checkSignature) {
  media_.HPlusVolStart = volumeStart;
  const auto sectorSize = static_cast<std::uint64_t>(media_.u32BytesInSector);
  if (volumeStart > (UINT64_MAX - 1024) / sectorSize) return false;
  std::vector<std::byte> raw(peek::kVolumeHeaderSize, std::byte{0});
  if (!readBytes(volumeStart * sectorSize + 1024, raw)) return false;
  const auto header = peek::parseVolumeHeader(raw);
  if (!header) return false;
  if (checkSignature && !peek::isHfsPlusSignature(header->signature)) return false;
  header_ = *header;
  return true;
}

void PartitionReader::getVolumeNamesGPT() {
  for (PartitionRow& partition : media_.volumePMArray) {
    if (partition.content != "Apple_HFS") continue;
    if (!readVolumeHeaderAt(partition.volumeStart, true)) continue;
    nameFromCatalog(partition);
  }
}

void PartitionReader::getVolumeNamesPM() {
  const auto sectorSize = static_cast<std::uint64_t>(media_.u32BytesInSector);
  for (PartitionRow& partition : media_.volumePMArray) {
    const std::uint64_t start = partition.volumeStart;
    if (start > (UINT64_MAX - 1024) / sectorSize) continue;
    std::vector<std::byte> raw(peek::kMasterDirectoryBlockSize, std::byte{0});
    if (!readBytes(start * sectorSize + 1024, raw)) continue;
    const auto mdb = peek::parseWrapperHeader(raw);
    if (!mdb) continue;
    if (peek::isHfsPlusSignature(mdb->drSigWord)) {
      if (readVolumeHeaderAt(start, false)) nameFromCatalog(partition);
    } else if (mdb->drSigWord == peek::kHfsWrapperSignature) {
      if (!mdb->drVN.empty()) partition.volumeName = mdb->drVN;
      if (!peek::isHfsPlusSignature(mdb->drEmbedSigWord)) continue;
      // The embedded volume's own root name wins over the wrapper's.
      const std::uint64_t embedded =
          start + mdb->drAlBlSt + std::uint64_t{mdb->drAlBlkSiz / static_cast<std::uint32_t>(sectorSize)} * mdb->xdrStABN;
      if (readVolumeHeaderAt(embedded, false)) nameFromCatalog(partition);
    }
  }
}

void PartitionReader::nameFromCatalog(PartitionRow& partition) {
  const auto sectorSize = static_cast<std::uint32_t>(media_.u32BytesInSector);
  media_.catalogExt.clear();
  media_.extentsExt.clear();
  media_.extNodeSize = media_.catNodeSize = 0;
  media_.extRootNode = media_.catRootNode = media_.firstLeafNode = 0;
  media_.blockSize = static_cast<std::int32_t>(header_.blockSize / sectorSize);
  if (media_.blockSize <= 0) return;
  const auto blockSize = static_cast<std::uint64_t>(media_.blockSize);
  std::vector<std::byte> node(static_cast<std::size_t>(sectorSize), std::byte{0});

  for (const peek::ExtentDescriptor& e : header_.extentsFile.extents)
    if (e.startBlock != 0) media_.extentsExt.push_back({e.startBlock, e.blockCount});
  // The header node is the first node of its file; its record follows the 14-byte descriptor.
  auto readHeaderNode = [&](std::uint32_t firstBlock, std::int32_t& nodeSize, std::uint32_t& root,
                            std::uint32_t* firstLeaf) {
    if (!media_.readSector(media_.HPlusVolStart + firstBlock * blockSize, 1, node)) return false;
    const auto descriptor = peek::parseNodeDescriptor(node);
    if (!descriptor || !peek::isHeaderNode(*descriptor)) return false;
    const auto record = peek::parseHeaderRecord(std::span<const std::byte>(node).subspan(peek::kNodeDescriptorSize));
    if (!record) return false;
    nodeSize = static_cast<std::int32_t>(record->nodeSize / sectorSize);
    root = record->rootNode;
    if (firstLeaf) *firstLeaf = record->firstLeafNode;
    return true;
  };
  (void)readHeaderNode(header_.extentsFile.extents[0].startBlock, media_.extNodeSize, media_.extRootNode, nullptr);

  std::uint64_t sum = 0;
  for (const peek::ExtentDescriptor& e : header_.catalogFile.extents) {
    if (e.startBlock == 0) continue;
    media_.catalogExt.push_back({e.startBlock, e.blockCount});
    sum += e.blockCount;
  }
  if (sum < header_.catalogFile.totalBlocks)
    for (const Extent& e :
         extentsForID(4, 0, static_cast<std::uint32_t>(sum), header_.catalogFile.totalBlocks))
      media_.catalogExt.push_back(e);
  if (!readHeaderNode(header_.catalogFile.extents[0].startBlock, media_.catNodeSize, media_.catRootNode,
                      &media_.firstLeafNode))
    return;
  // A node size below one sector would make every node the same sector.
  if (media_.catNodeSize <= 0) return;
  const std::uint64_t leafSector = catalogNodeToSector(media_.firstLeafNode);
  if (leafSector == 0) return;
  std::vector<std::byte> leaf(2 * static_cast<std::size_t>(sectorSize), std::byte{0});
  if (!media_.readSector(leafSector, 2, leaf)) return;
  if (const auto name = peek::parseRootFolderName(leaf); name && !name->empty()) partition.volumeName = *name;
}

namespace {

// Walks extents for the sector of `node`; 64-bit throughout, so large volumes do not wrap.
std::uint64_t nodeToSector(const std::vector<Extent>& extents, std::uint64_t node, std::int32_t nodeSize,
                           std::int32_t blockSize, std::uint64_t volumeStart) {
  if (nodeSize <= 0 || blockSize <= 0) return 0;
  const auto perNode = static_cast<std::uint64_t>(nodeSize);
  const auto perBlock = static_cast<std::uint64_t>(blockSize);
  for (const Extent& e : extents) {
    const std::uint64_t sectors = std::uint64_t{e.blockCount} * perBlock;
    if (node * perNode < sectors) return volumeStart + std::uint64_t{e.startBlock} * perBlock + node * perNode;
    node -= sectors / perNode;
  }
  return 0;
}

}  // namespace

std::uint64_t PartitionReader::catalogNodeToSector(std::uint32_t node) const {
  return nodeToSector(media_.catalogExt, node, media_.catNodeSize, media_.blockSize, media_.HPlusVolStart);
}

std::uint64_t PartitionReader::extentsNodeToSector(std::int32_t node) const {
  if (node < 0) return 0;
  std::vector<Extent> extents;
  for (const peek::ExtentDescriptor& e : header_.extentsFile.extents) extents.push_back({e.startBlock, e.blockCount});
  return nodeToSector(extents, static_cast<std::uint64_t>(node), media_.extNodeSize, media_.blockSize,
                      media_.HPlusVolStart);
}

std::vector<Extent> PartitionReader::extentsForID(std::uint32_t fileID, std::uint8_t fork, std::uint32_t startBlock,
                                                  std::uint32_t totalBlocks) {
  std::vector<Extent> found;
  if (media_.extRootNode == 0 || media_.extNodeSize <= 0 || media_.extNodeSize > 64) return found;
  const std::size_t nodeBytes = static_cast<std::size_t>(media_.extNodeSize) * static_cast<std::size_t>(media_.u32BytesInSector);
  std::vector<std::byte> node(nodeBytes, std::byte{0});
  auto readNode = [&](std::uint32_t number) {
    const std::uint64_t sector = extentsNodeToSector(static_cast<std::int32_t>(number));
    return sector != 0 && media_.readSector(sector, media_.extNodeSize, node);
  };
  auto recordOffset = [&](std::size_t index) -> std::size_t {
    const std::size_t slot = nodeBytes - 2 * (index + 1);
    const std::size_t offset = be16(node, slot);
    return fits(nodeBytes, offset, 20) && offset >= peek::kNodeDescriptorSize ? offset : 0;
  };
  // Keys order by fork type, then file ID, then start block: at or left of the leaf that holds a
  // data-fork record.
  auto keyAtOrBelow = [&](std::size_t at, std::uint32_t start) {
    const std::uint8_t f = u8(node, at + 2);
    const std::uint32_t id = be32(node, at + 4);
    const std::uint32_t block = be32(node, at + 8);
    if (f != fork) return f < fork;
    if (id != fileID) return id < fileID;
    return block <= start;
  };

  std::uint32_t current = media_.extRootNode;
  // Descend the index nodes; a node with no usable key ends the lookup instead of being read again.
  for (int depth = 0;; ++depth) {
    if (depth >= kMaxIndexDepth || !readNode(current)) return found;
    const auto d = peek::parseNodeDescriptor(node);
    if (!d) return found;
    if (d->kind != 0) break;
    std::uint32_t child = 0;
    for (std::size_t i = d->numRecords; i-- > 0;) {
      const std::size_t at = recordOffset(i);
      if (at != 0 && keyAtOrBelow(at, startBlock)) {
        child = be32(node, at + 12);
        break;
      }
    }
    if (child == 0) return found;
    current = child;
  }

  std::uint32_t have = startBlock;
  std::set<std::uint32_t> visited;
  for (std::size_t step = 0; step < kMaxLeafSteps && visited.insert(current).second; ++step) {
    const auto d = peek::parseNodeDescriptor(node);
    if (!d || d->numRecords == 0) break;
    if (d->kind == -1) {
      // Records in key order: take each one that continues the fork where the last one ended.
      for (std::size_t i = 0; i < d->numRecords; ++i) {
        const std::size_t at = recordOffset(i);
        if (at == 0 || !fits(nodeBytes, at, 76)) continue;
        if (u8(node, at + 2) != fork || be32(node, at + 4) != fileID || be32(node, at + 8) != have) continue;
        for (std::size_t k = 0; k < 8; ++k) {
          const std::uint32_t s = be32(node, at + 12 + 8 * k);
          const std::uint32_t c = be32(node, at + 16 + 8 * k);
          if (s == 0) break;
          found.push_back({s, c});
          have += c;
        }
        if (have >= totalBlocks) return found;
      }
    }
    // A leaf without the next record passes on to its neighbour rather than searching again.
    if (d->fLink == 0 || !readNode(d->fLink)) break;
    current = d->fLink;
  }
  return found;
}

}  // namespace nua
