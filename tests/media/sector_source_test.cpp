// Sector sources: reads inside, across and past the end give the source's bytes then zeros, never
// bytes of an earlier read; a device range never reads outside itself.
#include "media/sector_source.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

namespace nua {
namespace {

std::vector<std::byte> numbered(std::size_t size) {
  std::vector<std::byte> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::byte>(i % 251 + 1);
  return bytes;
}

TEST(SectorSourceTest, MemoryReadAcrossEndZeroFillsAndNeverKeepsOldBytes) {
  MemorySectorSource source(numbered(1000), 512);  // the last sector is short
  EXPECT_EQ(source.sectorCount(), 2u);
  std::vector<std::byte> buffer(1536, std::byte{0xEE});
  ASSERT_TRUE(source.readSectors(1, 3, buffer));
  for (std::size_t i = 0; i < 488; ++i) ASSERT_EQ(buffer[i], static_cast<std::byte>((512 + i) % 251 + 1));
  for (std::size_t i = 488; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], std::byte{0}) << i;
  ASSERT_TRUE(source.readSectors(7, 1, buffer));
  for (std::size_t i = 0; i < 512; ++i) ASSERT_EQ(buffer[i], std::byte{0});
  EXPECT_FALSE(source.readSectors(0, 4, buffer)) << "a buffer too small is refused";
}

TEST(SectorSourceTest, DeviceRangeReadsOnlyItsOwnSectors) {
  const auto path = std::filesystem::temp_directory_path() / "nua_sector_source_test.img";
  const auto bytes = numbered(8 * 512);
  {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  int error = 0;
  auto file = DeviceFile::open(path.string(), error);
  ASSERT_TRUE(file);
  DeviceSectorSource whole(file, 512);
  EXPECT_EQ(whole.sectorCount(), 8u);
  DeviceSectorSource range(file, 512, 2, 3);
  EXPECT_EQ(range.sectorCount(), 3u);
  std::vector<std::byte> buffer(4 * 512, std::byte{0xEE});
  ASSERT_TRUE(range.readSectors(1, 4, buffer));
  for (std::size_t i = 0; i < 1024; ++i) ASSERT_EQ(buffer[i], bytes[3 * 512 + i]);
  for (std::size_t i = 1024; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], std::byte{0}) << i;
  DeviceSectorSource pastEnd(file, 512, 6, 100);
  EXPECT_EQ(pastEnd.sectorCount(), 2u);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace nua
