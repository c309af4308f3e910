// The allocation file read bit by bit, one sector at a time: whether a block belongs to a file now.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "hfs/hfs_volume.h"

namespace nua::detail {

class AllocationBitmap {
 public:
  // Uses the volume's allocationExt, filling it first when it is empty.
  explicit AllocationBitmap(HfsVolume& hfs);
  // True when the bitmap marks `block` used; nothing when the bit lies outside the allocation file,
  // past the volume, or can't be read.
  [[nodiscard]] std::optional<bool> blockIsUsed(std::uint64_t block);
  // True only when every block of [startBlock, startBlock + blockCount) is known to be free.
  [[nodiscard]] bool blocksAreFree(std::uint64_t startBlock, std::uint64_t blockCount);

 private:
  HfsVolume& hfs_;
  Volume& v_;
  std::vector<std::byte> sector_;
  std::uint64_t sectorNumber_ = 0;
  bool sectorRead_ = false;
};

}  // namespace nua::detail
