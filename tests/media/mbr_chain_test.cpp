// The walk over an extended partition chain, with tables built in code.
#include "media/mbr_chain.h"

#include <gtest/gtest.h>

#include <map>

#include "media_test_bytes.h"
#include "ondisk/ondisk_test_bytes.h"

namespace nua {
namespace {

using testing::Bytes;
using testing::mbrTable;
using testing::putMbrEntry;

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
  disk.sectors[0] = mbrTable();
  putMbrEntry(disk.sectors[0], 0, 0xAF, 2048, 100);
  putMbrEntry(disk.sectors[0], 1, 0x0F, 10000, 9000);
  disk.sectors[10000] = mbrTable();
  putMbrEntry(disk.sectors[10000], 0, 0xAF, 63, 200);   // at 10063
  putMbrEntry(disk.sectors[10000], 1, 0x05, 3000, 500);  // next table at 13000
  disk.sectors[13000] = mbrTable();
  putMbrEntry(disk.sectors[13000], 0, 0x0B, 63, 300);  // at 13063
  const MbrChain chain = walkMbrChain(512, disk.reader());
  EXPECT_TRUE(chain.stopReason.empty()) << chain.stopReason;
  std::vector<std::uint64_t> starts;
  for (const MbrChainEntry& e : chain.entries) starts.push_back(e.relativeSector);
  EXPECT_EQ(starts, (std::vector<std::uint64_t>{2048, 10000, 10063, 13000, 13063}));
}

TEST(MbrChain, AChainPointingBackAtItselfStopsAtTheRepeat) {
  Disk disk;
  disk.sectors[0] = mbrTable();
  putMbrEntry(disk.sectors[0], 0, 0x0F, 10000, 9000);
  disk.sectors[10000] = mbrTable();
  putMbrEntry(disk.sectors[10000], 0, 0xAF, 63, 200);
  putMbrEntry(disk.sectors[10000], 1, 0x05, 0, 500);  // links back to 10000
  const MbrChain chain = walkMbrChain(512, disk.reader());
  EXPECT_EQ(chain.stopReason, "loop at table sector 10000");
  EXPECT_EQ(chain.entries.size(), 3u);
}

TEST(MbrChain, ATableWithoutSignatureAddsNothing) {
  Disk disk;
  disk.sectors[0] = Bytes(512, std::byte{0});
  putMbrEntry(disk.sectors[0], 0, 0xAF, 2048, 100);
  const MbrChain chain = walkMbrChain(512, disk.reader());
  EXPECT_TRUE(chain.entries.empty());
  EXPECT_NE(chain.stopReason.find("no 55 AA"), std::string::npos);
}

// A 4096-byte-sector disk keeps its table at the start of sector 0, as a 512-byte one does.
TEST(MbrChain, TheRecordStartsItsSectorOnALargeSectorDisk) {
  Disk disk;
  Bytes sector(4096, std::byte{0});
  Bytes record = mbrTable();
  putMbrEntry(record, 0, 0xAF, 256, 256);
  std::copy(record.begin(), record.end(), sector.begin());
  disk.sectors[0] = sector;
  const MbrChain chain = walkMbrChain(4096, disk.reader());
  ASSERT_EQ(chain.entries.size(), 1u);
  EXPECT_EQ(chain.entries[0].relativeSector, 256u);
}

}  // namespace
}  // namespace nua
