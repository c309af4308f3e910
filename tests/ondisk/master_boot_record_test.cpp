// The MBR and EBR record decoder, with bytes built in code.
#include "ondisk/master_boot_record.h"

#include <gtest/gtest.h>

#include "media/media_test_bytes.h"
#include "ondisk/ondisk_test_bytes.h"

namespace nua {
namespace {

using testing::Bytes;
using testing::mbrTable;
using testing::putMbrEntry;

TEST(MasterBootRecord, DecodesEntriesAndSignature) {
  Bytes sector = mbrTable();
  putMbrEntry(sector, 0, 0xAF, 2048, 4096);
  putMbrEntry(sector, 3, 0x0F, 100000, 50000);
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
  const Bytes sector = mbrTable();
  for (std::size_t length = 0; length < kMasterBootRecordSize; ++length) {
    const auto record = parseMasterBootRecord(ByteSpan(sector).first(length));
    EXPECT_FALSE(record) << length;
    EXPECT_NE(record.reason.find("0x1fe"), std::string::npos);
  }
}

TEST(MasterBootRecord, MutatedBytesNeverCrash) {
  Bytes sector = mbrTable();
  putMbrEntry(sector, 0, 0x05, 63, 1000);
  testing::mutationLoop(sector, [](ByteSpan b) { (void)parseMasterBootRecord(b); });
}

}  // namespace
}  // namespace nua
