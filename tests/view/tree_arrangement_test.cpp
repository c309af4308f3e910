// Deleted-only views and the repair of parents and totals for the view shown.
#include "view/tree_arrangement.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "view_test_tree.h"

namespace nua {
namespace {

using testing_view::TestTree;

// The rule setParents keeps, applied literally: for each child, walk from its folder to the top.
void setParentsByWalkingUp(Entry* dir) {
  dir->fileSize = 0;
  dir->fileCount = 0;
  dir->childrenCount = 0;
  for (Entry* child : dir->childList) {
    child->parent = dir;
    if (child->fileType != 1 && child->fileType != 2) continue;
    for (Entry* up = dir; up != nullptr; up = up->parent) {
      up->selected = child->selected;
      ++up->childrenCount;
      if (child->fileType == 2) {
        up->fileSize += child->fileSize;
        ++up->fileCount;
      }
    }
    if (child->fileType == 1) setParentsByWalkingUp(child);
  }
}

struct Snapshot {
  Entry* parent;
  std::uint64_t fileSize;
  std::uint32_t fileCount, childrenCount;
  std::uint8_t selected;
  bool operator==(const Snapshot&) const = default;
};

TEST(TreeArrangementTest, SetParentsGivesWhatWalkingUpFromEveryChildGives) {
  TestTree tree;
  std::mt19937 random(7);
  std::vector<Entry*> records{tree.root};
  std::vector<Entry*> folders{tree.root};
  for (int i = 0; i < 300; ++i) {
    Entry* parent = folders[random() % folders.size()];
    Entry* made = random() % 3 == 0 ? tree.folder(parent, u"d") : tree.file(parent, u"f", random() % 999);
    if (made->fileType == 1) folders.push_back(made);
    made->selected = static_cast<std::uint8_t>(random() % 2);
    made->parent = nullptr;  // broken links, as a switch leaves them
    records.push_back(made);
  }
  std::vector<std::uint8_t> initial;
  for (Entry* r : records) initial.push_back(r->selected);
  std::vector<Snapshot> expected;
  setParentsByWalkingUp(tree.root);
  for (Entry* r : records) expected.push_back({r->parent, r->fileSize, r->fileCount, r->childrenCount, r->selected});
  for (std::size_t i = 0; i < records.size(); ++i) {
    records[i]->parent = nullptr;
    records[i]->selected = initial[i];
    if (records[i]->fileType == 1) records[i]->childrenCount = 12345;  // stale totals are rebuilt
  }
  setParents(tree.root);
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Entry* r = records[i];
    ASSERT_EQ((Snapshot{r->parent, r->fileSize, r->fileCount, r->childrenCount, r->selected}), expected[i]) << i;
  }
}

TEST(TreeArrangementTest, DeletedOnlyShowsDeletedEntriesAndComesBack) {
  TestTree tree;
  Entry* kept = tree.folder(tree.root, u"kept");
  tree.file(kept, u"live.txt", 3);
  Entry* lost = tree.file(kept, u"lost.txt", 4, true);
  tree.file(tree.root, u"top.txt", 5);
  tree.finish();
  arrangeTreeForDeleted(tree.root, 1);
  setParents(tree.root);
  ASSERT_EQ(tree.root->childListCount(), 1U);
  ASSERT_EQ(kept->childListCount(), 1U);
  EXPECT_EQ(kept->childList[0], lost);
  EXPECT_EQ(tree.root->fileCount, 1U);
  EXPECT_EQ(tree.root->fileSize, 4U);
  arrangeTreeForDeleted(tree.root, 0);
  setParents(tree.root);
  EXPECT_EQ(tree.root->childListCount(), 2U);
  EXPECT_EQ(kept->childListCount(), 2U);
  EXPECT_EQ(tree.root->fileCount, 3U);
}

}  // namespace
}  // namespace nua
