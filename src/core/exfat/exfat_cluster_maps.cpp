#include "exfat/exfat_cluster_maps.h"

#include <algorithm>
#include <unordered_set>

namespace nua {
namespace {

constexpr std::uint32_t kBadClusterMark = 0xFFFFFFF7U;
constexpr std::uint32_t kEndOfChainMark = 0xFFFFFFFFU;

// Loads the window of `windowBytes` that holds `byteOffset` (relative to `regionStart`) unless it is
// already there; the window is aligned, so a four-byte FAT entry never straddles two.
bool loadWindow(Volume& volume, std::uint64_t regionStart, std::uint64_t byteOffset, std::size_t windowBytes,
                std::vector<std::byte>& window, std::optional<std::uint64_t>& windowStart, std::size_t& position) {
  const std::uint64_t start = byteOffset - byteOffset % windowBytes;
  if (!windowStart || *windowStart != start) {
    window.assign(windowBytes, std::byte{0});
    windowStart.reset();
    if (!readVolumeBytes(volume, regionStart + start, window)) return false;
    windowStart = start;
  }
  position = static_cast<std::size_t>(byteOffset - start);
  return true;
}

}  // namespace

ExfatGeometry ExfatGeometry::of(const ExfatBootSector& boot) {
  ExfatGeometry g;
  g.fatByteOffset = std::uint64_t{boot.fatOffset} * boot.bytesPerSector();
  g.heapByteOffset = std::uint64_t{boot.clusterHeapOffset} * boot.bytesPerSector();
  g.clusterBytes = boot.bytesPerCluster();
  g.clusterCount = boot.clusterCount;
  return g;
}

bool readVolumeBytes(Volume& volume, std::uint64_t byteOffset, std::span<std::byte> out) {
  std::fill(out.begin(), out.end(), std::byte{0});
  if (out.empty()) return true;
  const auto sectorBytes = static_cast<std::uint64_t>(std::max(volume.u32BytesInSector, 1));
  const std::uint64_t firstSector = byteOffset / sectorBytes;
  const std::uint64_t skip = byteOffset % sectorBytes;
  const std::uint64_t sectors = (skip + out.size() + sectorBytes - 1) / sectorBytes;
  if (sectors > INT32_MAX) return false;
  if (skip == 0 && out.size() % sectorBytes == 0)
    return volume.readSector(volume.HPlusVolStart + firstSector, static_cast<std::int32_t>(sectors), out);
  std::vector<std::byte> buffer(static_cast<std::size_t>(sectors * sectorBytes), std::byte{0});
  if (!volume.readSector(volume.HPlusVolStart + firstSector, static_cast<std::int32_t>(sectors), buffer)) return false;
  std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(skip), out.size(), out.begin());
  return true;
}

std::optional<std::uint32_t> ExfatFatTable::entryOf(std::uint32_t cluster) {
  std::size_t position = 0;
  if (!loadWindow(volume_, geometry_.fatByteOffset, std::uint64_t{cluster} * 4U, kWindowBytes, window_, windowStart_,
                  position))
    return std::nullopt;
  return le32(window_, position);
}

ExfatClusterChain ExfatFatTable::chainFrom(std::uint32_t firstCluster, std::uint64_t maxClusters) {
  ExfatClusterChain chain;
  const auto cut = [&chain](ExfatClusterChain::End end, const char* what, std::uint32_t cluster) {
    chain.end = end;
    chain.reason = std::string(what) + " at cluster " + std::to_string(cluster);
  };
  if (!geometry_.isCluster(firstCluster)) {
    cut(ExfatClusterChain::End::kBadValue, "first cluster outside the heap", firstCluster);
    return chain;
  }
  std::unordered_set<std::uint32_t> seen{firstCluster};
  std::uint32_t cluster = firstCluster;
  chain.clusters.push_back(cluster);
  // Bounded by `maxClusters` and by the heap's cluster count through `seen`.
  while (chain.clusters.size() < maxClusters) {
    if (volume_.stopTreeThread) {
      cut(ExfatClusterChain::End::kStopped, "stopped", cluster);
      return chain;
    }
    const std::optional<std::uint32_t> next = entryOf(cluster);
    if (!next) {
      cut(ExfatClusterChain::End::kReadFailed, "FAT read failed", cluster);
      return chain;
    }
    if (*next == kEndOfChainMark) return chain;
    if (*next == 0) {
      cut(ExfatClusterChain::End::kFree, "free link", cluster);
      return chain;
    }
    if (*next == kBadClusterMark || !geometry_.isCluster(*next)) {
      cut(ExfatClusterChain::End::kBadValue, "link outside the heap", cluster);
      return chain;
    }
    if (!seen.insert(*next).second) {
      cut(ExfatClusterChain::End::kLoop, "loop", *next);
      return chain;
    }
    chain.clusters.push_back(*next);
    cluster = *next;
  }
  chain.end = ExfatClusterChain::End::kLimit;
  return chain;
}

ExfatAllocationBitmap::ExfatAllocationBitmap(Volume& volume, const ExfatGeometry& geometry,
                                             std::uint32_t firstCluster, std::uint64_t lengthBytes)
    : volume_(volume), geometry_(geometry) {
  present_ = geometry.isCluster(firstCluster) && lengthBytes != 0;
  if (present_) {
    byteOffset_ = geometry.clusterByteOffset(firstCluster);
    lengthBytes_ = lengthBytes;
  }
}

std::optional<bool> ExfatAllocationBitmap::isAllocated(std::uint32_t cluster) {
  if (!present_ || !geometry_.isCluster(cluster)) return std::nullopt;
  const std::uint64_t index = cluster - kExfatFirstCluster;
  if (index / 8U >= lengthBytes_) return std::nullopt;
  std::size_t position = 0;
  if (!loadWindow(volume_, byteOffset_, index / 8U, kWindowBytes, window_, windowStart_, position)) return std::nullopt;
  std::uint8_t bits = u8(window_, position);
  for (std::uint64_t i = 0; i < index % 8U; ++i) bits = static_cast<std::uint8_t>(bits / 2U);
  return bits % 2U != 0;
}

bool ExfatAllocationBitmap::anyAllocated(std::uint32_t first, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) {
    if (volume_.stopTreeThread) return true;
    const std::uint64_t cluster = std::uint64_t{first} + i;
    if (cluster > UINT32_MAX) return true;
    if (isAllocated(static_cast<std::uint32_t>(cluster)).value_or(true)) return true;
  }
  return false;
}

}  // namespace nua
