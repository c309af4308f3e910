// Operations on result records: child lists, extents, marks, table upkeep and ancestor counts.
// The scan side (kVolume) and the viewing side (kController) differ in a few points, named below.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/entry.h"

namespace nua {

class EntryArena;

enum class TreeSide { kVolume, kController };

// Fixed ids of every tree.
inline constexpr std::uint32_t kParentOfRootID = 1;
inline constexpr std::uint32_t kRootID = 2;
inline constexpr std::uint32_t kLostFilesID = 7;
inline constexpr std::uint32_t kLostFoldersID = 8;
inline constexpr std::uint32_t kFirstFreeFileID = 9;

// The child at index in childList (deletedList), or null at or past the count.
[[nodiscard]] Entry* childAtIndex(std::uint32_t index, const Entry* dir);
[[nodiscard]] Entry* childAtIndexDeleted(std::uint32_t index, const Entry* dir);
// The viewing side's list walks. childAtIndexDeletedOrig gives null for index 0, unlike its twin.
[[nodiscard]] Entry* childAtIndexOrig(std::uint32_t index, const Entry* dir);
[[nodiscard]] Entry* childAtIndexDeletedOrig(std::uint32_t index, const Entry* dir);

// Append at the end of childList / deletedList. The child's parent is left for the caller to set.
void addChild(Entry* child, Entry* dir);
void addChildDeletedArray(Entry* child, Entry* dir);

// Removes and frees the child at index; nothing at or past the count. The viewing side first drops
// the child from deletedList; the scan side leaves deletedList alone (it is built after the scan).
void removeChildAtIndex(std::uint32_t index, Entry* dir, EntryArena& arena, TreeSide side);
// Drops dir from parent's deletedList (the record itself stays); nothing if it isn't there.
void removeDirFromDeletedArrayOfParent(Entry* dir, Entry* parent);

[[nodiscard]] bool dirIsChildOfDir(const Entry* dir, const Entry* parent);
[[nodiscard]] bool dirIsDeletedChildOfDir(const Entry* dir, const Entry* parent);

// Exchanges childList and deletedList (and so their counts). showDeletedOnly is the caller's.
void swapChildrenArrayOfDir(Entry* dir);

// Appends one extent; adjacent extents are not merged.
void addDataExtStartBlock(std::uint32_t startBlock, std::uint32_t blockCount, Entry* dir);
// Appends a group. The first sets dataExtCompCount to 2, each further one adds 1, so the count stays
// one above the groups: readers go by the vector's size.
void addDataExtComp(ExtCompP group, Entry* dir);
// Appends an extent to a group, with the same counting: the first sets count to 2.
void addDataExtCompEXTP(ExtP extent, ExtCompP& group);

// Bounds of a walk down childList, so that children linked into a loop by damaged data can neither
// hang it nor exhaust memory: most records visited, and most levels descended.
inline constexpr std::size_t kMaxTreeWalkSteps = std::size_t{1} << 26;
inline constexpr std::size_t kMaxTreeWalkDepth = std::size_t{1} << 20;

// Marked records (selected 1) anywhere below dir; 0 when childrenCount is 0. Stays within the walk
// bounds above.
[[nodiscard]] std::uint32_t childrenSelectedOfDir(const Entry* dir);

// addChild, then puts the child into dir's childBTree by fileID when that is set: every child on the
// scan side, folders only on the viewing side.
void addChildUpdateBTree(Entry* child, Entry* dir, TreeSide side);
// addChild, then puts a folder child into dir's advScanBTree when that is set.
void addChildAdvScan(Entry* child, Entry* dir);

// Distinct records on dir's parent chain. A cycle in damaged links ends the count at its first repeat.
[[nodiscard]] std::size_t ancestorCount(const Entry* dir);

// Attach-time counts, raised once on each distinct ancestor of the just-attached record (the walk
// stops at a repeat, so a cycle can't hang it). Each returns how many ancestors it raised.
// Folder: childrenCount + 1.
std::size_t raiseAncestorCountsForFolder(const Entry* folder);
// File: childrenCount + 1, fileCount + 1, fileSize + its size.
std::size_t raiseAncestorCountsForFile(const Entry* file);
// A whole subtree attached at once: childrenCount + its childrenCount + 1, fileSize + its fileSize,
// fileCount + its fileCount.
std::size_t raiseAncestorCountsForSubtree(const Entry* subtree);

// Makes the root of a tree: "Root", path "1", fileID 2, parentID 1, a folder whose childBTree is
// btree, and stores it in btree under key 2 (when btree is given).
[[nodiscard]] Entry* makeRootDir(EntryArena& arena, EntryTable* btree);

}  // namespace nua
