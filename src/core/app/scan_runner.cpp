#include "app/scan_runner.h"

#include <ctime>

#include "app/scan_decision.h"
#include "app/wizard_controller.h"
#include "base/text.h"
#include "media/media_reader.h"
#include "records/entry_arena.h"
#include "volume/progress_texts.h"
#include "volume/volume.h"

namespace nua {

void ScanRunner::rawSliderNextClicked(bool resume) {
  controller_.scanIsRunning = true;
  if (resume) {
    controller_.view_.setText(WizardField::kMainScanStatus, controller_.mainScanStatus);
  } else {
    controller_.mainScanStatus = formatText(statusFormatForScanMode(controller_.scanMode), {controller_.displayName()});
    controller_.view_.setText(WizardField::kMainScanStatus, controller_.mainScanStatus);
  }
  controller_.view_.setText(WizardField::kSelectedIndex, " ");
  controller_.scanStartDate = std::chrono::system_clock::now();
  const std::time_t now = std::chrono::system_clock::to_time_t(controller_.scanStartDate);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  controller_.view_.setText(WizardField::kScanStartDate, stamp);

  if (!resume) {
    if (!(controller_.startSlider_ < controller_.endSlider_)) {
      controller_.ui_.runAlertPanel(
          {"! Can not continue",
           "The start position should be less than end position. Please set them accordingly.",
           {"OK"}});
      controller_.scanIsRunning = false;
      return;
    }
    if (controller_.selectedVolume)
      controller_.selectedVolume->setRawSearchStart(controller_.startSlider_, controller_.endSlider_);
  }
  startScan(resume);
}

void ScanRunner::startScan(bool resume) {
  if (!controller_.selectedVolume) return;
  std::optional<ScanLaunch> launch =
      scanLaunchFor(controller_.rawSearchMode, controller_.scanMode, controller_.treeScanMode, controller_.sigSelArray,
                    resume ? std::optional(controller_.autoRecBeginSize) : std::nullopt);
  if (!launch) return;
  RecoveryPairState state;
  state.mainScanStatus = controller_.mainScanStatus;
  state.treeScanMode = controller_.treeScanMode;
  state.scanMode = controller_.scanMode;
  state.rawSearchMode = controller_.rawSearchMode;
  state.isPTListOrPTScanListChosen = controller_.isPTListOrPTScanListChosen;
  state.partitionListDictArray = controller_.partitionListDictArray;
  state.partitionScanListDictArray = controller_.partitionScanListDictArray;
  for (const auto& node : controller_.sigSelArray)
    if (node && node->sig) state.signatureExtensions.push_back(node->sig->extension);
  // Only a resumed search starts with streams already walked.
  controller_.recoveryPair_.scanStarting(std::move(state), resume ? controller_.autoRecMp3DoneArray : std::vector<std::uint64_t>{},
                                         resume ? controller_.autoRecMpgDoneArray : std::vector<std::uint64_t>{});
  controller_.view_.showTab("Progress");
  controller_.launcher_.detach(launch->entry, controller_.selectedVolume, std::move(launch->arguments));
}

void ScanRunner::stopTreeThread() { controller_.abortSheetVisible_ = true; }

void ScanRunner::dontAbortTreeThread() { controller_.abortSheetVisible_ = false; }

void ScanRunner::abortTreeThread() {
  controller_.abortSheetVisible_ = false;
  if (controller_.selectedVolume) controller_.selectedVolume->setStopTreeThread(true);
  if (controller_.selectedDrive) controller_.selectedDrive->abortVolumeScan = true;
}

void ScanRunner::showTree() {
  controller_.fileTypesToggleTitle = "File Types View";
  controller_.showDeletedToggleTitle = "Show Deleted";
  controller_.abortSheetVisible_ = false;
  controller_.stopElapsedTimeThread = true;
  controller_.completionNote_.clear();
  Entry* root = controller_.selectedVolume ? controller_.selectedVolume->dirRoot : nullptr;
  if (root == nullptr) {
    if (controller_.progressChanged) controller_.progressChanged();  // closes the abort question if it is up
    // A refused scan has gone back already; any other scan without a tree must not leave the user on
    // "Progress", where nothing is left to wait for.
    if (controller_.view_.selectedTabIdentifier() == "Progress") backToListWithoutTree();
    return;
  }
  controller_.view_.showTab("Tree");
  controller_.progressScreen_.treeTotal =
      formatText("%@ in %@ Files", {sizeText(root->fileSize), std::to_string(root->fileCount)});
  if (controller_.progressChanged) controller_.progressChanged();
  if (!controller_.openedScanInfo) {
    Alert note;
    if ((controller_.isPTListOrPTScanListChosen == 0 || controller_.isPTListOrPTScanListChosen == 1) &&
        controller_.treeScanMode == 0) {
      note = {"Standard scan completed",
              "Check for lost data in the recovered tree. If you are unable to find the desired data, click the back "
              "button and select advanced scan option.",
              {"OK"}};
    } else if (controller_.isPTListOrPTScanListChosen == -1 && controller_.rawSearchMode != 3 &&
               controller_.scanMode != 5) {
      note = {"Deleted file scan completed",
              "Recovered data tree may contain regular files(which may show in the file manager) and the deleted "
              "files. Select "
              "\"Show deleted\" to view only deleted files, then select the files which you want to recover and click "
              "\"Save\"",
              {"OK"}};
    }
    if (!note.title.empty()) {
      controller_.completionNote_ = note.title + ": " + note.text;
      (void)controller_.ui_.runAlertPanel(note);
    }
  }
}

void ScanRunner::scanThreadEnded(std::uint64_t scanNumber, bool volumeScan) {
  // The scan's own completion, if it sent one, was queued before this and is handled first; the end
  // of an older scan's thread must not end a newer scan.
  controller_.mainThread_.post([this, scanNumber, volumeScan] {
    if (scanNumber == controller_.launcher_.lastScanNumber() && controller_.scanIsRunning)
      endScanWithoutCompletion(volumeScan);
  });
}

void ScanRunner::endScanWithoutCompletion(bool volumeScan) {
  controller_.timer_.stop();
  if (volumeScan) {
    // No volumes came back: the partition list again, as it was.
    controller_.scanIsRunning = false;
    controller_.abortSheetVisible_ = false;
    controller_.stopElapsedTimeThread = true;
    if (controller_.progressChanged) controller_.progressChanged();
    controller_.scanForVolumesBox_ = false;
    controller_.view_.setChecked(WizardControl::kScanForVolumesBox, false);
    controller_.view_.showTab("PT list");
    return;
  }
  // What the thread left behind is no finished tree; it is dropped with the volume.
  if (controller_.selectedVolume) controller_.selectedVolume->dirRoot = nullptr;
  ScanProgress ended = ScanProgress::withStatus(progress_text::kScanStatus);
  ended.treeComplete = true;
  controller_.updateProgressOnMain(ended);
}

void ScanRunner::backToListWithoutTree() {
  switch (controller_.isPTListOrPTScanListChosen) {
    case -1:
      controller_.view_.setText(WizardField::kDrivesListHeading, controller_.drivesListHeading());
      controller_.view_.showTab("Drives List");
      // Next follows the selection, and the selection is gone.
      controller_.drivesListSelection_ = -1;
      controller_.view_.deselect(WizardTable::kDrivesList);
      controller_.view_.setEnabled(WizardControl::kDrivesListNext, false);
      break;
    case 1:
      controller_.view_.setText(WizardField::kNumFoundVolumes,
                                std::to_string(controller_.partitionScanListDictArray.size()));
      controller_.view_.showTab("PT scan list");
      break;
    default:
      controller_.scanForVolumesBox_ = false;
      controller_.view_.setChecked(WizardControl::kScanForVolumesBox, false);
      controller_.view_.showTab("PT list");
      break;
  }
  freeTree(false);
  controller_.autoStartAfterRawCrash = false;
}

void ScanRunner::releaseSelectedVolume() { controller_.selectedVolume.reset(); }

void ScanRunner::joinFreeTree() {
  if (!freeTreeThread_.joinable()) return;
  // The freeing thread hands work to the main thread, so the main thread keeps serving while it waits.
  if (controller_.mainThread_.onMainThread())
    while (!freeTreeDone_) controller_.mainThread_.runFor(std::chrono::milliseconds(10));
  freeTreeThread_.join();
}

void ScanRunner::freeTree(bool rebuildDriveList) {
  controller_.dirRootTemp = nullptr;
  joinFreeTree();
  std::shared_ptr<Volume> volume = controller_.selectedVolume;
  freeTreeDone_ = false;
  freeTreeThread_ = std::thread([this, volume, rebuildDriveList] {
    if (volume && volume->dirRoot != nullptr && volume->arena) {
      if (!volume->dirRoot->childList.empty()) volume->arena->freeNDir(volume->dirRoot);
      volume->dirRoot = nullptr;
    }
    controller_.mainThread_.postAndWait([this] {
      controller_.dirRootTemp = nullptr;
      releaseSelectedVolume();
    });
    if (rebuildDriveList) controller_.mainThread_.postAndWait([this] { controller_.runSheetForDrivesLoading(); });
    freeTreeDone_ = true;
  });
}

}  // namespace nua
