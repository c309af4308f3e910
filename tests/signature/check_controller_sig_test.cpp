// Mark changes: down to every descendant, up to the ancestors, and the clearing of a category
// whose last marked child goes.
#include "signature/check_controller_sig.h"

#include <gtest/gtest.h>

namespace nua {
namespace {

struct Tree {
  std::shared_ptr<SigNode> category = std::make_shared<SigNode>();
  std::shared_ptr<SigNode> a = std::make_shared<SigNode>();
  std::shared_ptr<SigNode> b = std::make_shared<SigNode>();
  Tree() {
    category->fileTypeSigNode = SigNode::kCategoryNode;
    for (auto& leaf : {a, b}) {
      leaf->fileTypeSigNode = SigNode::kFileTypeNode;
      leaf->parent = category.get();
      category->addChild(leaf);
    }
  }
};

TEST(CheckControllerSig, MarkingAFileTypeMarksItsCategory) {
  Tree t;
  CheckControllerSig(*t.a, 1).run();
  EXPECT_EQ(t.a->selected, 1);
  EXPECT_EQ(t.category->selected, 1);
  EXPECT_EQ(t.b->selected, 0);
  EXPECT_EQ(t.category->childrenSelected(), 1u);
  EXPECT_EQ(t.category->childrenCount(), 2u);
}

TEST(CheckControllerSig, CategoryStaysMarkedWhileAChildIs) {
  Tree t;
  CheckControllerSig(*t.category, 1).run();
  EXPECT_EQ(t.a->selected, 1);
  EXPECT_EQ(t.b->selected, 1);
  CheckControllerSig(*t.a, 0).run();
  EXPECT_EQ(t.category->selected, 1);
  CheckControllerSig(*t.b, 0).run();
  EXPECT_EQ(t.category->selected, 0);
}

TEST(CheckControllerSig, OtherFlagsDoNothing) {
  Tree t;
  CheckControllerSig(*t.category, 2).run();
  CheckControllerSig(*t.a, -1).run();
  EXPECT_EQ(t.category->selected, 0);
  EXPECT_EQ(t.a->selected, 0);
}

}  // namespace
}  // namespace nua
