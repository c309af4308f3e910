// The names of listed HFS+ partitions, read from the root folder's record in the first catalog
// leaf, and the node-to-sector and extent lookups that reach it.
#include <set>

#include "base/bytes.h"
#include "media/partition_reader.h"
#include "ondisk/bt_header_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/catalog_root_folder.h"
#include "ondisk/hfs_extent_key.h"
#include "ondisk/hfs_fork_data.h"
#include "ondisk/master_directory_block.h"

namespace nua {
namespace {

constexpr int kMaxIndexDepth = 16;
constexpr std::size_t kMaxLeafSteps = 65536;

}  // namespace

bool PartitionReader::readVolumeHeaderAt(std::uint64_t volumeStart, bool checkSignature) {
  media_.HPlusVolStart = volumeStart;
  const auto sectorSize = static_cast<std::uint64_t>(media_.u32BytesInSector);
  if (volumeStart > (UINT64_MAX - 1024) / sectorSize) return false;
  std::vector<std::byte> raw(kVolumeInformationBlockSize, std::byte{0});
  if (!readBytes(volumeStart * sectorSize + 1024, raw)) return false;
  const auto header = parseVolumeInformationBlock(raw);
  if (!header) return false;
  if (checkSignature && !isHfsPlusSignature(header->signature)) return false;
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
    std::vector<std::byte> raw(kMasterDirectoryBlockSize, std::byte{0});
    if (!readBytes(start * sectorSize + 1024, raw)) continue;
    const auto mdb = parseMasterDirectoryBlock(raw);
    if (!mdb) continue;
    if (isHfsPlusSignature(mdb->drSigWord)) {
      if (readVolumeHeaderAt(start, false)) nameFromCatalog(partition);
    } else if (mdb->drSigWord == kSignatureBD) {
      if (!mdb->drVN.empty()) partition.volumeName = mdb->drVN;
      if (!isHfsPlusSignature(mdb->drEmbedSigWord)) continue;
      // The embedded volume's own root name wins over the wrapper's.
      const std::uint64_t embedded =
          start + mdb->drAlBlSt + std::uint64_t{mdb->drAlBlkSiz / static_cast<std::uint32_t>(sectorSize)} * mdb->xdrStABN;
      if (readVolumeHeaderAt(embedded, false)) nameFromCatalog(partition);
    }
  }
}

void PartitionReader::nameFromCatalog(PartitionRow& partition) {
  const auto sectorSize = static_cast<std::uint32_t>(media_.u32BytesInSector);
  trees_ = HfsBTreeLayout{};
  media_.blockSize = static_cast<std::int32_t>(header_.blockSize / sectorSize);
  if (media_.blockSize <= 0) return;
  const auto blockSize = static_cast<std::uint64_t>(media_.blockSize);
  std::vector<std::byte> node(static_cast<std::size_t>(sectorSize), std::byte{0});

  for (const HFSPlusExtentDescriptor& e : header_.extentsFile.extents)
    if (e.startBlock != 0) trees_.extentsExt.push_back({e.startBlock, e.blockCount});
  // The header node is the first node of its file; its record follows the 14-byte descriptor.
  auto readHeaderNode = [&](std::uint32_t firstBlock, std::int32_t& nodeSize, std::uint32_t& root,
                            std::uint32_t* firstLeaf) {
    if (!media_.readSector(media_.HPlusVolStart + firstBlock * blockSize, 1, node)) return false;
    const auto descriptor = parseBTNodeDescriptor(node);
    if (!descriptor || !isHeaderNodeDescriptor(*descriptor)) return false;
    const auto record = parseBTHeaderRecord(ByteSpan(node).subspan(kBTNodeDescriptorSize));
    if (!record) return false;
    nodeSize = static_cast<std::int32_t>(record->nodeSize / sectorSize);
    root = record->rootNode;
    if (firstLeaf) *firstLeaf = record->firstLeafNode;
    return true;
  };
  (void)readHeaderNode(header_.extentsFile.extents[0].startBlock, trees_.extNodeSize, trees_.extRootNode, nullptr);

  std::uint64_t sum = 0;
  for (const HFSPlusExtentDescriptor& e : header_.catalogFile.extents) {
    if (e.startBlock == 0) continue;
    trees_.catalogExt.push_back({e.startBlock, e.blockCount});
    sum += e.blockCount;
  }
  if (sum < header_.catalogFile.totalBlocks)
    for (const Extent& e :
         extentsForID(4, 0, static_cast<std::uint32_t>(sum), header_.catalogFile.totalBlocks))
      trees_.catalogExt.push_back(e);
  if (!readHeaderNode(header_.catalogFile.extents[0].startBlock, trees_.catNodeSize, trees_.catRootNode,
                      &trees_.firstLeafNode))
    return;
  // A node size below one sector would make every node the same sector.
  if (trees_.catNodeSize <= 0) return;
  const std::uint64_t leafSector = catalogNodeToSector(trees_.firstLeafNode);
  if (leafSector == 0) return;
  std::vector<std::byte> leaf(2 * static_cast<std::size_t>(sectorSize), std::byte{0});
  if (!media_.readSector(leafSector, 2, leaf)) return;
  if (const auto name = parseRootFolderName(leaf); name && !name->empty()) partition.volumeName = *name;
}

std::uint64_t PartitionReader::catalogNodeToSector(std::uint32_t node) const {
  return trees_.catalogNodeToSector(node, media_.blockSize, media_.HPlusVolStart);
}

std::uint64_t PartitionReader::extentsNodeToSector(std::int32_t node) const {
  if (node < 0) return 0;
  std::vector<Extent> extents;
  for (const HFSPlusExtentDescriptor& e : header_.extentsFile.extents) extents.push_back({e.startBlock, e.blockCount});
  return btreeNodeToSector(extents, static_cast<std::uint64_t>(node), trees_.extNodeSize, media_.blockSize,
                      media_.HPlusVolStart);
}

std::vector<Extent> PartitionReader::extentsForID(std::uint32_t fileID, std::uint8_t fork, std::uint32_t startBlock,
                                                  std::uint32_t totalBlocks) {
  std::vector<Extent> found;
  if (trees_.extRootNode == 0 || trees_.extNodeSize <= 0 || trees_.extNodeSize > 64) return found;
  const std::size_t nodeBytes = static_cast<std::size_t>(trees_.extNodeSize) * static_cast<std::size_t>(media_.u32BytesInSector);
  std::vector<std::byte> node(nodeBytes, std::byte{0});
  auto readNode = [&](std::uint32_t number) {
    const std::uint64_t sector = extentsNodeToSector(static_cast<std::int32_t>(number));
    return sector != 0 && media_.readSector(sector, trees_.extNodeSize, node);
  };
  auto recordOffset = [&](std::size_t index) -> std::size_t {
    const std::size_t slot = nodeBytes - 2 * (index + 1);
    const std::size_t offset = be16(node, slot);
    return fits(nodeBytes, offset, 20) && offset >= kBTNodeDescriptorSize ? offset : 0;
  };
  // Keys order by fork type, then file ID, then start block: at or left of the leaf that holds a
  // data-fork record.
  auto keyAt = [&](std::size_t at) { return parseHFSPlusExtentKey(ByteSpan(node).subspan(at)); };
  auto keyAtOrBelow = [&](std::size_t at, std::uint32_t start) {
    const auto key = keyAt(at);
    if (!key) return false;
    if (key->forkType != fork) return key->forkType < fork;
    if (key->fileID != fileID) return key->fileID < fileID;
    return key->startBlock <= start;
  };

  std::uint32_t current = trees_.extRootNode;
  // Descend the index nodes; a node with no usable key ends the lookup instead of being read again.
  for (int depth = 0;; ++depth) {
    if (depth >= kMaxIndexDepth || !readNode(current)) return found;
    const auto d = parseBTNodeDescriptor(node);
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
    const auto d = parseBTNodeDescriptor(node);
    if (!d || d->numRecords == 0) break;
    if (d->kind == -1) {
      // Records in key order: take each one that continues the fork where the last one ended.
      for (std::size_t i = 0; i < d->numRecords; ++i) {
        const std::size_t at = recordOffset(i);
        if (at == 0 || !fits(nodeBytes, at, 76)) continue;
        const auto key = keyAt(at);
        if (!key || key->forkType != fork || key->fileID != fileID || key->startBlock != have) continue;
        for (const HFSPlusExtentDescriptor& e : readExtentRecord(node, at + kExtentKeySize)) {
          if (e.startBlock == 0) break;
          found.push_back({e.startBlock, e.blockCount});
          have += e.blockCount;
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
