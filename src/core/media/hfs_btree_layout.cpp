#include "media/hfs_btree_layout.h"

namespace nua {

std::uint64_t btreeNodeToSector(const std::vector<Extent>& extents, std::uint64_t node, std::int32_t nodeSize,
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

std::uint64_t HfsBTreeLayout::catalogNodeToSector(std::uint64_t node, std::int32_t blockSize,
                                                  std::uint64_t volumeStart) const {
  return btreeNodeToSector(catalogExt, node, catNodeSize, blockSize, volumeStart);
}

}  // namespace nua
