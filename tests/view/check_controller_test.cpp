// Marks on a record, its ancestors and descendants, and the counts kept beside them.
#include "view/check_controller.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "records/entry_ops.h"
#include "view/detail/tree_walk.h"
#include "view_test_tree.h"

namespace nua {
namespace {

using testing_view::TestTree;

TEST(CheckControllerTest, MarkingAFileMarksEveryAncestor) {
  TestTree tree;
  Entry* a = tree.folder(tree.root, u"a");
  Entry* b = tree.folder(a, u"b");
  Entry* f = tree.file(b, u"f.txt", 10);
  tree.file(b, u"g.txt", 10);
  CheckController(f, 1).run();
  EXPECT_EQ(f->selected, 1);
  EXPECT_EQ(b->selected, 1);
  EXPECT_EQ(a->selected, 1);
  EXPECT_EQ(tree.root->selected, 1);
}

TEST(CheckControllerTest, UnmarkingTheLastMarkedFileUnmarksUpwardWhileNothingRemains) {
  TestTree tree;
  Entry* a = tree.folder(tree.root, u"a");
  Entry* b = tree.folder(a, u"b");
  Entry* f = tree.file(b, u"f.txt", 10);
  Entry* other = tree.file(a, u"other.txt", 5);
  CheckController(f, 1).run();
  CheckController(other, 1).run();
  CheckController(f, 0).run();
  EXPECT_EQ(b->selected, 0);  // nothing below it is marked any more
  EXPECT_EQ(a->selected, 1);  // other.txt still is
  EXPECT_EQ(tree.root->selected, 1);
  CheckController(other, 0).run();
  EXPECT_EQ(a->selected, 0);
  EXPECT_EQ(tree.root->selected, 0);
}

TEST(CheckControllerTest, MarkingAFolderMarksAllBelowAndOtherFlagsChangeNothing) {
  TestTree tree;
  Entry* a = tree.folder(tree.root, u"a");
  Entry* b = tree.folder(a, u"b");
  Entry* f = tree.file(b, u"f", 1);
  CheckController(a, 2).run();
  EXPECT_EQ(f->selected, 0);
  CheckController(a, 1).run();
  EXPECT_EQ(b->selected, 1);
  EXPECT_EQ(f->selected, 1);
  CheckController(a, 0).run();
  EXPECT_EQ(f->selected, 0);
  EXPECT_EQ(tree.root->selected, 0);
}

// Any sequence of clicks leaves the kept counts where a recount from the records puts them.
TEST(CheckControllerTest, KeptCountsMatchARecountAfterRandomClicks) {
  TestTree tree;
  std::mt19937 random(12345);
  std::vector<Entry*> records{tree.root};
  std::vector<Entry*> folders{tree.root};
  for (int i = 0; i < 400; ++i) {
    Entry* parent = folders[random() % folders.size()];
    if (random() % 3 == 0) {
      folders.push_back(tree.folder(parent, u"d"));
      records.push_back(folders.back());
    } else {
      records.push_back(tree.file(parent, u"f", random() % 5000));
    }
  }
  MarkCounts kept;
  kept.recount(tree.root);
  for (int click = 0; click < 300; ++click) {
    CheckController(records[random() % records.size()], static_cast<std::uint8_t>(random() % 2), &kept).run();
  }
  MarkCounts fresh;
  fresh.recount(tree.root);
  EXPECT_EQ(kept.markedData(), fresh.markedData());
  EXPECT_EQ(kept.markedFiles(), fresh.markedFiles());
  for (Entry* record : records) {
    ASSERT_EQ(kept.childrenSelected(record), childrenSelectedOfDir(record));
    ASSERT_EQ(kept.markedBelow(record), fresh.markedBelow(record));
  }
}

}  // namespace
}  // namespace nua
