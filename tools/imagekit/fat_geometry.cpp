// Boot sector decoding and table access for the FAT builder.
#include "imagekit/fat_geometry.h"

#include <algorithm>
#include <unordered_set>

namespace nua::imagekit {

std::optional<FatGeometry> parseFatGeometry(ByteSpan volume, std::string& error) {
  if (volume.size() < kFatBootSectorSize) {
    error = "boot sector: volume of " + std::to_string(volume.size()) + " bytes is shorter than one sector";
    return std::nullopt;
  }
  FatGeometry g;
  g.bytesPerSector = le16(volume, 11);
  g.sectorsPerCluster = u8(volume, 13);
  g.reservedSectors = le16(volume, 14);
  g.numberOfFats = u8(volume, 16);
  g.rootEntryCount = le16(volume, 17);
  g.totalSectors = le16(volume, 19) != 0 ? le16(volume, 19) : le32(volume, 32);
  g.sectorsPerFat = le16(volume, 22) != 0 ? le16(volume, 22) : le32(volume, 36);
  if (g.bytesPerSector < 512 || g.bytesPerSector % 512 != 0 || g.sectorsPerCluster == 0 || g.numberOfFats == 0 ||
      g.sectorsPerFat == 0 || g.totalSectors == 0) {
    error = "boot sector: bytes per sector, sectors per cluster, table count, table size or total is zero or odd";
    return std::nullopt;
  }
  const std::uint64_t rootSectors = (std::uint64_t{g.rootEntryCount} * kFatDirEntrySize + g.bytesPerSector - 1) /
                                    g.bytesPerSector;
  const std::uint64_t dataSector =
      g.reservedSectors + std::uint64_t{g.numberOfFats} * g.sectorsPerFat + rootSectors;
  if (dataSector >= g.totalSectors) {
    error = "boot sector: data area at sector " + std::to_string(dataSector) + " is past the total sectors";
    return std::nullopt;
  }
  g.clusterCount = static_cast<std::uint32_t>((g.totalSectors - dataSector) / g.sectorsPerCluster);
  g.kind = g.clusterCount < 4085 ? FatKind::Fat12 : (g.clusterCount < 65525 ? FatKind::Fat16 : FatKind::Fat32);
  g.fatByteOffset = std::uint64_t{g.reservedSectors} * g.bytesPerSector;
  g.rootDirByteOffset = (g.reservedSectors + std::uint64_t{g.numberOfFats} * g.sectorsPerFat) * g.bytesPerSector;
  g.rootDirBytes = rootSectors * g.bytesPerSector;
  g.dataByteOffset = dataSector * g.bytesPerSector;
  if (g.kind == FatKind::Fat32) g.rootCluster = le32(volume, 44);
  return g;
}

const char* fatKindName(FatKind kind) {
  switch (kind) {
    case FatKind::Fat12: return "FAT12";
    case FatKind::Fat16: return "FAT16";
    case FatKind::Fat32: return "FAT32";
  }
  return "FAT";
}

std::uint32_t fatEndOfChain(FatKind kind) {
  switch (kind) {
    case FatKind::Fat12: return 0xFFF;
    case FatKind::Fat16: return 0xFFFF;
    case FatKind::Fat32: return 0x0FFFFFFF;
  }
  return 0;
}

namespace {

// Byte position of a cluster's entry inside table `tableIndex`, or nullopt when it does not fit.
std::optional<std::size_t> entryOffset(std::size_t volumeSize, const FatGeometry& g, std::uint32_t cluster,
                                       std::uint32_t tableIndex) {
  if (cluster > g.clusterCount + 1 || tableIndex >= g.numberOfFats) return std::nullopt;
  std::uint64_t inTable = 0;
  switch (g.kind) {
    case FatKind::Fat12: inTable = cluster + cluster / 2; break;
    case FatKind::Fat16: inTable = std::uint64_t{cluster} * 2; break;
    case FatKind::Fat32: inTable = std::uint64_t{cluster} * 4; break;
  }
  const std::uint64_t offset =
      g.fatByteOffset + std::uint64_t{tableIndex} * g.sectorsPerFat * g.bytesPerSector + inTable;
  const std::size_t width = g.kind == FatKind::Fat32 ? 4 : 2;
  if (offset > volumeSize || !fits(volumeSize, static_cast<std::size_t>(offset), width)) return std::nullopt;
  return static_cast<std::size_t>(offset);
}

}  // namespace

std::uint32_t fatEntry(ByteSpan volume, const FatGeometry& g, std::uint32_t cluster, std::uint32_t tableIndex) {
  const auto offset = entryOffset(volume.size(), g, cluster, tableIndex);
  if (!offset) return 0;
  switch (g.kind) {
    case FatKind::Fat12: {
      // Two entries share three bytes: an even cluster owns the low 12 bits, an odd one the high 12.
      const std::uint16_t pair = le16(volume, *offset);
      return cluster % 2 == 0 ? pair % 0x1000U : pair / 0x10U;
    }
    case FatKind::Fat16: return le16(volume, *offset);
    case FatKind::Fat32: return le32(volume, *offset) % 0x10000000U;
  }
  return 0;
}

void setFatEntry(MutableByteSpan volume, const FatGeometry& g, std::uint32_t cluster, std::uint32_t value,
                 std::uint32_t tableIndex) {
  const auto offset = entryOffset(volume.size(), g, cluster, tableIndex);
  if (!offset) return;
  switch (g.kind) {
    case FatKind::Fat12: {
      const std::uint16_t pair = le16(volume, *offset);
      const std::uint32_t twelve = value % 0x1000U;
      const std::uint32_t merged = cluster % 2 == 0 ? (pair - pair % 0x1000U) + twelve : pair % 0x10U + twelve * 0x10U;
      putLe16(volume, *offset, static_cast<std::uint16_t>(merged));
      break;
    }
    case FatKind::Fat16: putLe16(volume, *offset, static_cast<std::uint16_t>(value)); break;
    case FatKind::Fat32: {
      // The top four bits are reserved and kept as they are.
      const std::uint32_t reserved = le32(volume, *offset) - le32(volume, *offset) % 0x10000000U;
      putLe32(volume, *offset, reserved + value % 0x10000000U);
      break;
    }
  }
}

FatChain walkFatChain(ByteSpan volume, const FatGeometry& g, std::uint32_t firstCluster) {
  FatChain chain;
  if (!g.validCluster(firstCluster)) {
    chain.stopReason = "first cluster " + std::to_string(firstCluster) + " out of range";
    return chain;
  }
  const std::uint32_t endMark = fatEndOfChain(g.kind) - 7;  // the last eight values all end a chain
  std::unordered_set<std::uint32_t> seen;
  std::uint32_t cluster = firstCluster;
  for (std::uint32_t step = 0; step <= g.clusterCount; ++step) {
    if (!seen.insert(cluster).second) {
      chain.stopReason = "loop at cluster " + std::to_string(cluster);
      return chain;
    }
    chain.clusters.push_back(cluster);
    const std::uint32_t next = fatEntry(volume, g, cluster);
    if (next >= endMark) {
      chain.complete = true;
      return chain;
    }
    if (!g.validCluster(next)) {
      chain.stopReason = "cluster " + std::to_string(cluster) + " links to " + std::to_string(next);
      return chain;
    }
    cluster = next;
  }
  chain.stopReason = "chain longer than the volume";
  return chain;
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> clusterRuns(const std::vector<std::uint32_t>& clusters) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> runs;
  for (const std::uint32_t cluster : clusters) {
    if (!runs.empty() && runs.back().first + runs.back().second == cluster) {
      ++runs.back().second;
    } else {
      runs.emplace_back(cluster, 1);
    }
  }
  return runs;
}

std::vector<std::byte> readClusters(ByteSpan volume, const FatGeometry& g, const std::vector<std::uint32_t>& clusters,
                                    std::uint64_t lengthBytes) {
  std::vector<std::byte> bytes;
  const std::size_t clusterBytes = g.clusterBytes();
  for (const std::uint32_t cluster : clusters) {
    if (bytes.size() >= lengthBytes) break;
    const std::size_t start = bytes.size();
    bytes.resize(start + clusterBytes);
    const std::uint64_t offset = g.clusterByteOffset(cluster);
    if (g.validCluster(cluster) && offset <= volume.size() &&
        fits(volume.size(), static_cast<std::size_t>(offset), clusterBytes)) {
      std::copy_n(volume.begin() + static_cast<std::ptrdiff_t>(offset), clusterBytes,
                  bytes.begin() + static_cast<std::ptrdiff_t>(start));
    }
  }
  if (bytes.size() > lengthBytes) bytes.resize(static_cast<std::size_t>(lengthBytes));
  return bytes;
}

}  // namespace nua::imagekit
