#include "fat/fat_table.h"

#include <algorithm>
#include <unordered_set>

namespace nua {

std::optional<FatBits> fatBitsOf(const std::string& volumeContent) {
  if (volumeContent == "FAT12") return FatBits::kFat12;
  if (volumeContent == "FAT16") return FatBits::kFat16;
  if (volumeContent == "FAT32") return FatBits::kFat32;
  return std::nullopt;
}

FatTable::FatTable(Volume& volume, FatBits bits, std::uint32_t maxCluster)
    : volume_(volume), bits_(bits), maxCluster_(maxCluster) {
  const auto sectorBytes = static_cast<std::uint32_t>(std::max(volume_.u32BytesInSector, 1));
  windowSectors_ = std::max<std::uint32_t>(1, static_cast<std::uint32_t>(kWindowBytes) / sectorBytes);
  // One byte more than the window: a FAT12 entry may start in the window's last byte.
  window_.assign(static_cast<std::size_t>(windowSectors_) * sectorBytes + 1, std::byte{0});
}

bool FatTable::loadWindowFor(std::uint64_t byteOffset, std::size_t& position) {
  const auto sectorBytes = static_cast<std::uint64_t>(std::max(volume_.u32BytesInSector, 1));
  const std::uint64_t sector = byteOffset / sectorBytes;
  const std::uint64_t windowBytes = window_.size() - 1;
  if (windowSector_ && sector >= *windowSector_ && byteOffset + 2 <= *windowSector_ * sectorBytes + windowBytes) {
    position = static_cast<std::size_t>(byteOffset - *windowSector_ * sectorBytes);
    return true;
  }
  std::fill(window_.begin(), window_.end(), std::byte{0});  // a read past the source's end leaves zeros
  const std::uint64_t absolute = volume_.HPlusVolStart + volume_.fat.u16ReservedSectorCount + sector;
  windowSector_.reset();
  if (!volume_.readSector(absolute, static_cast<std::int32_t>(windowSectors_), window_)) return false;
  windowSector_ = sector;
  position = static_cast<std::size_t>(byteOffset - sector * sectorBytes);
  return true;
}

std::optional<std::uint32_t> FatTable::entryOf(std::uint32_t cluster) {
  std::size_t position = 0;
  switch (bits_) {
    case FatBits::kFat12: {
      if (!loadWindowFor(std::uint64_t{cluster} + cluster / 2, position)) return std::nullopt;
      const std::uint16_t pair = le16(window_, position);
      return (cluster % 2 != 0) ? std::uint32_t{pair} / 16U : std::uint32_t{pair} % 0x1000U;
    }
    case FatBits::kFat16:
      if (!loadWindowFor(std::uint64_t{cluster} * 2, position)) return std::nullopt;
      return le16(window_, position);
    case FatBits::kFat32:
      if (!loadWindowFor(std::uint64_t{cluster} * 4, position)) return std::nullopt;
      return le32(window_, position) % 0x10000000U;  // the top four bits are reserved
  }
  return std::nullopt;
}

ClusterChain FatTable::storeClusterDetailsOfFolder(std::uint32_t firstCluster) {
  ClusterChain chain;
  if (firstCluster == 0) {
    chain.end = ClusterChain::End::kFree;
    return chain;
  }
  const std::uint32_t endOfChain =
      bits_ == FatBits::kFat12 ? 0xFF8U : (bits_ == FatBits::kFat16 ? 0xFFF8U : 0x0FFFFFF8U);
  const auto cut = [&chain](ClusterChain::End end, const char* what, std::uint32_t cluster) {
    chain.end = end;
    chain.reason = std::string(what) + " at cluster " + std::to_string(cluster);
  };
  if (firstCluster < 2 || firstCluster > maxCluster_) {
    cut(ClusterChain::End::kBadValue, "first cluster outside the volume", firstCluster);
    return chain;
  }
  std::unordered_set<std::uint32_t> seen{firstCluster};
  std::uint32_t cluster = firstCluster;
  // A chain can't hold more clusters than the volume; `seen` catches the repeat long before.
  while (true) {
    if (volume_.stopTreeThread) {
      cut(ClusterChain::End::kStopped, "stopped", cluster);
      return chain;
    }
    const std::optional<std::uint32_t> next = entryOf(cluster);
    if (!next) {
      cut(ClusterChain::End::kReadFailed, "table read failed", cluster);
      return chain;
    }
    if (*next >= endOfChain) {
      chain.end = ClusterChain::End::kEndOfChain;
      return chain;
    }
    if (*next == 0) {
      chain.end = ClusterChain::End::kFree;
      return chain;
    }
    if (*next < 2 || *next > maxCluster_) {
      cut(ClusterChain::End::kBadValue, "link outside the volume", cluster);
      return chain;
    }
    if (!seen.insert(*next).second) {
      cut(ClusterChain::End::kLoop, "loop", *next);
      return chain;
    }
    chain.clusters.push_back(*next);
    cluster = *next;
  }
}

}  // namespace nua
