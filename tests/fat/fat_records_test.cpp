// The 32-byte directory slots, long names and dates, decoded from bytes built here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "fat/fat_directory_entry.h"
#include "fat/fat_dos_date.h"
#include "fat/fat_long_name.h"

namespace nua {
namespace {

std::vector<std::byte> shortSlot(const char (&name11)[12], std::uint8_t attributes) {
  std::vector<std::byte> slot(kFatDirectoryEntrySize, std::byte{0});
  for (std::size_t i = 0; i < 11; ++i) put8(slot, i, static_cast<std::uint8_t>(name11[i]));
  put8(slot, 11, attributes);
  return slot;
}

FatDirectoryEntry entryOf(const std::vector<std::byte>& slot) {
  auto parsed = parseFatDirectoryEntry(slot);
  EXPECT_TRUE(parsed.ok());
  return *parsed;
}

TEST(FatDirectoryEntry, DecodesEveryFieldAndRefusesEveryTruncation) {
  auto slot = shortSlot("REPORT  TXT", 0x21);
  putLe16(slot, 14, 0x6B45);
  putLe16(slot, 16, 0x3C26);
  putLe16(slot, 20, 0x0001);
  putLe16(slot, 22, 0x6B46);
  putLe16(slot, 24, 0x3C27);
  putLe16(slot, 26, 0x0203);
  putLe32(slot, 28, 123456);
  const FatDirectoryEntry e = entryOf(slot);
  EXPECT_EQ(e.firstCluster(), 0x10203u);
  EXPECT_EQ(e.fileSize, 123456u);
  EXPECT_EQ(e.createTime, 0x6B45);
  EXPECT_EQ(e.createDate, 0x3C26);
  EXPECT_EQ(e.writeTime, 0x6B46);
  EXPECT_EQ(e.writeDate, 0x3C27);
  EXPECT_EQ(shortNameText(e), "REPORT.TXT");
  for (std::size_t length = 0; length < kFatDirectoryEntrySize; ++length)
    EXPECT_FALSE(parseFatDirectoryEntry(ByteSpan(slot).first(length)).ok()) << length;
}

TEST(FatDirectoryEntry, AttributesDecideTheKindOfEntry) {
  const std::vector<std::pair<std::uint8_t, FatEntryKind>> cases = {
      {0x20, FatEntryKind::kFile},        {0x21, FatEntryKind::kFile},    {0x00, FatEntryKind::kFile},
      {0x01, FatEntryKind::kFile},        {0x03, FatEntryKind::kFile},    {0x10, FatEntryKind::kFolder},
      {0x30, FatEntryKind::kFolder},      {0x12, FatEntryKind::kFolder},  {0x24, FatEntryKind::kSystem},
      {0x08, FatEntryKind::kNoEntry},     {0x28, FatEntryKind::kNoEntry}, {0x60, FatEntryKind::kNoEntry},
      {0x0F, FatEntryKind::kLongNameSlot}};
  for (const auto& [attributes, kind] : cases) EXPECT_EQ(fatEntryKindOf(attributes), kind) << int{attributes};
}

TEST(FatDirectoryEntry, ShortNamesDropPaddingAndKeepTheDeletedMark) {
  EXPECT_EQ(shortNameText(entryOf(shortSlot("FOLDER     ", 0x10))), "FOLDER");
  EXPECT_EQ(shortNameText(entryOf(shortSlot("\xE5"
                                            "EST    TXT",
                                            0x20))),
            " EST.TXT");
  EXPECT_EQ(shortNameText(entryOf(shortSlot("\x05"
                                            "AB     DAT",
                                            0x20))),
            "\xC3\xA5"
            "AB.DAT");
  auto lower = shortSlot("NOTES   TXT", 0x20);
  put8(lower, 12, 0x18);
  EXPECT_EQ(shortNameText(entryOf(lower)), "notes.txt");
  // Bytes that are not UTF-8 still give a name, one character each.
  EXPECT_EQ(shortNameText(entryOf(shortSlot("CAF\xC9    TXT", 0x20))), "CAF\xC3\x89.TXT");
}

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

TEST(DosDate, LocalFieldsBecomeSecondsSince1904) {
  const char* saved = std::getenv("TZ");
  const std::string previous = saved != nullptr ? saved : "";
  ::setenv("TZ", "UTC0", 1);
  ::tzset();
  // 2011-01-06 13:29:10
  EXPECT_EQ(dosDateTimeToHFSSeconds((31 << 9) | (1 << 5) | 6, (13 << 11) | (29 << 5) | 5), 3377165350u);
  EXPECT_EQ(dosDateTimeToHFSSeconds((0 << 9) | (1 << 5) | 1, 0), 2398377600u);  // 1980-01-01 midnight
  EXPECT_EQ(dosDateTimeToHFSSeconds(0, 0x6B45), 0u) << "no date";
  EXPECT_EQ(dosDateTimeToHFSSeconds((31 << 9) | (13 << 5) | 6, 0), 0u) << "month 13";
  EXPECT_EQ(dosDateTimeToHFSSeconds((31 << 9) | (1 << 5) | 0, 0), 0u) << "day 0";
  EXPECT_EQ(dosDateTimeToHFSSeconds((31 << 9) | (1 << 5) | 6, 31 << 11), 3377116800u) << "hour 31 counts as midnight";
  if (saved != nullptr)
    ::setenv("TZ", previous.c_str(), 1);
  else
    ::unsetenv("TZ");
  ::tzset();
}

}  // namespace
}  // namespace nua
