#include "view/mark_counts.h"

#include <algorithm>

#include "view/detail/tree_walk.h"

namespace nua {

void MarkCounts::recount(Entry* root) {
  std::fill(below_.begin(), below_.end(), 0u);
  markedData_ = 0;
  markedFiles_ = 0;
  if (root == nullptr) return;
  // `totalled`: the folder's children enter the totals, as countMarkedDir goes down only through
  // records whose childrenCount is not 0. `count`: marked records below the folder, summed on leaving.
  struct Frame {
    Entry* folder;
    std::uint32_t count;
    bool totalled;
  };
  if (root->selected == 1) fileMarkChanged(root, 0, 1);
  std::vector<Frame> stack{{root, 0, root->childrenCount != 0}};
  detail::walkTree(
      root,
      [&](Entry*, Entry* child) {
        Frame& top = stack.back();
        if (child->selected == 1) {
          ++top.count;
          if (top.totalled) fileMarkChanged(child, 0, 1);
        }
        if (child->childList.empty()) return false;
        stack.push_back({child, 0, top.totalled && child->childrenCount != 0});
        return true;
      },
      [&](Entry*) {
        const Frame done = stack.back();
        stack.pop_back();
        setMarkedBelow(done.folder, done.count);
        stack.back().count += done.count;
      });
  setMarkedBelow(root, stack.front().count);
}

std::uint32_t MarkCounts::childrenSelected(const Entry* dir) const {
  return dir->childrenCount == 0 ? 0 : markedBelow(dir);
}

std::uint32_t MarkCounts::markedBelow(const Entry* dir) const {
  const std::uint64_t id = dir->identity;
  return id != 0 && id <= below_.size() ? below_[id - 1] : 0;
}

void MarkCounts::setMarkedBelow(const Entry* dir, std::uint32_t count) {
  const std::uint64_t id = dir->identity;
  if (id == 0) return;
  if (id > below_.size()) {
    if (count == 0) return;
    below_.resize(id, 0);
  }
  below_[id - 1] = count;
}

void MarkCounts::addMarkedBelow(const Entry* dir, std::int64_t delta) {
  const std::int64_t now = static_cast<std::int64_t>(markedBelow(dir)) + delta;
  setMarkedBelow(dir, static_cast<std::uint32_t>(std::max<std::int64_t>(now, 0)));
}

void MarkCounts::fileMarkChanged(const Entry* file, std::uint8_t was, std::uint8_t now) {
  if ((was == 1) == (now == 1) || file->fileType != 2) return;
  if (now == 1) {
    markedData_ += file->fileSize;
    ++markedFiles_;
  } else {
    markedData_ -= std::min(markedData_, file->fileSize);
    markedFiles_ -= std::min<std::uint32_t>(markedFiles_, 1);
  }
}

}  // namespace nua
