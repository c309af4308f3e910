// What a running scan calls on the controller: progress on the main thread, the timer, alerts, and
// the way back after a refused scan. The scan runner ends scans and frees results.
#include "app/wizard_controller.h"
#include "base/text.h"
#include "media/media_reader.h"
#include "records/entry_arena.h"
#include "volume/volume.h"

namespace nua {

void WizardController::report(const ScanProgress& progress) {
  {
    // What this update shows is newer than an offer still waiting for the tick.
    std::lock_guard lock(tickMutex_);
    tickUpdate_.reset();
    tickPending_ = false;
  }
  mainThread_.postAndWait([this, &progress] { updateProgressOnMain(progress); });
}

void WizardController::offerForTick(const ScanProgress& progress) {
  std::lock_guard lock(tickMutex_);
  tickUpdate_ = progress;
  tickPending_ = true;
}

void WizardController::complete(const ScanProgress& last) {
  mainThread_.post([this, last] { updateProgressOnMain(last); });
}

void WizardController::updateProgressOnMain(const ScanProgress& update) {
  applyScanProgress(update, mainScanStatus, progressScreen_);
  if (update.treeComplete) {
    progressScreen_.barAnimating = false;
    dirRootTemp = selectedVolume ? selectedVolume->dirRoot : nullptr;
    scanIsRunning = false;
    if (progressChanged) progressChanged();
    showTree();
    return;
  }
  if (progressChanged) progressChanged();
}

void WizardController::startTicks() {
  {
    std::lock_guard lock(tickMutex_);
    tickUpdate_.reset();
    tickPending_ = false;
    sweepPosition_.reset();
    sweepOfferPending_ = false;
  }
  mainThread_.postAndWait([this] {
    timer_.start(std::chrono::milliseconds(1000), [this] { mainThread_.post([this] { myTimerFireMethod(); }); });
  });
}

void WizardController::stopTicks() {
  mainThread_.postAndWait([this] { timer_.stop(); });
  std::lock_guard lock(tickMutex_);
  tickUpdate_.reset();
  tickPending_ = false;
  sweepPosition_.reset();
  sweepOfferPending_ = false;
}

void WizardController::myTimerFireMethod() {
  if (handOverVolumeScanUpdate()) return;
  std::optional<ScanProgress> update;
  {
    // Taking the update hands the slot back to the scan.
    std::lock_guard lock(tickMutex_);
    update.swap(tickUpdate_);
    tickPending_ = false;
  }
  if (update) updateProgressOnMain(*update);
}

void WizardController::runAlertPanel(const Alert& alert) {
  mainThread_.postAndWait([this, &alert] { (void)ui_.runAlertPanel(alert); });
}

void WizardController::abandonScan() {
  mainThread_.post([this] { backToListWithoutTree(); });
}

}  // namespace nua
