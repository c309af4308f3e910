// The controller's decisions of quitting and of the window's size, which depend on the screen shown.
#include "app/wizard_controller.h"
#include "media/dmedia.h"
#include "volume/volume.h"

namespace nua {

namespace {

bool onTree(const WizardView& view) { return view.selectedTabIdentifier() == "Tree"; }

}  // namespace

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
