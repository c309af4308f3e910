// The controller's last steps before a scan: the signature screen, the range sliders and the
// choice of rawSearchMode; the scan runner starts the thread.
#include <ctime>

#include "app/wizard_controller.h"
#include "app/scan_decision.h"
#include "base/text.h"
#include "volume/volume.h"

namespace nua {

void WizardController::prepareForSignatureSearch() {
  view_.setText(WizardField::kFindPlaceholder, "Find");
  view_.setText(WizardField::kFindFileTypesPlaceholder, "Find (type e.g. mp3 and press return)");
  sigDataLoadCount = 0;
  loadSigData();
  deselectAllSig();
  if (scanMode < 6) view_.showTab("Signatures");
  if (autoStartAfterRawCrash) selectAutoRecoveryExtensions();
  rawSearchBox_ = CheckBox{};
  if (scanMode == 2) {
    // A fast photo recovery always searches the whole range.
    rawSearchBox_.enabled = false;
    rawSearchBox_.hidden = true;
  }
  view_.setChecked(WizardControl::kRawSearchBox, false);
  view_.setEnabled(WizardControl::kRawSearchBox, rawSearchBox_.enabled);
  view_.setHidden(WizardControl::kRawSearchBox, rawSearchBox_.hidden);
}

void WizardController::loadSigData() {
  // The main file while the count is 0 or 1, the backup once "Load File Types" has retried the main.
  sigRootArray = signatures_.loadSigData(scanMode, sigDataLoadCount);
  view_.reloadTable(WizardTable::kSignatures);
}

namespace {
void markAll(const std::vector<std::shared_ptr<SigNode>>& roots, std::uint8_t value) {
  for (const auto& root : roots) {
    root->selected = value;
    if (root->children)
      for (const auto& child : *root->children) child->selected = value;
  }
}
}  // namespace

void WizardController::deselectAllSig() {
  markAll(sigRootArray, 0);
  sigSelArray.clear();
  view_.setEnabled(WizardControl::kSignaturesNext, false);
  view_.reloadTable(WizardTable::kSignatures);
}

void WizardController::selectAllSig() {
  markAll(sigRootArray, 1);
  gatherSigSelArray();
  view_.setEnabled(WizardControl::kSignaturesNext, !sigSelArray.empty());
  view_.reloadTable(WizardTable::kSignatures);
}

void WizardController::gatherSigSelArray() {
  sigSelArray.clear();
  for (const auto& root : sigRootArray)
    if (root->children)
      for (const auto& child : *root->children)
        if (child->selected) sigSelArray.push_back(child);
}

void WizardController::setRawSearchBox(bool on) {
  if (!rawSearchBox_.enabled || rawSearchBox_.hidden) return;
  rawSearchBox_.checked = on;
  view_.setChecked(WizardControl::kRawSearchBox, on);
}

void WizardController::skipButtonSigTabClicked() {
  sigRootArray.clear();
  sigSelNextClicked();
}

void WizardController::setSliderValues(float start, float end) {
  startSlider_ = start;
  endSlider_ = end;
  view_.setSliders(start, end);
  rawSliderChanged();
}

void WizardController::setTextFieldRawSizeDrvVol() {
  if (!selectedVolume) return;
  const std::uint64_t bytes = selectedVolume->sizeInSect * static_cast<std::uint64_t>(selectedVolume->u32BytesInSector);
  view_.setText(WizardField::kRawSize, sizeText(bytes));
}

void WizardController::rawSliderChanged() {
  if (!selectedVolume) return;
  const float size = static_cast<float>(selectedVolume->sizeInSect) * static_cast<float>(selectedVolume->u32BytesInSector);
  for (bool start : {true, false}) {
    const float value = sliderValue(start);
    const float part = size * value / 100.0f;
    const auto bytes = part > 0.0f ? static_cast<std::uint64_t>(part) : 0;
    const std::string text = std::to_string(static_cast<int>(value)) + "% " + sizeText(bytes);
    view_.setText(start ? WizardField::kStartSliderText : WizardField::kEndSliderText, text);
  }
}

void WizardController::updateSliderTexts() {
  setTextFieldRawSizeDrvVol();
  rawSliderChanged();
}

void WizardController::sigSelNextClicked() {
  startSlider_ = 0.0f;
  endSlider_ = 100.0f;
  view_.setSliders(startSlider_, endSlider_);
  if (!selectedVolume) return;
  gatherSigSelArray();
  takeSignatureStep(decideSignatureStep(scanMode, selectedVolume->volumeScanType,
                                        selectedVolume->supportsFileSystemRecovery, sigSkipped(),
                                        rawSearchBox_.checked));
}

void WizardController::takeSignatureStep(const SignatureStep& step) {
  using Then = SignatureStep::Then;
  if (step.then == Then::kNothing) return;
  rawSearchMode = step.rawSearchMode;
  if (step.updateSliderTexts) updateSliderTexts();
  if (step.then == Then::kRawSlider || step.then == Then::kRawSliderAndStart) view_.showTab("Raw slider");
  if (step.then != Then::kRawSlider) rawSliderNextClicked();
}

std::string WizardController::displayName() const {
  if (!selectedVolume) return "";
  if (!selectedVolume->volumeName.empty() || !selectedDriveRow.isWholeDisk)
    return selectedVolume->volumeName;
  std::string name = selectedVolume->model;
  for (const std::string* part : {&selectedVolume->serial, &selectedVolume->revision})
    if (!part->empty()) name += " " + *part;
  return name;
}

}  // namespace nua
