// The FAT operations of a Volume before any directory is walked: the type decision, the health check
// of boot sector and tables, the geometry, and the file system recovery that starts the walk.
#pragma once

#include <cstdint>
#include <string>

#include "base/dict.h"
#include "media/fat_boot_peek.h"
#include "volume/progress_sink.h"
#include "volume/volume.h"

namespace nua {

class FatVolume {
 public:
  // `progress` hears of the walk and is asked when the volume can't be read.
  FatVolume(Volume& volume, ProgressSink& progress) : volume_(volume), progress_(progress) {}

  // "FAT12", "FAT16" or "FAT32" for the volume at the dictionary's "Volume Start", by its data
  // cluster count; "-" when the boot sector gives 0 bytes per sector or sectors per cluster. A total
  // that is 0 or past the source is replaced by "Volume Size In Sectors" (or "Size").
  [[nodiscard]] static std::string fatFileSystemDetermination(MediaReader& media, const Dict& volumeDict);

  // 1 when the boot sector and the first (or else second) table look like FAT: jump, signature,
  // bytes per sector a multiple of 512, sectors per cluster 1 or even, two tables, media byte. Fills
  // the geometry fields as it goes; they stay set when a later test fails.
  [[nodiscard]] std::uint8_t checkFATFileSystemHealthy();

  // Check, geometry and the walk from the root into volume.dirRoot; non-zero when the root walk
  // succeeded. A volume that fails the check gets the "!Volume corrupted" alert and keeps the root alone.
  std::uint8_t startFATFileSystemRecovery();

  // Highest cluster number inside both the volume and the first table; 0 until the check has run.
  // The volume's length is the boot sector's, or the source's when that total is 0 or too large.
  [[nodiscard]] std::uint32_t maxCluster() const;

 private:
  Volume& volume_;
  ProgressSink& progress_;
  FatBootSector boot_;
};

}  // namespace nua
