#include "app/wizard_controller.h"

#include <cmath>
#include <ctime>

#include "base/text.h"
#include "media/media_reader.h"
#include "volume/volume.h"

namespace nua {

WizardController::WizardController(WizardView& view, UiBridge& ui,
                                                                       ScanLauncher& launcher, MediaSources sources)
    : view_(view), ui_(ui), launcher_(launcher), sources_(std::move(sources)) {
  launcher_.setProgressSink(this);
  launcher_.setScanThreadEnded(
      [this](std::uint64_t scanNumber, bool volumeScan) { scanThreadEnded(scanNumber, volumeScan); });
  launcher_.setVolumeSearchSink(this);
}

WizardController::~WizardController() {
  launcher_.setScanThreadEnded({});
  timer_.stop();
  joinFreeTree();
  launcher_.setProgressSink(nullptr);
  launcher_.setVolumeSearchSink(nullptr);
}

void WizardController::showAlert(const std::string& title, const std::string& text) {
  ui_.runAlertPanel({title, text, {"OK"}});
}

// ---- Goals and modes ----

void WizardController::showModeScreen(const char* identifier) {
  if (autoStartAfterRawCrash) {
    // A resume replays the path: the stored mode's handler runs at once.
    switch (scanMode) {
      case 0: recoverFilesFast(); break;
      case 1: recoverFilesAdvanced(); break;
      case 2: recoverPhotosFast(); break;
      case 3: recoverPhotosAdvanced(); break;
      case 4: recoverPartitionAndDrivesFast(); break;
      case 5: recoverPartitionAndDrivesAdvanced(); break;
      default: break;
    }
    return;
  }
  treeScanMode = -1;
  view_.showTab(identifier);
}

void WizardController::recoverFiles() { showModeScreen("Recover Files"); }
void WizardController::recoverPhotos() { showModeScreen("Recover Photos"); }
void WizardController::recoverPartitionAndDrives() { showModeScreen("Recover Partitions"); }

void WizardController::enterMode(std::int32_t mode) {
  if (!autoStartAfterRawCrash) {
    treeScanMode = -1;
    scanMode = mode;
  }
  const bool customTypes = scanMode == 4 || scanMode == 5;
  view_.setHidden(WizardControl::kAddFileType, !customTypes);
  view_.setEnabled(WizardControl::kAddFileType, customTypes);
  view_.setHidden(WizardControl::kRemoveFileType, !customTypes);
  view_.setEnabled(WizardControl::kRemoveFileType, customTypes);
  view_.setEnabled(WizardControl::kDrivesListNext, false);
  zeroTableViewDrivesList_ = true;
  runSheetForDrivesLoading();
}

void WizardController::recoverFilesFast() { enterMode(0); }
void WizardController::recoverFilesAdvanced() { enterMode(1); }
void WizardController::recoverPhotosFast() { enterMode(2); }
void WizardController::recoverPhotosAdvanced() { enterMode(3); }
void WizardController::recoverPartitionAndDrivesFast() { enterMode(4); }
void WizardController::recoverPartitionAndDrivesAdvanced() { enterMode(5); }

// ---- Drive list ----

std::string WizardController::drivesListHeading() const {
  switch (displayDrvOrVolOrBoth) {
    case 0: return "Please select volume to continue...";
    case 1: return "Please select disk to continue...";
    case 2: return "Please select disk / volume to continue...";
    default: return "";
  }
}

void WizardController::runSheetForDrivesLoading() {
  drivesListSelection_ = -1;
  view_.deselect(WizardTable::kDrivesList);
  if (!autoStartAfterRawCrash) {
    view_.setLoadingSheetVisible(true);
    loadDriveLists();
    // The sheet's end: the table may show rows again.
    zeroTableViewDrivesList_ = false;
    view_.setLoadingSheetVisible(false);
    view_.reloadTable(WizardTable::kDrivesList);
    if (scanMode < 6) view_.showTab("Drives List");
    // After the screen is shown: a list that takes the focus makes its first row current, and Next
    // must follow the selection, not that row.
    drivesListSelection_ = -1;
    view_.deselect(WizardTable::kDrivesList);
    view_.setEnabled(WizardControl::kDrivesListNext, false);
  }
  view_.setText(WizardField::kDrivesListHeading, drivesListHeading());
  // The drive sheet leaves the custom file type buttons visible but disabled in modes 4 and 5, and
  // hidden but enabled in the others.
  const bool customTypes = scanMode == 4 || scanMode == 5;
  view_.setEnabled(WizardControl::kAddFileType, !customTypes);
  view_.setHidden(WizardControl::kAddFileType, !customTypes);
  view_.setEnabled(WizardControl::kRemoveFileType, !customTypes);
  view_.setHidden(WizardControl::kRemoveFileType, !customTypes);
}

void WizardController::loadDriveLists() {
  drives = sources_.initialDriveList ? sources_.initialDriveList() : DriveListing{};
  deviceLists_.publish({drives.driveDictArray, drives.volumeDictArray});
  // The display attributes follow the mode.
  displayDrvOrVolOrBoth = scanMode == 4 ? 1 : scanMode == 3 ? 2 : 0;
}

void WizardController::refreshDrivesList() {
  zeroTableViewDrivesList_ = true;
  runSheetForDrivesLoading();
}

std::vector<DriveRow> WizardController::drivesListRows() const {
  if (zeroTableViewDrivesList_) return {};
  switch (scanMode) {
    case 4: return drives.driveDictArray;
    case 5: return drives.volumeDictArrayHFSOnly;
    case 3: {
      std::vector<DriveRow> rows;
      for (const DriveRow& drive : drives.driveDictArray) {
        rows.push_back(drive);
        rows.insert(rows.end(), drive.childVolumes.begin(), drive.childVolumes.end());
      }
      return rows;
    }
    default: return drives.volumeDictArray;
  }
}

void WizardController::nextButtonInDrivesListTabClicked() {
  isPTListOrPTScanListChosen = -1;
  const std::vector<DriveRow> rows = drivesListRows();
  if (autoStartAfterRawCrash && selectedVolume) {
    drivesListSelection_ = -1;
    for (std::size_t i = 0; i < rows.size(); ++i)
      if (rows[i].path == selectedVolume->path) {
        drivesListSelection_ = static_cast<int>(i);
        break;
      }
  }
  if (drivesListSelection_ < 0 || drivesListSelection_ >= static_cast<int>(rows.size())) {
    if (!autoStartAfterRawCrash) return;
  } else {
    selectedDriveRow = rows[static_cast<std::size_t>(drivesListSelection_)];
    if (selectedDriveRow.isVolume && selectedDriveRow.content == "-") {
      showAlert("Information", "Can not process this volume as it has some corruption");
      return;
    }
  }
  view_.setEnabled(WizardControl::kSignaturesNext, true);
  setSkipEnabled(true);
  prepareForScan();
}

void WizardController::setSkipEnabled(bool enabled) {
  skipEnabled_ = enabled;
  view_.setEnabled(WizardControl::kSignaturesSkip, enabled);
}

void WizardController::prepareForScan() {
  setSkipEnabled(true);
  MediaContext context{&ui_, &deviceLists_};
  const bool supported = selectedDriveRow.supportsFileSystemRecovery();
  switch (scanMode) {
    case 0:
    case 1:
      if (!autoStartAfterRawCrash) selectedVolume = Volume::initWithDictionary(selectedDriveRow.toDict(), context);
      if (!supported) {
        setSkipEnabled(false);
        prepareForSignatureSearch();
      } else if (scanMode == 0) {
        deselectAllSig();
        setSkipEnabled(false);
        sigSelNextClicked();  // the signature screen is never shown
      } else {
        prepareForSignatureSearch();
      }
      break;
    case 2:
    case 3:
      if (!autoStartAfterRawCrash) selectedVolume = Volume::initWithDictionary(selectedDriveRow.toDict(), context);
      if (selectedVolume) selectedVolume->setFilterTreeForMedia(true);
      if (!supported || scanMode == 3) setSkipEnabled(false);
      prepareForSignatureSearch();
      break;
    case 4:
      if (!autoStartAfterRawCrash) {
        readPartitionListOfSelectedDrive();
        view_.reloadTable(WizardTable::kPTList);
      }
      view_.showTab("PT list");
      // After the screen is shown: a list that takes the focus makes its first row current.
      if (!autoStartAfterRawCrash) {
        view_.deselect(WizardTable::kPTList);
        ptListSelection_ = -1;
        scanForVolumesBox_ = false;
        view_.setChecked(WizardControl::kScanForVolumesBox, false);
        view_.setEnabled(WizardControl::kPTListNext, false);
      }
      break;
    case 5:
      if (!autoStartAfterRawCrash) selectedVolume = Volume::initWithDictionary(selectedDriveRow.toDict(), context);
      treeScanModeAdvScanClicked();  // always advanced; "Tree scan mode" is never shown
      break;
    default: break;
  }
}

void WizardController::readPartitionListOfSelectedDrive() {
  auto drive = std::make_shared<MediaReader>();
  drive->initWithDictionary(selectedDriveRow.toDict(), MediaContext{&ui_, &deviceLists_});
  selectedDrive = drive;
  partitionListDictArray =
      sources_.partitionsOfDrive ? sources_.partitionsOfDrive(*drive) : std::vector<PartitionRow>{};
  for (PartitionRow& partition : partitionListDictArray) partition.takeDriveGeometry(selectedDriveRow);
}

// ---- Partition list and lost volumes ----

void WizardController::ptListNextClicked() {
  if (scanForVolumesBox_) {
    startVolumeScan();
    return;
  }
  if (ptListSelection_ < 0) return;
  volumeFromPTIsSelected();
}

void WizardController::volumeFromPTIsSelected() {
  if (ptListSelection_ < 0 || ptListSelection_ >= static_cast<int>(partitionListDictArray.size())) return;
  isPTListOrPTScanListChosen = 0;
  selectedVolume = Volume::initWithPartitionRow(partitionListDictArray[static_cast<std::size_t>(ptListSelection_)],
                                                MediaContext{&ui_, &deviceLists_});
  selectedDrive.reset();
  const std::string& content = selectedVolume->volumeContent;
  if (content.rfind("Apple", 0) == 0) {
    view_.showTab("Tree scan mode");
  } else if (content.rfind("FAT", 0) == 0) {
    treeScanMode = 0;
    prepareForSignatureSearch();
  }
}

void WizardController::showPTScanList(std::vector<PartitionRow> foundVolumes) {
  scanIsRunning = false;
  abortSheetVisible_ = false;
  stopElapsedTimeThread = true;
  completePTScanListEntries(foundVolumes);
  partitionScanListDictArray = std::move(foundVolumes);
  ptScanListSelection_ = -1;
  view_.reloadTable(WizardTable::kPTScanList);
  view_.setText(WizardField::kNumFoundVolumes, std::to_string(partitionScanListDictArray.size()));
  view_.showTab("PT scan list");
  ptScanListSelection_ = -1;
  view_.deselect(WizardTable::kPTScanList);
  view_.setEnabled(WizardControl::kPTScanListNext, false);
}

void WizardController::ptScanListNextClicked() {
  if (ptScanListSelection_ < 0) return;
  isPTListOrPTScanListChosen = 1;
  selectedVolume = Volume::initWithPartitionRow(
      partitionScanListDictArray[static_cast<std::size_t>(ptScanListSelection_)], MediaContext{&ui_, &deviceLists_});
  selectedDrive.reset();
  view_.showTab("Tree scan mode");
}

void WizardController::treeScanModeStdScanClicked() {
  treeScanMode = 0;
  prepareForSignatureSearch();
}

void WizardController::treeScanModeAdvScanClicked() {
  treeScanMode = 1;
  prepareForSignatureSearch();
}

}  // namespace nua
