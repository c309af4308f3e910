// Which GPT header a disk's partitions are read from: the primary at LBA 1 when its header and entry
// array CRC32s match, else the backup in the disk's last sector when it is whole, as partitioning
// tools do; else the primary as it stands, so that a damaged disk still shows what it can.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media/image_geometry.h"
#include "ondisk/guid_partition_table_header.h"

namespace nua {

struct GptHeaderChoice {
  GUIDPartitionTableHeader header;
  std::uint64_t lbaSize = 0;  // bytes per LBA the header counts in
  // "primary", "backup", or "primary (CRC mismatch)" when neither header is whole.
  std::string which;
};

// The largest entry array whose CRC is checked; a bigger one can't be verified and counts as damaged.
constexpr std::uint64_t kMaxCheckedGptArrayBytes = 1024 * 1024;

// Looks for the headers in LBAs of `sectorSize`, then 4096 and 512 bytes (an image of a
// 4096-byte-sector disk read in 512-byte sectors keeps its header at byte 4096). `diskBytes` is the
// disk's length, which places the backup. Nothing when no walkable header is found.
[[nodiscard]] std::optional<GptHeaderChoice> chooseGptHeader(const ByteReader& read, std::uint64_t diskBytes,
                                                             std::uint32_t sectorSize);

}  // namespace nua
