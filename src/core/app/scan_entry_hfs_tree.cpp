// The HFS+ half of `startMakingTree`: the catalog walk, and what happens when the volume's key
// structures can't be found.
#include "app/scan_entries.h"
#include "hfs/hfs_volume.h"
#include "hfs/normal_catalog_scan.h"
#include "hfs/orphan_entries.h"

namespace nua {

void startMakingTreeHFS(Volume& volume) {
  volume.advScanEntriesCanBePutIntoOrphanEntryArray = false;
  volume.aborting = false;
  HfsVolume hfs(volume);
  bool structuresFound = false;
  if (hfs.initializeVIB()) {
    volume.advScanEntriesCanBePutIntoOrphanEntryArray = true;
    structuresFound = hfs.checkCatalogAndExtentsFile();
    if (!structuresFound) hfs.getCatalogExtFromVIB();
  }
  ScanController* controller = Volume::appController();
  if (structuresFound) {
    if (volume.firstLeafNode != 0 && volume.catNodeSize != 0) {
      makeTree(hfs);
      if (volume.orphEntriesTotal != 0) {
        processOrphanEntriesWithIncrement(volume, false, false);
        if (controller != nullptr) controller->invalidateTimer();
      }
    }
    return;
  }
  if (volume.treeScanMode == 1) {
    volume.blockSize = 8;  // no header is there to give another
    return;
  }
  volume.aborting = true;
  if (controller != nullptr) {
    controller->runAlertPanel(
        {"!Can not process", "Key data structures not found. Please try Advance Scan for tree on the desired volume.",
         {"OK"}});
    controller->destroyVolumeAndBackToPartList();
  }
}

}  // namespace nua
