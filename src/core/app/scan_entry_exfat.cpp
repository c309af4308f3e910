// The exFAT halves of `startMakingTree` and `scanForDeletedFiles`: the root record, then the file
// system recovery that walks the directories into it, as for FAT, and, when asked for, a search of the
// whole volume.
#include "app/scan_entries.h"
#include "app/signature_search.h"
#include "exfat/exfat_volume.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {
namespace {

void makeExfatRoot(Volume& volume) { volume.dirRoot = makeRootDir(*volume.arena, volume.tables.btree.get()); }

}  // namespace

void startMakingTreeExFAT(Volume& volume, ProgressSink& progress) {
  makeExfatRoot(volume);
  ExfatVolume exfat(volume, progress);
  (void)exfat.startExfatFileSystemRecovery();
}

ScanProgress scanForDeletedFilesExFAT(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  // After a crash resume the tree has come from the recovery file; no walk happens.
  if (!volume.autoCrashRecovery) {
    makeExfatRoot(volume);
    ExfatVolume exfat(volume, progress);
    (void)exfat.startExfatFileSystemRecovery();
  }
  // Element 1 asks for a signature search. exFAT has no free-space search of its own, so the whole
  // volume is searched with the file checks; the files the walk found are passed over by their first
  // blocks. Element 3, the method, only tells whether a search runs at all, as on the other volumes.
  if (scanArgumentNumber(arguments, 1).value_or(0) != 0) {
    volume.treeScanMode = 0;
    const std::int64_t method = scanArgumentNumber(arguments, 3).value_or(-1);
    if (method == 0 || method == 1) {
      (void)runRecoverableSignatureSearch(volume, SignatureScanLoop::kWholeVolumePhoto, arguments, 2, progress);
    }
  }
  volume.finishTree(progress);
  if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  return treeCompleted(ProgressAnimation::kStop);
}

}  // namespace nua
