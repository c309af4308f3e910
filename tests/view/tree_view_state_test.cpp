// The four views, their switches, the file types arrangement and the marks across switches.
#include "view/tree_view_state.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "view_test_tree.h"

namespace nua {
namespace {

using testing_view::TestTree;

std::vector<std::string> shownNames(const Entry* folder) {
  std::vector<std::string> names;
  for (const Entry* child : folder->childList) names.push_back(toUtf8(shownNameOfDir(child)));
  return names;
}

TEST(TreeViewStateTest, FileTypesGroupWithCaseKeptSortWithoutCaseAndSkipEmptyExtensions) {
  TestTree tree;
  Entry* docs = tree.folder(tree.root, u"docs");
  tree.file(docs, u"a.jpg", 1);
  tree.file(docs, u"b.JPG", 2);
  tree.file(tree.root, u"README", 3);
  tree.file(tree.root, u"c.", 4);
  tree.file(tree.root, u"Zed.avi", 5);
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.prepareTree(TreeToggle::kFileTypes);
  EXPECT_STREQ(view.buttonTreeFileTypesToggleTitle(), "Data  View");
  Entry* types = view.dirRootTemp();
  EXPECT_EQ(shownNames(types), (std::vector<std::string>{"avi", "jpg", "JPG", "README"}));
  EXPECT_EQ(types->fileCount, 4U);  // "c." is in no folder
  EXPECT_EQ(view.textFieldTotalData(), "0.01 KB in 4 Files");
  const EntryViewHelper* jpg = view.childOfItem(1, view.childOfItem(0, nullptr));
  EXPECT_EQ(jpg->appendChildrenArrayCount(), 1);
  EXPECT_EQ(jpg->childrenArrayCount(), 1U);
}

TEST(TreeViewStateTest, SwitchingToFileTypesAndBackRepairsParentsAndTotals) {
  TestTree tree;
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* a = tree.file(docs, u"a.txt", 10);
  tree.file(tree.root, u"b.", 20);
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.prepareTree(TreeToggle::kFileTypes);
  EXPECT_NE(a->parent, docs);
  EXPECT_EQ(view.dirRootTemp()->fileCount, 1U);  // lower than the data view's 2
  view.prepareTree(TreeToggle::kFileTypes);
  EXPECT_EQ(view.dirRootTemp(), tree.root);
  EXPECT_EQ(a->parent, docs);
  EXPECT_EQ(tree.root->fileCount, 2U);
  EXPECT_EQ(tree.root->fileSize, 30U);
}

TEST(TreeViewStateTest, DeletedViewShowsOnlyDeletedEntriesEveryTimeItIsShown) {
  TestTree tree;
  tree.file(tree.root, u"live.txt", 1);
  Entry* gone = tree.file(tree.root, u"gone.txt", 2, true);
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  for (int round = 0; round < 3; ++round) {
    view.prepareTree(TreeToggle::kDeleted);
    EXPECT_STREQ(view.buttonTreeShowDeletedTitle(), "Show  All");
    ASSERT_EQ(view.dirRootTemp()->childListCount(), 1U) << round;
    EXPECT_EQ(view.dirRootTemp()->childList[0], gone);
    view.prepareTree(TreeToggle::kDeleted);
    EXPECT_STREQ(view.buttonTreeShowDeletedTitle(), "Show Deleted");
    EXPECT_EQ(view.dirRootTemp()->childListCount(), 2U) << round;
  }
  view.showView(true, true);
  EXPECT_EQ(view.dirRootTemp()->fileCount, 1U);
  view.showView(true, false);
  EXPECT_EQ(view.dirRootTemp()->fileCount, 2U);
}

TEST(TreeViewStateTest, AMarkedFileStaysMarkedForSavingAcrossSwitches) {
  TestTree tree;
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* a = tree.file(docs, u"a.txt", 10);
  tree.file(docs, u"z.txt", 10);  // last below docs, unmarked: a switch copies its 0 upward
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.setMark(a, true);
  EXPECT_TRUE(view.saveButtonEnabled());
  view.prepareTree(TreeToggle::kFileTypes);
  view.prepareTree(TreeToggle::kFileTypes);
  EXPECT_EQ(docs->selected, 0);
  EXPECT_TRUE(view.isMarkedForSaving(docs));
  EXPECT_TRUE(view.isMarkedForSaving(tree.root));
  EXPECT_EQ(view.markedFiles(), 1U);
  EXPECT_EQ(view.markState(*view.helperFor(docs)), -1);
}

TEST(TreeViewStateTest, ClicksWhileSavingAreRefusedWithTheProcessRunningAlert) {
  TestTree tree;
  Entry* a = tree.file(tree.root, u"a.txt", 10);
  TreeViewState view(tree.arena, tree.root);
  RecordingUiBridge ui;
  EXPECT_FALSE(view.setMark(view.helperFor(a), true, false, ui));
  ASSERT_EQ(ui.alerts.size(), 1U);
  EXPECT_EQ(ui.alerts[0].title, "Process Running");
  EXPECT_EQ(a->selected, 0);
  EXPECT_TRUE(view.setMark(view.helperFor(a), true, true, ui));
  EXPECT_EQ(view.textFieldMarkedData(), "0.01 KB in 1 Files");
  EXPECT_EQ(view.markState(*view.helperFor(tree.root)), 1);
}

TEST(TreeViewStateTest, ReleasingTheViewsLeavesTheDataTreeWhole) {
  TestTree tree;
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* a = tree.file(docs, u"a.txt", 10);
  const std::size_t live = tree.arena->liveCount();
  {
    TreeViewState view(tree.arena, tree.root);
    (void)view.helperFor(a);
    view.showView(true, true);
  }
  EXPECT_EQ(tree.arena->liveCount(), live);
  EXPECT_EQ(a->parent, docs);
  EXPECT_EQ(a->viewHelper, nullptr);
  EXPECT_EQ(tree.root->childListCount(), 1U);
}

}  // namespace
}  // namespace nua
