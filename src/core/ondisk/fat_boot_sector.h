// The FAT boot sector (BIOS parameter block) of FAT12, FAT16 and FAT32 volumes, little-endian: the
// fields that give the type, the geometry and the place of the tables.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Layout: 0 u8 jump; 2 u8 jump operand; 11 u16 bytes per sector; 13 u8 sectors per cluster;
// 14 u16 reserved sectors; 16 u8 FATs; 17 u16 root entries; 19 u16 total sectors; 21 u8 media
// descriptor; 22 u16 FAT size; 28 u32 hidden sectors; 32 u32 total sectors; 36 u32 FAT size;
// 510 u16 signature.
constexpr std::size_t kFatBootSectorSize = 512;
constexpr std::uint16_t kFatBootSignature = 0xAA55;  // bytes 55 AA read little-endian
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

// Decodes the first 512 bytes; fails only when fewer are given. Every field is returned as read,
// for the caller to judge.
[[nodiscard]] Parsed<FatBootSector> parseFatBootSector(ByteSpan bytes);

}  // namespace nua
