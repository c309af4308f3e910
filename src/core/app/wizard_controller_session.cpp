// The controller's recovery session flows: saving the shown result into a session file, and opening
// one again without scanning, with the checks, alerts and screens around them.
#include <sys/stat.h>

#include <ctime>
#include <filesystem>

#include "app/wizard_controller.h"
#include "base/text.h"
#include "media/drive_finder.h"
#include "media/image_media.h"
#include "media/linux_media_source.h"
#include "media/volume_checks.h"
#include "session/device_refind.h"
#include "session/session_reader.h"
#include "session/session_tree.h"
#include "session/session_writer.h"
#include "session/volume_coding.h"

namespace nua {
namespace {

const Alert kCanNotOpenNow{
    "! Can not open recovery session file now",
    "Nua Recovery Software is at a stage where it can not open this recovery session file. For opening this file "
    "either return to the main screen and then launch the file or quit Nua Recovery Software and launch the file "
    "again.",
    {"OK"}};

bool isImageFile(const std::string& path) {
  struct stat st{};
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// The lists with an image added when the session's source is an image file that isn't listed yet:
// images join the lists only when named, and a session names its own.
void addSessionImage(DriveListing& listing, const std::string& path) {
  if (!isImageFile(path)) return;
  for (const DriveRow& drive : listing.driveDictArray)
    if (drive.path == path) return;
  LinuxPathRules rules;
  DeviceVolumeProbe probe("");
  DriveFinder finder(rules, probe);
  finder.extraMedia = imageMediaEntries(path);
  finder.buildLists();
  for (const Dict& drive : finder.driveDictArray) listing.driveDictArray.push_back(DriveRow::fromDict(drive));
  for (const Dict& volume : finder.volumeDictArray) listing.volumeDictArray.push_back(DriveRow::fromDict(volume));
}

}  // namespace

// ---- Saving ----

std::string WizardController::suggestedScanInfoFileName() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[64];
  std::strftime(stamp, sizeof stamp, "%B %d, %Y, %I_%M_%S %p", &local);
  std::string text = stamp;
  // "h" of the date format has no leading zero.
  const std::size_t hour = text.find(", ", text.find(", ") + 2) + 2;
  if (hour < text.size() && text[hour] == '0') text.erase(hour, 1);
  return formatText("Nua recovery session %@", {text});
}

bool WizardController::scanInfoSaved() const {
  return selectedVolume && scanInfoSavedVolume_.lock() == selectedVolume;
}

void WizardController::changeSessionScreen(const std::function<void(SessionScreen&)>& change) {
  mainThread_.postAndWait([this, &change] {
    change(sessionScreen_);
    if (sessionScreenChanged) sessionScreenChanged();
  });
}

void WizardController::save(const std::string& path) {
  if (!selectedVolume || selectedVolume->dirRoot == nullptr || scanInfoThread_.running()) return;
  changeSessionScreen([](SessionScreen& s) {
    s.saveScanButton = s.buttonTreeBackToPartitions = s.previewButton = s.saveButton = s.stopSaveButton = false;
    s.indeterminate = false;
  });
  scanInfoOrSavingNotProcessing = false;
  scanInfoThread_.start([this, path] { saveScanInfo(path); });
}

// Relays the writer's and reader's steps to the sheet's indicator on the main thread.
class WizardController::SessionSheetProgress : public SessionProgress {
 public:
  explicit SessionSheetProgress(WizardController& controller) : controller_(controller) {}
  void setMaxValue(double maxValue) override {
    controller_.changeSessionScreen([maxValue](SessionScreen& s) {
      s.indeterminate = false;
      s.maxValue = maxValue;
      s.doubleValue = 0.0;
    });
  }
  void incrementBy(double step) override {
    controller_.changeSessionScreen([step](SessionScreen& s) { s.doubleValue += step; });
  }

 private:
  WizardController& controller_;
};

void WizardController::saveScanInfo(const std::string& path) {
  changeSessionScreen([](SessionScreen& s) {
    s.savingSheetVisible = true;
    s.indeterminate = true;
  });
  // What is written is gathered on the main thread, which owns it; the tree itself stays still while
  // scanInfoOrSavingNotProcessing is clear.
  SessionContents contents;
  Entry* root = nullptr;
  std::string parentDrivePath;
  mainThread_.postAndWait([&] {
    if (selectedVolume)
      parentDrivePath = selectedDriveRow.parentDrivePath.empty() ? selectedVolume->parentDrivePath
                                                                 : selectedDriveRow.parentDrivePath;
    contents.volume = selectedVolume;
    contents.scanMode = scanMode;
    contents.rawSearchMode = rawSearchMode;
    contents.isPTListOrPTScanListChosen = isPTListOrPTScanListChosen;
    contents.partitionListDictArray = partitionListDictArray;
    contents.partitionScanListDictArray = partitionScanListDictArray;
    root = selectedVolume ? selectedVolume->dirRoot : nullptr;
  });
  const Volume& volume = *contents.volume;
  const std::int32_t type = volume.volumeScanType;
  contents.hasFirst5Sectors = type >= 0 && type <= 3;
  if (contents.hasFirst5Sectors) {
    // A reopened session whose drive was not found keeps the sectors it came with: reading them from
    // nothing would leave a session that can never find its drive again.
    if (volume.openedScanInfo && (driveNotConnected || volumeNotConnected) && !first5Sectors.empty()) {
      contents.first5Sectors = first5Sectors;
    } else {
      contents.first5Sectors = readFirst5Sectors(type == 2 ? parentDrivePath : volume.path, volume.u32BytesInSector);
    }
  }
  SessionSheetProgress progress(*this);
  const SessionWriteResult written = nua::saveScanInfo(path, contents, root, scanInfoEntryCount, &progress);

  changeSessionScreen([&](SessionScreen& s) {
    s.savingSheetVisible = false;
    s.textFieldTreeStatus = written.ok ? "Recovery Session Saved" : " ";
    s.textFieldSavedData = " ";
    s.doubleValue = 0.0;
    s.saveScanButton = s.buttonTreeBackToPartitions = s.previewButton = true;
    s.saveButton = root != nullptr && root->selected == 1;
  });
  scanInfoOrSavingNotProcessing = true;
  if (!written.ok) {
    runAlertPanel({"! Error", "The recovery session file could not be saved: " + written.error, {"OK"}});
    return;
  }
  runAlertPanel({"Recovery Session File Saved",
                 formatText("Saving location: %@\n\nTo reload the saved recovery session file, Launch Nua Recovery "
                            "Software, then File Menu->Open Recovery Session or Press (Ctrl+O) OR \"double "
                            "click\" the file from the stored path.",
                            {path}),
                 {"OK"}});
  mainThread_.postAndWait([this, volume = contents.volume] { scanInfoSavedVolume_ = volume; });
}

// ---- Opening ----

bool WizardController::open() {
  if (view_.selectedTabIdentifier() != "Main Screen") {
    (void)ui_.runAlertPanel(kCanNotOpenNow);
    return false;
  }
  return !scanInfoThread_.running();
}

bool WizardController::checkScanInfoHeader(const std::string& path) {
  const SessionHeaderCheck check = checkSessionHeader(path);
  switch (check.status) {
    case SessionHeaderStatus::kComplete: return true;
    case SessionHeaderStatus::kIncomplete:
      (void)ui_.runAlertPanel({"! Error", "This recovery session file is incomplete.", {"OK"}});
      return false;
    case SessionHeaderStatus::kForeign:
      (void)ui_.runAlertPanel(
          {"! Error", formatText("This recovery session file belongs to %@. Can not process.", {check.identity}), {"OK"}});
      return false;
    case SessionHeaderStatus::kDamaged: break;
  }
  (void)ui_.runAlertPanel({"! Error", "This recovery session file is damaged and can not be opened.", {"OK"}});
  return false;
}

void WizardController::open(const std::string& path) {
  if (scanInfoThread_.running() || !checkScanInfoHeader(path)) return;
  view_.showTab("Tree");
  changeSessionScreen([](SessionScreen& s) {
    s.saveScanButton = s.previewButton = s.saveButton = s.stopSaveButton = s.buttonTreeBackToPartitions = false;
    s.textFieldTotalData = s.textFieldMarkedData = s.textFieldSavedData = " ";
  });
  scanInfoOrSavingNotProcessing = false;
  scanInfoThread_.start([this, path] { openScanInfo(path); });
}

void WizardController::openScanInfoFile(const std::string& path) {
  if (std::filesystem::path(path).extension() != std::string(".") + kScanInfoFileExtension) return;
  if (view_.selectedTabIdentifier() != "Main Screen") {
    (void)ui_.runAlertPanel(kCanNotOpenNow);
    return;
  }
  open(path);
}

void WizardController::openScanInfo(const std::string& path) {
  changeSessionScreen([](SessionScreen& s) {
    s.loadingSheetVisible = true;
    s.indeterminate = true;
  });
  SessionSheetProgress progress(*this);
  SessionReadResult read = readScanInfo(path, &progress);
  if (!read.ok()) {
    // Nothing of the file is kept: the screen goes back to where the open began.
    changeSessionScreen([](SessionScreen& s) {
      s = SessionScreen{};
    });
    scanInfoOrSavingNotProcessing = true;
    runAlertPanel({"! Error", "This recovery session file is damaged and can not be opened.", {"OK"}});
    mainThread_.postAndWait([this] { view_.showTab("Main Screen"); });
    return;
  }
  SessionData& data = *read.data;
  SessionContents& c = data.contents;
  scanInfoEntryCount = data.scanInfoEntryCount;
  changeSessionScreen([](SessionScreen& s) { s.indeterminate = true; });
  Entry* root = setSelectedVolumeDirRoot(data.root, *data.arena);
  std::shared_ptr<Volume> volume = mutableCopyOfVolume(*c.volume);
  volume->openedScanInfo = true;
  volume->arena = data.arena;
  volume->dirRoot = root;
  volume->setContext(MediaContext{&ui_, &deviceLists_});

  mainThread_.postAndWait([&] {
    joinFreeTree();
    selectedVolume = volume;
    selectedDrive.reset();
    scanMode = c.scanMode;
    rawSearchMode = c.rawSearchMode;
    isPTListOrPTScanListChosen = c.isPTListOrPTScanListChosen;
    partitionListDictArray = c.partitionListDictArray;
    partitionScanListDictArray = c.partitionScanListDictArray;
    first5Sectors = c.first5Sectors;
    dirRootTemp = root;
    scanInfoSavedVolume_ = volume;
    fileTypesToggleTitle = "File Types View";
    showDeletedToggleTitle = "Show Deleted";
    progressScreen_.treeTotal = formatText("%@ in %@ Files", {sizeText(root->fileSize), std::to_string(root->fileCount)});
    view_.showTab("Tree");
  });
  changeSessionScreen([&](SessionScreen& s) {
    s.loadingSheetVisible = false;
    s.doubleValue = 0.0;
    s.buttonTreeBackToPartitions = true;
    s.saveButton = data.rootSelected == 1;
    s.textFieldTotalData = progressScreen_.treeTotal;
    ++s.treeGeneration;
  });
  scanInfoOrSavingNotProcessing = true;
  refindScanInfoSource(*volume, c.hasFirst5Sectors);
  changeSessionScreen([](SessionScreen& s) { s.textFieldTreeStatus = "Recovery Session Opened"; });
  runAlertPanel({"Recovery Session Opened", formatText("From File: %@", {path}), {"OK"}});
}

void WizardController::refindScanInfoSource(Volume& volume, bool withFirstSectors) {
  DriveListing listing = sources_.initialDriveList ? sources_.initialDriveList() : DriveListing{};
  addSessionImage(listing, volume.volumeScanType == 2 ? volume.parentDrivePath : volume.path);
  driveNotConnected = volumeNotConnected = foundDrivePathIsDifferent = false;
  foundDriveDictArrayIndex = foundVolumeDictArrayIndex = -1;

  if (volume.volumeScanType == 2) {
    const VolumeAvailability found = checkVolumeAvailability(listing.volumeDictArray, volume.sizeInSect,
                                                             volume.volumeName, volume.u32BytesInSector, volume.path);
    foundVolumeDictArrayIndex = found.foundVolumeDictArrayIndex;
    volumeNotConnected = found.foundVolumeDictArrayIndex < 0;
    if (!volumeNotConnected && withFirstSectors && isImageFile(volume.parentDrivePath)) {
      // An image is found by its path; its first sectors tell whether it still holds the same disk.
      const DriveRow& entry = listing.volumeDictArray[static_cast<std::size_t>(found.foundVolumeDictArrayIndex)];
      const std::string parent = entry.parentDrivePath.empty() ? entry.path : entry.parentDrivePath;
      volumeNotConnected = readFirst5Sectors(parent, volume.u32BytesInSector) != first5Sectors;
    }
    foundDrivePathIsDifferent = !volumeNotConnected && found.foundDrivePathIsDifferent;
    if (volumeNotConnected) {
      runAlertPanel({"Volume Not Mounted",
                     formatText("The volume \"%@\" to which this recovery session belongs is not mounted. So saving and "
                                "preview will not work. Please mount the volume and restart Solvo Recovery.",
                                {volume.volumeName}),
                     {"OK"}});
    } else if (foundDrivePathIsDifferent) {
      const std::string moved =
          listing.volumeDictArray[static_cast<std::size_t>(found.foundVolumeDictArrayIndex)].path;
      mainThread_.postAndWait([&] { volume.path = moved; });
    }
  } else if (withFirstSectors) {
    foundDriveDictArrayIndex = checkDriveAvailability(listing.driveDictArray, first5Sectors, volume.u32BytesInSector);
    driveNotConnected = foundDriveDictArrayIndex < 0;
    foundDrivePathIsDifferent = checkDrivePath(volume.path, listing.driveDictArray, foundDriveDictArrayIndex);
    if (driveNotConnected) {
      runAlertPanel({"Drive Not Connected",
                     "The drive to which this recovery session belongs is either not connected or has been modified "
                     "in any way. So saving and preview will not work. Please connect the drive and restart Solvo "
                     "Recovery.",
                     {"OK"}});
    } else if (foundDrivePathIsDifferent) {
      const std::string moved = listing.driveDictArray[static_cast<std::size_t>(foundDriveDictArrayIndex)].path;
      mainThread_.postAndWait([&] {
        replaceDrivePathInRows(partitionListDictArray, volume.path, moved);
        replaceDrivePathInRows(partitionScanListDictArray, volume.path, moved);
        volume.path = moved;
      });
    }
  }
  // The readers tell a bad spot from a vanished device by these lists, so they must name the source.
  mainThread_.postAndWait([&] {
    drives = listing;
    deviceLists_.publish({listing.driveDictArray, listing.volumeDictArray});
  });
}

void WizardController::joinScanInfoThread() { scanInfoThread_.join(); }

}  // namespace nua
