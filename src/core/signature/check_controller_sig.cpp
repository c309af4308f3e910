// Mark changes in the signature catalog, propagated down to all descendants and up to ancestors.
#include "signature/check_controller_sig.h"

namespace nua {
namespace {
// Parent links come from the loaded file's tree, which has two levels; a longer chain means a cycle.
constexpr int kMaxAncestors = 32;
constexpr int kMaxDescent = 32;

void markAll(std::vector<std::shared_ptr<SigNode>>& array, std::uint8_t value, int depth) {
  if (depth > kMaxDescent) return;
  for (auto& child : array) {
    child->selected = value;
    if (child->children) markAll(*child->children, value, depth + 1);
  }
}
}  // namespace

void CheckControllerSig::run() { setSelected(); }

void CheckControllerSig::setSelected() {
  if (flag_ == 1) {
    node_.selected = 1;
    int steps = 0;
    for (SigNode* up = node_.parent; up != nullptr && steps < kMaxAncestors; up = up->parent, ++steps) up->selected = 1;
    if (node_.children) markAllChildrenSigArray(*node_.children, 1);
  } else if (flag_ == 0) {
    node_.selected = 0;
    if (node_.children) markAllChildrenSigArray(*node_.children, 0);
    int steps = 0;
    for (SigNode* up = node_.parent; up != nullptr && steps < kMaxAncestors; up = up->parent, ++steps) {
      if (up->childrenSelected() == 0) up->selected = 0;
    }
  }
}

void CheckControllerSig::markAllChildrenSigArray(std::vector<std::shared_ptr<SigNode>>& array, std::uint8_t value) {
  markAll(array, value, 0);
}

}  // namespace nua
