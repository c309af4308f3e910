#include "app/wizard_plan.h"

#include <memory>

#include "app/wizard_controller.h"
#include "media/media_reader.h"
#include "signature/sig.h"

namespace nua {
namespace {

constexpr std::uint64_t kPlanSizeBytes = 64ULL * 1000 * 1000 * 1000;
constexpr const char* kDiskPath = "/dev/plan-disk";

class RecordingView : public NullWizardView {
 public:
  void showTab(const std::string& identifier) override {
    current = identifier;
    if (recording) screens.push_back(identifier);
  }
  bool recording = false;
  std::string current;
  std::vector<std::string> screens;
};

class RecordingLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry scanEntry, std::shared_ptr<Volume>, ScanArguments arguments) override {
    entry = scanEntryName(scanEntry);
    args = std::move(arguments);
  }
  void detachVolumeScan(std::shared_ptr<MediaReader>) override { volumeScanStarted = true; }
  std::string entry = "none";
  ScanArguments args;
  bool volumeScanStarted = false;
};

DriveRow diskRow() {
  DriveRow disk;
  disk.isWholeDisk = true;
  disk.path = kDiskPath;
  disk.sectorSizeBytes = 512;
  disk.sizeBytes = kPlanSizeBytes;
  disk.model = "Plan Disk";
  disk.serial = "0001";
  disk.revision = "1.0";
  disk.content = "GUID_partition_scheme";
  return disk;
}

DriveRow volumeRow(const WizardPlanRequest& r) {
  const bool hfs = r.content.rfind("Apple", 0) == 0;
  DriveRow volume;
  volume.isVolume = true;
  volume.path = "/dev/plan-volume";
  volume.sectorSizeBytes = 512;
  volume.sizeBytes = kPlanSizeBytes;
  volume.volumeName = "Untitled";
  volume.content = r.content;
  volume.journaled = hfs ? (r.fileSystemRecovery ? "Yes" : "No") : "-";
  volume.otherProperties.set("fileSystem", hfs ? 0 : 1);
  volume.fileSystemRecovery = r.fileSystemRecovery ? 1 : 0;
  volume.parentDrivePath = kDiskPath;
  return volume;
}

PartitionRow partitionRow(const WizardPlanRequest& r, PartitionScanType scanType) {
  PartitionRow row;
  row.scanType = scanType;
  row.path = kDiskPath;
  row.volumeName = "Untitled";
  row.volumeStart = 409640;
  row.sizeInSectors = 1000000;
  row.content = r.content;
  if (scanType == PartitionScanType::kVolumeSearch) row.alternateHeaderSector = 0;
  return row;
}

// A small stand-in catalog, so that "Next with types marked" can be planned before real catalogs load.
std::vector<std::shared_ptr<SigNode>> planCatalog() {
  auto category = std::make_shared<SigNode>();
  category->fileTypeSigNode = 1;
  category->category = "Images";
  auto type = std::make_shared<SigNode>();
  type->fileTypeSigNode = 2;
  type->category = "Images";
  type->sig = std::make_shared<Sig>();
  type->sig->category = "Images";
  type->sig->software = "JPEG Image";
  type->sig->extension = "jpg";
  category->addChild(type);
  return {category};
}

}  // namespace

Dict WizardPlanResult::toDict() const {
  DictArray screenValues(screens.begin(), screens.end());
  DictArray alertValues;
  for (const Alert& a : alerts) alertValues.emplace_back(Dict{{"title", a.title}, {"text", a.text}});
  Dict d{{"screens", screenValues}, {"rawSearchMode", rawSearchMode}, {"entry", entry}, {"args", args},
         {"alerts", alertValues}};
  if (!notes.empty()) d.set("notes", DictArray(notes.begin(), notes.end()));
  return d;
}

WizardPlanResult runWizardPlan(const WizardPlanRequest& r) {
  RecordingView view;
  RecordingUiBridge ui;
  RecordingLauncher launcher;
  MediaSources sources;
  sources.initialDriveList = [&r] {
    DriveListing listing;
    DriveRow disk = diskRow();
    if (r.volumeScanType == 2) {
      const DriveRow volume = volumeRow(r);
      disk.childVolumes.push_back(volume);
      listing.volumeDictArray.push_back(volume);
      if (r.content.rfind("Apple", 0) == 0) listing.volumeDictArrayHFSOnly.push_back(volume);
    }
    listing.driveDictArray.push_back(disk);
    return listing;
  };
  sources.partitionsOfDrive = [&r](MediaReader&) {
    return r.volumeScanType == 0 ? std::vector<PartitionRow>{partitionRow(r, PartitionScanType::kPartitionMap)}
                                 : std::vector<PartitionRow>{};
  };
  sources.loadSigData = [](int) { return planCatalog(); };

  WizardPlanResult result;
  WizardController controller(view, ui, launcher, sources);
  const int mode = r.scanMode;
  if (mode <= 1) controller.recoverFiles();
  else if (mode <= 3) controller.recoverPhotos();
  else controller.recoverPartitionAndDrives();
  switch (mode) {
    case 0: controller.recoverFilesFast(); break;
    case 1: controller.recoverFilesAdvanced(); break;
    case 2: controller.recoverPhotosFast(); break;
    case 3: controller.recoverPhotosAdvanced(); break;
    case 4: controller.recoverPartitionAndDrivesFast(); break;
    default: controller.recoverPartitionAndDrivesAdvanced(); break;
  }

  const std::vector<DriveRow> rows = controller.drivesListRows();
  const std::string wanted = r.volumeScanType == 2 ? "/dev/plan-volume" : kDiskPath;
  int row = -1;
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (rows[i].path == wanted && (r.volumeScanType == 2) == rows[i].isVolume) {
      row = static_cast<int>(i);
      break;
    }
  if (row < 0) {
    result.notes.push_back("the drive list of this mode does not offer this target");
    return result;
  }

  view.recording = true;
  controller.selectDrivesListRow(row);
  controller.nextButtonInDrivesListTabClicked();
  // Answer each screen as asked, until a scan starts or a screen stays put.
  for (int step = 0; step < 16 && launcher.entry == "none"; ++step) {
    const std::size_t shown = view.screens.size();
    const std::string screen = view.current;
    if (screen == "PT list") {
      if (r.volumeScanType == 1) {
        controller.checkBoxForScanForVolumesClicked(true);
        controller.ptListNextClicked();
        if (launcher.volumeScanStarted) controller.showPTScanList({partitionRow(r, PartitionScanType::kVolumeSearch)});
      } else {
        controller.selectPTListRow(0);
        controller.ptListNextClicked();
      }
    } else if (screen == "PT scan list") {
      controller.selectPTScanListRow(0);
      controller.ptScanListNextClicked();
    } else if (screen == "Tree scan mode") {
      if (r.advancedTreeScan) controller.treeScanModeAdvScanClicked();
      else controller.treeScanModeStdScanClicked();
    } else if (screen == "Signatures") {
      controller.setRawSearchBox(r.rawBox);
      if (r.rawBox && !controller.rawSearchBoxOn()) result.notes.push_back("the raw-search box is not offered here");
      if (!r.signaturesNext && controller.skipEnabled()) {
        controller.skipButtonSigTabClicked();
      } else {
        if (!r.signaturesNext) result.notes.push_back("Skip is not offered on \"Signatures\" here: Next taken");
        controller.selectAllSig();
        controller.sigSelNextClicked();
      }
    } else if (screen == "Raw slider") {
      controller.setSliderValues(r.rangeStart, r.rangeEnd);
      controller.rawSliderNextClicked();
    }
    if (view.screens.size() == shown && launcher.entry == "none") break;
  }

  result.screens = view.screens;
  result.rawSearchMode = controller.rawSearchMode;
  result.entry = launcher.entry;
  result.alerts = ui.alerts;
  result.args = plannedArguments(launcher.args);
  return result;
}

DictArray plannedArguments(const ScanArguments& arguments) {
  DictArray planned;
  for (const ScanArgument& arg : arguments) {
    if (auto n = std::get_if<std::int64_t>(&arg)) planned.emplace_back(*n);
    else if (auto s = std::get_if<std::string>(&arg)) planned.emplace_back(*s);
    else planned.emplace_back("sigSelArray");
  }
  return planned;
}

}  // namespace nua
