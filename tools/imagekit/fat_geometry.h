// Geometry of a FAT volume the kit has just made, and access to its allocation table, so the kit can
// read back where mkfs.fat and mtools put things and patch them in place.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"

namespace nua::imagekit {

enum class FatKind { Fat12, Fat16, Fat32 };

// Boot sector fields, little-endian:
//   11 u16 bytesPerSector      13 u8 sectorsPerCluster   14 u16 reservedSectors   16 u8 numberOfFats
//   17 u16 rootEntryCount      19 u16 totalSectors16     22 u16 sectorsPerFat16   32 u32 totalSectors32
//   36 u32 sectorsPerFat32 (FAT32 only)                  44 u32 rootCluster (FAT32 only)
constexpr std::size_t kFatBootSectorSize = 512;
constexpr std::size_t kFatDirEntrySize = 32;

struct FatGeometry {
  FatKind kind = FatKind::Fat12;
  std::uint32_t bytesPerSector = 0;
  std::uint32_t sectorsPerCluster = 0;
  std::uint32_t reservedSectors = 0;
  std::uint32_t numberOfFats = 0;
  std::uint32_t rootEntryCount = 0;
  std::uint32_t totalSectors = 0;
  std::uint32_t sectorsPerFat = 0;
  std::uint32_t rootCluster = 0;  // FAT32 only
  std::uint32_t clusterCount = 0;  // data clusters, numbered 2 .. clusterCount + 1
  std::uint64_t fatByteOffset = 0;  // first table
  std::uint64_t rootDirByteOffset = 0;  // fixed root (FAT12/16); data area start on FAT32
  std::uint64_t rootDirBytes = 0;  // 0 on FAT32
  std::uint64_t dataByteOffset = 0;

  [[nodiscard]] std::uint32_t clusterBytes() const { return bytesPerSector * sectorsPerCluster; }
  [[nodiscard]] std::uint64_t clusterByteOffset(std::uint32_t cluster) const {
    return dataByteOffset + std::uint64_t{cluster - 2} * clusterBytes();
  }
  [[nodiscard]] bool validCluster(std::uint32_t cluster) const { return cluster >= 2 && cluster - 2 < clusterCount; }
};

// Reads the geometry from a volume's first sector. Gives nullopt and a reason for a sector that is too
// short or whose counts are zero or do not fit together.
[[nodiscard]] std::optional<FatGeometry> parseFatGeometry(ByteSpan volume, std::string& error);

[[nodiscard]] const char* fatKindName(FatKind kind);

// The table entry of `cluster` in table `tableIndex` (0 is the first), masked to the variant's width.
// Gives 0 for a cluster outside the table or a table outside the span.
[[nodiscard]] std::uint32_t fatEntry(ByteSpan volume, const FatGeometry& geometry, std::uint32_t cluster,
                                     std::uint32_t tableIndex = 0);

// Writes one table entry of one table; a cluster outside the table is ignored.
void setFatEntry(MutableByteSpan volume, const FatGeometry& geometry, std::uint32_t cluster, std::uint32_t value,
                 std::uint32_t tableIndex);

// The end-of-chain value of the variant (0xFFF, 0xFFFF or 0x0FFFFFFF).
[[nodiscard]] std::uint32_t fatEndOfChain(FatKind kind);

struct FatChain {
  std::vector<std::uint32_t> clusters;  // in chain order, starting at the first cluster
  bool complete = false;  // ended at an end-of-chain mark
  std::string stopReason;  // why it ended otherwise: free entry, bad link, loop
};

// Follows a cluster chain from `firstCluster` through the first table. Stops at an end mark, at a free or
// out-of-range link, at a cluster already visited ("loop at cluster N"), or after clusterCount steps.
[[nodiscard]] FatChain walkFatChain(ByteSpan volume, const FatGeometry& geometry, std::uint32_t firstCluster);

// The chain as runs of consecutive clusters: pairs of [startCluster, count].
[[nodiscard]] std::vector<std::pair<std::uint32_t, std::uint32_t>> clusterRuns(
    const std::vector<std::uint32_t>& clusters);

// Bytes of the given clusters in order, cut to `lengthBytes`; clusters past the span read as zeros.
[[nodiscard]] std::vector<std::byte> readClusters(ByteSpan volume, const FatGeometry& geometry,
                                                  const std::vector<std::uint32_t>& clusters,
                                                  std::uint64_t lengthBytes);

}  // namespace nua::imagekit
