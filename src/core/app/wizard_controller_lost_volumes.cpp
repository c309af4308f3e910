// The controller's side of the lost-volume search: its start from "PT list", its progress on
// "PT scan prog" (the timed main bar and the direct sends), and its end on "PT scan list".
#include <ctime>

#include "app/wizard_controller.h"
#include "media/dmedia.h"

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
  auto drive = std::make_shared<DMedia>();
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

void WizardController::updateVolumeScanProgress(const Dict& update, bool waitUntilDone) {
  if (waitUntilDone) {
    mainThread_.postAndWait([this, &update] { updateVolumeScanProgressOnMain(update); });
  } else {
    mainThread_.post([this, copy = update] { updateVolumeScanProgressOnMain(copy); });
  }
}

void WizardController::updateVolumeScanProgressOnMain(const Dict& update) {
  applyVolumeScanDictionary(update, volumeScanScreen_);
  if (const DictValue* complete = update.find("Scan Complete")) {
    scanIsRunning = false;
    std::vector<PartitionRow> found;
    if (const DictArray* list = complete->array())
      for (const DictValue& v : *list)
        if (const Dict* d = v.dict()) found.push_back(PartitionRow::fromDict(*d));
    if (volumeScanChanged) volumeScanChanged();
    showPTScanList(std::move(found));
    return;
  }
  if (volumeScanChanged) volumeScanChanged();
}

void WizardController::setUpTimerForDMedia() {
  mainThread_.post([this] {
    timer_.start(std::chrono::milliseconds(1000), [this] { mainThread_.post([this] { myTimerFireMethod(); }); });
  });
}

bool WizardController::handOverVolumeScanUpdate() {
  const std::shared_ptr<DMedia> drive = selectedDrive;
  if (!drive || !drive->timerFireMethodCanRun) return false;
  // While the flag is set the dictionary is ours; clearing it hands it back to the search.
  const Dict update = drive->dataUpdate;
  drive->timerFireMethodCanRun = false;
  updateVolumeScanProgressOnMain(update);
  return true;
}

void WizardController::completePTScanListEntries(std::vector<PartitionRow>& foundVolumes) const {
  for (PartitionRow& volume : foundVolumes) volume.takeDriveGeometry(selectedDriveRow);
}

}  // namespace nua
