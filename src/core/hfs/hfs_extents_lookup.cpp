// The extents-overflow lookup of a volume under scan: its extents file read through the volume, the
// walk itself shared with the partition names (media/hfs_extents_overflow.h).
#include <algorithm>

#include "hfs/hfs_volume.h"
#include "media/hfs_extents_overflow.h"

namespace nua {

std::uint64_t HfsVolume::extentsFileNodeCount() const {
  const auto nodeSize = static_cast<std::uint64_t>(volume_.catalog.extNodeSize);
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
  if (v.catalog.extRootNode == 0 || v.catalog.extNodeSize <= 0) return std::nullopt;
  ExtentsOverflowTree tree;
  tree.rootNode = v.catalog.extRootNode;
  tree.nodeBytes = static_cast<std::size_t>(v.catalog.extNodeSize) * static_cast<std::size_t>(v.u32BytesInSector);
  tree.nodeCount = extentsFileNodeCount();
  tree.readNode = [this, &v](std::uint32_t number, std::span<std::byte> node) {
    const std::uint64_t sector = extNodeToSector(number);
    if (sector == 0) return false;
    (void)v.readSector(sector, v.catalog.extNodeSize, node);
    return true;
  };
  tree.stopped = [&v] { return v.stopTreeThread.load(); };
  return findOverflowExtents(tree, fileID, fork, startBlock, totalBlocks);
}

}  // namespace nua
