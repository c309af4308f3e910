// The long name a run of slots spells for the short entry behind it, from slots built here.
#include "fat/fat_long_name.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ondisk/fat_directory_entry.h"
#include "ondisk/fat_long_name_slot.h"
#include "ondisk/ondisk_test_bytes.h"

namespace nua {
namespace {

using testing::entryOf;
using testing::shortSlot;

// Long-name slots for `name` in disk order (the last part first), as a writer lays them down.
std::vector<FatLongNameSlot> slotsFor(const std::u16string& name, std::uint8_t checksum, bool deleted) {
  const std::size_t count = (name.size() + 1 + 12) / 13;
  std::vector<FatLongNameSlot> slots;
  for (std::size_t n = count; n >= 1; --n) {
    std::vector<std::byte> raw(kFatLongNameSlotSize, std::byte{0xFF});
    put8(raw, 0, deleted ? kFatDeletedMark : static_cast<std::uint8_t>(n == count ? (0x40 | n) : n));
    put8(raw, 11, kFatAttrLongName);
    put8(raw, 12, 0);
    put8(raw, 13, checksum);
    putLe16(raw, 26, 0);
    static constexpr std::size_t kOffsets[13] = {1, 3, 5, 7, 9, 14, 16, 18, 20, 22, 24, 28, 30};
    for (std::size_t i = 0; i < 13; ++i) {
      const std::size_t at = (n - 1) * 13 + i;
      if (at < name.size())
        putLe16(raw, kOffsets[i], name[at]);
      else if (at == name.size())
        putLe16(raw, kOffsets[i], 0);
    }
    auto parsed = parseFatLongNameSlot(raw);
    EXPECT_TRUE(parsed.ok());
    slots.push_back(*parsed);
  }
  return slots;
}

TEST(LongNameCollector, LiveNameNeedsItsChecksumAndOrder) {
  const FatDirectoryEntry live = entryOf(shortSlot("QUARTE~1TXT", 0x20));
  const std::uint8_t sum = shortNameChecksum(live.baseName, live.extension);
  const std::u16string name = u"Quarterly report 2014.txt";
  LongNameCollector collector;
  for (const auto& slot : slotsFor(name, sum, false)) collector.add(slot);
  EXPECT_EQ(collector.takeNameFor(live), name);
  EXPECT_EQ(collector.takeNameFor(live), std::nullopt) << "slots are used once";

  for (const auto& slot : slotsFor(name, static_cast<std::uint8_t>(sum + 1), false)) collector.add(slot);
  EXPECT_EQ(collector.takeNameFor(live), std::nullopt) << "checksum of another short name";

  auto slots = slotsFor(name, sum, false);
  collector.add(slots.back());  // only the first part: the run is incomplete
  EXPECT_EQ(collector.takeNameFor(live), std::nullopt);
}

TEST(LongNameCollector, DeletedNameIsFoundThroughTheLostFirstLetter) {
  const FatDirectoryEntry original = entryOf(shortSlot("DELETE~1TXT", 0x20));
  const std::uint8_t sum = shortNameChecksum(original.baseName, original.extension);
  const FatDirectoryEntry deleted =
      entryOf(shortSlot("\xE5"
                        "ELETE~1TXT",
                        0x20));
  LongNameCollector collector;
  for (const auto& slot : slotsFor(u"Deleted letter to the bank.txt", sum, true)) collector.add(slot);
  EXPECT_EQ(collector.takeNameFor(deleted), u"Deleted letter to the bank.txt");

  // A checksum that only a lower-case first letter would give belongs to no short name.
  FatDirectoryEntry lower = original;
  lower.baseName[0] = 'd';
  for (const auto& slot : slotsFor(u"x", shortNameChecksum(lower.baseName, lower.extension), true)) collector.add(slot);
  EXPECT_EQ(collector.takeNameFor(deleted), std::nullopt);
}

}  // namespace
}  // namespace nua
