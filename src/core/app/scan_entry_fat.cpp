// The FAT halves of `startMakingTree` and `scanForDeletedFiles`: the root record, then the file
// system recovery that walks the directories into it, and, when asked for, a search of the free space.
#include "app/scan_entries.h"
#include "app/signature_search.h"
#include "fat/fat_volume.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {
namespace {

// The root record every FAT tree starts from; its blocks begin where the volume's data area does.
void makeFatRoot(Volume& volume) {
  volume.dirRoot = makeRootDir(*volume.arena, volume.tables.btree.get());
  volume.dirRoot->blockBaseSector = static_cast<std::uint32_t>(volume.blocksStartsAtSector);
}

}  // namespace

void startMakingTreeFAT(Volume& volume, ProgressSink& progress) {
  makeFatRoot(volume);
  FatVolume fat(volume, progress);
  (void)fat.startFATFileSystemRecovery();
}

ScanProgress scanForDeletedFilesFAT(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  // After a crash resume the tree has come from the recovery file; no walk happens.
  if (!volume.autoCrashRecovery) {
    makeFatRoot(volume);
    FatVolume fat(volume, progress);
    (void)fat.startFATFileSystemRecovery();
  } else {
    // The recovery pair keeps no FAT geometry; the search divides the volume by the boot sector's.
    FatVolume fat(volume, progress);
    (void)fat.checkFATFileSystemHealthy();
  }
  // Element 0 asks for the walk, which the FAT path runs regardless; element 1 for a signature search.
  const bool signatureStage = scanArgumentNumber(arguments, 1).value_or(0) != 0;
  if (signatureStage) {
    // Element 2 holds the signatures, element 3 the method: the plain search or the one with the file
    // checks. Both pass over the clusters the table marks as used.
    volume.treeScanMode = 0;
    if (const auto loop = fatSearchLoop(scanArgumentNumber(arguments, 3).value_or(-1))) {
      (void)runRecoverableSignatureSearch(volume, *loop, arguments, 2, progress);
    }
  }
  volume.finishTree(progress);
  if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  return treeCompleted(ProgressAnimation::kStop);
}

}  // namespace nua
