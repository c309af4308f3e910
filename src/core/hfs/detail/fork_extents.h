// Turning a file record's data fork into the extents of its entry: the record's own eight, then,
// where they stop short, the extents-overflow file's. Shared by every catalog pass that makes files.
#pragma once

#include <cstdint>

#include "ondisk/hfs_fork_data.h"

namespace nua {

struct Entry;
class HfsVolume;

namespace detail {

// What adding a fork's extents gave: the blocks they cover, whether the record's eight ended at an
// empty slot, and whether the extents-overflow file was asked for the rest.
struct AddedForkExtents {
  std::uint64_t blocks = 0;
  bool endedInRecord = false;
  bool overflowRead = false;
};

// Adds the record's extents to `entry` up to the first one that starts at block 0.
[[nodiscard]] AddedForkExtents addRecordExtents(const HFSPlusForkData& fork, Entry* entry);

// Adds the record's extents, then, when all eight are used and cover fewer than totalBlocks, the
// data-fork extents of `fileID` that the extents-overflow file holds. A failed lookup adds nothing
// more; the caller judges the block count.
[[nodiscard]] AddedForkExtents addDataForkExtents(HfsVolume& hfs, std::uint32_t fileID, const HFSPlusForkData& fork,
                                                  Entry* entry);

}  // namespace detail
}  // namespace nua
