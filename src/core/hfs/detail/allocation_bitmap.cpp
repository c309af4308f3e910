// Bits of the allocation file, most significant bit first, one per block.
#include "hfs/detail/allocation_bitmap.h"

namespace nua::detail {

AllocationBitmap::AllocationBitmap(HfsVolume& hfs) : hfs_(hfs), v_(hfs.volume()) {
  if (v_.tables.allocationExt.empty()) hfs_.fillAllocationExt();
}

std::optional<bool> AllocationBitmap::blockIsUsed(std::uint64_t block) {
  const std::uint64_t blockBytes = hfs_.blockBytes();
  const auto sectorBytes = static_cast<std::uint64_t>(v_.u32BytesInSector);
  if (blockBytes == 0 || sectorBytes == 0 || block >= hfs_.vib().totalBlocks) return std::nullopt;
  std::uint64_t forkByte = block / 8;
  for (const Extent& e : v_.tables.allocationExt) {
    const std::uint64_t extentBytes = static_cast<std::uint64_t>(e.blockCount) * blockBytes;
    if (forkByte >= extentBytes) {
      forkByte -= extentBytes;
      continue;
    }
    const std::uint64_t sector = v_.HPlusVolStart + static_cast<std::uint64_t>(e.startBlock) * (blockBytes / sectorBytes) +
                                 forkByte / sectorBytes;
    if (!sectorRead_ || sectorNumber_ != sector) {
      sector_.assign(sectorBytes, std::byte{0});
      if (!v_.readSector(sector, 1, sector_)) {
        sectorRead_ = false;
        return std::nullopt;
      }
      sectorNumber_ = sector;
      sectorRead_ = true;
    }
    const auto byte = std::to_integer<unsigned>(sector_[forkByte % sectorBytes]);
    return (byte & (0x80u >> (block % 8))) != 0;
  }
  return std::nullopt;
}

bool AllocationBitmap::blocksAreFree(std::uint64_t startBlock, std::uint64_t blockCount) {
  if (blockCount > hfs_.vib().totalBlocks || startBlock > hfs_.vib().totalBlocks - blockCount) return false;
  for (std::uint64_t b = startBlock; b < startBlock + blockCount; ++b) {
    const auto used = blockIsUsed(b);
    if (!used || *used) return false;
  }
  return true;
}

}  // namespace nua::detail
