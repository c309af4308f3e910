// Hostile partition maps whose checksums are right but whose counts, sizes and links are not: the
// partition list must come back bounded, with no read of what the counts claim.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "imagekit/partition_crc32.h"
#include "media/partition_reader.h"
#include "media_test_bytes.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing::Bytes;

constexpr std::size_t kDiskSectors = 256;

// A GPT disk with one HFS+ entry, both headers and CRCs right, after `change` edits the primary
// header's fields (the CRCs are computed after the change, so only the values are hostile).
Bytes gptDisk(const std::function<void(Bytes&, std::size_t header)>& change) {
  Bytes disk(kDiskSectors * 512, std::byte{0});
  put8(disk, 510, 0x55);
  put8(disk, 511, 0xAA);
  put8(disk, 446 + 4, 0xEE);
  putLe32(disk, 446 + 8, 1);
  putLe32(disk, 446 + 12, kDiskSectors - 1);
  // One entry at LBA 2: the HFS+ type GUID, sectors 40 to 69.
  const std::uint8_t hfsType[16] = {0x00, 0x53, 0x46, 0x48, 0x00, 0x00, 0xAA, 0x11,
                                    0xAA, 0x11, 0x00, 0x30, 0x65, 0x43, 0xEC, 0xAC};
  for (std::size_t i = 0; i < 16; ++i) put8(disk, 1024 + i, hfsType[i]);
  putLe64(disk, 1024 + 32, 40);
  putLe64(disk, 1024 + 40, 69);
  for (const std::size_t lba : {std::size_t{1}, kDiskSectors - 1}) {
    const std::size_t h = lba * 512;
    testing::putText(disk, h, "EFI PART");
    putLe32(disk, h + 8, 0x00010000);
    putLe32(disk, h + 12, 92);
    putLe64(disk, h + 24, lba);
    putLe64(disk, h + 32, lba == 1 ? kDiskSectors - 1 : 1);
    putLe64(disk, h + 40, 34);
    putLe64(disk, h + 48, kDiskSectors - 34);
    putLe64(disk, h + 72, 2);
    putLe32(disk, h + 80, 4);
    putLe32(disk, h + 84, 128);
    change(disk, h);
    const std::uint32_t count = le32(disk, h + 80), size = le32(disk, h + 84);
    const std::uint64_t arrayBytes = std::uint64_t{count} * size;
    if (arrayBytes <= 4 * 128) putLe32(disk, h + 88, imagekit::crc32(ByteSpan(disk).subspan(1024, arrayBytes)));
    putLe32(disk, h + 16, 0);
    putLe32(disk, h + 16, imagekit::crc32(ByteSpan(disk).subspan(h, 92)));
  }
  return disk;
}

// An Apple partition map whose first entry says how many entries the map has.
Bytes appleMapDisk(std::uint32_t mapEntries, std::uint32_t startBlock, std::uint32_t blockCount) {
  Bytes disk(kDiskSectors * 512, std::byte{0});
  testing::putText(disk, 0, "ER");
  putBe16(disk, 2, 512);
  putBe32(disk, 4, kDiskSectors);
  for (std::size_t entry = 1; entry <= 2; ++entry) {
    const std::size_t at = entry * 512;
    testing::putText(disk, at, "PM");
    putBe32(disk, at + 4, mapEntries);
    putBe32(disk, at + 8, entry == 1 ? 1 : startBlock);
    putBe32(disk, at + 12, entry == 1 ? 63 : blockCount);
    testing::putText(disk, at + 48, entry == 1 ? "Apple_partition_map" : "Apple_HFS");
  }
  return disk;
}

// An MBR whose extended chain runs from sector 10 through the given links (relative to sector 10).
Bytes ebrChainDisk(const std::vector<std::uint32_t>& nextLinks) {
  Bytes disk(kDiskSectors * 512, std::byte{0});
  auto table = [&](std::size_t sector, std::uint8_t type, std::uint32_t start, std::uint32_t count, std::size_t slot) {
    const std::size_t at = sector * 512 + 446 + 16 * slot;
    put8(disk, at + 4, type);
    putLe32(disk, at + 8, start);
    putLe32(disk, at + 12, count);
    put8(disk, sector * 512 + 510, 0x55);
    put8(disk, sector * 512 + 511, 0xAA);
  };
  table(0, 0x05, 10, 200, 0);
  std::uint32_t ebr = 10;
  for (std::uint32_t next : nextLinks) {
    table(ebr, 0xAF, 1, 4, 0);
    table(ebr, 0x05, next, 8, 1);
    ebr = 10 + next;
    if (ebr >= kDiskSectors) break;
  }
  return disk;
}

std::vector<PartitionRow> listDisk(const Bytes& disk, const std::string& name) {
  const fs::path path = fs::temp_directory_path() / ("nua-hostile-" + std::to_string(::getpid()) + "-" + name);
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(disk.data()),
                                              static_cast<std::streamsize>(disk.size()));
  MediaReader media;
  media.initWithDictionary(Dict{{"Path", path.string()}, {"Preferred Block Size", 512},
                                {"Size", static_cast<std::uint64_t>(disk.size())}},
                           {});
  std::vector<PartitionRow> rows;
  PartitionReader(media).initialize(rows);
  MediaReader again;
  again.initWithDictionary(Dict{{"Path", path.string()}, {"Preferred Block Size", 512},
                                {"Size", static_cast<std::uint64_t>(disk.size())}},
                           {});
  const auto all = PartitionReader(again).listAllPartitions();
  EXPECT_LE(all.size(), 1024u) << name;
  fs::remove(path);
  return rows;
}

TEST(PartitionHostile, GptCountsAndSizesNoDiskHasGiveABoundedList) {
  const std::vector<std::pair<const char*, std::function<void(Bytes&, std::size_t)>>> cases = {
      {"entries-all-ones", [](Bytes& d, std::size_t h) { putLe32(d, h + 80, 0xFFFFFFFF); }},
      {"entry-size-zero", [](Bytes& d, std::size_t h) { putLe32(d, h + 84, 0); }},
      {"entry-size-huge", [](Bytes& d, std::size_t h) { putLe32(d, h + 84, 0x80000000); }},
      {"array-beyond-disk", [](Bytes& d, std::size_t h) { putLe64(d, h + 72, 0xFFFFFFFFFFFFull); }},
      {"array-is-the-header", [](Bytes& d, std::size_t h) { putLe64(d, h + 72, h / 512); }},
      {"header-size-huge", [](Bytes& d, std::size_t h) { putLe32(d, h + 12, 0xFFFFFFFF); }},
  };
  for (const auto& [name, change] : cases) {
    const auto rows = listDisk(gptDisk(change), name);
    EXPECT_LE(rows.size(), 4u) << name;
  }
  EXPECT_EQ(listDisk(gptDisk([](Bytes&, std::size_t) {}), "good").size(), 1u) << "the builder makes a real map";
}

TEST(PartitionHostile, AppleMapCountsAndExtentsNoDiskHasGiveABoundedList) {
  EXPECT_LE(listDisk(appleMapDisk(0xFFFFFFFF, 64, 32), "apm-count").size(), kDiskSectors);
  EXPECT_LE(listDisk(appleMapDisk(2, 0xFFFFFFF0, 0xFFFFFFFF), "apm-extent").size(), 2u);
  EXPECT_LE(listDisk(appleMapDisk(0, 64, 32), "apm-none").size(), 2u);
}

TEST(PartitionHostile, ExtendedChainsThatLoopOrLeaveTheDiskEnd) {
  EXPECT_LE(listDisk(ebrChainDisk({20, 40, 20, 40}), "ebr-two-cycle").size(), 8u);
  EXPECT_LE(listDisk(ebrChainDisk({20, 0}), "ebr-back-to-first").size(), 8u);
  EXPECT_LE(listDisk(ebrChainDisk({20, 0xFFFFFF00}), "ebr-beyond-disk").size(), 8u);
}

}  // namespace
}  // namespace nua
