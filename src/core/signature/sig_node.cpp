// Building and counting the signature catalog tree.
#include "signature/sig_node.h"

#include <utility>

namespace nua {
namespace {
// The catalog is two levels deep; the counters stop descending long before a damaged tree could
// exhaust the stack.
constexpr int kMaxCountDepth = 32;

void countIn(const std::vector<std::shared_ptr<SigNode>>& array, std::size_t& counter, int depth) {
  if (depth > kMaxCountDepth) return;
  for (const auto& child : array) {
    ++counter;
    if (child->children) countIn(*child->children, counter, depth + 1);
  }
}
}  // namespace

void SigNode::addChild(std::shared_ptr<SigNode> child) {
  if (!children) children.emplace();
  children->push_back(std::move(child));
}

void countChildrenInArray(const std::vector<std::shared_ptr<SigNode>>& array, std::size_t& counter) {
  countIn(array, counter, 0);
}

void countChildrenSelectedInArray(const std::vector<std::shared_ptr<SigNode>>& array, std::size_t& counter) {
  for (const auto& child : array) {
    if (child->selected == 1) ++counter;
    if (child->children) countChildrenInArray(*child->children, counter);
  }
}

std::size_t SigNode::childrenSelected() const {
  std::size_t counter = 0;
  if (children) countChildrenSelectedInArray(*children, counter);
  return counter;
}

std::size_t SigNode::childrenCount() const {
  std::size_t counter = 0;
  if (children) countChildrenInArray(*children, counter);
  return counter;
}

std::shared_ptr<SigNode> SigNode::mutableCopy() const {
  auto copy = std::make_shared<SigNode>();
  copy->category = category;
  copy->fileTypeSigNode = fileTypeSigNode;
  copy->selected = selected;
  copy->children = children;  // the vector holds shared pointers: the children themselves are shared
  copy->sig = sig;
  copy->parent = parent;
  return copy;
}

}  // namespace nua
