#include "app/wizard_navigation.h"

#include "app/wizard_controller.h"
#include "media/media_reader.h"
#include "signature/check_controller_sig.h"

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

void WizardNavigation::selectDrivesListRow(int row) {
  const int count = static_cast<int>(controller_.drivesListRows().size());
  controller_.drivesListSelection_ = row >= 0 && row < count ? row : -1;
  controller_.view_.setEnabled(WizardControl::kDrivesListNext, controller_.drivesListSelection_ >= 0);
}

void WizardNavigation::selectPTListRow(int row) {
  controller_.ptListSelection_ =
      row >= 0 && row < static_cast<int>(controller_.partitionListDictArray.size()) ? row : -1;
  controller_.view_.setEnabled(WizardControl::kPTListNext,
                               controller_.ptListSelection_ >= 0 || controller_.scanForVolumesBox_);
}

void WizardNavigation::selectPTScanListRow(int row) {
  controller_.ptScanListSelection_ =
      row >= 0 && row < static_cast<int>(controller_.partitionScanListDictArray.size()) ? row : -1;
  controller_.view_.setEnabled(WizardControl::kPTScanListNext, controller_.ptScanListSelection_ >= 0);
}

void WizardNavigation::checkBoxForScanForVolumesClicked(bool on) {
  controller_.scanForVolumesBox_ = on;
  controller_.view_.setChecked(WizardControl::kScanForVolumesBox, on);
  controller_.view_.setEnabled(WizardControl::kPTListNext,
                               controller_.ptListSelection_ >= 0 || controller_.scanForVolumesBox_);
}

void WizardNavigation::setSigMark(SigNode& node, bool on) {
  CheckControllerSig(node, on ? 1 : 0).run();
  // Files embedded in RTFD documents come back as images, so marking documents marks images too.
  const bool documentsOrRtf = node.category == "Documents" && (!node.sig || node.sig->extension == "rtf");
  if (on && documentsOrRtf)
    for (const auto& root : controller_.sigRootArray)
      if (root->category == "Images") CheckControllerSig(*root, 1).run();
  controller_.gatherSigSelArray();
  controller_.view_.setEnabled(WizardControl::kSignaturesNext, !controller_.sigSelArray.empty());
  controller_.view_.reloadTable(WizardTable::kSignatures);
}

void WizardNavigation::backToMainScreenFromFileRecoveryTab() {
  controller_.isPTListOrPTScanListChosen = -1;
  controller_.view_.showTab("Main Screen");
}

void WizardNavigation::backToMainScreenFromPhotoRecoveryTab() { backToMainScreenFromFileRecoveryTab(); }

void WizardNavigation::backToMainScreenFromPartitionRecoveryTab() { backToMainScreenFromFileRecoveryTab(); }

void WizardNavigation::backButtonInDrivesListTabClicked() {
  controller_.isPTListOrPTScanListChosen = -1;
  switch (controller_.scanMode) {
    case 0:
    case 1: controller_.view_.showTab("Recover Files"); break;
    case 2:
    case 3: controller_.view_.showTab("Recover Photos"); break;
    case 4:
    case 5: controller_.view_.showTab("Recover Partitions"); break;
    default: break;
  }
  controller_.scanMode = -1;
}

void WizardNavigation::ptListBackClicked() {
  controller_.selectedDrive.reset();
  controller_.zeroTableViewDrivesList_ = true;
  controller_.view_.reloadTable(WizardTable::kDrivesList);
  controller_.view_.setText(WizardField::kDrivesListHeading, controller_.drivesListHeading());
  controller_.isPTListOrPTScanListChosen = -1;
  // Cleared before the list is built, so that a resumed path that came back here lists the drives anew.
  controller_.autoStartAfterRawCrash = false;
  controller_.runSheetForDrivesLoading();
}

void WizardNavigation::showPTListUnselected() {
  controller_.scanForVolumesBox_ = false;
  controller_.view_.setChecked(WizardControl::kScanForVolumesBox, false);
  controller_.view_.showTab("PT list");
  controller_.ptListSelection_ = -1;
  controller_.view_.deselect(WizardTable::kPTList);
  controller_.view_.setEnabled(WizardControl::kPTListNext, false);
}

void WizardNavigation::ptScanListBackClicked() {
  controller_.selectedDrive.reset();
  controller_.view_.reloadTable(WizardTable::kPTList);
  showPTListUnselected();
  controller_.isPTListOrPTScanListChosen = -1;
}

void WizardNavigation::treeScanModeBackClicked() {
  if (controller_.isPTListOrPTScanListChosen == 1) {
    controller_.view_.setText(WizardField::kNumFoundVolumes,
                              std::to_string(controller_.partitionScanListDictArray.size()));
    controller_.view_.showTab("PT scan list");
    controller_.ptScanListSelection_ = -1;
    controller_.view_.deselect(WizardTable::kPTScanList);
    controller_.view_.setEnabled(WizardControl::kPTScanListNext, false);
  } else if (controller_.isPTListOrPTScanListChosen == 0) {
    showPTListUnselected();
  }
  if (controller_.selectedVolume) controller_.freeTree(false);
}

void WizardNavigation::sigSelBackToVolumesClicked() {
  if (controller_.isPTListOrPTScanListChosen == -1) {
    if (controller_.selectedVolume) {
      controller_.sigRootArray.clear();
      controller_.view_.reloadTable(WizardTable::kSignatures);
    }
    controller_.view_.showTab("Drives List");
    controller_.view_.setText(WizardField::kDrivesListHeading, controller_.drivesListHeading());
    controller_.drivesListSelection_ = -1;
    controller_.view_.deselect(WizardTable::kDrivesList);
    controller_.view_.setEnabled(WizardControl::kDrivesListNext, false);
  } else if (controller_.isPTListOrPTScanListChosen == 0 || controller_.isPTListOrPTScanListChosen == 1) {
    controller_.view_.showTab("Tree scan mode");
  }
  if (controller_.selectedVolume) controller_.freeTree(false);
}

void WizardNavigation::rawSliderBackToSigSelClicked() {
  controller_.sigSelArray.clear();
  controller_.deselectAllSig();
  controller_.rawSearchBox_.checked = false;
  controller_.view_.setChecked(WizardControl::kRawSearchBox, false);
  controller_.view_.setEnabled(WizardControl::kSignaturesNext, false);
  controller_.view_.showTab("Signatures");
}

void WizardNavigation::gotoHome() {
  if (onTree(controller_.view_)) {
    if (controller_.ui_.runAlertPanel(kImportantTip) == 0) return;
    controller_.ui_.previewClose();
    controller_.view_.restoreInitialWindowFrame();
  }
  controller_.ptListSelection_ = -1;
  controller_.ptScanListSelection_ = -1;
  controller_.view_.deselect(WizardTable::kPTList);
  controller_.view_.deselect(WizardTable::kPTScanList);
  controller_.zeroTableViewDrivesList_ = true;
  controller_.view_.reloadTable(WizardTable::kDrivesList);
  controller_.isPTListOrPTScanListChosen = -1;
  controller_.view_.showTab("Main Screen");
  if (controller_.selectedVolume) controller_.freeTree(false);
  controller_.autoStartAfterRawCrash = false;
}

void WizardNavigation::treeBackButtonClicked() {
  if (controller_.ui_.runAlertPanel(kImportantTip) == 0) return;
  controller_.autoStartAfterRawCrash = false;
  controller_.ui_.previewClose();
  controller_.view_.restoreInitialWindowFrame();
  controller_.view_.reloadTable(WizardTable::kPTList);
  controller_.view_.reloadTable(WizardTable::kPTScanList);
  switch (controller_.isPTListOrPTScanListChosen) {
    case -1:
      controller_.zeroTableViewDrivesList_ = true;
      controller_.view_.reloadTable(WizardTable::kDrivesList);
      controller_.freeTree(true);  // ends on "Drives List" with the list built anew
      break;
    case 1:
      controller_.freeTree(false);
      controller_.view_.reloadTable(WizardTable::kPTScanList);
      controller_.view_.setText(WizardField::kNumFoundVolumes,
                                std::to_string(controller_.partitionScanListDictArray.size()));
      controller_.view_.showTab("PT scan list");
      controller_.ptScanListSelection_ = -1;
      controller_.view_.deselect(WizardTable::kPTScanList);
      controller_.view_.setEnabled(WizardControl::kPTScanListNext, false);
      break;
    default:
      controller_.freeTree(false);
      controller_.view_.reloadTable(WizardTable::kPTList);
      showPTListUnselected();
      break;
  }
}

}  // namespace nua
