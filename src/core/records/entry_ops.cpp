// Child lists, extents, marks, table upkeep and ancestor counts of result records.
#include "records/entry_ops.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "records/key_table.h"
#include "records/entry_arena.h"

namespace nua {

namespace {

Entry* at(const std::vector<Entry*>& list, std::uint32_t index) {
  return index < list.size() ? list[index] : nullptr;
}

bool contains(const std::vector<Entry*>& list, const Entry* dir) {
  return std::find(list.begin(), list.end(), dir) != list.end();
}

// Applies raise to each distinct record on the parent chain that starts at first.
template <class Raise>
std::size_t raiseChain(Entry* first, std::size_t distinct, Raise raise) {
  Entry* ancestor = first;
  for (std::size_t step = 0; step < distinct; ++step) {
    raise(*ancestor);
    ancestor = ancestor->parent;
  }
  return distinct;
}

}  // namespace

Entry* childAtIndex(std::uint32_t index, const Entry* dir) { return at(dir->childList, index); }
Entry* childAtIndexDeleted(std::uint32_t index, const Entry* dir) { return at(dir->deletedList, index); }
Entry* childAtIndexOrig(std::uint32_t index, const Entry* dir) { return at(dir->childList, index); }

Entry* childAtIndexDeletedOrig(std::uint32_t index, const Entry* dir) {
  if (index == 0) return nullptr;  // the viewing side's walk has always skipped the head here
  return at(dir->deletedList, index);
}

void addChild(Entry* child, Entry* dir) { dir->childList.push_back(child); }
void addChildDeletedArray(Entry* child, Entry* dir) { dir->deletedList.push_back(child); }

void removeChildAtIndex(std::uint32_t index, Entry* dir, EntryArena& arena, TreeSide side) {
  if (index >= dir->childList.size()) return;
  Entry* child = dir->childList[index];
  if (side == TreeSide::kController && dirIsDeletedChildOfDir(child, dir)) {
    removeDirFromDeletedArrayOfParent(child, dir);
  }
  dir->childList.erase(dir->childList.begin() + index);
  arena.freeNDir(child);
}

void removeDirFromDeletedArrayOfParent(Entry* dir, Entry* parent) {
  auto& list = parent->deletedList;
  const auto found = std::find(list.begin(), list.end(), dir);
  if (found != list.end()) list.erase(found);
}

bool dirIsChildOfDir(const Entry* dir, const Entry* parent) { return contains(parent->childList, dir); }
bool dirIsDeletedChildOfDir(const Entry* dir, const Entry* parent) { return contains(parent->deletedList, dir); }

void swapChildrenArrayOfDir(Entry* dir) { std::swap(dir->childList, dir->deletedList); }

void addDataExtStartBlock(std::uint32_t startBlock, std::uint32_t blockCount, Entry* dir) {
  dir->dataExt.push_back(ExtP{startBlock, blockCount});
}

void addDataExtComp(ExtCompP group, Entry* dir) {
  dir->dataExtCompCount = dir->dataExtComp.empty() ? 2 : dir->dataExtCompCount + 1;
  dir->dataExtComp.push_back(std::move(group));
}

void addDataExtCompEXTP(ExtP extent, ExtCompP& group) {
  group.count = group.list.empty() ? 2 : group.count + 1;
  group.list.push_back(extent);
}

std::uint32_t childrenSelectedOfDir(const Entry* dir) {
  if (dir->childrenCount == 0) return 0;
  struct Frame {
    const Entry* folder;
    std::size_t nextIndex;
  };
  std::uint32_t selected = 0;
  std::size_t steps = 0;
  std::vector<Frame> frames{{dir, 0}};
  while (!frames.empty() && steps < kMaxTreeWalkSteps) {
    Frame& top = frames.back();
    if (top.nextIndex >= top.folder->childList.size()) {
      frames.pop_back();
      continue;
    }
    const Entry* child = top.folder->childList[top.nextIndex++];
    if (child == nullptr) continue;
    ++steps;
    if (child->selected == 1) ++selected;
    if (!child->childList.empty() && frames.size() < kMaxTreeWalkDepth) frames.push_back({child, 0});
  }
  return selected;
}

void addChildUpdateBTree(Entry* child, Entry* dir, TreeSide side) {
  addChild(child, dir);
  if (dir->childBTree == nullptr) return;
  if (side == TreeSide::kVolume || child->fileType == 1) dir->childBTree->insert(EntryItem{child->fileID, child});
}

void addChildAdvScan(Entry* child, Entry* dir) {
  addChild(child, dir);
  if (dir->advScanBTree != nullptr && child->fileType == 1) dir->advScanBTree->insert(EntryItem{child->fileID, child});
}

std::size_t ancestorCount(const Entry* dir) {
  // Brent's cycle finding: constant memory, and it stops at the first repeat of a looping chain.
  const Entry* first = dir->parent;
  if (first == nullptr) return 0;
  std::size_t power = 1;
  std::size_t cycleLength = 1;
  std::size_t length = 1;
  const Entry* tortoise = first;
  const Entry* hare = first->parent;
  while (hare != tortoise) {
    if (hare == nullptr) return length;
    if (power == cycleLength) {
      tortoise = hare;
      power *= 2;
      cycleLength = 0;
    }
    hare = hare->parent;
    ++cycleLength;
    ++length;
  }
  tortoise = first;
  hare = first;
  for (std::size_t step = 0; step < cycleLength; ++step) hare = hare->parent;
  std::size_t cycleStart = 0;
  while (tortoise != hare) {
    tortoise = tortoise->parent;
    hare = hare->parent;
    ++cycleStart;
  }
  return cycleStart + cycleLength;
}

std::size_t raiseAncestorCountsForFolder(const Entry* folder) {
  return raiseChain(folder->parent, ancestorCount(folder), [](Entry& ancestor) { ++ancestor.childrenCount; });
}

std::size_t raiseAncestorCountsForFile(const Entry* file) {
  const std::uint64_t size = file->fileSize;
  return raiseChain(file->parent, ancestorCount(file), [size](Entry& ancestor) {
    ++ancestor.childrenCount;
    ++ancestor.fileCount;
    ancestor.fileSize += size;
  });
}

std::size_t raiseAncestorCountsForSubtree(const Entry* subtree) {
  const std::uint32_t children = subtree->childrenCount + 1;
  const std::uint32_t files = subtree->fileCount;
  const std::uint64_t size = subtree->fileSize;
  return raiseChain(subtree->parent, ancestorCount(subtree), [=](Entry& ancestor) {
    ancestor.childrenCount += children;
    ancestor.fileCount += files;
    ancestor.fileSize += size;
  });
}

Entry* makeRootDir(EntryArena& arena, EntryTable* btree) {
  Entry* root = arena.newDir();
  arena.setFileName(u"Root", root);
  arena.setPathName(u"1", root);
  root->fileID = kRootID;
  root->parentID = kParentOfRootID;
  root->fileType = 1;
  root->childBTree = btree;
  if (btree != nullptr) btree->insert(EntryItem{kRootID, root});
  return root;
}

}  // namespace nua
