#include "hfs/detail/fork_extents.h"

#include "hfs/hfs_volume.h"
#include "ondisk/hfs_extent_key.h"
#include "records/entry_ops.h"

namespace nua::detail {

AddedForkExtents addRecordExtents(const HFSPlusForkData& fork, Entry* entry) {
  AddedForkExtents added;
  for (const HFSPlusExtentDescriptor& d : fork.extents) {
    if (d.startBlock == 0) {
      added.endedInRecord = true;
      break;
    }
    addDataExtStartBlock(d.startBlock, d.blockCount, entry);
    added.blocks += d.blockCount;
  }
  return added;
}

AddedForkExtents addDataForkExtents(HfsVolume& hfs, std::uint32_t fileID, const HFSPlusForkData& fork, Entry* entry) {
  AddedForkExtents added = addRecordExtents(fork, entry);
  if (added.endedInRecord || added.blocks >= fork.totalBlocks) return added;
  added.overflowRead = true;
  const auto more = hfs.extentsForID(fileID, kDataFork, static_cast<std::uint32_t>(added.blocks), fork.totalBlocks);
  if (!more) return added;
  for (const Extent& e : *more) {
    addDataExtStartBlock(e.startBlock, e.blockCount, entry);
    added.blocks += e.blockCount;
  }
  return added;
}

}  // namespace nua::detail
