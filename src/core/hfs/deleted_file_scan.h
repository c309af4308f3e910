// The deleted-file scan of a journaled HFS+ volume: the live catalog read into btreeNormalScan, then
// the journal's old catalog nodes searched for files and folders that the live catalog no longer holds.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "hfs/hfs_volume.h"

namespace nua {

// A folder of the live catalog, kept so that a deleted entry can be shown under its living folder.
struct LiveFolder {
  std::uint32_t parentID = 0;
  std::u16string name;
  std::uint32_t createDate = 0, modDate = 0;
};
using LiveFolders = std::unordered_map<std::uint32_t, LiveFolder>;

// Finds the leaf nodes as the normal scan does, then walks the live catalog (when it has a first leaf
// and a node size). Needs checkCatalogAndExtentsFile to have run.
void startMakingTreeDeletedFileScan(HfsVolume& hfs, LiveFolders* folders = nullptr);
// readFilesAndFoldersDeletedFileScan, offering its progress to the sink's tick. Returns 1.
int makeTreeDeletedFileScan(HfsVolume& hfs, LiveFolders* folders = nullptr);
// The live walk: every file record of the catalog, by its id, into btreeNormalScan, out of the tree.
// Same node walk, loop guard and record checks as the normal scan. Folders go into `folders` when it is
// given, and are otherwise passed over, as threads are.
int readFilesAndFoldersDeletedFileScan(HfsVolume& hfs, LiveFolders* folders = nullptr);
// Frees the live records of btreeNormalScan; nothing when the table is absent or empty.
void freeBtreeNormalScanNDIRs(Volume& volume);

// The journal stages after the volume header and catalog checks: live walk, journal search, release of
// the live records, orphan pass, extent search and their placement. Leaves treeScanMode 1.
void searchJournalForDeletedEntries(HfsVolume& hfs);

}  // namespace nua
