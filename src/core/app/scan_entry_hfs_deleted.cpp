// The HFS+ half of `scanForDeletedFiles`: deleted entries from the journal's old catalog nodes, then,
// when asked for, a signature search of the volume's free space.
#include "app/scan_entries.h"
#include "app/signature_search.h"
#include "hfs/deleted_file_scan.h"
#include "hfs/hfs_volume.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {

ScanProgress scanForDeletedFilesHFS(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  const bool searchJournal = scanArgumentNumber(arguments, 0).value_or(0) == 1;
  const bool signatureSearch = scanArgumentNumber(arguments, 1).value_or(0) == 1;
  if (!volume.autoCrashRecovery) {
    Entry* root = makeRootDir(*volume.arena, volume.tables.btree.get());
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
    // Element 2 holds the signatures, element 3 the method: the plain search or the one with the file
    // checks. Both pass over the blocks the allocation file marks as used.
    volume.treeScanMode = 0;
    hfs.fillAllocationExt();
    if (const auto loop = hfsSearchLoop(scanArgumentNumber(arguments, 3).value_or(-1))) {
      (void)runRecoverableSignatureSearch(volume, *loop, arguments, 2, progress);
    }
  }
  volume.finishTree(progress);
  if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  return treeCompleted(std::nullopt);
}

}  // namespace nua
