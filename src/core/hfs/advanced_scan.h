// The advanced scan's own stage: after the catalog walk (if one could run), the whole volume is
// searched for leaf nodes of a catalog, and what they hold joins the tree or its lost folders.
#pragma once

#include "hfs/hfs_volume.h"

namespace nua {

// Makes the root when the walk didn't, searches the volume for catalog fragments, and places the
// entries found outside the catalog file (joined to each other, then under "Lost Files" and
// "LostFolder<parent id>" in "Lost Folders"). Entries found inside the catalog file count as taken by
// the walk; when no walk ran they go through the catalog orphan pass instead. Returns 1.
int makeAdvTree(HfsVolume& hfs);

}  // namespace nua
