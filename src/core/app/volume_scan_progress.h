// The progress screen of the lost-volume search ("PT scan prog") as a model the front ends draw: the
// main bar with its time, the validity bar of the check under way with its time, and the table of
// volumes found so far; and the one place the search's typed progress becomes that screen.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/dict.h"
#include "lostvolume/volume_search_progress.h"
#include "media/rows.h"

namespace nua {

struct VolumeScanScreen {
  std::int32_t barMinValue = 0, barMaxValue = 0, barDoubleValue = 0;
  std::string timeRemaining;        // the whole search
  std::string subTaskLabel;         // "Time Remaining (Sub Task):" while a check reports, else empty
  std::string subTaskTimeRemaining; // the check's own time left
  bool validityBarAnimating = false;
  std::vector<Dict> volumeScanFoundArray;  // rows: "Found Column", "Validity Column"
};

// Applies one update of the search to its screen.
void applyVolumeSearchProgress(const VolumeSearchProgress& update, VolumeScanScreen& screen);

// What the search's runner needs of the screen besides the search's sink: the tick around the sweep,
// and the end of the search with the volumes it offers.
class VolumeSearchRunSink : public VolumeSearchSink {
 public:
  virtual void startTicks() = 0;
  // Stops the tick and drops an offered position not yet shown.
  virtual void stopTicks() = 0;
  // The search is over: its volume dictionaries, shown on "PT scan list". Waits until shown.
  virtual void searchComplete(std::vector<PartitionRow> foundVolumes) = 0;
};

}  // namespace nua
