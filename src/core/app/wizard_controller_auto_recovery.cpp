// The controller's side of crash recovery: the pair written before each signature search, and a
// search interrupted by the end of the process read back and resumed without the user.
#include <algorithm>
#include <vector>

#include "app/wizard_controller.h"
#include "base/log.h"
#include "media/media_reader.h"
#include "save/destination_check.h"

namespace nua {
namespace {

// The largest record number in the tree, so that the resumed search numbers its finds past the ones
// the interrupted run appended.
std::uint32_t largestFileID(const Entry* root) {
  std::uint32_t largest = 0;
  std::vector<const Entry*> pending{root};
  while (!pending.empty()) {
    const Entry* entry = pending.back();
    pending.pop_back();
    if (entry == nullptr) continue;
    largest = std::max(largest, entry->fileID);
    for (const Entry* child : entry->childList) pending.push_back(child);
  }
  return largest;
}

}  // namespace

SignatureSearchRecovery WizardController::signatureSearchStarting(Volume& volume) {
  FolderOnSourceCheck onSource;
  if (folderOnSearchedDevice) {
    onSource = [this, &volume](const std::string& folder) { return folderOnSearchedDevice(volume, folder); };
  } else {
    onSource = [identity = sourceIdentityOf(volume)](const std::string& folder) {
      return identity.known && folderOnSource(identity, folder);
    };
  }
  RecoveryPairKeeper::Started started = recoveryPair_.searchStarting(volume, onSource);
  if (!started.error.empty()) {
    logLine("recovery pair not written: " + started.error);
    runAlertPanel({kRecoveryPairErrorTitle, kRecoveryPairErrorText, {"OK"}});
  }
  if (started.pair) {
    // A guard that can't start is no reason to stop: the search goes on, unguarded.
    if (SearchGuard* guard = searchGuard_.load()) {
      if (const std::string error = guard->guardSearch(*started.pair); !error.empty())
        logLine("search not guarded: " + error);
    }
    if (bringMainWindowToFront) mainThread_.post([this] { bringMainWindowToFront(); });
  }
  return std::move(started.recovery);
}

std::string WizardController::openScanInfoAutoRecoveryAndScan() { return resumeAutoRecovery(readAutoRecovery()); }

WizardController::AutoRecoveryRead WizardController::readAutoRecovery() {
  RecoveryPairLocation* location = recoveryPair_.location();
  if (location == nullptr) return {std::nullopt, "no folder for the recovery pair"};
  const RecoveryPairPaths paths = location->paths();
  if (!recoveryPairPresence(paths).both())
    return {std::nullopt, "no interrupted search to resume in " + paths.recoveryFile};
  // A pair whose search still runs is no crash's leftover: resuming it would run the search twice.
  if (recoveryPairInUse(paths)) {
    return {std::nullopt, "the search that keeps the recovery pair in " + paths.recoveryFile + " is still running"};
  }
  RecoveryPairReadResult read = openScanInfoAutoRecovery(paths);
  const bool resumable = read.ok() && read.data->rawSearchMode >= 1 && read.data->rawSearchMode <= 4 &&
                         read.data->scanMode >= 0;
  if (!resumable) {
    const std::string reason = read.ok() ? "the recovery pair names no signature search" : read.reason;
    removeRecoveryPair(paths);
    logLine("recovery pair removed: " + reason);
    return {std::nullopt, "the recovery pair could not be used and was removed: " + reason};
  }
  return {std::move(read.data), {}};
}

std::string WizardController::resumeAutoRecovery(AutoRecoveryRead read) {
  if (!read.data) return read.error;
  installAutoRecovery(std::move(*read.data));
  scanAutoRecovery();
  return {};
}

void WizardController::installAutoRecovery(RecoveryPairData data) {
  std::shared_ptr<Volume> volume = data.selectedVolume;
  volume->setContext(MediaContext{&ui_, &deviceLists_});
  volume->openedScanInfo = true;
  volume->arena = data.arena;
  volume->dirRoot = data.root;
  volume->counters.entryCount += data.entryCount;
  volume->counters.folderCount += data.folderCount;
  volume->counters.fileCount += data.fileCount;
  volume->counters.dataSize += data.dataSize;
  volume->maxFileID = std::max(volume->maxFileID, largestFileID(data.root));
  volume->tables.btreeFirstFileBlock = knownFileTable(data.knownFileKeys);
  joinFreeTree();
  selectedVolume = volume;
  selectedDrive.reset();
  mainScanStatus = data.mainScanStatus;
  treeScanMode = data.treeScanMode;
  scanMode = data.scanMode;
  rawSearchMode = data.rawSearchMode;
  isPTListOrPTScanListChosen = data.isPTListOrPTScanListChosen;
  partitionListDictArray = std::move(data.partitionListDictArray);
  partitionScanListDictArray = std::move(data.partitionScanListDictArray);
  autoRecSigExtArray = std::move(data.autoRecSigExtArray);
  autoRecMp3DoneArray = std::move(data.mp3DoneArray);
  autoRecMpgDoneArray = std::move(data.mpgDoneArray);
  autoRecBeginSize = data.autoRecBeginSize;
  if (data.appendedDropped != 0 || data.appendedCutShort)
    logLine("recovery pair: " + std::to_string(data.appendedDropped) + " appended records without a parent" +
            (data.appendedCutShort ? ", the last record cut short" : ""));
}

void WizardController::scanAutoRecovery() {
  autoStartAfterRawCrash = true;
  if (scanMode < 2) {
    recoverFiles();
  } else if (scanMode < 4) {
    recoverPhotos();
  } else {
    recoverPartitionAndDrives();
  }
  sigDataLoadCount = 0;
  loadSigData();
  selectAutoRecoveryExtensions();
  rawSliderNextClicked(true);
}

void WizardController::selectAutoRecoveryExtensions() {
  // Extensions the catalog no longer has are left out without a word.
  sigSelArray.clear();
  for (const auto& root : sigRootArray) {
    if (!root->children) continue;
    for (const auto& child : *root->children) {
      if (!child->sig) continue;
      if (std::find(autoRecSigExtArray.begin(), autoRecSigExtArray.end(), child->sig->extension) !=
          autoRecSigExtArray.end())
        sigSelArray.push_back(child);
    }
  }
  autoRecSigExtArray.clear();
}

}  // namespace nua
