// One bounded depth-first walk down childList for the viewing side, so no walk recurses on the call
// stack (trees can be deep) and records linked into a loop by damaged data cannot hang it.
#pragma once

#include <cstddef>
#include <vector>

#include "records/entry.h"
#include "records/entry_ops.h"

namespace nua::detail {

// Walks the records below root in pre-order through childList as it stands. For each child C of a
// folder F: enter(F, C) runs; when it returns true, C's own children are walked next, and leave(C)
// runs once they are done. Null cells are skipped. Stops after kMaxTreeWalkSteps records; never goes
// deeper than kMaxTreeWalkDepth levels. leave(root) is not called.
template <class Enter, class Leave>
void walkTree(Entry* root, Enter enter, Leave leave) {
  struct Frame {
    Entry* folder;
    std::size_t nextIndex;
  };
  std::vector<Frame> frames{{root, 0}};
  std::size_t steps = 0;
  while (!frames.empty()) {
    Frame& top = frames.back();
    if (top.nextIndex >= top.folder->childList.size() || steps >= kMaxTreeWalkSteps) {
      Entry* done = top.folder;
      frames.pop_back();
      if (!frames.empty()) leave(done);
      continue;
    }
    Entry* parent = top.folder;
    Entry* child = parent->childList[top.nextIndex++];
    if (child == nullptr) continue;
    ++steps;
    if (!enter(parent, child)) continue;
    if (frames.size() < kMaxTreeWalkDepth) {
      frames.push_back({child, 0});
    } else {
      leave(child);  // too deep to go on: closed at once, so every enter that asked has its leave
    }
  }
}

}  // namespace nua::detail
