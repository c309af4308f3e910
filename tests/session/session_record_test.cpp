// The 96-byte entry record: one full decode at the stated offsets, every shorter length refused, and
// the conversions that leave counts, lengths and identities to the stream.
#include "session/session_record.h"

#include <gtest/gtest.h>

#include <array>

#include "records/entry_arena.h"

namespace nua {
namespace {

SessionRecord sample() {
  SessionRecord r;
  r.fileSize = 0x0102030405060708ull;
  r.blockBaseSector = 0x11121314;
  r.createDate = 0xC1C2C3C4;
  r.modDate = 0xD1D2D3D4;
  r.parentID = 17;
  r.fileID = 20;
  r.fileCount = 1;
  r.sectorsPerBlock = 8;
  r.childrenCount = 0;
  r.childListCount = 3;
  r.dataExtCount = 2;
  r.fileNameLength = 8;
  r.pathNameLength = 9;
  r.fileType = 2;
  r.selected = 1;
  r.isFATEntry = 0;
  r.complete = 1;
  r.deleted = 1;
  r.selfPointer = 0x00007F0000001234ull;
  r.parentPointer = 0x00007F0000005678ull;
  return r;
}

TEST(SessionRecordTest, FieldsStandAtTheirOffsetsBigEndianButTheIdentities) {
  std::array<std::byte, kSessionRecordSize> raw{};
  raw.fill(std::byte{0xEE});
  writeSessionRecord(sample(), raw);
  EXPECT_EQ(raw[0], std::byte{0x01});
  EXPECT_EQ(raw[7], std::byte{0x08});
  EXPECT_EQ(raw[8], std::byte{0});   // unused space is zero, not what the buffer held
  EXPECT_EQ(raw[64], std::byte{0});
  EXPECT_EQ(raw[24], std::byte{0x11});
  EXPECT_EQ(raw[72], std::byte{0x00});
  EXPECT_EQ(raw[73], std::byte{0x02});
  EXPECT_EQ(raw[80], std::byte{0x34});  // host (little-endian) order
  EXPECT_EQ(raw[87], std::byte{0x00});
  EXPECT_EQ(raw[88], std::byte{0x78});

  const Parsed<SessionRecord> back = parseSessionRecord(raw);
  ASSERT_TRUE(back.ok());
  const SessionRecord want = sample();
  EXPECT_EQ(back->fileSize, want.fileSize);
  EXPECT_EQ(back->createDate, want.createDate);
  EXPECT_EQ(back->modDate, want.modDate);
  EXPECT_EQ(back->childListCount, 3u);
  EXPECT_EQ(back->dataExtCount, 2u);
  EXPECT_EQ(back->fileNameLength, 8);
  EXPECT_EQ(back->pathNameLength, 9);
  EXPECT_EQ(back->deleted, 1);
  EXPECT_EQ(back->selfPointer, want.selfPointer);
  EXPECT_EQ(back->parentPointer, want.parentPointer);
}

TEST(SessionRecordTest, EveryShorterLengthIsRefused) {
  std::array<std::byte, kSessionRecordSize> raw{};
  writeSessionRecord(sample(), raw);
  for (std::size_t length = 0; length < kSessionRecordSize; ++length)
    EXPECT_FALSE(parseSessionRecord(std::span<const std::byte>(raw.data(), length)).ok()) << length;
}

TEST(SessionRecordTest, AnEmptyEntryCountsNoExtentsAndTheReaderKeepsTheLowByteOfSectorsPerBlock) {
  EntryArena arena;
  Entry* dir = arena.newDir();
  dir->fileType = 2;
  dir->dataExt.push_back({5, 1});
  EXPECT_EQ(convertNDirToHPDir(dir, 0, 0).dataExtCount, 0u);
  dir->fileSize = 10;
  EXPECT_EQ(convertNDirToHPDir(dir, 0, 0).dataExtCount, 1u);

  SessionRecord record = sample();
  record.sectorsPerBlock = 0x1208;
  Entry* read = arena.newDir();
  convertHPDirToNDir(record, read);
  EXPECT_EQ(read->sectorsPerBlock, 8);
  EXPECT_TRUE(read->childList.empty());
  EXPECT_TRUE(read->dataExt.empty());
  EXPECT_EQ(read->fileName.length, 0);
}

}  // namespace
}  // namespace nua
