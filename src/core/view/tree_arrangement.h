// The walks that turn one tree into another view of itself: deleted entries only and back, the
// deleted lists after a reopen, and the repair of parents and totals for the view now shown.
#pragma once

#include <cstdint>

#include "records/entry.h"

namespace nua {

// Swaps the lists of dir and of every folder below it that has children, so that childList holds
// the deleted entries (showDeletedOnly 1) or all entries (0); a folder already standing at the value
// keeps its lists. Returns dir.
Entry* arrangeTreeForDeleted(Entry* dir, std::uint8_t showDeletedOnly);
void recurseTreeForDeleted(Entry* dir, std::uint8_t showDeletedOnly);

// Appends every child with deleted 1 to its folder's deletedList, through the whole tree.
void rearrangeDeletedTree(Entry* dir, bool forViewingTree);

// Makes every record below root point to the folder it is shown in, and rebuilds fileSize, fileCount
// and childrenCount of root and every folder below it from what childList now holds (children whose
// fileType is neither 1 nor 2 count for nothing). Each folder with children is left with the
// `selected` of the last record below it in depth-first order; a folder's own mark is therefore not
// to be trusted after a switch (see TreeViewState::isMarkedForSaving). Linear in the records.
void setParents(Entry* root);

}  // namespace nua
