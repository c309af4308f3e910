#include "ondisk/exfat_boot_sector.h"

#include <cstring>

namespace nua {
namespace {

constexpr const char* kStructure = "exFAT boot sector";

// 2 to the power `shift`, for shifts already checked to be small.
std::uint64_t powerOfTwo(unsigned shift) {
  std::uint64_t value = 1;
  for (unsigned i = 0; i < shift; ++i) value *= 2U;
  return value;
}

}  // namespace

std::uint32_t ExfatBootSector::bytesPerSector() const {
  return static_cast<std::uint32_t>(powerOfTwo(bytesPerSectorShift));
}

std::uint64_t ExfatBootSector::bytesPerCluster() const {
  return powerOfTwo(static_cast<unsigned>(bytesPerSectorShift) + sectorsPerClusterShift);
}

bool hasExfatName(ByteSpan bytes) {
  return fits(bytes.size(), 3, 8) && std::memcmp(bytes.data() + 3, "EXFAT   ", 8) == 0;
}

Parsed<ExfatBootSector> parseExfatBootSector(ByteSpan bytes) {
  using Result = Parsed<ExfatBootSector>;
  if (bytes.size() < kExfatBootSectorSize) return Result::failure(parseReason(kStructure, "sector", bytes.size(), "truncated"));
  if (!hasExfatName(bytes)) return Result::failure(parseReason(kStructure, "FileSystemName", 3, "is not EXFAT"));
  if (le16(bytes, 510) != 0xAA55) return Result::failure(parseReason(kStructure, "BootSignature", 510, "is not 0xAA55"));
  ExfatBootSector b;
  b.partitionOffset = le64(bytes, 64);
  b.volumeLength = le64(bytes, 72);
  b.fatOffset = le32(bytes, 80);
  b.fatLength = le32(bytes, 84);
  b.clusterHeapOffset = le32(bytes, 88);
  b.clusterCount = le32(bytes, 92);
  b.firstClusterOfRootDirectory = le32(bytes, 96);
  b.volumeSerialNumber = le32(bytes, 100);
  b.fileSystemRevision = le16(bytes, 104);
  b.volumeFlags = le16(bytes, 106);
  b.bytesPerSectorShift = u8(bytes, 108);
  b.sectorsPerClusterShift = u8(bytes, 109);
  b.numberOfFats = u8(bytes, 110);
  b.percentInUse = u8(bytes, 112);
  if (b.bytesPerSectorShift < 9 || b.bytesPerSectorShift > 12)
    return Result::failure(parseReason(kStructure, "BytesPerSectorShift", 108, "out of range"));
  if (b.sectorsPerClusterShift > 25U - b.bytesPerSectorShift)
    return Result::failure(parseReason(kStructure, "SectorsPerClusterShift", 109, "out of range"));
  if (b.numberOfFats != 1 && b.numberOfFats != 2)
    return Result::failure(parseReason(kStructure, "NumberOfFats", 110, "is neither 1 nor 2"));
  if (b.fatOffset < kExfatBootRegionSectors * 2U)
    return Result::failure(parseReason(kStructure, "FatOffset", 80, "overlaps the boot regions"));
  if (b.fatLength == 0) return Result::failure(parseReason(kStructure, "FatLength", 84, "is 0"));
  // Every cluster needs four bytes of FAT, counting the two reserved entries.
  const std::uint64_t fatBytes = std::uint64_t{b.fatLength} * b.bytesPerSector();
  if ((std::uint64_t{b.clusterCount} + 2U) * 4U > fatBytes)
    return Result::failure(parseReason(kStructure, "FatLength", 84, "too short for ClusterCount"));
  const std::uint64_t fatsEnd = std::uint64_t{b.fatOffset} + std::uint64_t{b.fatLength} * b.numberOfFats;
  if (b.clusterHeapOffset < fatsEnd)
    return Result::failure(parseReason(kStructure, "ClusterHeapOffset", 88, "overlaps the FAT"));
  const std::uint64_t sectorsPerCluster = powerOfTwo(b.sectorsPerClusterShift);
  if (b.clusterCount == 0 || b.clusterCount > 0xFFFFFFF5U ||
      b.clusterHeapOffset + std::uint64_t{b.clusterCount} * sectorsPerCluster > b.volumeLength)
    return Result::failure(parseReason(kStructure, "ClusterCount", 92, "does not fit the volume"));
  if (b.firstClusterOfRootDirectory < kExfatFirstCluster || b.firstClusterOfRootDirectory > b.lastCluster())
    return Result::failure(parseReason(kStructure, "FirstClusterOfRootDirectory", 96, "outside the cluster heap"));
  return Result::success(b);
}

std::uint32_t exfatBootChecksum(ByteSpan region, std::uint32_t sectorBytes) {
  std::uint32_t checksum = 0;
  const std::size_t length = std::size_t{sectorBytes} * kExfatChecksumSectorIndex;
  for (std::size_t i = 0; i < length && i < region.size(); ++i) {
    if (i == 106 || i == 107 || i == 112) continue;
    // A rotate right by one, then the byte added.
    checksum = (checksum % 2U != 0 ? 0x80000000U : 0U) + checksum / 2U + u8(region, i);
  }
  return checksum;
}

Parsed<ExfatBootSector> parseExfatBootRegion(ByteSpan region) {
  using Result = Parsed<ExfatBootSector>;
  auto boot = parseExfatBootSector(region);
  if (!boot) return boot;
  const std::uint32_t sectorBytes = boot->bytesPerSector();
  if (!fits(region.size(), 0, std::size_t{sectorBytes} * kExfatBootRegionSectors))
    return Result::failure(parseReason("exFAT boot region", "sectors", region.size(), "truncated"));
  const std::uint32_t expected = exfatBootChecksum(region, sectorBytes);
  const std::size_t checksumStart = std::size_t{sectorBytes} * kExfatChecksumSectorIndex;
  for (std::size_t at = checksumStart; at < checksumStart + sectorBytes; at += 4) {
    if (le32(region, at) != expected)
      return Result::failure(parseReason("exFAT boot region", "checksum sector", at, "does not match"));
  }
  return boot;
}

}  // namespace nua
