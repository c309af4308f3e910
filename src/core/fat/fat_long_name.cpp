#include "fat/fat_long_name.h"

#include <algorithm>

namespace nua {

void LongNameCollector::add(const FatLongNameSlot& slot) {
  // A slot that starts a name starts afresh; so many slots can't belong to one name (20 make 255 units).
  if ((slot.ordinal & kFatLastLongNameSlot) != 0 && slot.ordinal != kFatDeletedMark) slots_.clear();
  if (slot.type != 0 || slot.firstCluster != 0 || slots_.size() >= 20) {
    slots_.clear();
    return;
  }
  slots_.push_back(slot);
}

namespace {

// The name from slots in disk order (the last part first): cut at the first 0x0000 unit.
std::optional<std::u16string> nameFromSlots(std::vector<FatLongNameSlot>::const_iterator begin,
                                            std::vector<FatLongNameSlot>::const_iterator end) {
  std::u16string name;
  for (auto it = end; it != begin;) {
    --it;
    for (char16_t unit : it->units) {
      if (unit == 0) return name.empty() ? std::nullopt : std::optional<std::u16string>(name);
      name.push_back(unit);
    }
  }
  if (name.empty()) return std::nullopt;
  return name;
}

bool plausibleFirstLetter(std::uint8_t c) {
  if (c <= 0x20 || c == kFatDeletedMark || (c >= 'a' && c <= 'z')) return false;
  static constexpr char kInvalid[] = "\"*+,./:;<=>?[\\]|";
  return std::find(std::begin(kInvalid), std::end(kInvalid) - 1, static_cast<char>(c)) == std::end(kInvalid) - 1;
}

}  // namespace

std::optional<std::u16string> LongNameCollector::takeNameFor(const FatDirectoryEntry& entry) {
  std::vector<FatLongNameSlot> slots;
  slots.swap(slots_);
  if (slots.empty()) return std::nullopt;
  if (!entry.isDeleted()) {
    const std::size_t count = slots.size();
    if (slots.front().ordinal != (kFatLastLongNameSlot | count)) return std::nullopt;
    const std::uint8_t checksum = shortNameChecksum(entry.baseName, entry.extension);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t expected = count - i;
      if ((slots[i].ordinal & 0x3FU) != expected || slots[i].checksum != checksum) return std::nullopt;
    }
    return nameFromSlots(slots.begin(), slots.end());
  }
  // Deleted: the run of deleted slots just before the entry that share the last slot's checksum.
  const std::uint8_t checksum = slots.back().checksum;
  auto first = slots.end();
  while (first != slots.begin() && std::prev(first)->ordinal == kFatDeletedMark &&
         std::prev(first)->checksum == checksum)
    --first;
  if (first == slots.end()) return std::nullopt;
  // Exactly one first letter gives any checksum; it has to be one a short name can start with.
  std::array<std::uint8_t, 8> base = entry.baseName;
  for (unsigned letter = 0; letter < 256; ++letter) {
    base[0] = static_cast<std::uint8_t>(letter);
    if (shortNameChecksum(base, entry.extension) != checksum) continue;
    if (!plausibleFirstLetter(base[0])) return std::nullopt;
    return nameFromSlots(first, slots.end());
  }
  return std::nullopt;
}

}  // namespace nua
