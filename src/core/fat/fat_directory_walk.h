// The walk of a FAT volume's directories from the root down: every short entry, live or deleted,
// becomes a record under its folder, with extents from its cluster chain.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "fat/fat_table.h"
#include "ondisk/fat_directory_entry.h"
#include "volume/volume.h"

namespace nua {

class FatDirectoryWalk {
 public:
  // Folders nested deeper than this are not entered: a real path can't reach it, damaged links can.
  static constexpr std::size_t kMaxDepth = 512;
  // A folder's first cluster is entered at most this often in one walk, so entries of damaged
  // folders that point at each other can't multiply the work.
  static constexpr std::uint8_t kMaxEntersPerCluster = 4;

  FatDirectoryWalk(Volume& volume, FatTable& table, ProgressSink& progress)
      : volume_(volume), table_(table), progress_(progress) {}

  // Walks the root into `root`: the fixed root area on FAT12/16, the chain of cluster 2 on FAT32.
  // The final counts go to the progress screen when the walk ends.
  std::uint8_t enumerateRoot(Entry* root);

  // One directory at `startSector` (relative to the volume) whose further clusters are `fatDetails`;
  // its entries become children of `parent`, and its folders are walked in turn. 1 when the directory
  // ended (first name byte 0x00, its chain's end) or the walk was stopped; 0 when a read failed, the
  // chain was cut, or a subdirectory lacks its "." and ".." entries. Records made stay either way.
  std::uint8_t enumerateDirectoryEntry(std::uint64_t startSector, bool rootDirectory, const ClusterChain& fatDetails,
                                       Entry* parent);

 private:
  // Reads `sectors` sectors at the volume-relative sector into the front of buffer, the rest zeroed:
  // a read past the source's end must not leave the previous piece there to be read again.
  [[nodiscard]] bool readPiece(std::uint64_t sector, std::uint32_t sectors, std::vector<std::byte>& buffer);
  [[nodiscard]] std::uint64_t clusterSector(std::uint32_t cluster) const;
  Entry* makeRecord(const FatDirectoryEntry& entry, bool folder, const std::optional<std::u16string>& longName,
                     Entry* parent);
  void addFileExtents(const FatDirectoryEntry& entry, Entry* file);
  void walkFolder(std::uint32_t firstCluster, Entry* folder);
  void reportProgress();
  // The counts as the walk stands, beside the scan's own status.
  [[nodiscard]] ScanProgress counts() const { return ScanProgress::withCounts(volume_.counts()); }

  Volume& volume_;
  FatTable& table_;
  ProgressSink& progress_;
  std::vector<std::uint32_t> ancestors_;  // first clusters of the folders being walked, root first
  std::unordered_map<std::uint32_t, std::uint8_t> enters_;
};

}  // namespace nua
