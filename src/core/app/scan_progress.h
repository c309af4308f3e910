// The progress screen of a scan as a model the front ends draw: what updateProgress makes of each
// progress dictionary, key by key.
#pragma once

#include <cstdint>
#include <string>

#include "base/dict.h"
#include "volume/volume.h"

namespace nua {

struct ProgressScreen {
  std::string timeRemaining;  // "TimeRemaining"
  std::string percentDone;    // "Overall Progress: %@%@"
  std::string completed;      // "Completed: %@ / %@", else " "
  std::string status;         // mainScanStatus, or "%@ - %@" with the scan's own status
  std::string entriesFound, folders, files;
  std::string data;           // size text
  bool barIndeterminate = false;
  bool barAnimating = false;
  double barMinValue = 0.0, barMaxValue = 0.0, barDoubleValue = 0.0;
  std::string treeTotal;      // "%@ in %@ Files" once the tree is shown
};

// Applies every key of a scan's progress dictionary except "Tree Complete", which the controller
// handles last. Blanking keys empty their field when absent.
void applyProgressDictionary(const Dict& update, const std::string& mainScanStatus, ProgressScreen& screen);

}  // namespace nua
