#include "app/scan_run.h"

#include "app/scan_entries.h"
#include "app/signature_search.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {

void startMakingTree(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  TicksDuringScan ticks(progress);
  if (!arguments.empty()) {
    const std::string* last = scanArgumentString(arguments, arguments.size() - 1);
    if (last != nullptr && *last == "auto") volume.autoCrashRecovery = true;
  }
  volume.resetSigArraysAndBtreesAndOthers();
  const std::string* mode = scanArgumentString(arguments, 0);
  volume.scanMode = mode != nullptr ? *mode : "Normal Scan";
  volume.treeScanMode = volume.scanMode == "Advanced Scan" ? 1 : 0;
  const bool signatureSearch = scanArgumentNumber(arguments, 1).value_or(0) != 0;

  if (!volume.autoCrashRecovery) {
    const std::string& content = volume.volumeContent;
    if (content.rfind("FAT", 0) == 0) {
      startMakingTreeFAT(volume, progress);
    } else if (content == "exFAT") {
      startMakingTreeExFAT(volume, progress);
    } else if (content.rfind("Apple", 0) == 0) {
      startMakingTreeHFS(volume, progress);
    }
  }
  // The whole volume is searched after its tree, so the files the tree holds are passed over.
  if (signatureSearch && !volume.aborting) {
    (void)runRecoverableSignatureSearch(volume, SignatureScanLoop::kWholeVolumePhoto, arguments, 2, progress);
  }
  if (!volume.aborting) {
    volume.finishTree(progress);
    if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  }
  // Once the completion is shown the next scan may start, and waits for this thread: nothing here may
  // wait on the main thread after it.
  ticks.stop();
  ScanProgress complete = ScanProgress::withStatus(progress_text::kScanStatus);
  complete.treeComplete = true;
  progress.complete(complete);
}

void scanForDeletedFiles(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  TicksDuringScan ticks(progress);
  if (!arguments.empty()) {
    const std::string* last = scanArgumentString(arguments, arguments.size() - 1);
    if (last != nullptr && *last == "auto") volume.autoCrashRecovery = true;
  }
  volume.resetSigArraysAndBtreesAndOthers();
  const std::string& content = volume.volumeContent;
  // Any other content ends the thread without a completion; the volume list never offers one.
  std::optional<ScanProgress> last;
  if (content.rfind("Apple", 0) == 0) {
    last = scanForDeletedFilesHFS(volume, arguments, progress);
  } else if (content.rfind("FAT", 0) == 0) {
    last = scanForDeletedFilesFAT(volume, arguments, progress);
  } else if (content == "exFAT") {
    last = scanForDeletedFilesExFAT(volume, arguments, progress);
  }
  ticks.stop();  // before the completion, as in startMakingTree
  if (last) progress.complete(*last);
}

void scanForDeletedFilesDisk(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  TicksDuringScan ticks(progress);
  if (!arguments.empty()) {
    const std::string* last = scanArgumentString(arguments, arguments.size() - 1);
    if (last != nullptr && *last == "auto") volume.autoCrashRecovery = true;
  }
  volume.resetSigArraysAndBtreesAndOthers();
  if (!volume.autoCrashRecovery || volume.dirRoot == nullptr) {
    volume.dirRoot = makeRootDir(*volume.arena, volume.tables.btree.get());
    volume.dirRoot->blockBaseSector = static_cast<std::uint32_t>(volume.blocksStartsAtSector);
  }
  // scanMode 4 and 5 carry no method: the disk is not searched and the tree stays empty.
  if (const auto loop = diskSearchLoop(scanArgumentNumber(arguments, 1).value_or(-1))) {
    (void)runRecoverableSignatureSearch(volume, *loop, arguments, 0, progress);
  }
  volume.finishTree(progress);
  if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  ticks.stop();  // before the completion, as in startMakingTree
  ScanProgress last = treeCompleted(std::nullopt);
  last.barValue = 0;
  progress.complete(last);
}

}  // namespace nua
