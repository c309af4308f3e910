// One bounded walk along the sibling links of B-tree nodes: it refuses a node met before and stops
// after as many steps as the tree can hold nodes, so a damaged link never loops.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>

namespace nua {

class NodeChain {
 public:
  explicit NodeChain(std::uint64_t maxSteps) : maxSteps_(maxSteps) {}

  // True when `node` may be read next; false, with a reason, on a repeat or past the step limit.
  [[nodiscard]] bool step(std::uint32_t node) {
    if (seen_.size() >= maxSteps_) {
      reason_ = "more than " + std::to_string(maxSteps_) + " nodes";
      exhausted_ = true;
      return false;
    }
    if (!seen_.insert(node).second) {
      reason_ = "loop at node " + std::to_string(node);
      return false;
    }
    return true;
  }
  [[nodiscard]] const std::string& reason() const { return reason_; }
  // True once the step limit refused a node: no further node can be taken, while a repeat refuses
  // only that node.
  [[nodiscard]] bool exhausted() const { return exhausted_; }

 private:
  std::uint64_t maxSteps_;
  std::unordered_set<std::uint32_t> seen_;
  std::string reason_;
  bool exhausted_ = false;
};

}  // namespace nua
