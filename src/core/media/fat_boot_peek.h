// The boot sector fields discovery reads to tell FAT12, FAT16 and FAT32 apart and to recognise a
// FAT volume written straight onto a disk. Little-endian.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua::peek {

// Layout: 0 u8 jump; 2 u8 jump operand; 11 u16 bytes per sector; 13 u8 sectors per cluster;
// 14 u16 reserved sectors; 16 u8 FATs; 17 u16 root entries; 19 u16 total sectors; 21 u8 media
// descriptor; 22 u16 FAT size; 32 u32 total sectors; 36 u32 FAT size; 510 u16 signature.
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
  std::uint32_t totalSectors32 = 0;
  std::uint32_t fatSize32 = 0;
  std::uint16_t signature = 0;
};
[[nodiscard]] Parsed<FatBootSector> parseFatBootSector(ByteSpan bytes);

// "FAT12", "FAT16" or "FAT32" by the cluster count formula of discovery, or "-" when bytes per
// sector or sectors per cluster is 0. The formula subtracts the number of FATs, not their sectors,
// and the boundaries apply to that number.
[[nodiscard]] const char* fatTypeOf(const FatBootSector& boot);

}  // namespace nua::peek
