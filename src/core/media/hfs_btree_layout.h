// Where an HFS+ volume's catalog and extents-overflow B-trees lie and the shape of their nodes, as read
// from the volume header and each tree's header node. The sector reader knows nothing of them: the
// partition names, the lost-volume check and the HFS+ scans each keep their own.
#pragma once

#include <cstdint>
#include <vector>

#include "records/extent.h"

namespace nua {

struct HfsBTreeLayout {
  // The catalog file's and the extents-overflow file's extents, in allocation blocks.
  std::vector<Extent> catalogExt, extentsExt;
  // Node sizes in sectors; 0 while the header node has not been read.
  std::int32_t extNodeSize = 0, catNodeSize = 0;
  std::uint32_t extRootNode = 0, catRootNode = 0, firstLeafNode = 0;

  // Catalog node number to absolute sector over catalogExt, for a volume starting at `volumeStart`
  // with `blockSize` sectors per allocation block; 0 past the last extent or when a size is unknown.
  [[nodiscard]] std::uint64_t catalogNodeToSector(std::uint64_t node, std::int32_t blockSize,
                                                  std::uint64_t volumeStart) const;
};

// Node number to absolute sector over a B-tree file's `extents`; 64-bit throughout, so large volumes
// do not wrap. 0 past the last extent or when `nodeSize` or `blockSize` is not positive.
[[nodiscard]] std::uint64_t btreeNodeToSector(const std::vector<Extent>& extents, std::uint64_t node,
                                              std::int32_t nodeSize, std::int32_t blockSize, std::uint64_t volumeStart);

}  // namespace nua
