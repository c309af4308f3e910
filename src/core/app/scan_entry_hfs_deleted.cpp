// The HFS+ half of `scanForDeletedFiles`: deleted entries from the journal's old catalog nodes. A
// signature search of the volume or its free space, when asked for, is not run here yet.
#include "app/scan_entries.h"
#include "hfs/deleted_file_scan.h"
#include "hfs/hfs_volume.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {

ScanProgress scanForDeletedFilesHFS(Volume& volume, const ScanArguments& arguments, ProgressSink& progress) {
  const bool searchJournal = scanArgumentNumber(arguments, 0).value_or(0) == 1;
  const bool signatureSearch = scanArgumentNumber(arguments, 1).value_or(0) == 1;
  if (!volume.autoCrashRecovery) {
    Entry* root = makeRootDir(*volume.arena, volume.btree.get());
    root->blockBaseSector = static_cast<std::uint32_t>(volume.blocksStartsAtSector);
    volume.dirRoot = root;
  }
  HfsVolume hfs(volume, progress);
  hfs.fillVIB();
  // A catalog that can't be found leaves firstLeafNode and catNodeSize at 0: the journal stages then
  // find nothing, and the signature search still runs.
  (void)hfs.checkCatalogAndExtentsFile();
  if (searchJournal && !volume.autoCrashRecovery) searchJournalForDeletedEntries(hfs);

  if (signatureSearch) {
    // The signature stage joins here: element 2 holds the signatures, element 3 says whole volume (0)
    // or free space only (1); it fills allocationExt first, and in a crash-recovery run resumes at the
    // sector before "auto". Until it is built the stage does nothing, and the tree stays as it is.
    volume.treeScanMode = 0;
  }
  volume.finishTree(progress);
  if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  return treeCompleted(std::nullopt);
}

}  // namespace nua
