// The controller's side of a running scan: progress on the main thread, the timer, abort, the end of a
// scan with its note, and the freeing of a result.
#include "app/wizard_controller.h"
#include "base/text.h"
#include "media/dmedia.h"
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

void WizardController::backToListWithoutTree() {
  switch (isPTListOrPTScanListChosen) {
    case -1:
      view_.setText(WizardField::kDrivesListHeading, drivesListHeading());
      view_.showTab("Drives List");
      // Next follows the selection, and the selection is gone.
      drivesListSelection_ = -1;
      view_.deselect(WizardTable::kDrivesList);
      view_.setEnabled(WizardControl::kDrivesListNext, false);
      break;
    case 1:
      view_.setText(WizardField::kNumFoundVolumes, std::to_string(partitionScanListDictArray.size()));
      view_.showTab("PT scan list");
      break;
    default:
      scanForVolumesBox_ = false;
      view_.setChecked(WizardControl::kScanForVolumesBox, false);
      view_.showTab("PT list");
      break;
  }
  freeTree(false);
  autoStartAfterRawCrash = false;
}

void WizardController::scanThreadEnded(std::uint64_t scanNumber, bool volumeScan) {
  // The scan's own completion, if it sent one, was queued before this and is handled first; the end
  // of an older scan's thread must not end a newer scan.
  mainThread_.post([this, scanNumber, volumeScan] {
    if (scanNumber == launcher_.lastScanNumber() && scanIsRunning) endScanWithoutCompletion(volumeScan);
  });
}

void WizardController::endScanWithoutCompletion(bool volumeScan) {
  timer_.stop();
  if (volumeScan) {
    // No volumes came back: the partition list again, as it was.
    scanIsRunning = false;
    abortSheetVisible_ = false;
    stopElapsedTimeThread = true;
    if (progressChanged) progressChanged();
    scanForVolumesBox_ = false;
    view_.setChecked(WizardControl::kScanForVolumesBox, false);
    view_.showTab("PT list");
    return;
  }
  // What the thread left behind is no finished tree; it is dropped with the volume.
  if (selectedVolume) selectedVolume->dirRoot = nullptr;
  ScanProgress ended = ScanProgress::withStatus(progress_text::kScanStatus);
  ended.treeComplete = true;
  updateProgressOnMain(ended);
}

void WizardController::stopTreeThread() { abortSheetVisible_ = true; }

void WizardController::dontAbortTreeThread() { abortSheetVisible_ = false; }

void WizardController::abortTreeThread() {
  abortSheetVisible_ = false;
  if (selectedVolume) selectedVolume->setStopTreeThread(true);
  if (selectedDrive) selectedDrive->abortVolumeScan = true;
}

void WizardController::showTree() {
  fileTypesToggleTitle = "File Types View";
  showDeletedToggleTitle = "Show Deleted";
  abortSheetVisible_ = false;
  stopElapsedTimeThread = true;
  completionNote_.clear();
  Entry* root = selectedVolume ? selectedVolume->dirRoot : nullptr;
  if (root == nullptr) {
    if (progressChanged) progressChanged();  // closes the abort question if it is up
    // A refused scan has gone back already; any other scan without a tree must not leave the user on
    // "Progress", where nothing is left to wait for.
    if (view_.selectedTabIdentifier() == "Progress") backToListWithoutTree();
    return;
  }
  view_.showTab("Tree");
  progressScreen_.treeTotal = formatText("%@ in %@ Files", {sizeText(root->fileSize), std::to_string(root->fileCount)});
  if (progressChanged) progressChanged();
  if (!openedScanInfo) {
    Alert note;
    if ((isPTListOrPTScanListChosen == 0 || isPTListOrPTScanListChosen == 1) && treeScanMode == 0) {
      note = {"Standard scan completed",
              "Check for lost data in the recovered tree. If you are unable to find the desired data, click the back "
              "button and select advanced scan option.",
              {"OK"}};
    } else if (isPTListOrPTScanListChosen == -1 && rawSearchMode != 3 && scanMode != 5) {
      note = {"Deleted file scan completed",
              "Recovered data tree may contain regular files(which may show in the file manager) and the deleted files. Select "
              "\"Show deleted\" to view only deleted files, then select the files which you want to recover and click "
              "\"Save\"",
              {"OK"}};
    }
    if (!note.title.empty()) {
      completionNote_ = note.title + ": " + note.text;
      (void)ui_.runAlertPanel(note);
    }
  }
}

void WizardController::releaseSelectedVolume() { selectedVolume.reset(); }

void WizardController::joinFreeTree() {
  if (!freeTreeThread_.joinable()) return;
  // The freeing thread hands work to the main thread, so the main thread keeps serving while it waits.
  if (mainThread_.onMainThread())
    while (!freeTreeDone_) mainThread_.runFor(std::chrono::milliseconds(10));
  freeTreeThread_.join();
}

void WizardController::freeTree(bool rebuildDriveList) {
  dirRootTemp = nullptr;
  joinFreeTree();
  std::shared_ptr<Volume> volume = selectedVolume;
  freeTreeDone_ = false;
  freeTreeThread_ = std::thread([this, volume, rebuildDriveList] {
    if (volume && volume->dirRoot != nullptr && volume->arena) {
      if (!volume->dirRoot->childList.empty()) volume->arena->freeNDir(volume->dirRoot);
      volume->dirRoot = nullptr;
    }
    mainThread_.postAndWait([this] {
      dirRootTemp = nullptr;
      releaseSelectedVolume();
    });
    if (rebuildDriveList) mainThread_.postAndWait([this] { runSheetForDrivesLoading(); });
    freeTreeDone_ = true;
  });
}

}  // namespace nua
