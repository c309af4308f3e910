// The search for lost HFS+ volumes as a front end starts and shows it: one search over a whole disk
// or image outside the wizard, and the texts of the found-volume table and the lost-volume list.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/dict.h"
#include "lostvolume/lost_volume_rows.h"        // foundColumnText, validityColumnText, validityRatingImage...
#include "lostvolume/volume_search_progress.h"  // VolumeSearchProgress, VolumeSearchSink
#include "media/rows.h"

namespace nua {

class MediaReader;

// One search of a whole disk for HFS+ volumes whose partition map is gone (the command line's
// find-volumes; the wizard runs its own on the scan thread).
class LostVolumeSearch {
 public:
  // `disk` is a drive dictionary as discovery makes it ("Path", "Size", "Preferred Block Size"...).
  explicit LostVolumeSearch(const Dict& disk);
  ~LostVolumeSearch();
  LostVolumeSearch(const LostVolumeSearch&) = delete;
  LostVolumeSearch& operator=(const LostVolumeSearch&) = delete;

  // Set from any thread, a signal handler included, to end the search early; the finds so far stay.
  [[nodiscard]] std::atomic<bool>& stopFlag();
  // The sector size the disk is read with.
  [[nodiscard]] std::uint64_t sectorBytes() const;
  // Sweeps the disk, reporting every find to `progress`, and gives the volumes offered for a scan.
  // Unreadable stretches and damaged headers give fewer finds, never an error.
  [[nodiscard]] std::vector<PartitionRow> run(VolumeSearchSink& progress);

 private:
  std::unique_ptr<MediaReader> media_;
};

}  // namespace nua
