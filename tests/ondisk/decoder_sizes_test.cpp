// Every decoder of the FAT, partition-map and journal families checks its size before it reads:
// a span of exactly the structure's size decodes, and one byte less is refused with a reason.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "ondisk/fat_boot_sector.h"
#include "ondisk/fat_directory_entry.h"
#include "ondisk/fat_long_name_slot.h"
#include "ondisk/guid_partition_table_entry.h"
#include "ondisk/guid_partition_table_header.h"
#include "ondisk/journal_info_block.h"
#include "ondisk/master_boot_record.h"
#include "ondisk/partition_map.h"

namespace nua {
namespace {

struct SizedDecoder {
  const char* name;
  std::size_t size;  // the bytes the decoder reads
  std::function<std::string(ByteSpan)> failure;  // empty when the bytes decode
};

template <class Parse>
std::function<std::string(ByteSpan)> reasonOf(Parse parse) {
  return [parse](ByteSpan b) {
    const auto parsed = parse(b);
    return parsed ? std::string() : (parsed.reason.empty() ? std::string("no reason") : parsed.reason);
  };
}

const std::vector<SizedDecoder>& decoders() {
  static const std::vector<SizedDecoder> all = {
      {"FAT boot sector", kFatBootSectorSize, reasonOf([](ByteSpan b) { return parseFatBootSector(b); })},
      {"FAT directory entry", kFatDirectoryEntrySize, reasonOf([](ByteSpan b) { return parseFatDirectoryEntry(b); })},
      {"FAT long-name slot", kFatLongNameSlotSize, reasonOf([](ByteSpan b) { return parseFatLongNameSlot(b); })},
      {"MBR", kMasterBootRecordSize, reasonOf([](ByteSpan b) { return parseMasterBootRecord(b); })},
      {"GPT header", kGUIDPartitionTableHeaderSize,
       reasonOf([](ByteSpan b) { return parseGUIDPartitionTableHeader(b); })},
      {"GPT entry", kGUIDPartitionTableEntrySize, reasonOf([](ByteSpan b) { return parseGUIDPartitionTableEntry(b); })},
      {"partition map entry", 80, reasonOf([](ByteSpan b) { return parsePartitionMap(b); })},
      {"driver descriptor", kDriverDescriptorSize, reasonOf([](ByteSpan b) { return parseDriverDescriptor(b); })},
      {"journal info block", kJournalInfoBlockSize, reasonOf([](ByteSpan b) { return parseJournalInfoBlock(b); })},
  };
  return all;
}

TEST(DecoderSizes, TheFullSizeDecodesAndOneByteLessIsRefused) {
  for (const SizedDecoder& d : decoders()) {
    const std::vector<std::byte> bytes(d.size, std::byte{0});
    EXPECT_EQ(d.failure(bytes), "") << d.name;
    EXPECT_NE(d.failure(ByteSpan(bytes).first(d.size - 1)), "") << d.name;
  }
}

TEST(JournalInfoBlock, DecodesWhereTheJournalLies) {
  std::vector<std::byte> b(kJournalInfoBlockSize, std::byte{0});
  putBe32(b, 0, 1);
  putBe64(b, 36, 0x1000);
  putBe64(b, 44, 0x800000);
  const auto info = parseJournalInfoBlock(b);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->flags, 1u);
  EXPECT_EQ(info->offset, 0x1000u);
  EXPECT_EQ(info->size, 0x800000u);
}

}  // namespace
}  // namespace nua
