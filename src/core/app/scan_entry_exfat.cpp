// The exFAT halves of `startMakingTree` and `scanForDeletedFiles`: the root record, then the file
// system recovery that walks the directories into it, as for FAT.
#include "app/scan_entries.h"
#include "exfat/exfat_volume.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {
namespace {

void makeExfatRoot(Volume& volume) { volume.dirRoot = makeRootDir(*volume.arena, volume.btree.get()); }

}  // namespace

void startMakingTreeExFAT(Volume& volume, ProgressSink& progress) {
  makeExfatRoot(volume);
  ExfatVolume exfat(volume, progress);
  (void)exfat.startExfatFileSystemRecovery();
}

ScanProgress scanForDeletedFilesExFAT(Volume& volume, const ScanArguments& arguments, ProgressSink& progress) {
  // After a crash resume the tree has come from the recovery file; no walk happens.
  if (!volume.autoCrashRecovery) {
    makeExfatRoot(volume);
    ExfatVolume exfat(volume, progress);
    (void)exfat.startExfatFileSystemRecovery();
  }
  // Element 1 asks for a signature search; there is none for exFAT yet, so the scan ends as a plain
  // tree scan.
  if (scanArgumentNumber(arguments, 1).value_or(0) != 0) volume.treeScanMode = 0;
  volume.finishTree(progress);
  if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  return treeCompleted(ProgressAnimation::kStop);
}

}  // namespace nua
