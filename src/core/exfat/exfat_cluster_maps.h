// How the exFAT engine reaches its bytes: the volume's geometry, byte reads through the volume's
// sectors, and the two maps of the cluster heap (the FAT's chains and the allocation bitmap), each
// read through a small window so a large volume never needs them whole in memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "ondisk/exfat_boot_sector.h"
#include "volume/volume.h"

namespace nua {

// Offsets in bytes from the volume's start.
struct ExfatGeometry {
  std::uint64_t fatByteOffset = 0;
  std::uint64_t heapByteOffset = 0;
  std::uint64_t clusterBytes = 0;
  std::uint32_t clusterCount = 0;

  [[nodiscard]] static ExfatGeometry of(const ExfatBootSector& boot);
  [[nodiscard]] bool isCluster(std::uint64_t cluster) const {
    return cluster >= kExfatFirstCluster && cluster <= std::uint64_t{clusterCount} + 1U;
  }
  [[nodiscard]] std::uint64_t clusterByteOffset(std::uint32_t cluster) const {
    return heapByteOffset + std::uint64_t{cluster - kExfatFirstCluster} * clusterBytes;
  }
};

// Reads bytes at a volume-relative byte offset through the volume's sectors, the buffer zeroed first
// so a read past the source's end leaves zeros. False when a sector can't be read.
[[nodiscard]] bool readVolumeBytes(Volume& volume, std::uint64_t byteOffset, std::span<std::byte> out);

// The clusters of a chain in order, the first included, and why it ended. Only kEndOfChain is a
// chain's own end; the rest mean it was cut.
struct ExfatClusterChain {
  enum class End { kEndOfChain, kFree, kBadValue, kLoop, kReadFailed, kStopped, kLimit };
  std::vector<std::uint32_t> clusters;
  End end = End::kEndOfChain;
  std::string reason;
};

class ExfatFatTable {
 public:
  static constexpr std::size_t kWindowBytes = 8192;
  ExfatFatTable(Volume& volume, const ExfatGeometry& geometry) : volume_(volume), geometry_(geometry) {}

  // The FAT's value for the cluster, or nullopt when its sector can't be read.
  [[nodiscard]] std::optional<std::uint32_t> entryOf(std::uint32_t cluster);

  // Follows the chain from `firstCluster` for at most `maxClusters` clusters. A cluster met twice, a
  // link outside the heap, a free or bad-cluster mark, a failed read or stopTreeThread cut it.
  [[nodiscard]] ExfatClusterChain chainFrom(std::uint32_t firstCluster, std::uint64_t maxClusters);

 private:
  Volume& volume_;
  ExfatGeometry geometry_;
  std::vector<std::byte> window_;
  std::optional<std::uint64_t> windowStart_;
};

class ExfatAllocationBitmap {
 public:
  static constexpr std::size_t kWindowBytes = 8192;
  // `firstCluster` and `lengthBytes` from the root's allocation bitmap entry; a bitmap the walk could
  // not find leaves every cluster unknown.
  ExfatAllocationBitmap(Volume& volume, const ExfatGeometry& geometry, std::uint32_t firstCluster,
                        std::uint64_t lengthBytes);

  // True when the bitmap marks the cluster in use; nullopt when unknown (no bitmap, read failed).
  [[nodiscard]] std::optional<bool> isAllocated(std::uint32_t cluster);
  // True when any of `count` clusters from `first` is in use or unknown.
  [[nodiscard]] bool anyAllocated(std::uint32_t first, std::uint64_t count);

 private:
  Volume& volume_;
  ExfatGeometry geometry_;
  bool present_ = false;
  std::uint64_t byteOffset_ = 0;
  std::uint64_t lengthBytes_ = 0;
  std::vector<std::byte> window_;
  std::optional<std::uint64_t> windowStart_;
};

}  // namespace nua
