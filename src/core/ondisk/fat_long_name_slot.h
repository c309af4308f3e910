// One long-name slot of a FAT directory: 32 bytes standing in front of the short entry whose long
// name it carries a part of. Little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Slot layout: 0 u8 ordinal (0x40 on the last slot of a name, 0xE5 once deleted); 1 u16[5] name
// units 1-5; 11 u8 attributes 0x0F; 12 u8 type 0; 13 u8 checksum of the short name; 14 u16[6] units
// 6-11; 26 u16 first cluster 0; 28 u16[2] units 12-13. A name ends at a 0x0000 unit, then 0xFFFF pads.
constexpr std::size_t kFatLongNameSlotSize = 32;
constexpr std::uint8_t kFatLastLongNameSlot = 0x40;

struct FatLongNameSlot {
  std::uint8_t ordinal = 0;
  std::uint8_t attributes = 0;
  std::uint8_t type = 0;
  std::uint8_t checksum = 0;
  std::uint16_t firstCluster = 0;
  std::array<char16_t, 13> units{};
};
[[nodiscard]] Parsed<FatLongNameSlot> parseFatLongNameSlot(ByteSpan bytes);

}  // namespace nua
