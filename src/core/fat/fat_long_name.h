// Long-name slots and the long name they spell for the short entry behind them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/parse_result.h"
#include "fat/fat_directory_entry.h"

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

// Gathers the slots met in a directory, in disk order, and hands the long name to the short entry
// that follows them when the slots belong to it.
class LongNameCollector {
 public:
  void add(const FatLongNameSlot& slot);
  void clear() { slots_.clear(); }
  // The long name for this short entry, then forgets the slots. A live entry needs a complete run
  // (ordinals n|0x40 down to 1) whose checksum matches; a deleted entry, whose slots have lost their
  // ordinals and its first letter, takes the run of deleted slots with one checksum that some first
  // letter gives. Anything else gives nullopt, and the entry keeps its short name.
  [[nodiscard]] std::optional<std::u16string> takeNameFor(const FatDirectoryEntry& entry);

 private:
  std::vector<FatLongNameSlot> slots_;
};

}  // namespace nua
