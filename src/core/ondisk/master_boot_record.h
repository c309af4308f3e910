// The MBR and EBR sector: four 16-byte partition entries at 446 and the 55 AA signature at 510,
// little-endian. Used for the primary table and for every link of an extended chain.
#pragma once

#include <array>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Layout: 0 boot code (446 bytes); 446 four entries of 16 bytes; 510 u16 signature 0xAA55.
// Entry: 4 u8 System ID; 8 u32 relative sector; 12 u32 number of sectors.
constexpr std::size_t kMasterBootRecordSize = 512;
constexpr std::size_t kMbrEntriesOffset = 446;
constexpr std::size_t kMbrEntrySize = 16;
constexpr std::uint16_t kMbrSignature = 43605;  // bytes 55 AA read little-endian

struct MbrPartitionEntry {
  std::uint8_t systemId = 0;
  std::uint32_t relativeSector = 0;
  std::uint32_t numberOfSectors = 0;
};

struct MasterBootRecord {
  std::array<MbrPartitionEntry, 4> entries{};
  std::uint16_t signature = 0;
};

// Decodes the first 512 bytes of `bytes`. Fails only when fewer than 512 bytes are given; a wrong
// signature is returned as read, for the caller to judge.
[[nodiscard]] Parsed<MasterBootRecord> parseMasterBootRecord(ByteSpan bytes);

// The extended types that continue a chain: 5, 15 and 0x85.
[[nodiscard]] constexpr bool isExtendedSystemId(std::uint8_t systemId) {
  return systemId == 5 || systemId == 15 || systemId == 133;
}

}  // namespace nua
