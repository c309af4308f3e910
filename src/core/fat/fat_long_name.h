// The long name that a run of long-name slots spells for the short entry behind them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ondisk/fat_directory_entry.h"
#include "ondisk/fat_long_name_slot.h"

namespace nua {

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
