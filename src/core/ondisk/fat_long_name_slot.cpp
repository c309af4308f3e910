#include "ondisk/fat_long_name_slot.h"

namespace nua {

Parsed<FatLongNameSlot> parseFatLongNameSlot(ByteSpan b) {
  if (b.size() < kFatLongNameSlotSize)
    return Parsed<FatLongNameSlot>::failure(parseReason("FAT long-name slot", "units 12-13", 28, "past the end"));
  FatLongNameSlot s;
  s.ordinal = u8(b, 0);
  s.attributes = u8(b, 11);
  s.type = u8(b, 12);
  s.checksum = u8(b, 13);
  s.firstCluster = le16(b, 26);
  std::size_t unit = 0;
  for (std::size_t i = 0; i < 5; ++i) s.units[unit++] = static_cast<char16_t>(le16(b, 1 + 2 * i));
  for (std::size_t i = 0; i < 6; ++i) s.units[unit++] = static_cast<char16_t>(le16(b, 14 + 2 * i));
  for (std::size_t i = 0; i < 2; ++i) s.units[unit++] = static_cast<char16_t>(le16(b, 28 + 2 * i));
  return Parsed<FatLongNameSlot>::success(s);
}

}  // namespace nua
