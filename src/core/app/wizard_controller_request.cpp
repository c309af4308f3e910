// The controller's typed front door: a ScanRequest goes through the same decisions as the clicks on
// "Drives List", "PT list", "Tree scan mode", "Signatures" and "Raw slider", without showing them.
#include "app/drive_discovery.h"
#include "app/wizard_controller.h"
#include "media/media_reader.h"
#include "volume/volume.h"

namespace nua {
namespace {

// The drive row of `path` ("WhetherDiskDict"), as the drive list offers it.
int diskRowWithPath(const std::vector<DriveRow>& rows, const std::string& path) {
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (rows[i].path == path && rows[i].isWholeDisk) return static_cast<int>(i);
  return -1;
}

int rowWithStart(const std::vector<PartitionRow>& rows, std::uint64_t start) {
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (rows[i].volumeStart == start) return static_cast<int>(i);
  return -1;
}

bool contentIs(const Volume& volume, const char* prefix) { return volume.volumeContent.rfind(prefix, 0) == 0; }

}  // namespace

std::string WizardController::startLostVolumeSearch(const std::string& targetPath) {
  if (scanIsRunning) return "a scan is running";
  scanMode = 4;
  treeScanMode = -1;
  isPTListOrPTScanListChosen = -1;
  loadDriveLists();
  zeroTableViewDrivesList_ = false;
  const int driveRow = diskRowWithPath(drives.driveDictArray, targetPath);
  if (driveRow < 0) return targetPath + " cannot be read as a disk or disk image";
  selectedDriveRow = drives.driveDictArray[static_cast<std::size_t>(driveRow)];
  readPartitionListOfSelectedDrive();
  startVolumeScan();
  return {};
}

ScanRequestResult WizardController::runScanRequest(const ScanRequest& request) {
  if (request.scanMode < 0 || request.scanMode > 5) return {false, "no scan mode " + std::to_string(request.scanMode)};
  // One scan at a time, as the wizard's screens allow.
  if (scanIsRunning) return {false, "a scan is running"};
  bool signatureScreenShown = true;
  bool skipOffered = true;
  ScanRequestResult selected = selectRequestVolume(request, signatureScreenShown, skipOffered);
  if (!selected.error.empty() || !selectedVolume) return selected;
  return startRequestedScan(request, signatureScreenShown, skipOffered);
}

ScanRequestResult WizardController::selectRequestVolume(const ScanRequest& request, bool& signatureScreenShown,
                                                        bool& skipOffered) {
  const std::string& target = request.targetPath;
  const auto row = static_cast<std::size_t>(request.row < 0 ? 0 : request.row);
  selectedVolume.reset();
  if (request.rowKind == ScanTargetRow::kLostVolume) {
    // The search has run (startLostVolumeSearch); the row comes from what it found.
    if (request.scanMode != 4) return {false, "lost volumes are scanned by partition recovery"};
    if (row >= partitionScanListDictArray.size())
      return {false, "the search found " + std::to_string(partitionScanListDictArray.size()) + " lost volumes on " +
                         target + "; there is no row " + std::to_string(row)};
    isPTListOrPTScanListChosen = 1;
    selectedVolume = Volume::initWithPartitionRow(partitionScanListDictArray[row], MediaContext{&ui_, &deviceLists_});
    selectedDrive.reset();
    treeScanMode = request.treeScanMode;
    return {};
  }

  scanMode = request.scanMode;
  treeScanMode = -1;
  isPTListOrPTScanListChosen = -1;
  loadDriveLists();
  zeroTableViewDrivesList_ = false;
  const int driveRow = diskRowWithPath(drives.driveDictArray, target);
  if (driveRow < 0) return {false, target + " cannot be read as a disk or disk image"};

  if (scanMode == 4) {
    if (request.rowKind != ScanTargetRow::kPartition && request.rowKind != ScanTargetRow::kVolume)
      return {false, "partition recovery scans a partition or volume row"};
    selectedDriveRow = drives.driveDictArray[static_cast<std::size_t>(driveRow)];
    readPartitionListOfSelectedDrive();
    std::size_t partitionRow = row;
    if (request.rowKind == ScanTargetRow::kVolume) {
      // A volume of the disk is one of its partitions: the row where that volume starts.
      std::string error;
      const Dict chosen = scanTargetDict(target, -1, static_cast<int>(row), error);
      if (chosen.empty()) return {false, error};
      const int found = rowWithStart(partitionListDictArray, chosen.uint64("Volume Start"));
      // Partition lists hold HFS+ partitions only; a FAT volume's tree comes from the files mode.
      if (found < 0)
        return {false, "volume " + std::to_string(row) + " is not an HFS+ partition of " + target +
                           " (scan a FAT volume with --mode files)"};
      partitionRow = static_cast<std::size_t>(found);
    }
    if (partitionRow >= partitionListDictArray.size())
      return {false, target + " has " + std::to_string(partitionListDictArray.size()) +
                         " HFS+ partitions; there is no row " + std::to_string(partitionRow)};
    isPTListOrPTScanListChosen = 0;
    selectedVolume = Volume::initWithPartitionRow(partitionListDictArray[partitionRow], MediaContext{&ui_, &deviceLists_});
    selectedDrive.reset();
    // As on "PT list": HFS+ goes through "Tree scan mode", FAT takes the standard scan, the rest stays.
    if (contentIs(*selectedVolume, "Apple")) {
      treeScanMode = request.treeScanMode;
    } else if (contentIs(*selectedVolume, "FAT")) {
      treeScanMode = 0;
    } else {
      selectedVolume.reset();
    }
    return {};
  }

  const std::vector<DriveRow> rows = drivesListRows();
  int listRow = -1;
  if (request.rowKind == ScanTargetRow::kWholeDisk) {
    listRow = diskRowWithPath(rows, target);
    if (listRow < 0) return {false, "the disk " + target + " is not offered for this mode"};
  } else if (request.rowKind == ScanTargetRow::kVolume) {
    std::string error;
    const Dict chosen = scanTargetDict(target, -1, static_cast<int>(row), error);
    if (chosen.empty()) return {false, error};
    for (std::size_t i = 0; i < rows.size() && listRow < 0; ++i)
      if (rows[i].path == target && rows[i].isVolume &&
          rows[i].otherProperties.uint64(kVolumeStartKey) == chosen.uint64(kVolumeStartKey))
        listRow = static_cast<int>(i);
    if (listRow < 0) return {false, "volume " + std::to_string(row) + " of " + target + " is not offered for this mode"};
  } else {
    return {false, "a partition or lost volume is scanned by partition recovery"};
  }
  selectedDriveRow = rows[static_cast<std::size_t>(listRow)];
  if (selectedDriveRow.isVolume && selectedDriveRow.content == "-") {
    showAlert("Information", "Can not process this volume as it has some corruption");
    return {};
  }
  selectedVolume = Volume::initWithDictionary(selectedDriveRow.toDict(), MediaContext{&ui_, &deviceLists_});
  if (!selectedVolume) return {};
  const bool volumeSupports = selectedDriveRow.supportsFileSystemRecovery();
  if (request.fileSystemRecovery.value_or(false) && !volumeSupports) {
    selectedVolume.reset();
    return {false, "volume " + std::to_string(row) + " of " + target + " supports no file system recovery"};
  }
  const bool supported = request.fileSystemRecovery.value_or(volumeSupports);
  if (scanMode == 2 || scanMode == 3) selectedVolume->setFilterTreeForMedia(true);
  if (scanMode == 5) treeScanMode = 1;  // always advanced
  // The fast file recovery of a supported volume goes straight to its scan.
  signatureScreenShown = !(scanMode == 0 && supported);
  skipOffered = scanMode == 5 || (supported && scanMode != 3);
  return {};
}

ScanRequestResult WizardController::startRequestedScan(const ScanRequest& request, bool signatureScreenShown,
                                                       bool skipOffered) {
  const bool skipped = !signatureScreenShown || request.signatures == SignatureChoice::kSkip;
  if (signatureScreenShown && skipped && !skipOffered)
    return {false, "this volume needs a signature search, which --signatures skip leaves out"};
  sigRootArray.clear();
  sigSelArray.clear();
  if (!skipped) {
    loadSigData();
    for (const auto& root : sigRootArray) {
      if (!root->children) continue;
      for (const auto& child : *root->children) {
        bool wanted = request.signatures == SignatureChoice::kAll;
        for (const std::string& extension : request.signatureExtensions)
          wanted = wanted || (child->sig && child->sig->extension == extension);
        child->selected = wanted ? 1 : 0;
      }
    }
    gatherSigSelArray();
    if (sigSelArray.empty()) return {false, "none of the file types asked for is in the catalog"};
  }
  // The raw-search box is never offered to a fast photo recovery.
  const bool rangeAsked = request.rangeStart != 0.0f || request.rangeEnd != 100.0f;
  const bool supported = request.fileSystemRecovery.value_or(selectedVolume->supportsFileSystemRecovery);
  const SignatureStep step =
      decideSignatureStep(scanMode, selectedVolume->volumeScanType, supported, skipped, rangeAsked);
  if (step.then == SignatureStep::Then::kNothing) return {false, "this target is not scanned in this mode"};
  if (rangeAsked && (scanMode == 2 || step.then != SignatureStep::Then::kRawSlider))
    return {false, "this scan offers no range; it covers the whole target"};

  startSlider_ = 0.0f;
  endSlider_ = 100.0f;
  view_.setSliders(startSlider_, endSlider_);
  rawSearchMode = step.rawSearchMode;
  if (step.updateSliderTexts) updateSliderTexts();
  if (step.then == SignatureStep::Then::kRawSlider) setSliderValues(request.rangeStart, request.rangeEnd);
  rawSliderNextClicked();
  return {scanIsRunning.load(), {}};
}

}  // namespace nua
