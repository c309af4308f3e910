#include "view/tree_arrangement.h"

#include <vector>

#include "records/entry_ops.h"
#include "view/detail/tree_walk.h"

namespace nua {

Entry* arrangeTreeForDeleted(Entry* dir, std::uint8_t showDeletedOnly) {
  recurseTreeForDeleted(dir, showDeletedOnly);
  return dir;
}

void recurseTreeForDeleted(Entry* dir, std::uint8_t showDeletedOnly) {
  std::vector<Entry*> pending{dir};
  std::size_t steps = 0;
  while (!pending.empty() && steps++ < kMaxTreeWalkSteps) {
    Entry* folder = pending.back();
    pending.pop_back();
    if (folder->showDeletedOnly != showDeletedOnly) swapChildrenArrayOfDir(folder);
    folder->showDeletedOnly = showDeletedOnly;
    // After the swap the list not shown is the one with every child, whichever way the swap went,
    // so the walk reaches every folder of the tree.
    const std::vector<Entry*>& hidden = showDeletedOnly == 1 ? folder->deletedList : folder->childList;
    for (auto it = hidden.rbegin(); it != hidden.rend(); ++it) {
      Entry* child = *it;
      if (child == nullptr) continue;
      const bool hasChildren = showDeletedOnly == 1 ? child->childListCount() != 0 : child->deletedListCount() != 0;
      if (hasChildren) pending.push_back(child);
    }
  }
}

void rearrangeDeletedTree(Entry* dir, bool forViewingTree) {
  (void)forViewingTree;  // both list accessors read the same cells here
  detail::walkTree(
      dir,
      [](Entry* parent, Entry* child) {
        if (child->deleted == 1) addChildDeletedArray(child, parent);
        return child->fileType == 1;
      },
      [](Entry*) {});
}

void setParents(Entry* root) {
  // Totals are summed bottom-up on leaving a folder, which gives every ancestor what one walk up the
  // parent chain per child would have added, in time linear in the records.
  struct Frame {
    Entry* folder;
    std::uint64_t size = 0;
    std::uint32_t files = 0;
    std::uint32_t children = 0;
    bool hasLast = false;
    std::uint8_t lastSelected = 0;
  };
  std::vector<Frame> stack{{root}};
  const auto settle = [](const Frame& frame) {
    frame.folder->fileSize = frame.size;
    frame.folder->fileCount = frame.files;
    frame.folder->childrenCount = frame.children;
    if (frame.hasLast) frame.folder->selected = frame.lastSelected;
  };
  detail::walkTree(
      root,
      [&](Entry* parent, Entry* child) {
        child->parent = parent;
        if (child->fileType != 1 && child->fileType != 2) return false;
        Frame& top = stack.back();
        ++top.children;
        top.hasLast = true;
        top.lastSelected = child->selected;
        if (child->fileType == 2) {
          top.size += child->fileSize;
          ++top.files;
          return false;
        }
        stack.push_back({child});
        return true;
      },
      [&](Entry*) {
        const Frame done = stack.back();
        stack.pop_back();
        settle(done);
        Frame& up = stack.back();
        up.size += done.size;
        up.files += done.files;
        up.children += done.children;
        if (done.hasLast) {
          up.hasLast = true;
          up.lastSelected = done.lastSelected;
        }
      });
  settle(stack.front());
}

}  // namespace nua
