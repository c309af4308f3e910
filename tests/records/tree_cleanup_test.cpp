// The finishing passes over a tree built by hand.
#include "records/tree_cleanup.h"

#include <gtest/gtest.h>

#include "records/key_table.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

class TreeCleanupTest : public ::testing::Test {
 protected:
  void SetUp() override { root = makeRootDir(arena, &table); }
  Entry* add(Entry* parent, std::uint16_t type, const char16_t* name, std::uint64_t size = 0,
              std::uint8_t deleted = 0) {
    Entry* dir = arena.newDir();
    dir->fileType = type;
    dir->fileSize = size;
    dir->deleted = deleted;
    if (name != nullptr) arena.setFileName(name, dir);
    dir->parent = parent;
    if (type == 2) {
      dir->fileCount = 1;
      raiseAncestorCountsForFile(dir);
    } else {
      raiseAncestorCountsForFolder(dir);
    }
    addChild(dir, parent);
    return dir;
  }
  static std::u16string name(const Entry* dir) { return EntryArena::fileNameOfDir(dir).value_or(u""); }

  EntryArena arena;
  EntryTable table;
  Entry* root = nullptr;
};

TEST(IsMediaFile, KeepsTheListAndItsAsymmetry) {
  EXPECT_TRUE(isMediaFile(u"jpeg"));
  EXPECT_TRUE(isMediaFile(u"MP3"));
  EXPECT_TRUE(isMediaFile(u"mts"));
  EXPECT_TRUE(isMediaFile(u"rm"));
  EXPECT_FALSE(isMediaFile(u"mpeg"));
  EXPECT_FALSE(isMediaFile(u"txt"));
  EXPECT_FALSE(isMediaFile(u""));
  EXPECT_FALSE(isMediaFile(u"jpegs"));
}

TEST_F(TreeCleanupTest, OnlyTheRootStaysARoot) {
  removeZeroSizeFolders(root, arena);
  rearrangeTreeFromDir(root);
  EXPECT_EQ(root->fileCount, 0u);
  EXPECT_TRUE(root->childList.empty());
}

TEST_F(TreeCleanupTest, NonMediaFilesGoAndTheirSizesWithThem) {
  Entry* photos = add(root, 1, u"Photos");
  add(photos, 2, u"a.jpeg", 10);
  add(photos, 2, u"b.mpeg", 20);
  add(photos, 2, u"noext", 30);
  add(photos, 2, u"c.MP3", 40);
  removeNonMediaFilesAndFolders(root, arena);
  ASSERT_EQ(photos->childList.size(), 2u);
  EXPECT_EQ(name(photos->childList[0]), u"a.jpeg");
  EXPECT_EQ(name(photos->childList[1]), u"c.MP3");
  EXPECT_EQ(root->fileSize, 50u);
  EXPECT_EQ(root->fileCount, 2u);
  EXPECT_EQ(root->childrenCount, 3u);
}

TEST_F(TreeCleanupTest, EmptyAndHiddenFoldersGoButTheTrashStays) {
  Entry* trashes = add(root, 1, u".Trashes");
  add(trashes, 2, u"x", 5);
  Entry* trash = add(root, 1, u".Trash");
  add(trash, 2, u"y", 5);
  Entry* hidden = add(root, 1, u".hidden");
  add(hidden, 2, u"z", 5);
  add(root, 1, u"Empty");
  removeZeroSizeFolders(root, arena);
  ASSERT_EQ(root->childList.size(), 2u);
  EXPECT_EQ(name(root->childList[0]), u".Trashes");
  EXPECT_EQ(name(root->childList[1]), u".Trash");
}

TEST_F(TreeCleanupTest, RecountGivesTrueCountsAndSpreadsDeleted) {
  Entry* a = add(root, 1, u"a");
  Entry* b = add(a, 1, u"b");
  Entry* c = add(b, 1, u"c");
  Entry* d = add(c, 1, u"d");
  add(d, 2, u"gone.txt", 7, 1);
  add(root, 2, u"live.txt", 3);
  root->fileSize = 999;  // counts raised wrongly in passing are put right
  a->fileCount = 42;
  rearrangeTreeFromDir(root);
  EXPECT_EQ(root->fileCount, 2u);
  EXPECT_EQ(root->fileSize, 10u);
  EXPECT_EQ(root->childrenCount, 6u);
  EXPECT_EQ(a->fileCount, 1u);
  for (Entry* dir : {root, a, b, c, d}) EXPECT_EQ(dir->deleted, 1);
  rearrangeDeletedTree(root);
  for (Entry* dir : {root, a, b, c}) EXPECT_EQ(dir->deletedList.size(), 1u);
  EXPECT_EQ(d->deletedList.size(), 1u);
}

TEST_F(TreeCleanupTest, NamelessEntriesBecomeUntitled) {
  Entry* folder = add(root, 1, u"f");
  Entry* nameless = add(folder, 2, nullptr, 1);
  fixNilFileNames(root, arena);
  EXPECT_EQ(name(nameless), u"Untitled");
}

TEST_F(TreeCleanupTest, RepeatedNamesGetUnderscoresOnTheFirstHolder) {
  FolderNameIndex index;
  Entry* folder = add(root, 1, u"f");
  EXPECT_EQ(suggestedRepeatFileName(u"a.txt", folder, index), u"a.txt");  // no children at all
  Entry* first = add(folder, 2, u"a.txt");
  add(folder, 2, u"README");
  add(folder, 2, u"a.b.c");
  EXPECT_EQ(suggestedRepeatFileName(u"a.txt", folder, index), u"a_.txt");
  EXPECT_EQ(suggestedRepeatFileName(u"a.txt", folder, index), u"a__.txt");
  EXPECT_EQ(first->repeatCount, 2);
  EXPECT_EQ(suggestedRepeatFileName(u"README", folder, index), u"README_");
  EXPECT_EQ(suggestedRepeatFileName(u"a.b.c", folder, index), u"a.b_.c");
  EXPECT_EQ(suggestedRepeatFileName(u"other", folder, index), u"other");
  // A child appended after the index was built is still found.
  add(folder, 2, u"late");
  EXPECT_EQ(suggestedRepeatFileName(u"late", folder, index), u"late_");
}

}  // namespace
}  // namespace nua
