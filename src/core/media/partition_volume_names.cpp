// The names of listed HFS+ partitions, read from the root folder's record in the first catalog
// leaf, and the node-to-sector and extent lookups that reach it.
#include <algorithm>

#include "base/bytes.h"
#include "media/hfs_extents_overflow.h"
#include "media/partition_reader.h"
#include "ondisk/bt_header_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/catalog_root_folder.h"
#include "ondisk/hfs_fork_data.h"
#include "ondisk/master_directory_block.h"

namespace nua {
namespace {

// Larger nodes than any volume format makes are taken as a damaged header record.
constexpr std::int32_t kMaxExtentsNodeSectors = 64;

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
  if (trees_.extRootNode == 0 || trees_.extNodeSize <= 0 || trees_.extNodeSize > kMaxExtentsNodeSectors) return {};
  const auto nodeSectors = static_cast<std::uint64_t>(trees_.extNodeSize);
  ExtentsOverflowTree tree;
  tree.rootNode = trees_.extRootNode;
  tree.nodeBytes = static_cast<std::size_t>(nodeSectors) * static_cast<std::size_t>(media_.u32BytesInSector);
  // No more nodes than the extents file's eight extents place, nor than the disk holds.
  for (const HFSPlusExtentDescriptor& e : header_.extentsFile.extents)
    tree.nodeCount += std::uint64_t{e.blockCount} * static_cast<std::uint64_t>(std::max(media_.blockSize, 0)) / nodeSectors;
  if (const std::uint64_t diskNodes = media_.sizeInSect / nodeSectors; diskNodes != 0)
    tree.nodeCount = std::min(tree.nodeCount, diskNodes);
  tree.readNode = [this](std::uint32_t number, std::span<std::byte> node) {
    const std::uint64_t sector = extentsNodeToSector(static_cast<std::int32_t>(number));
    if (sector == 0) return false;
    (void)media_.readSector(sector, trees_.extNodeSize, node);
    return true;
  };
  return findOverflowExtents(tree, fileID, fork, startBlock, totalBlocks).value_or(std::vector<Extent>{});
}

}  // namespace nua
