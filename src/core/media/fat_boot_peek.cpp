#include "media/fat_boot_peek.h"

#include "ondisk/exfat_boot_sector.h"

namespace nua {
namespace {

bool isPowerOfTwo(std::uint32_t value) { return value != 0 && (value & (value - 1)) == 0; }

std::uint64_t metadataSectors(const FatBootSector& boot) {
  const std::uint64_t rootSectors =
      (std::uint64_t{boot.rootEntries} * 32U + boot.bytesPerSector - 1U) / boot.bytesPerSector;
  const std::uint64_t fatSize = boot.fatSize16 != 0 ? boot.fatSize16 : boot.fatSize32;
  return std::uint64_t{boot.reservedSectors} + std::uint64_t{boot.fatCount} * fatSize + rootSectors;
}

std::uint64_t clustersIn(const FatBootSector& boot, std::uint64_t totalSectors) {
  if (boot.bytesPerSector == 0 || boot.sectorsPerCluster == 0) return 0;
  const std::uint64_t metadata = metadataSectors(boot);
  return totalSectors <= metadata ? 0 : (totalSectors - metadata) / boot.sectorsPerCluster;
}

// Whether the first table has an entry for each of `clusters` in the width that count gives.
bool tableHolds(const FatBootSector& boot, std::uint64_t clusters) {
  const std::uint64_t bits = clusters < 4085 ? 12 : (clusters < 65525 ? 16 : 32);
  const std::uint64_t fatSize = boot.fatSize16 != 0 ? boot.fatSize16 : boot.fatSize32;
  return (clusters + 2) * bits <= fatSize * boot.bytesPerSector * 8;
}

}  // namespace

std::uint64_t fatVolumeSectors(const FatBootSector& boot, std::uint64_t sourceSectors) {
  const std::uint64_t claimed = boot.totalSectors16 != 0 ? boot.totalSectors16 : boot.totalSectors32;
  // A cleared total would hide every cluster of the volume; the holder's length is at hand.
  if (claimed == 0) return sourceSectors;
  // A total beyond the holder is either a volume cut short (an image or partition copied in part),
  // whose table was sized for the claim and whose clusters keep the layout and width it gives, or a
  // damaged field, which no table can hold.
  if (sourceSectors != 0 && claimed > sourceSectors && !tableHolds(boot, clustersIn(boot, claimed))) return sourceSectors;
  return claimed;
}

std::uint64_t fatClusterCount(const FatBootSector& boot, std::uint64_t sourceSectors) {
  return clustersIn(boot, fatVolumeSectors(boot, sourceSectors));
}

const char* fatTypeOf(const FatBootSector& boot, std::uint64_t sourceBytes) {
  if (boot.bytesPerSector == 0 || boot.sectorsPerCluster == 0) return "-";
  // The standard thresholds over the clusters of the data area: counting fewer tables than there are
  // takes a FAT16 volume near its limit for FAT32, and every chain is then read wrong.
  const std::uint64_t count = fatClusterCount(boot, sourceBytes / boot.bytesPerSector);
  if (count == 0) return "-";
  if (count < 4085) return "FAT12";
  if (count < 65525) return "FAT16";
  return "FAT32";
}

bool isFatBootSector(const FatBootSector& boot) {
  const bool jump = boot.jump == 0xE9 || (boot.jump == 0xEB && boot.jumpOperand == 0x90);
  const bool media = boot.mediaDescriptor == 0xF0 || boot.mediaDescriptor >= 0xF8;
  return jump && boot.signature == kFatBootSignature && boot.bytesPerSector >= 512 && boot.bytesPerSector <= 4096 &&
         isPowerOfTwo(boot.bytesPerSector) && isPowerOfTwo(boot.sectorsPerCluster) && boot.reservedSectors != 0 &&
         (boot.fatCount == 1 || boot.fatCount == 2) && (boot.fatSize16 != 0 || boot.fatSize32 != 0) && media;
}

std::uint64_t firstFatByteOffset(const FatBootSector& boot) {
  return std::uint64_t{boot.reservedSectors} * boot.bytesPerSector;
}

bool isExfatBootSector(ByteSpan bytes, std::size_t sectorBytes) {
  // A damaged main boot sector leaves the backup region, which readers fall back to.
  for (const std::size_t at : {std::size_t{0}, 12 * sectorBytes}) {
    if (!fits(bytes.size(), at, kFatBootSectorSize)) continue;
    const ByteSpan sector = bytes.subspan(at, kFatBootSectorSize);
    if (hasExfatName(sector) && le16(sector, 510) == kFatBootSignature) return true;
  }
  return false;
}

}  // namespace nua
