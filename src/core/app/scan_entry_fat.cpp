// The FAT halves of `startMakingTree` and `scanForDeletedFiles`: the root record, then the file
// system recovery that walks the directories into it.
#include "app/scan_entries.h"
#include "fat/fat_volume.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {
namespace {

// The root record every FAT tree starts from; its blocks begin where the volume's data area does.
void makeFatRoot(Volume& volume) {
  volume.dirRoot = makeRootDir(*volume.arena, volume.btree.get());
  volume.dirRoot->blockBaseSector = static_cast<std::uint32_t>(volume.blocksStartsAtSector);
}

}  // namespace

void startMakingTreeFAT(Volume& volume, ProgressSink& progress) {
  makeFatRoot(volume);
  FatVolume fat(volume, progress);
  (void)fat.startFATFileSystemRecovery();
}

ScanProgress scanForDeletedFilesFAT(Volume& volume, const ScanArguments& arguments, ProgressSink& progress) {
  // After a crash resume the tree has come from the recovery file; no walk happens.
  if (!volume.autoCrashRecovery) {
    makeFatRoot(volume);
    FatVolume fat(volume, progress);
    (void)fat.startFATFileSystemRecovery();
  }
  // Element 0 asks for the walk, which the FAT path runs regardless; element 1 for a signature search.
  const bool signatureStage = scanArgumentNumber(arguments, 1).value_or(0) != 0;
  if (signatureStage) {
    // Element 2 holds the chosen signatures and element 3 free space only or the whole volume; no
    // signature search runs yet, so the scan ends as a tree scan.
    volume.treeScanMode = 0;
  }
  volume.finishTree(progress);
  if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  return treeCompleted(ProgressAnimation::kStop);
}

}  // namespace nua
