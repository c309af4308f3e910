// The boot sector fields discovery reads to tell FAT12, FAT16 and FAT32 apart and to recognise a
// FAT volume written straight onto a disk. Little-endian.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua::peek {

// Layout: 0 u8 jump; 2 u8 jump operand; 11 u16 bytes per sector; 13 u8 sectors per cluster;
// 14 u16 reserved sectors; 16 u8 FATs; 17 u16 root entries; 19 u16 total sectors; 21 u8 media
// descriptor; 22 u16 FAT size; 28 u32 hidden sectors; 32 u32 total sectors; 36 u32 FAT size;
// 510 u16 signature.
constexpr std::size_t kFatBootSectorSize = 512;
struct FatBootSector {
  std::uint8_t jump = 0, jumpOperand = 0;
  std::uint16_t bytesPerSector = 0;
  std::uint8_t sectorsPerCluster = 0;
  std::uint16_t reservedSectors = 0;
  std::uint8_t fatCount = 0;
  std::uint16_t rootEntries = 0;
  std::uint16_t totalSectors16 = 0;
  std::uint8_t mediaDescriptor = 0;
  std::uint16_t fatSize16 = 0;
  std::uint32_t hiddenSectors = 0;
  std::uint32_t totalSectors32 = 0;
  std::uint32_t fatSize32 = 0;
  std::uint16_t signature = 0;
};
[[nodiscard]] Parsed<FatBootSector> parseFatBootSector(ByteSpan bytes);

// The volume's length in its own sectors: the boot sector's total (the 16-bit field, else the
// 32-bit one), unless that is 0, or claims more than `sourceSectors` (the partition or image holding
// the volume) with a table too small for the clusters it claims; then `sourceSectors`. A volume cut
// short keeps its claimed total, so its type and cluster layout stay those it was formatted with. A
// `sourceSectors` of 0 means the source's length is unknown.
[[nodiscard]] std::uint64_t fatVolumeSectors(const FatBootSector& boot, std::uint64_t sourceSectors);

// Data clusters of the volume: sectors behind the reserved area, every table and the fixed root,
// divided by the sectors per cluster. 0 when the fields leave no data area or a count is 0.
[[nodiscard]] std::uint64_t fatClusterCount(const FatBootSector& boot, std::uint64_t sourceSectors);

// "FAT12", "FAT16" or "FAT32" by the data cluster count (below 4085 FAT12, below 65525 FAT16), or "-"
// when bytes per sector or sectors per cluster is 0 or no data area is left. `sourceBytes` is the
// length of the partition or image holding the volume (0 when unknown), for a damaged total.
[[nodiscard]] const char* fatTypeOf(const FatBootSector& boot, std::uint64_t sourceBytes = 0);

// Whether the fields describe a FAT volume, whatever formatted it: a jump, the 55 AA signature, a
// sector size of 512 to 4096 bytes and a power of two, sectors per cluster a power of two, at
// least one reserved sector, one or two tables of non-zero size, and a media descriptor of 0xF0 or
// 0xF8 to 0xFF. A partition table's boot code and entries do not pass all of these together.
[[nodiscard]] bool isFatBootSector(const FatBootSector& boot);

// Whether `bytes`, read from a volume's start, hold an exFAT boot sector ("EXFAT   " at byte 3 and
// the 55 AA signature) at 0, or failing that the backup one twelve sectors of `sectorBytes` in.
[[nodiscard]] bool isExfatBootSector(ByteSpan bytes, std::size_t sectorBytes = 512);

// Byte offset of the first table from the start of the volume.
[[nodiscard]] std::uint64_t firstFatByteOffset(const FatBootSector& boot);

}  // namespace nua::peek
