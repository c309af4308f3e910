// The extents-overflow lookup: the extents of a fork beyond the eight its record holds, found by
// descending the extents B-tree and walking its leaves. The HFS+ scans, the lost-volume check and the
// partition names all look this way; every step is bounded by the size of the extents file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "records/extent.h"

namespace nua {

// The extents tree as the lookup reads it.
struct ExtentsOverflowTree {
  std::uint32_t rootNode = 0;
  std::size_t nodeBytes = 0;
  // The nodes the extents file can hold: no walk along the leaves takes more steps.
  std::uint64_t nodeCount = 0;
  // Fills `node` (nodeBytes long, zeroed) with node `number`; false when the node has no sector. A
  // read that fails leaves the zeros: an index node without records, which ends the lookup.
  std::function<bool(std::uint32_t number, std::span<std::byte> node)> readNode;
  // Polled once per node; true ends the lookup with nothing.
  std::function<bool()> stopped;
};

// The extents of fork `fork` of file `fileID` from allocation block `startBlock` on, until
// `totalBlocks` are covered or the tree has no more. nullopt when the tree cannot be descended (no
// root, an index node with no key at or below the target) or the lookup was stopped; a damaged leaf
// chain gives the extents found up to the damage.
[[nodiscard]] std::optional<std::vector<Extent>> findOverflowExtents(const ExtentsOverflowTree& tree,
                                                                     std::uint32_t fileID, std::uint8_t fork,
                                                                     std::uint32_t startBlock,
                                                                     std::uint32_t totalBlocks);

}  // namespace nua
