// The controller's side of the lost-volume search: its start from "PT list", its progress on
// "PT scan prog" (the sweep's position at each tick and the direct reports), and its end on
// "PT scan list".
#include <ctime>

#include "app/wizard_controller.h"
#include "media/media_reader.h"

namespace nua {

namespace {

std::string startTimeText(std::chrono::system_clock::time_point when) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
  std::tm local{};
  localtime_r(&seconds, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  return stamp;
}

}  // namespace

void WizardController::startVolumeScan() {
  // A fresh object: the search owns its fields until it reports "Scan Complete".
  auto drive = std::make_shared<MediaReader>();
  drive->initWithDictionary(selectedDriveRow.toDict(), MediaContext{&ui_, &deviceLists_});
  selectedDrive = drive;
  scanStartDate = std::chrono::system_clock::now();
  view_.setText(WizardField::kScanStartDate, startTimeText(scanStartDate));
  stopElapsedTimeThread = false;
  volumeScanScreen_ = VolumeScanScreen{};
  partitionScanListDictArray.clear();
  scanIsRunning = true;
  view_.showTab("PT scan prog");
  volumeScanScreen_.barMinValue = 0;
  if (volumeScanChanged) volumeScanChanged();
  launcher_.detachVolumeScan(drive);
}

void WizardController::report(const VolumeSearchProgress& progress) {
  mainThread_.postAndWait([this, &progress] { updateVolumeScanProgressOnMain(progress); });
}

void WizardController::offerSweepPosition(const VolumeSearchProgress& progress) {
  std::lock_guard lock(tickMutex_);
  sweepPosition_ = progress;
  sweepOfferPending_ = true;
}

void WizardController::updateVolumeScanProgressOnMain(const VolumeSearchProgress& update) {
  applyVolumeSearchProgress(update, volumeScanScreen_);
  if (volumeScanChanged) volumeScanChanged();
}

void WizardController::searchComplete(std::vector<PartitionRow> foundVolumes) {
  mainThread_.postAndWait([this, &foundVolumes] {
    scanIsRunning = false;
    if (volumeScanChanged) volumeScanChanged();
    showPTScanList(std::move(foundVolumes));
  });
}

bool WizardController::handOverVolumeScanUpdate() {
  std::optional<VolumeSearchProgress> position;
  {
    // Taking the position hands the slot back to the search.
    std::lock_guard lock(tickMutex_);
    position.swap(sweepPosition_);
    sweepOfferPending_ = false;
  }
  if (!position) return false;
  updateVolumeScanProgressOnMain(*position);
  return true;
}

void WizardController::completePTScanListEntries(std::vector<PartitionRow>& foundVolumes) const {
  for (PartitionRow& volume : foundVolumes) volume.takeDriveGeometry(selectedDriveRow);
}

}  // namespace nua
