// Child lists, extents, marks, table upkeep and ancestor counts of result records.
#include "records/entry_ops.h"

#include <gtest/gtest.h>

#include <vector>

#include "records/key_table.h"
#include "records/entry_arena.h"

namespace nua {
namespace {

class EntryOpsTest : public testing::Test {
 protected:
  Entry* makeEntry(Entry* parent, std::uint16_t fileType, std::uint32_t fileID = 0) {
    Entry* dir = arena.newDir();
    dir->fileType = fileType;
    dir->fileID = fileID;
    dir->parent = parent;
    if (parent != nullptr) addChild(dir, parent);
    return dir;
  }

  EntryArena arena;
};

TEST_F(EntryOpsTest, IndexAtOrPastCountGivesNullEvenWhenEmpty) {
  Entry* folder = makeEntry(nullptr, 1);
  for (std::uint32_t index : {0U, 1U, 0xFFFFFFFFU}) {
    EXPECT_EQ(childAtIndex(index, folder), nullptr);
    EXPECT_EQ(childAtIndexDeleted(index, folder), nullptr);
    EXPECT_EQ(childAtIndexOrig(index, folder), nullptr);
    EXPECT_EQ(childAtIndexDeletedOrig(index, folder), nullptr);
  }
  Entry* child = makeEntry(folder, 2);
  EXPECT_EQ(childAtIndex(0, folder), child);
  EXPECT_EQ(childAtIndexOrig(0, folder), child);
  EXPECT_EQ(childAtIndex(1, folder), nullptr);
}

TEST_F(EntryOpsTest, DeletedOrigSkipsIndexZeroButItsTwinDoesNot) {
  Entry* folder = makeEntry(nullptr, 1);
  Entry* first = makeEntry(folder, 2);
  Entry* second = makeEntry(folder, 2);
  addChildDeletedArray(first, folder);
  addChildDeletedArray(second, folder);
  EXPECT_EQ(childAtIndexDeleted(0, folder), first);
  EXPECT_EQ(childAtIndexDeletedOrig(0, folder), nullptr);
  EXPECT_EQ(childAtIndexDeletedOrig(1, folder), second);
  EXPECT_EQ(childAtIndexDeletedOrig(2, folder), nullptr);
}

TEST_F(EntryOpsTest, RemovingTheOnlyChildThenAddingAgainWorks) {
  Entry* folder = makeEntry(nullptr, 1);
  makeEntry(folder, 2);
  removeChildAtIndex(1, folder, arena, TreeSide::kVolume);  // past the count: nothing
  EXPECT_EQ(folder->childListCount(), 1U);
  removeChildAtIndex(0, folder, arena, TreeSide::kVolume);
  EXPECT_EQ(folder->childListCount(), 0U);
  EXPECT_EQ(arena.liveCount(), 1U);

  Entry* again = makeEntry(folder, 2);
  EXPECT_EQ(folder->childListCount(), 1U);
  EXPECT_EQ(childAtIndex(0, folder), again);
}

TEST_F(EntryOpsTest, RemovalFreesTheSubtreeAndOnlyTheViewingSideTidiesDeletedList) {
  for (TreeSide side : {TreeSide::kVolume, TreeSide::kController}) {
    Entry* folder = makeEntry(nullptr, 1);
    Entry* sub = makeEntry(folder, 1);
    Entry* keep = makeEntry(folder, 2);
    makeEntry(sub, 2);
    addChildDeletedArray(sub, folder);
    addChildDeletedArray(keep, folder);
    const std::size_t liveBefore = arena.liveCount();

    removeChildAtIndex(0, folder, arena, side);
    EXPECT_EQ(arena.liveCount(), liveBefore - 2);
    EXPECT_EQ(folder->childList, std::vector<Entry*>{keep});
    if (side == TreeSide::kController) {
      EXPECT_EQ(folder->deletedList, std::vector<Entry*>{keep});
    } else {
      EXPECT_EQ(folder->deletedListCount(), 2U);
    }
  }
}

TEST_F(EntryOpsTest, ChildTestsAndDeletedListRemoval) {
  Entry* folder = makeEntry(nullptr, 1);
  Entry* child = makeEntry(folder, 2);
  Entry* stranger = makeEntry(nullptr, 2);
  addChildDeletedArray(child, folder);
  EXPECT_TRUE(dirIsChildOfDir(child, folder));
  EXPECT_FALSE(dirIsChildOfDir(stranger, folder));
  EXPECT_TRUE(dirIsDeletedChildOfDir(child, folder));

  removeDirFromDeletedArrayOfParent(stranger, folder);
  EXPECT_EQ(folder->deletedListCount(), 1U);
  removeDirFromDeletedArrayOfParent(child, folder);
  EXPECT_EQ(folder->deletedListCount(), 0U);
  EXPECT_FALSE(dirIsDeletedChildOfDir(child, folder));
  EXPECT_TRUE(dirIsChildOfDir(child, folder));
  EXPECT_EQ(arena.liveCount(), 3U);
}

TEST_F(EntryOpsTest, SwapExchangesListsWithTheirCounts) {
  Entry* folder = makeEntry(nullptr, 1);
  Entry* a = makeEntry(folder, 2);
  Entry* b = makeEntry(folder, 2);
  addChildDeletedArray(b, folder);
  swapChildrenArrayOfDir(folder);
  EXPECT_EQ(folder->childListCount(), 1U);
  EXPECT_EQ(childAtIndex(0, folder), b);
  EXPECT_EQ(folder->deletedListCount(), 2U);
  EXPECT_EQ(childAtIndexDeleted(0, folder), a);
  EXPECT_EQ(folder->showDeletedOnly, 0);
}

TEST_F(EntryOpsTest, ExtentsAppendWithoutMergingAndGroupsCountOneAbove) {
  Entry* file = makeEntry(nullptr, 2);
  addDataExtStartBlock(100, 4, file);
  addDataExtStartBlock(104, 4, file);
  EXPECT_EQ(file->dataExtCount(), 2U);

  ExtCompP group;
  group.keyStartBlock = 8;
  addDataExtCompEXTP({200, 1}, group);
  EXPECT_EQ(group.count, 2U);
  addDataExtCompEXTP({300, 1}, group);
  EXPECT_EQ(group.count, 3U);
  EXPECT_EQ(group.list.size(), 2U);

  addDataExtComp(group, file);
  EXPECT_EQ(file->dataExtCompCount, 2U);
  EXPECT_EQ(file->dataExtComp.size(), 1U);
  addDataExtComp(ExtCompP{}, file);
  EXPECT_EQ(file->dataExtCompCount, 3U);
  EXPECT_EQ(file->dataExtComp[0].list[1].startBlock, 300U);
}

TEST_F(EntryOpsTest, SelectedCountNeedsChildrenCountAndWalksTheWholeSubtree) {
  Entry* root = makeEntry(nullptr, 1);
  Entry* folder = makeEntry(root, 1);
  makeEntry(folder, 2)->selected = 1;
  makeEntry(folder, 2)->selected = 2;  // a mixed mark is not a mark
  makeEntry(root, 2)->selected = 1;
  folder->selected = 1;
  EXPECT_EQ(childrenSelectedOfDir(root), 0U);  // counts not raised yet
  root->childrenCount = 4;
  EXPECT_EQ(childrenSelectedOfDir(root), 3U);
}

TEST_F(EntryOpsTest, SelectedCountOnDeepOrLoopingTreesReturns) {
  Entry* root = makeEntry(nullptr, 1);
  root->childrenCount = 1;
  Entry* last = root;
  for (int depth = 0; depth < 200000; ++depth) {
    last = makeEntry(last, 1);
    last->selected = 1;
  }
  EXPECT_EQ(childrenSelectedOfDir(root), 200000U);

  Entry* loop = makeEntry(nullptr, 1);
  loop->childrenCount = 1;
  loop->selected = 1;
  addChild(loop, loop);
  const std::uint32_t looped = childrenSelectedOfDir(loop);
  EXPECT_GT(looped, 0U);
  EXPECT_LE(looped, kMaxTreeWalkSteps);
}

TEST_F(EntryOpsTest, TableUpkeepDependsOnSideAndKind) {
  EntryTable volumeTable;
  EntryTable viewTable;
  EntryTable advTable;
  Entry* onVolume = makeEntry(nullptr, 1);
  Entry* onView = makeEntry(nullptr, 1);
  onVolume->childBTree = &volumeTable;
  onView->childBTree = &viewTable;
  onView->advScanBTree = &advTable;
  Entry* folder = arena.newDir();
  folder->fileType = 1;
  folder->fileID = 20;
  Entry* file = arena.newDir();
  file->fileType = 2;
  file->fileID = 21;

  addChildUpdateBTree(folder, onVolume, TreeSide::kVolume);
  addChildUpdateBTree(file, onVolume, TreeSide::kVolume);
  addChildUpdateBTree(folder, onView, TreeSide::kController);
  addChildUpdateBTree(file, onView, TreeSide::kController);
  addChildAdvScan(folder, onView);
  addChildAdvScan(file, onView);

  EXPECT_EQ(volumeTable.retrieveKeyField(21)->dir, file);
  EXPECT_EQ(volumeTable.retrieveKeyField(20)->dir, folder);
  EXPECT_EQ(viewTable.retrieveKeyField(21), nullptr);
  EXPECT_EQ(viewTable.retrieveKeyField(20)->dir, folder);
  EXPECT_EQ(advTable.retrieveKeyField(21), nullptr);
  EXPECT_EQ(advTable.retrieveKeyField(20)->dir, folder);
  EXPECT_EQ(onView->childListCount(), 4U);

  Entry* noTable = makeEntry(nullptr, 1);
  addChildUpdateBTree(file, noTable, TreeSide::kVolume);
  addChildAdvScan(folder, noTable);
  EXPECT_EQ(noTable->childListCount(), 2U);
}

TEST_F(EntryOpsTest, AncestorCountsRiseOnEveryAncestor) {
  Entry* root = makeEntry(nullptr, 1);
  Entry* folder = makeEntry(root, 1);
  EXPECT_EQ(raiseAncestorCountsForFolder(folder), 1U);
  Entry* file = makeEntry(folder, 2);
  file->fileSize = 1000;
  file->fileCount = 1;
  EXPECT_EQ(raiseAncestorCountsForFile(file), 2U);
  EXPECT_EQ(root->childrenCount, 2U);
  EXPECT_EQ(root->fileCount, 1U);
  EXPECT_EQ(root->fileSize, 1000U);
  EXPECT_EQ(folder->childrenCount, 1U);

  Entry* orphan = makeEntry(nullptr, 1);
  orphan->childrenCount = 3;
  orphan->fileCount = 2;
  orphan->fileSize = 50;
  orphan->parent = folder;
  addChild(orphan, folder);
  EXPECT_EQ(raiseAncestorCountsForSubtree(orphan), 2U);
  EXPECT_EQ(root->childrenCount, 6U);
  EXPECT_EQ(root->fileCount, 3U);
  EXPECT_EQ(root->fileSize, 1050U);
  EXPECT_EQ(folder->childrenCount, 5U);
}

TEST_F(EntryOpsTest, ParentLoopsEndAtTheFirstRepeat) {
  Entry* detached = makeEntry(nullptr, 2);
  EXPECT_EQ(ancestorCount(detached), 0U);

  Entry* self = makeEntry(nullptr, 1);
  self->parent = self;
  EXPECT_EQ(ancestorCount(self), 1U);

  // file -> a -> b -> c -> d -> b: four distinct ancestors.
  std::vector<Entry*> chain;
  for (int index = 0; index < 5; ++index) chain.push_back(makeEntry(nullptr, 1));
  for (int index = 0; index < 4; ++index) chain[static_cast<std::size_t>(index)]->parent = chain[index + 1U];
  chain[4]->parent = chain[2];
  Entry* file = makeEntry(nullptr, 2);
  file->parent = chain[0];
  file->fileSize = 7;
  EXPECT_EQ(ancestorCount(file), 5U);
  EXPECT_EQ(raiseAncestorCountsForFile(file), 5U);
  for (Entry* ancestor : chain) EXPECT_EQ(ancestor->fileSize, 7U);
}

TEST_F(EntryOpsTest, MakeRootDirBuildsTheFixedRoot) {
  EntryTable table;
  Entry* root = makeRootDir(arena, &table);
  EXPECT_EQ(EntryArena::fileNameOfDir(root), u"Root");
  EXPECT_EQ(EntryArena::pathNameOfDir(root), u"1");
  EXPECT_EQ(root->fileID, kRootID);
  EXPECT_EQ(root->parentID, kParentOfRootID);
  EXPECT_EQ(root->fileType, 1);
  EXPECT_EQ(root->childBTree, &table);
  EXPECT_EQ(table.retrieveKeyField(kRootID)->dir, root);
  EXPECT_EQ(makeRootDir(arena, nullptr)->childBTree, nullptr);
}

}  // namespace
}  // namespace nua
