// The MBR record decoder and the walk over an extended chain, with bytes built in code.
#include "media/master_boot_record.h"

#include <gtest/gtest.h>

#include <map>

#include "media/mbr_chain.h"
#include "media_test_bytes.h"

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

// A disk in memory: sector number to its bytes; absent sectors read as zeros.
struct Disk {
  std::map<std::uint64_t, Bytes> sectors;
  SectorReader reader() const {
    return [this](std::uint64_t sector, std::span<std::byte> out) {
      const auto it = sectors.find(sector);
      std::fill(out.begin(), out.end(), std::byte{0});
      if (it != sectors.end()) std::copy(it->second.begin(), it->second.end(), out.begin());
      return true;
    };
  }
};

TEST(MbrChain, LogicalPartitionsAreRelativeToTheirTableAndLinksToTheFirstExtended) {
  Disk disk;
  disk.sectors[0] = table();
  putEntry(disk.sectors[0], 0, 0xAF, 2048, 100);
  putEntry(disk.sectors[0], 1, 0x0F, 10000, 9000);
  disk.sectors[10000] = table();
  putEntry(disk.sectors[10000], 0, 0xAF, 63, 200);   // at 10063
  putEntry(disk.sectors[10000], 1, 0x05, 3000, 500);  // next table at 13000
  disk.sectors[13000] = table();
  putEntry(disk.sectors[13000], 0, 0x0B, 63, 300);  // at 13063
  const MbrChain chain = walkMbrChain(512, disk.reader());
  EXPECT_TRUE(chain.stopReason.empty()) << chain.stopReason;
  std::vector<std::uint64_t> starts;
  for (const MbrChainEntry& e : chain.entries) starts.push_back(e.relativeSector);
  EXPECT_EQ(starts, (std::vector<std::uint64_t>{2048, 10000, 10063, 13000, 13063}));
}

TEST(MbrChain, AChainPointingBackAtItselfStopsAtTheRepeat) {
  Disk disk;
  disk.sectors[0] = table();
  putEntry(disk.sectors[0], 0, 0x0F, 10000, 9000);
  disk.sectors[10000] = table();
  putEntry(disk.sectors[10000], 0, 0xAF, 63, 200);
  putEntry(disk.sectors[10000], 1, 0x05, 0, 500);  // links back to 10000
  const MbrChain chain = walkMbrChain(512, disk.reader());
  EXPECT_EQ(chain.stopReason, "loop at table sector 10000");
  EXPECT_EQ(chain.entries.size(), 3u);
}

TEST(MbrChain, ATableWithoutSignatureAddsNothing) {
  Disk disk;
  disk.sectors[0] = Bytes(512, std::byte{0});
  putEntry(disk.sectors[0], 0, 0xAF, 2048, 100);
  const MbrChain chain = walkMbrChain(512, disk.reader());
  EXPECT_TRUE(chain.entries.empty());
  EXPECT_NE(chain.stopReason.find("no 55 AA"), std::string::npos);
}

// A 4096-byte-sector disk keeps its table at the start of sector 0, as a 512-byte one does.
TEST(MbrChain, TheRecordStartsItsSectorOnALargeSectorDisk) {
  Disk disk;
  Bytes sector(4096, std::byte{0});
  Bytes record = table();
  putEntry(record, 0, 0xAF, 256, 256);
  std::copy(record.begin(), record.end(), sector.begin());
  disk.sectors[0] = sector;
  const MbrChain chain = walkMbrChain(4096, disk.reader());
  ASSERT_EQ(chain.entries.size(), 1u);
  EXPECT_EQ(chain.entries[0].relativeSector, 256u);
}

}  // namespace
}  // namespace nua
