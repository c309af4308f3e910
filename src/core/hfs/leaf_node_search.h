// Leaf nodes of the catalog found without trusting the header record's chain: from the level-2
// index nodes reached from the root, from level-2 index nodes found by reading the catalog file, and
// from every node of the catalog file that looks like a leaf. The catalog walks take them in turn.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "hfs/hfs_volume.h"

namespace nua {

// An index node of the given level: height is the level, kind index, records present, and record 0
// at byte 14 (the node's last two bytes are 0x00 0x0E).
[[nodiscard]] bool isIndexNodeAtLevel(ByteSpan node, std::uint32_t level);
// A node that looks like a leaf: height 1, kind 0xFF, records present, record 0 at byte 14.
[[nodiscard]] bool looksLikeLeafNode(ByteSpan node);

// Descends from the root along first records to level 2 and lists the child pointers of the level-2
// chain in leafNodePointerArray. Any failed node test sets level2IndexNodeHasProblems and stops.
void enumerateLevel2IndexNodes(HfsVolume& hfs);
// Reads the catalog file node by node for a level-2 index node with a sibling, walks left to the
// first of its level and appends that chain's child pointers. No find, or a failed test, sets the
// problem flag; what was gathered before stays.
void searchForLevel2IndexNodes(HfsVolume& hfs);
// Lists in leafNodePointerTotalArray every node of the catalog file that looks like a leaf.
void searchForLeafNodes(HfsVolume& hfs);

// The three stages in the order every catalog walk needs them (normal, advanced and deleted-file
// scans): enumeration on a tree of depth 2 or more, the index search when the enumeration gave
// nothing or met a problem, the leaf search on any problem. Call after checkCatalogAndExtentsFile
// gave true.
void findLeafNodesForCatalogWalk(HfsVolume& hfs);

}  // namespace nua
