// What discovery and the FAT engine decide from a decoded boot sector: FAT12, FAT16 or FAT32, the
// volume's length and clusters, and whether a sector is a FAT or exFAT boot sector at all.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "ondisk/fat_boot_sector.h"

namespace nua {

// The volume's length in its own sectors: the boot sector's total (the 16-bit field, else the
// 32-bit one), unless that is 0, or claims more than `sourceSectors` (the partition or image holding
// the volume) with a table too small for the clusters it claims; then `sourceSectors`. A volume cut
// short keeps its claimed total, so its type and cluster layout stay those it was formatted with. A
// `sourceSectors` of 0 means the source's length is unknown.
[[nodiscard]] std::uint64_t fatVolumeSectors(const FatBootSector& boot, std::uint64_t sourceSectors);

// Data clusters of the volume: sectors behind the reserved area, every table and the fixed root,
// divided by the sectors per cluster. 0 when the fields leave no data area or a count is 0.
[[nodiscard]] std::uint64_t fatClusterCount(const FatBootSector& boot, std::uint64_t sourceSectors);

// "FAT12", "FAT16" or "FAT32" by the data cluster count (below 4085 FAT12, below 65525 FAT16), or "-"
// when bytes per sector or sectors per cluster is 0 or no data area is left. `sourceBytes` is the
// length of the partition or image holding the volume (0 when unknown), for a damaged total.
[[nodiscard]] const char* fatTypeOf(const FatBootSector& boot, std::uint64_t sourceBytes = 0);

// Whether the fields describe a FAT volume, whatever formatted it: a jump, the 55 AA signature, a
// sector size of 512 to 4096 bytes and a power of two, sectors per cluster a power of two, at
// least one reserved sector, one or two tables of non-zero size, and a media descriptor of 0xF0 or
// 0xF8 to 0xFF. A partition table's boot code and entries do not pass all of these together.
[[nodiscard]] bool isFatBootSector(const FatBootSector& boot);

// Whether `bytes`, read from a volume's start, hold an exFAT boot sector ("EXFAT   " at byte 3 and
// the 55 AA signature) at 0, or failing that the backup one twelve sectors of `sectorBytes` in.
[[nodiscard]] bool isExfatBootSector(ByteSpan bytes, std::size_t sectorBytes = 512);

// Byte offset of the first table from the start of the volume.
[[nodiscard]] std::uint64_t firstFatByteOffset(const FatBootSector& boot);

}  // namespace nua
