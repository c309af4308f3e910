// The File Allocation Table as the walk reads it: the first table only, 8192 bytes at a time, and the
// one bounded iterator over a cluster chain.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "volume/volume.h"

namespace nua {

enum class FatBits { kFat12, kFat16, kFat32 };

// "FAT12", "FAT16" or "FAT32" by the volume's content; anything else is nullopt.
[[nodiscard]] std::optional<FatBits> fatBitsOf(const std::string& volumeContent);

// The clusters that follow a first cluster, in order (the first is not in the list), and why the
// chain ended. Only kEndOfChain and kFree are a chain's own end; the rest mean it was cut.
struct ClusterChain {
  enum class End { kEndOfChain, kFree, kBadValue, kLoop, kReadFailed, kStopped };
  std::vector<std::uint32_t> clusters;
  End end = End::kEndOfChain;
  std::string reason;  // "loop at cluster N" and the like; empty for a chain's own end
  [[nodiscard]] bool endedNormally() const { return end == End::kEndOfChain || end == End::kFree; }
};

class FatTable {
 public:
  static constexpr std::size_t kWindowBytes = 8192;

  // `maxCluster` is the highest cluster number the volume holds; links past it are bad values.
  FatTable(Volume& volume, FatBits bits, std::uint32_t maxCluster);

  // The table's value for the cluster, or nullopt when its sector can't be read.
  [[nodiscard]] std::optional<std::uint32_t> entryOf(std::uint32_t cluster);

  // Follows the chain from `firstCluster`. Each cluster decodes with its own parity on FAT12; the
  // end-of-chain value ends it and is never taken as a cluster. A cluster met twice, a link outside
  // the volume, a failed read or stopTreeThread cut it where it stands. First cluster 0 gives an
  // empty chain.
  [[nodiscard]] ClusterChain storeClusterDetailsOfFolder(std::uint32_t firstCluster);

  [[nodiscard]] std::uint32_t maxCluster() const { return maxCluster_; }

 private:
  [[nodiscard]] bool loadWindowFor(std::uint64_t byteOffset, std::size_t& position);

  Volume& volume_;
  FatBits bits_;
  std::uint32_t maxCluster_;
  std::vector<std::byte> window_;
  std::optional<std::uint64_t> windowSector_;
  std::uint32_t windowSectors_ = 1;
};

}  // namespace nua
