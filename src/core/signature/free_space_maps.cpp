#include "signature/free_space_maps.h"

#include <algorithm>

#include "base/bytes.h"

namespace nua {

HfsAllocationFreeSpace::HfsAllocationFreeSpace(SectorSource& source, std::uint64_t volumeStartSector,
                                               std::uint32_t sectorsPerBlock, std::vector<AllocationFileExtent> extents)
    : source_(source), volumeStartSector_(volumeStartSector), sectorsPerBlock_(sectorsPerBlock),
      extents_(std::move(extents)), sector_(source.bytesPerSector() == 0 ? 512 : source.bytesPerSector()) {}

bool HfsAllocationFreeSpace::readBitmapByte(std::uint64_t byteIndex, std::uint8_t& value) {
  const std::uint64_t sectorBytes = sector_.size();
  const std::uint64_t blockBytes = sectorBytes * sectorsPerBlock_;
  if (blockBytes == 0) return false;
  std::uint64_t fileBlock = byteIndex / blockBytes;
  for (const AllocationFileExtent& extent : extents_) {
    if (fileBlock >= extent.blockCount) {
      fileBlock -= extent.blockCount;
      continue;
    }
    const std::uint64_t inBlock = byteIndex % blockBytes;
    const std::uint64_t sector =
        volumeStartSector_ + (extent.startBlock + fileBlock) * sectorsPerBlock_ + inBlock / sectorBytes;
    if (sector != cachedSector_) {
      cachedSector_ = sector;
      cachedReadable_ = source_.readSectors(sector, 1, sector_);
    }
    if (!cachedReadable_) return false;
    value = u8(sector_, inBlock % sectorBytes);
    return true;
  }
  return false;
}

void HfsAllocationFreeSpace::fillUsed(std::uint64_t firstUnit, std::array<bool, kUnitsPerBuffer>& used) {
  for (std::uint32_t k = 0; k < kUnitsPerBuffer; ++k) {
    const std::uint64_t block = firstUnit + k;
    std::uint8_t byte = 0;
    used[k] = !readBitmapByte(block / 8, byte) || ((byte >> (7U - block % 8U)) & 1U) != 0;
  }
}

FatTableFreeSpace::FatTableFreeSpace(SectorSource& source, std::uint64_t tableStartSector, std::uint32_t entryBits,
                                     std::uint64_t clusterCount)
    : source_(source), tableStartSector_(tableStartSector), entryBits_(entryBits), clusterCount_(clusterCount) {}

void FatTableFreeSpace::fillUsed(std::uint64_t firstUnit, std::array<bool, kUnitsPerBuffer>& used) {
  used.fill(true);
  if (entryBits_ != 12 && entryBits_ != 16 && entryBits_ != 32) return;
  const std::uint64_t bytesPerSector = source_.bytesPerSector() == 0 ? 512 : source_.bytesPerSector();
  const std::uint64_t firstByte = firstUnit * entryBits_ / 8;
  const std::uint64_t lastByte = (firstUnit + kUnitsPerBuffer) * entryBits_ / 8 + 2;
  const std::uint64_t firstSector = firstByte / bytesPerSector;
  const auto sectorCount = static_cast<std::uint32_t>(lastByte / bytesPerSector - firstSector + 1);
  bytes_.resize(std::size_t{sectorCount} * bytesPerSector);
  if (!source_.readSectors(tableStartSector_ + firstSector, sectorCount, bytes_)) return;
  const std::uint64_t base = firstSector * bytesPerSector;
  for (std::uint32_t k = 0; k < kUnitsPerBuffer; ++k) {
    const std::uint64_t cluster = firstUnit + k;
    if (cluster < 2 || cluster >= clusterCount_ + 2) continue;
    const std::size_t at = static_cast<std::size_t>(cluster * entryBits_ / 8 - base);
    std::uint32_t entry = 0;
    if (entryBits_ == 32) {
      entry = le32(bytes_, at) & 0x0FFFFFFFU;
    } else if (entryBits_ == 16) {
      entry = le16(bytes_, at);
    } else {
      const std::uint16_t pair = le16(bytes_, at);
      entry = (cluster % 2 == 0) ? (pair & 0x0FFFU) : static_cast<std::uint32_t>(pair >> 4U);
    }
    used[k] = entry != 0;
  }
}

}  // namespace nua
