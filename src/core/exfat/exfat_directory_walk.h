// The walk of an exFAT volume's directories from the root down: every file entry set, live or
// deleted, becomes a record under its folder, with extents from its clusters.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "exfat/exfat_cluster_maps.h"
#include "ondisk/exfat_directory_entry.h"
#include "volume/volume.h"

namespace nua {

// How clusters become the blocks of a record's extents: a record's block is at most 128 sectors,
// since its sectors-per-block count is one byte and clusters of 128 KiB and more are common on cards.
struct ExfatBlockUnits {
  std::uint32_t blockBaseSector = 0;  // the cluster heap's first sector, relative to the volume
  std::uint8_t sectorsPerBlock = 0;
  std::uint32_t blocksPerCluster = 0;

  // Units for the geometry in sectors of `sectorBytes`; nullopt when the heap or its clusters don't
  // start on a sector of the source, or the heap's blocks can't be numbered in 32 bits.
  [[nodiscard]] static std::optional<ExfatBlockUnits> of(const ExfatGeometry& geometry, std::uint32_t sectorBytes);
};

class ExfatDirectoryWalk {
 public:
  // Folders nested deeper than this are not entered: a real path can't reach it, damaged links can.
  static constexpr std::size_t kMaxDepth = 512;
  // A folder's first cluster is entered at most this often in one walk.
  static constexpr std::uint8_t kMaxEntersPerCluster = 4;
  // No directory may be larger than this; a bigger length or chain is damage.
  static constexpr std::uint64_t kMaxDirectoryBytes = 256ULL * 1024 * 1024;
  // The directories on the path being walked are held in memory together; damaged folders nested
  // deep could otherwise each claim the largest size.
  static constexpr std::uint64_t kMaxHeldDirectoryBytes = 512ULL * 1024 * 1024;

  ExfatDirectoryWalk(Volume& volume, const ExfatGeometry& geometry, const ExfatBlockUnits& units, ExfatFatTable& fat,
                     ExfatAllocationBitmap& bitmap, ProgressSink& progress)
      : volume_(volume), geometry_(geometry), units_(units), fat_(fat), bitmap_(bitmap), progress_(progress) {}

  // Walks the root directory (a FAT chain from `rootCluster`) into `root`. 1 when the root was read
  // whole, 0 when its chain was cut or unreadable; records made stay either way. The final counts go
  // to the progress screen when the walk ends.
  std::uint8_t enumerateRoot(Entry* root, std::uint32_t rootCluster);

  // The bytes of a directory: its FAT chain when `contiguous` is false, otherwise `dataLength` bytes
  // of consecutive clusters, both within kMaxDirectoryBytes, what kMaxHeldDirectoryBytes leaves and
  // the heap. `whole` is false when the
  // chain was cut or a read failed; the bytes read so far are returned.
  [[nodiscard]] std::vector<std::byte> readDirectory(std::uint32_t firstCluster, std::uint64_t dataLength,
                                                     bool contiguous, bool& whole);

 private:
  void enumerateEntries(ByteSpan directory, Entry* parent, bool insideDeleted);
  Entry* makeRecord(const ExfatEntrySet& set, bool deleted, Entry* parent);
  void addFileExtents(const ExfatEntrySet& set, bool deleted, Entry* file);
  void walkFolder(const ExfatEntrySet& set, bool deleted, Entry* folder);
  void addClusterRun(std::uint32_t firstCluster, std::uint64_t clusters, Entry* file);
  void reportProgress();
  [[nodiscard]] ScanProgress counts() const { return ScanProgress::withCounts(volume_.counts()); }

  Volume& volume_;
  ExfatGeometry geometry_;
  ExfatBlockUnits units_;
  ExfatFatTable& fat_;
  ExfatAllocationBitmap& bitmap_;
  ProgressSink& progress_;
  std::vector<std::uint32_t> ancestors_;  // first clusters of the folders being walked, root first
  std::unordered_map<std::uint32_t, std::uint8_t> enters_;
  std::uint64_t heldBytes_ = 0;  // bytes of the directories on the current path
};

}  // namespace nua
