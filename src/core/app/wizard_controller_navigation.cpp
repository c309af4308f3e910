// The controller's ways back through the wizard, the home button, the Next gate of "Signatures",
// and the decisions of quitting and of the window's size, which depend on the screen shown.
#include "app/wizard_controller.h"
#include "media/dmedia.h"
#include "signature/check_controller_sig.h"
#include "volume/volume.h"

namespace nua {

namespace {

const Alert kImportantTip{
    "Important Tip",
    "You can save on scanning time when you want to use the software again by saving current recovery session "
    "file.\nClick \"Cancel\" to return and click on \"Save Recovery Session\" button to save the recovery session "
    "file, or click \"OK\" to leave this option and proceed.",
    {"Cancel", "OK"}};

bool onTree(const WizardView& view) { return view.selectedTabIdentifier() == "Tree"; }

}  // namespace

// ---- Back to the start ----

void WizardController::backToMainScreenFromFileRecoveryTab() {
  isPTListOrPTScanListChosen = -1;
  view_.showTab("Main Screen");
}

void WizardController::backToMainScreenFromPhotoRecoveryTab() {
  backToMainScreenFromFileRecoveryTab();
}

void WizardController::backToMainScreenFromPartitionRecoveryTab() {
  backToMainScreenFromFileRecoveryTab();
}

void WizardController::backButtonInDrivesListTabClicked() {
  isPTListOrPTScanListChosen = -1;
  switch (scanMode) {
    case 0:
    case 1: view_.showTab("Recover Files"); break;
    case 2:
    case 3: view_.showTab("Recover Photos"); break;
    case 4:
    case 5: view_.showTab("Recover Partitions"); break;
    default: break;
  }
  scanMode = -1;
}

// ---- Back to the lists ----

void WizardController::ptListBackClicked() {
  selectedDrive.reset();
  zeroTableViewDrivesList_ = true;
  view_.reloadTable(WizardTable::kDrivesList);
  view_.setText(WizardField::kDrivesListHeading, drivesListHeading());
  isPTListOrPTScanListChosen = -1;
  // Cleared before the list is built, so that a resumed path that came back here lists the drives anew.
  autoStartAfterRawCrash = false;
  runSheetForDrivesLoading();
}

void WizardController::ptScanListBackClicked() {
  selectedDrive.reset();
  view_.reloadTable(WizardTable::kPTList);
  scanForVolumesBox_ = false;
  view_.setChecked(WizardControl::kScanForVolumesBox, false);
  view_.showTab("PT list");
  ptListSelection_ = -1;
  view_.deselect(WizardTable::kPTList);
  view_.setEnabled(WizardControl::kPTListNext, false);
  isPTListOrPTScanListChosen = -1;
}

void WizardController::treeScanModeBackClicked() {
  if (isPTListOrPTScanListChosen == 1) {
    view_.setText(WizardField::kNumFoundVolumes, std::to_string(partitionScanListDictArray.size()));
    view_.showTab("PT scan list");
    ptScanListSelection_ = -1;
    view_.deselect(WizardTable::kPTScanList);
    view_.setEnabled(WizardControl::kPTScanListNext, false);
  } else if (isPTListOrPTScanListChosen == 0) {
    scanForVolumesBox_ = false;
    view_.setChecked(WizardControl::kScanForVolumesBox, false);
    view_.showTab("PT list");
    ptListSelection_ = -1;
    view_.deselect(WizardTable::kPTList);
    view_.setEnabled(WizardControl::kPTListNext, false);
  }
  if (selectedVolume) freeTree(false);
}

void WizardController::sigSelBackToVolumesClicked() {
  if (isPTListOrPTScanListChosen == -1) {
    if (selectedVolume) {
      sigRootArray.clear();
      view_.reloadTable(WizardTable::kSignatures);
    }
    view_.showTab("Drives List");
    view_.setText(WizardField::kDrivesListHeading, drivesListHeading());
    drivesListSelection_ = -1;
    view_.deselect(WizardTable::kDrivesList);
    view_.setEnabled(WizardControl::kDrivesListNext, false);
  } else if (isPTListOrPTScanListChosen == 0 || isPTListOrPTScanListChosen == 1) {
    view_.showTab("Tree scan mode");
  }
  if (selectedVolume) freeTree(false);
}

void WizardController::rawSliderBackToSigSelClicked() {
  sigSelArray.clear();
  deselectAllSig();
  rawSearchBox_.checked = false;
  view_.setChecked(WizardControl::kRawSearchBox, false);
  view_.setEnabled(WizardControl::kSignaturesNext, false);
  view_.showTab("Signatures");
}

// ---- Home, and back from the result ----

void WizardController::gotoHome() {
  if (onTree(view_)) {
    if (ui_.runAlertPanel(kImportantTip) == 0) return;
    ui_.previewClose();
    view_.restoreInitialWindowFrame();
  }
  ptListSelection_ = -1;
  ptScanListSelection_ = -1;
  view_.deselect(WizardTable::kPTList);
  view_.deselect(WizardTable::kPTScanList);
  zeroTableViewDrivesList_ = true;
  view_.reloadTable(WizardTable::kDrivesList);
  isPTListOrPTScanListChosen = -1;
  view_.showTab("Main Screen");
  if (selectedVolume) freeTree(false);
  autoStartAfterRawCrash = false;
}

void WizardController::treeBackButtonClicked() {
  if (ui_.runAlertPanel(kImportantTip) == 0) return;
  autoStartAfterRawCrash = false;
  ui_.previewClose();
  view_.restoreInitialWindowFrame();
  view_.reloadTable(WizardTable::kPTList);
  view_.reloadTable(WizardTable::kPTScanList);
  switch (isPTListOrPTScanListChosen) {
    case -1:
      zeroTableViewDrivesList_ = true;
      view_.reloadTable(WizardTable::kDrivesList);
      freeTree(true);  // ends on "Drives List" with the list built anew
      break;
    case 1:
      freeTree(false);
      view_.reloadTable(WizardTable::kPTScanList);
      view_.setText(WizardField::kNumFoundVolumes, std::to_string(partitionScanListDictArray.size()));
      view_.showTab("PT scan list");
      ptScanListSelection_ = -1;
      view_.deselect(WizardTable::kPTScanList);
      view_.setEnabled(WizardControl::kPTScanListNext, false);
      break;
    default:
      freeTree(false);
      view_.reloadTable(WizardTable::kPTList);
      scanForVolumesBox_ = false;
      view_.setChecked(WizardControl::kScanForVolumesBox, false);
      view_.showTab("PT list");
      ptListSelection_ = -1;
      view_.deselect(WizardTable::kPTList);
      view_.setEnabled(WizardControl::kPTListNext, false);
      break;
  }
}

// ---- Marks on "Signatures" ----

void WizardController::setSigMark(SigNode& node, bool on) {
  CheckControllerSig(node, on ? 1 : 0).run();
  // Files embedded in RTFD documents come back as images, so marking documents marks images too.
  const bool documentsOrRtf = node.category == "Documents" && (!node.sig || node.sig->extension == "rtf");
  if (on && documentsOrRtf)
    for (const auto& root : sigRootArray)
      if (root->category == "Images") CheckControllerSig(*root, 1).run();
  gatherSigSelArray();
  view_.setEnabled(WizardControl::kSignaturesNext, !sigSelArray.empty());
  view_.reloadTable(WizardTable::kSignatures);
}

// ---- Quitting ----

void WizardController::terminateApp() {
  ui_.previewClose();
  ui_.terminateApp();
}

int WizardController::promptForScanInfoSaving() {
  const bool saved = scanInfoSavedForQuit && scanInfoSavedForQuit();
  if (!selectedVolume || selectedVolume->dirRoot == nullptr || saved) return 1;
  const int answer = ui_.runAlertPanel(
      {"Do you want to save recovery session?",
       "After scanning the physical drive, scan results obtained can be saved so that recovery process could be "
       "carried out in next restart without scanning the drive again. Just open the saved recovery session and "
       "proceed with recovery process.",
       {"Yes", "No", "Cancel"}});
  if (answer == 0) {
    if (!saveScanInfoForQuit) return 0;  // no session writer: nothing would ever let the quit go on
    saveScanInfoForQuit();
    return 2;
  }
  return answer == 1 ? 1 : 0;
}

void WizardController::watchSaveScanInfo() {
  quitRequested_ = true;
  if (watchSaveScanInfoTimer_.valid()) return;
  // Polled rather than spun: a cancelled save never sets the flag, and the program must stay usable.
  watchSaveScanInfoTimer_.start(std::chrono::milliseconds(100), [this] {
    mainThread_.post([this] {
      if (!quitRequested_ || !scanInfoSavedForQuit || !scanInfoSavedForQuit()) return;
      quitRequested_ = false;
      terminateApp();
    });
  });
}

WizardController::QuitDecision WizardController::decideQuit() {
  if (onTree(view_)) {
    if (!scanInfoOrSavingNotProcessing) {
      showAlert("Process Running",
                "Recovery session saving/opening or data saving is in process. The program can quit if that process "
                "is completed or aborted.");
      return QuitDecision::kStay;
    }
    switch (promptForScanInfoSaving()) {
      case 1: return QuitDecision::kGo;
      case 2: return QuitDecision::kAfterSessionSaved;
      default: return QuitDecision::kStay;
    }
  }
  if (scanIsRunning) {
    showAlert("Scan running",
              "A scan is in progress. Please stop that scan first, in order to quit Nua Recovery Software.");
    return QuitDecision::kStay;
  }
  return QuitDecision::kGo;
}

void WizardController::terminateApplication() {
  switch (decideQuit()) {
    case QuitDecision::kGo: terminateApp(); break;
    case QuitDecision::kAfterSessionSaved: watchSaveScanInfo(); break;
    case QuitDecision::kStay: break;
  }
}

bool WizardController::windowShouldClose() {
  const bool onTreeScreen = onTree(view_);
  switch (decideQuit()) {
    case QuitDecision::kGo:
      // Off "Tree", a visible preview closes with the window.
      if (!onTreeScreen) ui_.previewClose();
      return true;
    case QuitDecision::kAfterSessionSaved: watchSaveScanInfo(); return false;
    case QuitDecision::kStay: return false;
  }
  return false;
}

// ---- The window's size ----

WizardController::WindowSize WizardController::windowWillResize(
    WindowSize proposed) const {
  if (!onTree(view_)) return initialWindowSize;
  // On "Tree" the width stays; the height may grow, never below the initial one.
  return {initialWindowSize.width, std::max(proposed.height, initialWindowSize.height)};
}

bool WizardController::windowShouldZoom() const { return onTree(view_); }

}  // namespace nua
