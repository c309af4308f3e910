// makeAdvTree: the catalog fragment search and the placing of what it found.
#include "hfs/advanced_scan.h"

#include "hfs/catalog_fragments.h"
#include "hfs/node_slack_search.h"
#include "hfs/orphan_entries.h"
#include "records/entry_ops.h"

namespace nua {

int makeAdvTree(HfsVolume& hfs) {
  Volume& v = hfs.volume();
  // The root exists exactly when the catalog walk ran.
  const bool walkRan = v.dirRoot != nullptr;
  if (!walkRan) {
    Entry* root = makeRootDir(*v.arena, v.tables.btree.get());
    root->blockBaseSector = static_cast<std::uint32_t>(v.blocksStartsAtSector);
    v.dirRoot = root;
  }
  // Whatever the walk left waiting has been handled by its own orphan pass.
  v.tables.btreeOrph = std::make_unique<OrphanTable>();
  if (walkRan) {
    // The walk read only live records: what deletion left in the catalog's nodes is judged against
    // them and placed before the volume search, whose catalog-file finds the walk already has.
    v.counters.orphEntriesTotal = 0;
    const LiveCatalogIds live = liveCatalogIdsOfTree(v.dirRoot);
    NodeSlackSearch slack(hfs, &live);
    slack.findDeletedEntries();
    if (v.counters.orphEntriesTotal != 0) processOrphanEntriesWithIncrement(v, hfs.progress(), false, false);
    slack.finishFiles();
    v.tables.btreeOrph = std::make_unique<OrphanTable>();
    v.counters.orphEntriesTotal = 0;
  }
  searchCatFrags(hfs);
  hfs.checkAllocationFile();
  if (walkRan) {
    // Fragments inside the live catalog file hold records the walk has already taken.
    v.counters.orphEntriesTotal = 0;
  } else if (v.counters.orphEntriesTotal != 0) {
    // No walk took them: the catalog's intact leaves are all there is of the live tree.
    processOrphanEntriesWithIncrement(v, hfs.progress(), true, false);
  }
  if (v.counters.orphAdvScanEntriesTotal == 0) return 1;
  processOrphanAdvScanEntriesWithIncrement(v, hfs.progress(), true, false);
  processOrphanAdvScanEntriesRun2WithIncrement(v, hfs.progress(), true, false);
  v.tables.btreeOrphAdvScanEntries = std::make_unique<OrphanTable>();
  return 1;
}

}  // namespace nua
