// The exFAT main (or backup) boot region: the boot sector with the volume's geometry, and the
// checksum sector that guards the region's first eleven sectors. Little-endian.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Boot sector layout: 0 u8[3] JumpBoot (EB 76 90); 3 u8[8] FileSystemName "EXFAT   "; 11 u8[53]
// MustBeZero; 64 u64 PartitionOffset; 72 u64 VolumeLength (sectors); 80 u32 FatOffset (sectors);
// 84 u32 FatLength (sectors); 88 u32 ClusterHeapOffset (sectors); 92 u32 ClusterCount; 96 u32
// FirstClusterOfRootDirectory; 100 u32 VolumeSerialNumber; 104 u16 FileSystemRevision; 106 u16
// VolumeFlags; 108 u8 BytesPerSectorShift (9-12); 109 u8 SectorsPerClusterShift (cluster at most
// 32 MiB); 110 u8 NumberOfFats (1 or 2); 111 u8 DriveSelect; 112 u8 PercentInUse; 510 u16 BootSignature.
constexpr std::size_t kExfatBootSectorSize = 512;
// Sectors 0-8 boot and extended boot sectors, 9 OEM parameters, 10 reserved, 11 the checksum sector.
constexpr std::uint32_t kExfatBootRegionSectors = 12;
constexpr std::uint32_t kExfatChecksumSectorIndex = 11;
constexpr std::uint32_t kExfatFirstCluster = 2;

struct ExfatBootSector {
  std::uint64_t partitionOffset = 0;
  std::uint64_t volumeLength = 0;
  std::uint32_t fatOffset = 0;
  std::uint32_t fatLength = 0;
  std::uint32_t clusterHeapOffset = 0;
  std::uint32_t clusterCount = 0;
  std::uint32_t firstClusterOfRootDirectory = 0;
  std::uint32_t volumeSerialNumber = 0;
  std::uint16_t fileSystemRevision = 0;
  std::uint16_t volumeFlags = 0;
  std::uint8_t bytesPerSectorShift = 0;
  std::uint8_t sectorsPerClusterShift = 0;
  std::uint8_t numberOfFats = 0;
  std::uint8_t percentInUse = 0;

  [[nodiscard]] std::uint32_t bytesPerSector() const;
  [[nodiscard]] std::uint64_t bytesPerCluster() const;
  // Highest valid cluster number: clusters run from 2 to ClusterCount + 1.
  [[nodiscard]] std::uint64_t lastCluster() const { return std::uint64_t{clusterCount} + 1U; }
};

// True when the first sector carries the exFAT name at byte 3; nothing else is checked.
[[nodiscard]] bool hasExfatName(ByteSpan bytes);

// Decodes the boot sector and checks what the rest of the engine relies on: the name, the boot
// signature, the shifts in range, one or two FATs, and FAT, cluster heap and root inside the volume.
// Fails with the field and its offset otherwise.
[[nodiscard]] Parsed<ExfatBootSector> parseExfatBootSector(ByteSpan bytes);

// The region checksum over the first eleven sectors of `region` (each `sectorBytes` long), leaving
// out VolumeFlags and PercentInUse, which change without the checksum being rewritten.
[[nodiscard]] std::uint32_t exfatBootChecksum(ByteSpan region, std::uint32_t sectorBytes);

// The boot region of twelve sectors when its boot sector parses and its checksum sector repeats the
// computed checksum in every four bytes; the reason otherwise. A region shorter than twelve sectors fails.
[[nodiscard]] Parsed<ExfatBootSector> parseExfatBootRegion(ByteSpan region);

}  // namespace nua
