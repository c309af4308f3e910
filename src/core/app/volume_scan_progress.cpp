#include "app/volume_scan_progress.h"

namespace nua {

void applyVolumeSearchProgress(const VolumeSearchProgress& update, VolumeScanScreen& screen) {
  if (update.validityAnimation) screen.validityBarAnimating = *update.validityAnimation == ProgressAnimation::kStart;
  screen.subTaskLabel = update.checking ? "Time Remaining (Sub Task):" : "";
  screen.subTaskTimeRemaining = update.checkTimeRemaining;
  if (update.foundRow) screen.volumeScanFoundArray.push_back(*update.foundRow);
  if (update.barMaximum) screen.barMaxValue = static_cast<std::int32_t>(*update.barMaximum);
  if (update.barValue) screen.barDoubleValue = static_cast<std::int32_t>(*update.barValue);
  if (update.timeRemaining) screen.timeRemaining = *update.timeRemaining;
}

}  // namespace nua
