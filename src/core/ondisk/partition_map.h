// One entry of an Apple partition map (one map block each, big-endian), and the driver descriptor
// in block 0 that gives the map's block size.
#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Entry layout: 0 u16 signature "PM"; 2 i16 pad; 4 u32 number of map entries; 8 u32 first physical
// block of the partition; 12 u32 partition size in blocks; 16 char[32] name; 48 char[32] type.
constexpr std::size_t kPartitionMapSize = 512;
constexpr std::uint16_t kPartitionMapSignature = 20557;  // "PM"
// Driver descriptor layout: 0 u16 signature "ER"; 2 u16 block size in bytes; 4 u32 block count.
constexpr std::size_t kDriverDescriptorSize = 8;
constexpr std::uint16_t kDriverDescriptorSignature = 0x4552;  // "ER"

struct PartitionMap {
  std::uint16_t signature = 0;
  std::uint32_t mapEntries = 0;
  std::uint32_t startSector = 0;   // in map blocks
  std::uint32_t sizeInSectors = 0; // in map blocks
  std::string name;                // up to the first NUL
  std::string type;
};

struct DriverDescriptor {
  std::uint16_t signature = 0;
  std::uint16_t blockSize = 0;
  std::uint32_t blockCount = 0;
};

// Decodes an entry; fails when fewer than 80 bytes are given. The signature is returned as read.
[[nodiscard]] Parsed<PartitionMap> parsePartitionMap(ByteSpan bytes);
[[nodiscard]] Parsed<DriverDescriptor> parseDriverDescriptor(ByteSpan bytes);

}  // namespace nua
