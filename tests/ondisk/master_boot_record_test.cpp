// The MBR and EBR record decoder, with bytes built in code.
#include "ondisk/master_boot_record.h"

#include <gtest/gtest.h>

#include "media/media_test_bytes.h"

namespace nua {
namespace {

using testing::Bytes;

void putEntry(Bytes& sector, std::size_t slot, std::uint8_t type, std::uint32_t relative, std::uint32_t count) {
  const std::size_t at = kMbrEntriesOffset + slot * kMbrEntrySize;
  put8(sector, at + 4, type);
  putLe32(sector, at + 8, relative);
  putLe32(sector, at + 12, count);
}

Bytes table() {
  Bytes sector(512, std::byte{0});
  put8(sector, 510, 0x55);
  put8(sector, 511, 0xAA);
  return sector;
}

TEST(MasterBootRecord, DecodesEntriesAndSignature) {
  Bytes sector = table();
  putEntry(sector, 0, 0xAF, 2048, 4096);
  putEntry(sector, 3, 0x0F, 100000, 50000);
  const auto record = parseMasterBootRecord(sector);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->signature, kMbrSignature);
  EXPECT_EQ(record->entries[0].systemId, 0xAF);
  EXPECT_EQ(record->entries[0].relativeSector, 2048u);
  EXPECT_EQ(record->entries[0].numberOfSectors, 4096u);
  EXPECT_EQ(record->entries[3].systemId, 0x0F);
  EXPECT_EQ(record->entries[3].relativeSector, 100000u);
}

TEST(MasterBootRecord, EveryShorterLengthFailsWithAReason) {
  const Bytes sector = table();
  for (std::size_t length = 0; length < kMasterBootRecordSize; ++length) {
    const auto record = parseMasterBootRecord(ByteSpan(sector).first(length));
    EXPECT_FALSE(record) << length;
    EXPECT_NE(record.reason.find("0x1fe"), std::string::npos);
  }
}

TEST(MasterBootRecord, MutatedBytesNeverCrash) {
  Bytes sector = table();
  putEntry(sector, 0, 0x05, 63, 1000);
  testing::mutationLoop(sector, [](ByteSpan b) { (void)parseMasterBootRecord(b); });
}

}  // namespace
}  // namespace nua
