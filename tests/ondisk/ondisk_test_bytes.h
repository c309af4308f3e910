// Structures built in code for the decoder tests and for the tests of what reads through them:
// MBR tables with their entries, and FAT short directory entries.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "ondisk/fat_directory_entry.h"
#include "ondisk/master_boot_record.h"

namespace nua::testing {

// An empty 512-byte MBR or EBR with its 55 AA signature.
inline std::vector<std::byte> mbrTable() {
  std::vector<std::byte> sector(kMasterBootRecordSize, std::byte{0});
  put8(sector, 510, 0x55);
  put8(sector, 511, 0xAA);
  return sector;
}

inline void putMbrEntry(std::vector<std::byte>& sector, std::size_t slot, std::uint8_t type, std::uint32_t relative,
                        std::uint32_t count) {
  const std::size_t at = kMbrEntriesOffset + slot * kMbrEntrySize;
  put8(sector, at + 4, type);
  putLe32(sector, at + 8, relative);
  putLe32(sector, at + 12, count);
}

// A short directory entry named by its 11 padded bytes ("NAME    EXT").
inline std::vector<std::byte> shortSlot(const char (&name11)[12], std::uint8_t attributes) {
  std::vector<std::byte> slot(kFatDirectoryEntrySize, std::byte{0});
  for (std::size_t i = 0; i < 11; ++i) put8(slot, i, static_cast<std::uint8_t>(name11[i]));
  put8(slot, 11, attributes);
  return slot;
}

inline FatDirectoryEntry entryOf(const std::vector<std::byte>& slot) {
  auto parsed = parseFatDirectoryEntry(slot);
  EXPECT_TRUE(parsed.ok());
  return *parsed;
}

}  // namespace nua::testing
