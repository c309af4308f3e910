// The exFAT operations of a Volume: the boot region (the main one, or its backup when the main is
// damaged), the root's allocation bitmap, up-case table and volume label, and the file system
// recovery that walks every directory into the volume's tree.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "exfat/exfat_cluster_maps.h"
#include "ondisk/exfat_boot_sector.h"
#include "volume/progress_sink.h"
#include "volume/volume.h"

namespace nua {

class ExfatVolume {
 public:
  // `progress` hears of the walk and is asked when the volume can't be read.
  ExfatVolume(Volume& volume, ProgressSink& progress) : volume_(volume), progress_(progress) {}

  // The boot sector of the main boot region when it parses and its checksum holds, else that of the
  // backup region at sector 12; when neither checksum holds, the first of the two boot sectors that
  // parses. nullopt when none does; `reason` names what was wrong with each region.
  [[nodiscard]] std::optional<ExfatBootSector> readBootRegion(std::string& reason);

  // Boot region, geometry and the walk from the root into volume.dirRoot; non-zero when the root was
  // read whole. A volume without a usable boot region gets the "!Volume corrupted" alert and keeps
  // the root alone.
  std::uint8_t startExfatFileSystemRecovery();

  // What the last recovery found; for the tests and for the volume's notes.
  [[nodiscard]] bool usedBackupBootRegion() const { return usedBackup_; }
  [[nodiscard]] const std::u16string& volumeLabel() const { return volumeLabel_; }
  [[nodiscard]] bool foundAllocationBitmap() const { return foundBitmap_; }
  [[nodiscard]] std::optional<bool> upcaseTableChecksumMatches() const { return upcaseMatches_; }

 private:
  // The boot sector at `byteOffset`, with the region's checksum checked when `checksummed`.
  [[nodiscard]] Parsed<ExfatBootSector> regionAt(std::uint64_t byteOffset, bool checksummed);
  void readRootTables(const ExfatGeometry& geometry, std::uint32_t rootCluster, ExfatFatTable& fat,
                      std::uint32_t& bitmapCluster, std::uint64_t& bitmapBytes);

  Volume& volume_;
  ProgressSink& progress_;
  bool usedBackup_ = false;
  bool foundBitmap_ = false;
  std::u16string volumeLabel_;
  std::optional<bool> upcaseMatches_;
};

}  // namespace nua
