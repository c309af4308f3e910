// The GPT header in the sector at LBA 1, little-endian. Only the fields that locate the entry array
// are read; CRCs are not checked, so that a damaged header still leads to its partitions.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Layout: 0 u64 signature "EFI PART"; 72 u64 LBA of the entry array; 80 u32 number of entries;
// 84 u32 size of one entry.
constexpr std::size_t kGUIDPartitionTableHeaderSize = 92;
constexpr std::uint64_t kGptSignature = 0x4546492050415254;  // "EFI PART" read big-endian

struct GUIDPartitionTableHeader {
  std::uint64_t signature = 0;  // big-endian, so that it compares with kGptSignature
  std::uint64_t partitionEntryLba = 0;
  std::uint32_t numberOfPartitionEntries = 0;
  std::uint32_t sizeOfPartitionEntry = 0;
};

// Decodes the header; fails when the bytes are short. Signature and counts are returned as read.
[[nodiscard]] Parsed<GUIDPartitionTableHeader> parseGUIDPartitionTableHeader(ByteSpan bytes);

// Whether the header can be walked on a disk of `sectorSize` bytes per sector: the signature is
// "EFI PART", there is at least one entry, and an entry is at least 128 bytes and fits in a sector.
// A zero or oversized entry size would otherwise divide by zero or read past the sector.
[[nodiscard]] bool isWalkableGptHeader(const GUIDPartitionTableHeader& header, std::uint32_t sectorSize,
                                       std::string* reason = nullptr);

}  // namespace nua
