#include "app/session_actions.h"

#include <sys/stat.h>

#include <ctime>
#include <filesystem>

#include "app/session_file_name.h"
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

SessionActions::SessionActions(WizardController& controller)
    : controller_(controller), scanInfoThread_(controller.mainThread_) {}

// ---- Saving ----

std::string SessionActions::suggestedScanInfoFileName() {
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

bool SessionActions::scanInfoSaved() const {
  return controller_.selectedVolume && scanInfoSavedVolume_.lock() == controller_.selectedVolume;
}

void SessionActions::changeSessionScreen(const std::function<void(SessionScreen&)>& change) {
  controller_.mainThread_.postAndWait([this, &change] {
    change(sessionScreen_);
    if (controller_.sessionScreenChanged) controller_.sessionScreenChanged();
  });
}

void SessionActions::save(const std::string& path) {
  if (!controller_.selectedVolume || controller_.selectedVolume->dirRoot == nullptr || scanInfoThread_.running())
    return;
  changeSessionScreen([](SessionScreen& s) {
    s.saveScanButton = s.buttonTreeBackToPartitions = s.previewButton = s.saveButton = s.stopSaveButton = false;
    s.indeterminate = false;
  });
  controller_.scanInfoOrSavingNotProcessing = false;
  scanInfoThread_.start([this, path] { saveScanInfo(path); });
}

// Relays the writer's and reader's steps to the sheet's indicator on the main thread.
class SessionActions::SessionSheetProgress : public SessionProgress {
 public:
  explicit SessionSheetProgress(SessionActions& actions) : actions_(actions) {}
  void setMaxValue(double maxValue) override {
    actions_.changeSessionScreen([maxValue](SessionScreen& s) {
      s.indeterminate = false;
      s.maxValue = maxValue;
      s.doubleValue = 0.0;
    });
  }
  void incrementBy(double step) override {
    actions_.changeSessionScreen([step](SessionScreen& s) { s.doubleValue += step; });
  }

 private:
  SessionActions& actions_;
};

void SessionActions::saveScanInfo(const std::string& path) {
  changeSessionScreen([](SessionScreen& s) {
    s.savingSheetVisible = true;
    s.indeterminate = true;
  });
  // What is written is gathered on the main thread, which owns it; the tree itself stays still while
  // scanInfoOrSavingNotProcessing is clear.
  SessionContents contents;
  Entry* root = nullptr;
  std::string parentDrivePath;
  controller_.mainThread_.postAndWait([&] {
    if (controller_.selectedVolume)
      parentDrivePath = controller_.selectedDriveRow.parentDrivePath.empty()
                            ? controller_.selectedVolume->parentDrivePath
                            : controller_.selectedDriveRow.parentDrivePath;
    contents.volume = controller_.selectedVolume;
    contents.scanMode = controller_.scanMode;
    contents.rawSearchMode = controller_.rawSearchMode;
    contents.isPTListOrPTScanListChosen = controller_.isPTListOrPTScanListChosen;
    contents.partitionListDictArray = controller_.partitionListDictArray;
    contents.partitionScanListDictArray = controller_.partitionScanListDictArray;
    root = controller_.selectedVolume ? controller_.selectedVolume->dirRoot : nullptr;
  });
  const Volume& volume = *contents.volume;
  const std::int32_t type = volume.volumeScanType;
  contents.hasFirst5Sectors = type >= 0 && type <= 3;
  if (contents.hasFirst5Sectors) {
    // A reopened session whose drive was not found keeps the sectors it came with: reading them from
    // nothing would leave a session that can never find its drive again.
    if (volume.openedScanInfo && (controller_.driveNotConnected || controller_.volumeNotConnected) &&
        !controller_.first5Sectors.empty()) {
      contents.first5Sectors = controller_.first5Sectors;
    } else {
      contents.first5Sectors = readFirst5Sectors(type == 2 ? parentDrivePath : volume.path, volume.u32BytesInSector);
    }
  }
  SessionSheetProgress progress(*this);
  const SessionWriteResult written = nua::saveScanInfo(path, contents, root, controller_.scanInfoEntryCount, &progress);

  changeSessionScreen([&](SessionScreen& s) {
    s.savingSheetVisible = false;
    s.textFieldTreeStatus = written.ok ? "Recovery Session Saved" : " ";
    s.textFieldSavedData = " ";
    s.doubleValue = 0.0;
    s.saveScanButton = s.buttonTreeBackToPartitions = s.previewButton = true;
    s.saveButton = root != nullptr && root->selected == 1;
  });
  controller_.scanInfoOrSavingNotProcessing = true;
  if (!written.ok) {
    controller_.runAlertPanel({"! Error", "The recovery session file could not be saved: " + written.error, {"OK"}});
    return;
  }
  controller_.runAlertPanel(
      {"Recovery Session File Saved",
       formatText("Saving location: %@\n\nTo reload the saved recovery session file, Launch Nua Recovery "
                  "Software, then File Menu->Open Recovery Session or Press (Ctrl+O) OR \"double "
                  "click\" the file from the stored path.",
                  {path}),
       {"OK"}});
  controller_.mainThread_.postAndWait([this, volume = contents.volume] { scanInfoSavedVolume_ = volume; });
}

// ---- Opening ----

bool SessionActions::open() {
  if (controller_.view_.selectedTabIdentifier() != "Main Screen") {
    (void)controller_.ui_.runAlertPanel(kCanNotOpenNow);
    return false;
  }
  return !scanInfoThread_.running();
}

bool SessionActions::checkScanInfoHeader(const std::string& path) {
  const SessionHeaderCheck check = checkSessionHeader(path);
  switch (check.status) {
    case SessionHeaderStatus::kComplete: return true;
    case SessionHeaderStatus::kIncomplete:
      (void)controller_.ui_.runAlertPanel({"! Error", "This recovery session file is incomplete.", {"OK"}});
      return false;
    case SessionHeaderStatus::kForeign:
      (void)controller_.ui_.runAlertPanel(
          {"! Error",
           formatText("This recovery session file belongs to %@. Can not process.", {check.identity}),
           {"OK"}});
      return false;
    case SessionHeaderStatus::kDamaged: break;
  }
  (void)controller_.ui_.runAlertPanel(
      {"! Error", "This recovery session file is damaged and can not be opened.", {"OK"}});
  return false;
}

void SessionActions::open(const std::string& path) {
  if (scanInfoThread_.running() || !checkScanInfoHeader(path)) return;
  controller_.view_.showTab("Tree");
  changeSessionScreen([](SessionScreen& s) {
    s.saveScanButton = s.previewButton = s.saveButton = s.stopSaveButton = s.buttonTreeBackToPartitions = false;
    s.textFieldTotalData = s.textFieldMarkedData = s.textFieldSavedData = " ";
  });
  controller_.scanInfoOrSavingNotProcessing = false;
  scanInfoThread_.start([this, path] { openScanInfo(path); });
}

void SessionActions::openScanInfoFile(const std::string& path) {
  if (!isSessionFileName(path)) return;
  if (controller_.view_.selectedTabIdentifier() != "Main Screen") {
    (void)controller_.ui_.runAlertPanel(kCanNotOpenNow);
    return;
  }
  open(path);
}

void SessionActions::openScanInfo(const std::string& path) {
  changeSessionScreen([](SessionScreen& s) {
    s.loadingSheetVisible = true;
    s.indeterminate = true;
  });
  SessionSheetProgress progress(*this);
  SessionReadResult read = readScanInfo(path, &progress);
  if (!read.ok()) {
    // Nothing of the file is kept: the screen goes back to where the open began.
    changeSessionScreen([](SessionScreen& s) { s = SessionScreen{}; });
    controller_.scanInfoOrSavingNotProcessing = true;
    controller_.runAlertPanel({"! Error", "This recovery session file is damaged and can not be opened.", {"OK"}});
    controller_.mainThread_.postAndWait([this] { controller_.view_.showTab("Main Screen"); });
    return;
  }
  SessionData& data = *read.data;
  SessionContents& c = data.contents;
  controller_.scanInfoEntryCount = data.scanInfoEntryCount;
  changeSessionScreen([](SessionScreen& s) { s.indeterminate = true; });
  Entry* root = setSelectedVolumeDirRoot(data.root, *data.arena);
  std::shared_ptr<Volume> volume = mutableCopyOfVolume(*c.volume);
  volume->openedScanInfo = true;
  volume->arena = data.arena;
  volume->dirRoot = root;
  volume->setContext(MediaContext{&controller_.ui_, &controller_.deviceLists_});

  controller_.mainThread_.postAndWait([&] {
    controller_.joinFreeTree();
    controller_.selectedVolume = volume;
    controller_.selectedDrive.reset();
    controller_.scanMode = c.scanMode;
    controller_.rawSearchMode = c.rawSearchMode;
    controller_.isPTListOrPTScanListChosen = c.isPTListOrPTScanListChosen;
    controller_.partitionListDictArray = c.partitionListDictArray;
    controller_.partitionScanListDictArray = c.partitionScanListDictArray;
    controller_.first5Sectors = c.first5Sectors;
    controller_.dirRootTemp = root;
    scanInfoSavedVolume_ = volume;
    controller_.fileTypesToggleTitle = "File Types View";
    controller_.showDeletedToggleTitle = "Show Deleted";
    controller_.progressScreen_.treeTotal =
        formatText("%@ in %@ Files", {sizeText(root->fileSize), std::to_string(root->fileCount)});
    controller_.view_.showTab("Tree");
  });
  changeSessionScreen([&](SessionScreen& s) {
    s.loadingSheetVisible = false;
    s.doubleValue = 0.0;
    s.buttonTreeBackToPartitions = true;
    s.saveButton = data.rootSelected == 1;
    s.textFieldTotalData = controller_.progressScreen_.treeTotal;
    ++s.treeGeneration;
  });
  controller_.scanInfoOrSavingNotProcessing = true;
  refindScanInfoSource(*volume, c.hasFirst5Sectors);
  changeSessionScreen([](SessionScreen& s) { s.textFieldTreeStatus = "Recovery Session Opened"; });
  controller_.runAlertPanel({"Recovery Session Opened", formatText("From File: %@", {path}), {"OK"}});
}

void SessionActions::refindScanInfoSource(Volume& volume, bool withFirstSectors) {
  DriveListing listing =
      controller_.sources_.initialDriveList ? controller_.sources_.initialDriveList() : DriveListing{};
  addSessionImage(listing, volume.volumeScanType == 2 ? volume.parentDrivePath : volume.path);
  controller_.driveNotConnected = controller_.volumeNotConnected = controller_.foundDrivePathIsDifferent = false;
  controller_.foundDriveDictArrayIndex = controller_.foundVolumeDictArrayIndex = -1;

  if (volume.volumeScanType == 2) {
    const VolumeAvailability found = checkVolumeAvailability(listing.volumeDictArray, volume.sizeInSect,
                                                             volume.volumeName, volume.u32BytesInSector, volume.path);
    controller_.foundVolumeDictArrayIndex = found.foundVolumeDictArrayIndex;
    controller_.volumeNotConnected = found.foundVolumeDictArrayIndex < 0;
    if (!controller_.volumeNotConnected && withFirstSectors && isImageFile(volume.parentDrivePath)) {
      // An image is found by its path; its first sectors tell whether it still holds the same disk.
      const DriveRow& entry = listing.volumeDictArray[static_cast<std::size_t>(found.foundVolumeDictArrayIndex)];
      const std::string parent = entry.parentDrivePath.empty() ? entry.path : entry.parentDrivePath;
      controller_.volumeNotConnected = readFirst5Sectors(parent, volume.u32BytesInSector) != controller_.first5Sectors;
    }
    controller_.foundDrivePathIsDifferent = !controller_.volumeNotConnected && found.foundDrivePathIsDifferent;
    if (controller_.volumeNotConnected) {
      controller_.runAlertPanel(
          {"Volume Not Mounted",
           formatText("The volume \"%@\" to which this recovery session belongs is not mounted. So saving and "
                      "preview will not work. Please mount the volume and restart Solvo Recovery.",
                      {volume.volumeName}),
           {"OK"}});
    } else if (controller_.foundDrivePathIsDifferent) {
      const std::string moved =
          listing.volumeDictArray[static_cast<std::size_t>(found.foundVolumeDictArrayIndex)].path;
      controller_.mainThread_.postAndWait([&] { volume.path = moved; });
    }
  } else if (withFirstSectors) {
    controller_.foundDriveDictArrayIndex =
        checkDriveAvailability(listing.driveDictArray, controller_.first5Sectors, volume.u32BytesInSector);
    controller_.driveNotConnected = controller_.foundDriveDictArrayIndex < 0;
    controller_.foundDrivePathIsDifferent =
        checkDrivePath(volume.path, listing.driveDictArray, controller_.foundDriveDictArrayIndex);
    if (controller_.driveNotConnected) {
      controller_.runAlertPanel(
          {"Drive Not Connected",
           "The drive to which this recovery session belongs is either not connected or has been modified "
           "in any way. So saving and preview will not work. Please connect the drive and restart Solvo "
           "Recovery.",
           {"OK"}});
    } else if (controller_.foundDrivePathIsDifferent) {
      const std::string moved =
          listing.driveDictArray[static_cast<std::size_t>(controller_.foundDriveDictArrayIndex)].path;
      controller_.mainThread_.postAndWait([&] {
        replaceDrivePathInRows(controller_.partitionListDictArray, volume.path, moved);
        replaceDrivePathInRows(controller_.partitionScanListDictArray, volume.path, moved);
        volume.path = moved;
      });
    }
  }
  // The readers tell a bad spot from a vanished device by these lists, so they must name the source.
  controller_.mainThread_.postAndWait([&] {
    controller_.drives = listing;
    controller_.deviceLists_.publish({listing.driveDictArray, listing.volumeDictArray});
  });
}

void SessionActions::joinScanInfoThread() { scanInfoThread_.join(); }

}  // namespace nua
