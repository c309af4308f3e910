// Extents of deleted fragmented files from old extents-overflow leaf nodes kept in the journal, and
// their placement once every copy has been read.
#pragma once

#include "hfs/hfs_volume.h"

namespace nua {

// An extents-overflow leaf by its first sector: kind 0xFF, height 1, records present, reserved 0, and
// key lengths of 10 at bytes 14 and 90. False for a span under 92 bytes.
[[nodiscard]] bool looksLikeExtentsLeafNode(ByteSpan firstSector);

// Searches the journal (kept inside the volume) for extents-overflow leaves and gives each file of
// btree that isn't complete the data-fork extents that continue it: appended at once when they follow
// on, parked as a group when they start further on. Stops at stopTreeThread.
void searchJournalForExtraExtents(HfsVolume& hfs);

// Places the parked groups of every file below `dir` that continue its extents, then marks each file
// complete when its extents cover its size. Bounded by the tree walk limits.
void rearrangeExtsFound(HfsVolume& hfs, Entry* dir);

}  // namespace nua
