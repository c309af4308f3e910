// Find over the tree on screen: matching, the walk's order, stepping round both ends, marking all
// hits, and the views.
#include "view/tree_find.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "view/tree_view_state.h"
#include "view_test_tree.h"

namespace nua {
namespace {

using testing_view::TestTree;

std::vector<Entry*> walk(std::u16string_view text, Entry* root, const ShownFolderNames& names = {},
                          std::size_t batchSize = 2, std::size_t* batches = nullptr) {
  std::vector<Entry*> hits;
  std::atomic<bool> abort{false};
  findStringInDir(text, root, names, abort, [&](std::vector<Entry*> batch) {
    EXPECT_LE(batch.size(), batchSize);
    if (batches != nullptr) ++*batches;
    hits.insert(hits.end(), batch.begin(), batch.end());
  }, batchSize);
  return hits;
}

TEST(NameContainsTextTest, CaseInsensitiveAndEmptyMatchesNothing) {
  EXPECT_TRUE(nameContainsText(u"Holiday.JPG", u"day.jp"));
  EXPECT_TRUE(nameContainsText(u"\u00c9T\u00c9.txt", u"\u00e9t\u00e9"));
  EXPECT_TRUE(nameContainsText(u"\u041c\u043e\u0441\u043a\u0432\u0430", u"\u043c\u043e\u0441"));
  EXPECT_FALSE(nameContainsText(u"abc", u""));
  EXPECT_FALSE(nameContainsText(u"ab", u"abc"));
}

TEST(FindWalkTest, FolderBeforeItsFileRootIncludedInBatches) {
  TestTree tree;
  Entry* photos = tree.folder(tree.root, u"Photos");
  Entry* first = tree.file(photos, u"photo1.jpg", 10);
  tree.file(photos, u"doc.txt", 10);
  Entry* second = tree.file(tree.root, u"PHOTO2.jpg", 10);
  tree.finish();
  std::size_t batches = 0;
  EXPECT_EQ(walk(u"photo", tree.root, {}, 2, &batches), (std::vector<Entry*>{photos, first, second}));
  EXPECT_EQ(batches, 2U);
  EXPECT_EQ(walk(u"root", tree.root), (std::vector<Entry*>{tree.root}));
  EXPECT_TRUE(walk(u"", tree.root).empty());
}

TEST(FindWalkTest, ANamelessRecordEndsItsBranchAndAnAbortStopsTheWalk) {
  TestTree tree;
  Entry* nameless = tree.folder(tree.root, u"");
  tree.file(nameless, u"hidden.jpg", 1);
  tree.finish();
  EXPECT_TRUE(walk(u"hidden", tree.root).empty());
  std::atomic<bool> abort{true};
  int delivered = 0;
  findStringInDir(u"Root", tree.root, {}, abort, [&](std::vector<Entry*>) { ++delivered; });
  EXPECT_EQ(delivered, 0);
}

TEST(FindWalkTest, DeepTreeDoesNotOverflowTheStack) {
  // Linked directly: the counting of TestTree would walk every chain of ancestors.
  TestTree tree;
  Entry* dir = tree.root;
  for (int depth = 0; depth <= 300000; ++depth) {
    Entry* child = tree.arena->newDir();
    tree.arena->setFileName(depth == 300000 ? u"deep.bin" : u"d", child);
    child->fileType = depth == 300000 ? 2 : 1;
    child->parent = dir;
    addChild(child, dir);
    dir = child;
  }
  EXPECT_EQ(walk(u"deep", tree.root).size(), 1U);
  EXPECT_EQ(pathBelowRoot(dir).size(), 300000U * 2 + 8);
}

TEST(FindWalkTest, FileTypesFoldersMatchByExtensionAndTheDeletedViewOnlyByItsEntries) {
  TestTree tree;
  tree.file(tree.root, u"a.mov", 1, true);
  tree.file(tree.root, u"movie-notes.txt", 1);
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.prepareTree(TreeToggle::kFileTypes);
  const std::vector<Entry*> hits = walk(u"mov", view.dirRootTemp(), shownFolderNamesOf(view));
  ASSERT_EQ(hits.size(), 3U);  // the folder "mov", a.mov, movie-notes.txt
  EXPECT_EQ(toUtf8(shownNameOfDir(hits[0])), "mov");
  view.prepareTree(TreeToggle::kDeleted);
  EXPECT_EQ(walk(u"mov", view.dirRootTemp(), shownFolderNamesOf(view)).size(), 2U);
}

// Hits 0..count-1 as records whose index is their fileID.
struct Stepper {
  explicit Stepper(std::size_t count) : dirs(count) {
    std::vector<Entry*> hits;
    for (std::size_t i = 0; i < count; ++i) {
      dirs[i].fileID = static_cast<std::uint32_t>(i);
      hits.push_back(&dirs[i]);
    }
    EXPECT_TRUE(find.find());
    find.searchStarted();
    find.addHits(hits);
    EXPECT_EQ(find.searchComplete(), formatText("%@ Matches Found", {std::to_string(count)}));
  }
  std::string step(const std::string& keys) {
    std::string shown;
    for (char key : keys) {
      Entry* hit = key == 'n' ? find.findNext() : find.findPrev();
      shown += std::to_string(hit->fileID);
    }
    return shown;
  }
  std::vector<Entry> dirs;
  TreeFind find;
};

TEST(FindStepTest, NextAndPreviousRunRoundBothEnds) {
  struct Case {
    const char* keys;
    const char* shown;
  };
  for (const Case& c : {Case{"nnp", "010"}, Case{"nnnn", "0120"}, Case{"np", "02"}, Case{"p", "0"},
                        Case{"pp", "02"}, Case{"nnnp", "0121"}, Case{"npn", "020"}, Case{"nppp", "0210"},
                        Case{"nnnnnp", "012010"}}) {
    Stepper stepper(3);
    EXPECT_EQ(stepper.step(c.keys), c.shown) << c.keys;
  }
  Stepper stepper(3);
  (void)stepper.step("nnnn");
  EXPECT_EQ(stepper.find.selectedIndexText(), "1/3 highlighted");
  Stepper one(1);
  EXPECT_EQ(one.step("nnppn"), "00000");
}

TEST(FindStepTest, NoHitsStepsToNothingAndAThirdRequestIsDropped) {
  TreeFind find;
  EXPECT_EQ(find.findNext(), nullptr);
  EXPECT_TRUE(find.find());
  EXPECT_TRUE(find.find());
  EXPECT_FALSE(find.find());
  find.searchStarted();  // the first worker: nothing before it
  EXPECT_EQ(find.searchComplete(), "0 Matches Found");
  EXPECT_FALSE(find.markAllEnabled());
  EXPECT_FALSE(find.find());
  find.searchStarted();  // the second worker: the count sinks by one as it begins
  EXPECT_TRUE(find.find());
}

TEST(FindMarkTest, MarkAllMarksHitsAndAncestorsAndUnmarkAllUndoes) {
  TestTree tree;
  Entry* folder = tree.folder(tree.root, u"f");
  Entry* a = tree.file(folder, u"x1.jpg", 100);
  tree.file(folder, u"y.jpg", 50);
  Entry* b = tree.file(tree.root, u"x2.jpg", 7);
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  TreeFind find;
  ASSERT_TRUE(find.find());
  find.searchStarted();
  find.addHits(walk(u"x", tree.root));
  (void)find.searchComplete();
  EXPECT_TRUE(find.markAllEnabled());
  (void)find.markAllFound(view);
  EXPECT_EQ(a->selected, 1);
  EXPECT_EQ(b->selected, 1);
  EXPECT_EQ(folder->selected, 1);
  EXPECT_EQ(view.markedFiles(), 2U);
  EXPECT_EQ(view.markedData(), 107U);
  EXPECT_TRUE(view.saveButtonEnabled());
  EXPECT_FALSE(find.markAllEnabled());
  EXPECT_TRUE(find.unmarkAllEnabled());
  (void)find.unmarkAllFound(view);
  EXPECT_EQ(folder->selected, 0);
  EXPECT_EQ(tree.root->selected, 0);
  EXPECT_EQ(view.markedFiles(), 0U);
  find.clear();
  EXPECT_TRUE(find.findArray().empty());
  EXPECT_EQ(find.findNext(), nullptr);
}

}  // namespace
}  // namespace nua
