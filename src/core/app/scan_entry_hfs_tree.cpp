// The HFS+ half of `startMakingTree`: the catalog walk, the advanced scan's search of the whole volume,
// and what happens when the volume's key structures can't be found.
#include "app/scan_entries.h"
#include "hfs/advanced_scan.h"
#include "hfs/hfs_volume.h"
#include "hfs/leaf_node_search.h"
#include "hfs/normal_catalog_scan.h"
#include "hfs/orphan_entries.h"

namespace nua {

void startMakingTreeHFS(Volume& volume, ProgressSink& progress) {
  volume.advScanEntriesCanBePutIntoOrphanEntryArray = false;
  volume.aborting = false;
  HfsVolume hfs(volume, progress);
  const bool headerFound = hfs.initializeVIB();
  bool structuresFound = false;
  if (headerFound) {
    volume.advScanEntriesCanBePutIntoOrphanEntryArray = true;
    structuresFound = hfs.checkCatalogAndExtentsFile();
    if (!structuresFound) hfs.getCatalogExtFromVIB();
  }
  const bool advanced = volume.treeScanMode == 1;
  if (structuresFound) {
    findLeafNodesForCatalogWalk(hfs);
    if (volume.catalog.firstLeafNode != 0 && volume.catalog.catNodeSize != 0) {
      makeTree(hfs);
      if (volume.counters.orphEntriesTotal != 0) processOrphanEntriesWithIncrement(volume, progress, false, false);
    }
    if (advanced) (void)makeAdvTree(hfs);
    return;
  }
  if (advanced) {
    // The entries' positions depend on the block size: a header that was found tells it, unless its
    // field is corrupt; otherwise the usual 4 KiB block, in this disk's sectors.
    volume.blockSize = hfs.sectorsPerBlockForFragmentSearch(headerFound);
    (void)makeAdvTree(hfs);
    return;
  }
  volume.aborting = true;
  progress.alert(
      {"!Can not process", "Key data structures not found. Please try Advance Scan for tree on the desired volume.",
       {"OK"}});
  progress.abandonScan();
}

}  // namespace nua
