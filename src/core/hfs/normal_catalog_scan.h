// The normal scan: the tree of a volume rebuilt by walking the catalog's leaf nodes, each file and
// folder record becoming an entry under its parent, or waiting in the orphan table for it.
#pragma once

#include "hfs/hfs_volume.h"

namespace nua {

// Makes the root (id 2, in btree) and walks the catalog, offering its counts to the sink's tick.
void makeTree(HfsVolume& hfs);

// The walk from firstLeafNode along fLink, then through the leaf lists gathered from index nodes
// (trusted) and found by searching (doubted, every record checked). A node seen a third time ends the
// walk; a bad descriptor passes on to the next list entry; a bad record is skipped. Returns 1.
int readFilesAndFolders(HfsVolume& hfs);

}  // namespace nua
