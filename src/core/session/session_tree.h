// The tree of a reopened session made into a result tree: a fresh root, a copy of what was read with
// its totals counted anew, and the deleted lists.
#pragma once

#include "records/entry.h"
#include "records/entry_arena.h"

namespace nua {

// Makes the new root ("Root",
// path "1", id 2 under 1), copies readRoot's tree below it, frees readRoot, and builds the deleted
// lists. Returns the new root. Row helpers are made later by the view, as rows are shown.
[[nodiscard]] Entry* setSelectedVolumeDirRoot(Entry* readRoot, EntryArena& arena);

// Copies the children of from (and below) under to. A file
// takes its fields and extents with fileCount 1; a folder its fields and a path made from its
// parent's path and name; every folder's fileSize, fileCount, childrenCount and deleted come from
// what lies below it. Walks with its own stack, within the tree walk bounds.
void readFromDirAddToDir(const Entry* from, Entry* to, EntryArena& arena);

}  // namespace nua
