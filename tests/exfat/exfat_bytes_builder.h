// Builds exFAT boot regions and entry sets in code for the parser tests: a valid one, which each test
// then changes at one offset.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "ondisk/exfat_boot_sector.h"
#include "ondisk/exfat_directory_entry.h"

namespace nua::testing {

// A 12-sector boot region of 512-byte sectors for a 64 MiB volume of 4 KiB clusters, checksum set.
inline std::vector<std::byte> exfatBootRegion() {
  std::vector<std::byte> region(512 * kExfatBootRegionSectors, std::byte{0});
  put8(region, 0, 0xEB);
  put8(region, 1, 0x76);
  put8(region, 2, 0x90);
  std::memcpy(region.data() + 3, "EXFAT   ", 8);
  putLe64(region, 72, 131072);  // VolumeLength
  putLe32(region, 80, 2048);    // FatOffset
  putLe32(region, 84, 128);     // FatLength
  putLe32(region, 88, 4096);    // ClusterHeapOffset
  putLe32(region, 92, 15872);   // ClusterCount
  putLe32(region, 96, 5);       // FirstClusterOfRootDirectory
  putLe16(region, 104, 0x0100);
  put8(region, 108, 9);
  put8(region, 109, 3);
  put8(region, 110, 1);
  putLe16(region, 510, 0xAA55);
  return region;
}

inline void resealExfatBootRegion(std::vector<std::byte>& region) {
  const std::uint32_t checksum = exfatBootChecksum(region, 512);
  for (std::size_t at = 512 * kExfatChecksumSectorIndex; at < 512 * kExfatBootRegionSectors; at += 4)
    putLe32(region, at, checksum);
}

// A file entry set for `name` (ASCII), live or deleted, with its checksum computed as written.
inline std::vector<std::byte> exfatEntrySet(const std::string& name, bool deleted, std::uint16_t attributes = 0x20) {
  const std::size_t nameEntries = (name.size() + 14) / 15;
  std::vector<std::byte> set((2 + nameEntries) * kExfatDirectoryEntrySize, std::byte{0});
  put8(set, 0, kExfatFile);
  put8(set, 1, static_cast<std::uint8_t>(1 + nameEntries));
  putLe16(set, 4, attributes);
  putLe32(set, 8, 0x56AB7405);   // 2023-05-11 14:32:10
  putLe32(set, 12, 0x56AB7405);
  put8(set, 20, 150);
  put8(set, 22, 0x88);
  put8(set, 32, kExfatStreamExtension);
  put8(set, 33, 0x03);
  put8(set, 35, static_cast<std::uint8_t>(name.size()));
  putLe64(set, 40, 10000);
  putLe32(set, 52, 42);
  putLe64(set, 56, 10000);
  for (std::size_t i = 0; i < nameEntries; ++i) put8(set, (2 + i) * 32, kExfatFileName);
  for (std::size_t i = 0; i < name.size(); ++i)
    putLe16(set, (2 + i / 15) * 32 + 2 + 2 * (i % 15), static_cast<std::uint16_t>(name[i]));
  putLe16(set, 2, exfatEntrySetChecksum(set, 2 + nameEntries, false));
  if (deleted)
    for (std::size_t at = 0; at < set.size(); at += 32) put8(set, at, static_cast<std::uint8_t>(u8(set, at) & 0x7F));
  return set;
}

}  // namespace nua::testing
