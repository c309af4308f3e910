// The controller's last steps before a scan: the signature screen, the range sliders and the
// choice of rawSearchMode, thread entry and argument array.
#include <ctime>

#include "app/wizard_controller.h"
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
  if (autoStartAfterRawCrash) {
    // Rebuild the selection of the crashed scan from its saved extensions.
    sigSelArray.clear();
    for (const auto& root : sigRootArray) {
      if (!root->children) continue;
      for (const auto& child : *root->children) {
        if (!child->sig) continue;
        for (const std::string& ext : autoRecSigExtArray)
          if (child->sig->extension == ext) {
            sigSelArray.push_back(child);
            break;
          }
      }
    }
    autoRecSigExtArray.clear();
  }
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
  sigRootArray = sources_.loadSigData ? sources_.loadSigData(scanMode) : std::vector<std::shared_ptr<SigNode>>{};
  ++sigDataLoadCount;
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
  const bool boxOn = rawSearchBox_.checked;
  const std::int32_t type = selectedVolume->volumeScanType;
  auto boxOrStart = [&] {
    if (boxOn)
      view_.showTab("Raw slider");
    else
      rawSliderNextClicked();
  };

  if (type == 2 && scanMode != 5) {
    if (!selectedVolume->supportsFileSystemRecovery) {
      rawSearchMode = 2;
      updateSliderTexts();
      boxOrStart();
    } else if (scanMode == 0 || sigSkipped()) {
      rawSearchMode = 0;
      rawSliderNextClicked();
    } else {
      rawSearchMode = 1;
      updateSliderTexts();
      if (scanMode == 2)
        rawSliderNextClicked();
      else
        boxOrStart();
    }
  } else if (type != 0 && type != 1 && scanMode != 5) {
    if (type != 3) return;
    rawSearchMode = 3;
    updateSliderTexts();
    boxOrStart();
  } else if (sigSkipped()) {
    rawSearchMode = 5;
    updateSliderTexts();
    if (boxOn) {
      // Shown and started at once: a tree scan alone has no range to limit.
      view_.showTab("Raw slider");
      rawSliderNextClicked();
    } else {
      rawSliderNextClicked();
    }
  } else {
    rawSearchMode = 4;
    updateSliderTexts();
    boxOrStart();
  }
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

void WizardController::rawSliderNextClicked(bool resume) {
  scanIsRunning = true;
  if (resume) {
    view_.setText(WizardField::kMainScanStatus, mainScanStatus);
  } else {
    mainScanStatus = formatText(statusFormatForScanMode(scanMode), {displayName()});
    view_.setText(WizardField::kMainScanStatus, mainScanStatus);
  }
  view_.setText(WizardField::kSelectedIndex, " ");
  scanStartDate = std::chrono::system_clock::now();
  const std::time_t now = std::chrono::system_clock::to_time_t(scanStartDate);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  view_.setText(WizardField::kScanStartDate, stamp);

  if (!resume) {
    if (!(startSlider_ < endSlider_)) {
      ui_.runAlertPanel({"! Can not continue",
                         "The start position should be less than end position. Please set them accordingly.",
                         {"OK"}});
      scanIsRunning = false;
      return;
    }
    if (selectedVolume) selectedVolume->setRawSearchStart(startSlider_, endSlider_);
  }
  startScan(resume);
}

void WizardController::startScan(bool resume) {
  if (!selectedVolume) return;
  const std::int64_t method = (scanMode == 0 || scanMode == 1) ? 0 : (scanMode == 2 || scanMode == 3) ? 1 : -1;
  const std::string scanName = treeScanMode == 1 ? "Advanced Scan" : "Normal Scan";
  ScanArguments args;
  ScanEntry entry = ScanEntry::kScanForDeletedFiles;
  switch (rawSearchMode) {
    case 0: args = {std::int64_t{1}, std::int64_t{0}}; break;
    case 1: args = {std::int64_t{1}, std::int64_t{1}, sigSelArray, method}; break;
    case 2: args = {std::int64_t{0}, std::int64_t{1}, sigSelArray, method}; break;
    case 3:
      entry = ScanEntry::kScanForDeletedFilesDisk;
      args = {sigSelArray, method};
      break;
    case 4:
      entry = ScanEntry::kStartMakingTree;
      args = {scanName, std::int64_t{1}, sigSelArray};
      break;
    case 5:
      entry = ScanEntry::kStartMakingTree;
      args = {scanName, std::int64_t{0}};
      break;
    default: return;
  }
  // Modes with a signature search can be resumed: their arrays end in the begin position and "auto".
  if (resume && rawSearchMode >= 1 && rawSearchMode <= 4) {
    args.emplace_back(static_cast<std::int64_t>(autoRecBeginSize));
    args.emplace_back(std::string("auto"));
  }
  view_.showTab("Progress");
  launcher_.detach(entry, selectedVolume, std::move(args));
}

}  // namespace nua
