// The progress screen of the lost-volume search ("PT scan prog") as a model the front ends draw: the
// main bar with its time, the validity bar of the check under way with its time, and the table of
// volumes found so far.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/dict.h"

namespace nua {

struct VolumeScanScreen {
  std::int32_t barMinValue = 0, barMaxValue = 0, barDoubleValue = 0;
  std::string timeRemaining;        // "TimeRemaining", the whole search
  std::string subTaskLabel;         // "Time Remaining (Sub Task):" while a check reports, else empty
  std::string subTaskTimeRemaining; // "Time Remaining For SubTask"
  bool validityBarAnimating = false;
  std::vector<Dict> volumeScanFoundArray;  // rows: "Found Column", "Validity Column"
};

// Applies one progress dictionary of the search, key by key. A "Volumes Found" value that is a row
// joins the table. "Scan Complete" is left to the controller.
void applyVolumeScanDictionary(const Dict& update, VolumeScanScreen& screen);

}  // namespace nua
