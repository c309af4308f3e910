// The GPT header in the sector at LBA 1 (and its backup in the disk's last sector), little-endian:
// the fields that locate the entry array, and the two CRC32s that tell a damaged header.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Layout: 0 u64 signature "EFI PART"; 12 u32 header size; 16 u32 header CRC32 (over the header
// size, this field zeroed); 24 u64 LBA of this header; 32 u64 LBA of the other header; 72 u64 LBA
// of the entry array; 80 u32 number of entries; 84 u32 size of one entry; 88 u32 CRC32 of the array.
constexpr std::size_t kGUIDPartitionTableHeaderSize = 92;
constexpr std::uint64_t kGptSignature = 0x4546492050415254;  // "EFI PART" read big-endian

struct GUIDPartitionTableHeader {
  std::uint64_t signature = 0;  // big-endian, so that it compares with kGptSignature
  std::uint32_t headerSize = 0;
  std::uint32_t headerCrc32 = 0;
  std::uint64_t myLba = 0;
  std::uint64_t alternateLba = 0;
  std::uint64_t partitionEntryLba = 0;
  std::uint32_t numberOfPartitionEntries = 0;
  std::uint32_t sizeOfPartitionEntry = 0;
  std::uint32_t partitionEntryArrayCrc32 = 0;
};

// Decodes the header; fails when the bytes are short. Signature and counts are returned as read.
[[nodiscard]] Parsed<GUIDPartitionTableHeader> parseGUIDPartitionTableHeader(ByteSpan bytes);

// Whether the header can be walked on a disk of `sectorSize` bytes per sector: the signature is
// "EFI PART", there is at least one entry, and an entry is at least 128 bytes and fits in a sector.
// A zero or oversized entry size would otherwise divide by zero or read past the sector.
// Whether the header's CRC32 matches `sector`, the bytes it was decoded from: the CRC covers the
// first headerSize bytes with the CRC field taken as zero. A size below 92 or past the sector fails.
[[nodiscard]] bool gptHeaderCrcMatches(const GUIDPartitionTableHeader& header, ByteSpan sector);

[[nodiscard]] bool isWalkableGptHeader(const GUIDPartitionTableHeader& header, std::uint32_t sectorSize,
                                       std::string* reason = nullptr);

}  // namespace nua
