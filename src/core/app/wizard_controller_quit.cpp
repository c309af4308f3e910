// The controller's decisions of quitting and of the window's size, which depend on the screen shown.
// The rules themselves are in lifecycle_decisions.h; this file gathers the facts and acts.
#include "app/wizard_controller.h"
#include "media/media_reader.h"
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
  QuitFacts facts;
  facts.onTree = true;
  facts.hasResult = selectedVolume && selectedVolume->dirRoot != nullptr;
  facts.resultSaved = scanInfoSavedForQuit && scanInfoSavedForQuit();
  const QuitRequest request = decideQuitRequest(facts);
  if (request.step != QuitStep::kAskToSaveSession) return 1;
  switch (answerSaveSessionQuestion(ui_.runAlertPanel(*request.alert), static_cast<bool>(saveScanInfoForQuit))) {
    case QuitDecision::kAfterSessionSaved: saveScanInfoForQuit(); return 2;
    case QuitDecision::kGo: return 1;
    case QuitDecision::kStay: break;
  }
  return 0;
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

QuitDecision WizardController::decideQuit() {
  QuitFacts facts;
  facts.onTree = onTree(view_);
  facts.scanInfoOrSavingNotProcessing = scanInfoOrSavingNotProcessing;
  facts.scanIsRunning = scanIsRunning;
  const QuitRequest request = decideQuitRequest(facts);
  if (request.step == QuitStep::kStay) {
    ui_.runAlertPanel(*request.alert);
    return QuitDecision::kStay;
  }
  if (!facts.onTree) return QuitDecision::kGo;
  // On "Tree" the session question decides (it knows whether there is a result to keep).
  switch (promptForScanInfoSaving()) {
    case 1: return QuitDecision::kGo;
    case 2: return QuitDecision::kAfterSessionSaved;
    default: return QuitDecision::kStay;
  }
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
  const WindowCloseAnswer answer = windowCloseAnswer(decideQuit(), onTreeScreen);
  if (answer.closePreview) ui_.previewClose();
  if (answer.watchSessionSave) watchSaveScanInfo();
  return answer.mayClose;
}

// ---- The window's size ----

WizardController::WindowSize WizardController::windowWillResize(WindowSize proposed) const {
  return windowSizeAllowed(onTree(view_), initialWindowSize, proposed);
}

bool WizardController::windowShouldZoom() const { return windowMayZoom(onTree(view_)); }

}  // namespace nua
