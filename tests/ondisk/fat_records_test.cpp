// The 32-byte directory slots and their dates, decoded from bytes built here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "ondisk/fat_directory_entry.h"
#include "ondisk/fat_dos_date.h"
#include "ondisk/ondisk_test_bytes.h"

namespace nua {
namespace {

using testing::entryOf;
using testing::shortSlot;

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
