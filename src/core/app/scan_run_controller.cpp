// What a running scan calls on the controller: progress on the main thread, the timer, alerts, and
// the way back after a refused scan. The scan runner ends scans and frees results.
#include "app/wizard_controller.h"
#include "base/text.h"
#include "media/dmedia.h"
#include "records/entry_arena.h"
#include "volume/volume.h"

namespace nua {

void WizardController::updateProgress(const Dict& update, bool waitUntilDone) {
  if (waitUntilDone) {
    mainThread_.postAndWait([this, &update] { updateProgressOnMain(update); });
  } else {
    mainThread_.post([this, copy = update] { updateProgressOnMain(copy); });
  }
}

void WizardController::updateProgressOnMain(const Dict& update) {
  applyProgressDictionary(update, mainScanStatus, progressScreen_);
  if (update.has("Tree Complete")) {
    progressScreen_.barAnimating = false;
    dirRootTemp = selectedVolume ? selectedVolume->dirRoot : nullptr;
    scanIsRunning = false;
    if (progressChanged) progressChanged();
    showTree();
    return;
  }
  if (progressChanged) progressChanged();
}

void WizardController::setUpTimer() {
  mainThread_.postAndWait([this] {
    timer_.start(std::chrono::milliseconds(1000), [this] { mainThread_.post([this] { myTimerFireMethod(); }); });
  });
}

void WizardController::invalidateTimer() {
  mainThread_.postAndWait([this] { timer_.stop(); });
}

void WizardController::myTimerFireMethod() {
  if (handOverVolumeScanUpdate()) return;
  const std::shared_ptr<Volume> volume = selectedVolume;
  if (!volume || !volume->timerFireMethodCanRun) return;
  // While the flag is set the dictionary is ours; clearing it hands it back to the scan.
  const Dict update = volume->dataUpdate;
  volume->timerFireMethodCanRun = false;
  updateProgressOnMain(update);
}

void WizardController::runAlertPanel(const Alert& alert) {
  mainThread_.postAndWait([this, &alert] { (void)ui_.runAlertPanel(alert); });
}

void WizardController::destroyVolumeAndBackToPartList() {
  mainThread_.post([this] { backToListWithoutTree(); });
}

}  // namespace nua
