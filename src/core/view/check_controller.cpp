#include "view/check_controller.h"

#include <algorithm>

#include "records/entry_ops.h"
#include "view/detail/tree_walk.h"

namespace nua {

std::int64_t CheckController::mark(Entry* dir, std::uint8_t value) {
  const std::uint8_t was = dir->selected;
  dir->selected = value;
  if (counts_ != nullptr) counts_->fileMarkChanged(dir, was, value);
  return static_cast<std::int64_t>(value == 1) - static_cast<std::int64_t>(was == 1);
}

void CheckController::markAllChildrenDirArray(const std::vector<Entry*>& list, std::uint32_t length,
                                               std::uint8_t value) {
  // A throwaway folder whose childList is the given cells lets the one bounded walk do the work.
  Entry holder;
  holder.childList.assign(list.begin(), list.begin() + std::min<std::size_t>(length, list.size()));
  std::vector<std::uint32_t> belowStack{0};
  detail::walkTree(
      &holder,
      [&](Entry*, Entry* child) {
        mark(child, value);
        if (value == 1) ++belowStack.back();
        if (child->childrenCount == 0) {
          // Not walked: what stands below it stays as it was.
          if (counts_ != nullptr) belowStack.back() += counts_->markedBelow(child);
          return false;
        }
        belowStack.push_back(0);
        return true;
      },
      [&](Entry* done) {
        const std::uint32_t below = belowStack.back();
        belowStack.pop_back();
        if (counts_ != nullptr) counts_->setMarkedBelow(done, below);
        belowStack.back() += below;
      });
}

void CheckController::setSelected() {
  if (hdir_ == nullptr || (flag_ != 0 && flag_ != 1)) return;
  const std::uint32_t belowBefore = counts_ != nullptr ? counts_->markedBelow(hdir_) : 0;
  std::int64_t delta = mark(hdir_, flag_);
  if (hdir_->childrenCount != 0) {
    markAllChildrenDirArray(hdir_->childList, hdir_->childListCount(), flag_);
    if (counts_ != nullptr) {
      std::uint32_t below = 0;
      for (const Entry* child : hdir_->childList) {
        if (child != nullptr) below += (child->selected == 1) + counts_->markedBelow(child);
      }
      counts_->setMarkedBelow(hdir_, below);
      delta += static_cast<std::int64_t>(below) - belowBefore;
    }
  }
  const std::size_t ancestors = ancestorCount(hdir_);
  Entry* ancestor = hdir_->parent;
  for (std::size_t step = 0; step < ancestors; ++step, ancestor = ancestor->parent) {
    if (counts_ != nullptr) counts_->addMarkedBelow(ancestor, delta);
    if (flag_ == 1) {
      delta += mark(ancestor, 1);
    } else {
      const std::uint32_t stillMarked =
          counts_ != nullptr ? counts_->childrenSelected(ancestor) : childrenSelectedOfDir(ancestor);
      if (stillMarked == 0) delta += mark(ancestor, 0);
    }
  }
}

}  // namespace nua
