// The used arrays of the free-space searches: HFS+ from the bits of the allocation file, FAT from the
// entries of the allocation table. Both read through the source, a few sectors per 40 units.
#pragma once

#include <cstdint>
#include <vector>

#include "media/sector_source.h"
#include "signature/signature_scan_engine.h"

namespace nua {

// One extent of the allocation file, in allocation blocks.
struct AllocationFileExtent {
  std::uint32_t startBlock = 0;
  std::uint32_t blockCount = 0;
};

// A block is free exactly when its own bit (most significant first) in the allocation file is clear.
// Blocks past the allocation file's extents, or in a sector that cannot be read, count as used.
class HfsAllocationFreeSpace final : public FreeSpaceMap {
 public:
  HfsAllocationFreeSpace(SectorSource& source, std::uint64_t volumeStartSector, std::uint32_t sectorsPerBlock,
                         std::vector<AllocationFileExtent> extents);
  void fillUsed(std::uint64_t firstUnit, std::array<bool, kUnitsPerBuffer>& used) override;

 private:
  // The byte of the allocation file holding `block`'s bit, or nothing.
  [[nodiscard]] bool readBitmapByte(std::uint64_t byteIndex, std::uint8_t& value);
  SectorSource& source_;
  std::uint64_t volumeStartSector_;
  std::uint32_t sectorsPerBlock_;
  std::vector<AllocationFileExtent> extents_;
  std::vector<std::byte> sector_;
  std::uint64_t cachedSector_ = UINT64_MAX;
  bool cachedReadable_ = false;
};

// A cluster is free exactly when its table entry, of the volume's own width (12, 16 or 32 bits; the
// top four bits of a 32-bit entry are reserved), is 0. Clusters 0 and 1, clusters past the last one
// and entries that cannot be read count as used.
class FatTableFreeSpace final : public FreeSpaceMap {
 public:
  // `tableStartSector` is the first sector of the first table on the source; `clusterCount` the
  // number of data clusters (clusters 2 to clusterCount + 1 exist).
  FatTableFreeSpace(SectorSource& source, std::uint64_t tableStartSector, std::uint32_t entryBits,
                    std::uint64_t clusterCount);
  void fillUsed(std::uint64_t firstUnit, std::array<bool, kUnitsPerBuffer>& used) override;

 private:
  SectorSource& source_;
  std::uint64_t tableStartSector_;
  std::uint32_t entryBits_;
  std::uint64_t clusterCount_;
  std::vector<std::byte> bytes_;
};

}  // namespace nua
