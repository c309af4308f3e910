// One change of a mark in the signature catalog: built from a node and a flag, run once.
#pragma once

#include <memory>
#include <vector>

#include "signature/sig_node.h"

namespace nua {

class CheckControllerSig {
 public:
  CheckControllerSig(SigNode& node, int flag) : node_(node), flag_(flag) {}

  // Flag 1 marks the node, its ancestors and its descendants. Flag 0 unmarks the node and its
  // descendants, then clears each ancestor, going up, that has no selected children left.
  // Any other flag does nothing.
  void run();
  void setSelected();
  static void markAllChildrenSigArray(std::vector<std::shared_ptr<SigNode>>& array, std::uint8_t value);

 private:
  SigNode& node_;
  int flag_;
};

}  // namespace nua
