// Building the signature catalog tree.
#include "signature/sig_node.h"

#include <utility>

namespace nua {

void SigNode::addChild(std::shared_ptr<SigNode> child) {
  if (!children) children.emplace();
  children->push_back(std::move(child));
}

}  // namespace nua
