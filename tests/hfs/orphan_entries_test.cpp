// The orphan pass on hand-made tables: entries placed under parents found late, or under "Lost Files".
#include "hfs/orphan_entries.h"

#include <gtest/gtest.h>

#include "records/entry_arena.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {
namespace {

class OrphanPassTest : public ::testing::Test {
 protected:
  void SetUp() override {
    volume = Volume::initWithDictionary(Dict{{"Volume Scan Type", 0}, {"Content", "Apple_HFS"}}, MediaContext{});
    volume->dirRoot = makeRootDir(*volume->arena, volume->tables.btree.get());
  }
  Entry* entry(std::uint32_t id, std::uint32_t parentID, std::uint16_t type, const char16_t* name,
                std::uint64_t size = 0) {
    Entry* dir = volume->arena->newDir();
    dir->fileID = id;
    dir->parentID = parentID;
    dir->fileType = type;
    dir->fileSize = size;
    if (type == 2) dir->fileCount = 1;
    volume->arena->setFileName(name, dir);
    return dir;
  }
  void orphan(Entry* dir) {
    volume->tables.btreeOrph->insert(OrphanItem{dir->fileID, dir, false, false});
    ++volume->counters.orphEntriesTotal;
  }
  std::unique_ptr<Volume> volume;
};

TEST_F(OrphanPassTest, FileWithoutParentGoesToLostFilesMarkedDeleted) {
  Entry* file = entry(40, 39, 2, u"a.txt", 10);
  orphan(file);
  processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), false, false);
  ASSERT_NE(volume->dirLostFiles, nullptr);
  EXPECT_EQ(volume->dirLostFiles->fileID, kLostFilesID);
  EXPECT_EQ(EntryArena::fileNameOfDir(volume->dirLostFiles), u"Lost Files");
  EXPECT_EQ(file->parent, volume->dirLostFiles);
  EXPECT_EQ(file->deleted, 1);
  EXPECT_EQ(volume->dirLostFiles->deleted, 1);
  EXPECT_EQ(volume->dirRoot->fileSize, 10u);
}

TEST_F(OrphanPassTest, TwoLostFilesOfOneNameBecomeDistinct) {
  orphan(entry(40, 39, 2, u"a.txt", 1));
  orphan(entry(41, 39, 2, u"a.txt", 1));
  processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), true, false);
  ASSERT_EQ(volume->dirLostFiles->childList.size(), 2u);
  EXPECT_EQ(EntryArena::fileNameOfDir(volume->dirLostFiles->childList[0]), u"a.txt");
  EXPECT_EQ(EntryArena::fileNameOfDir(volume->dirLostFiles->childList[1]), u"a_.txt");
  EXPECT_EQ(volume->counters.fileCount, 2u);  // incrementData counted them
}

TEST_F(OrphanPassTest, ChildBeforeItsParentHangsUnderItOnceTheParentIsPlaced) {
  Entry* folder = entry(30, kRootID, 1, u"Docs");
  Entry* file = entry(31, 30, 2, u"b.txt", 5);
  orphan(file);
  orphan(folder);
  processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), false, false);
  EXPECT_EQ(file->parent, folder);
  EXPECT_EQ(folder->parent, volume->dirRoot);
  rearrangeTreeFromDir(volume->dirRoot);
  EXPECT_EQ(volume->dirRoot->fileSize, 5u);
  EXPECT_EQ(volume->dirRoot->fileCount, 1u);
}

TEST_F(OrphanPassTest, FolderWithoutParentStaysOutWithItsFiles) {
  Entry* folder = entry(30, 29, 1, u"Gone");
  Entry* file = entry(31, 30, 2, u"c.txt", 5);
  orphan(folder);
  orphan(file);
  processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), false, false);
  EXPECT_EQ(file->parent, folder);
  EXPECT_EQ(folder->parent, nullptr);
  EXPECT_TRUE(volume->dirLostFiles->childList.empty());
}

TEST_F(OrphanPassTest, ExistingEntrySevenIsUsedAsLostFiles) {
  Entry* seven = entry(kLostFilesID, kRootID, 1, u"Mine");
  seven->parent = volume->dirRoot;
  addChildUpdateBTree(seven, volume->dirRoot, TreeSide::kVolume);
  orphan(entry(40, 39, 2, u"d.txt", 1));
  processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), false, false);
  EXPECT_EQ(volume->dirLostFiles, seven);
  EXPECT_EQ(seven->deleted, 1);
}

TEST_F(OrphanPassTest, EntriesNamingEachOtherAsParentsCannotLoop) {
  Entry* a = entry(50, 51, 1, u"A");
  Entry* b = entry(51, 50, 1, u"B");
  Entry* self = entry(52, 52, 1, u"Self");
  orphan(a);
  orphan(b);
  orphan(self);
  processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), false, false);
  EXPECT_NE(self->parent, self);
  EXPECT_FALSE(a->parent == b && b->parent == a);
}

// The pass reads no disk, so an aborted scan still gives what it found a place.
TEST_F(OrphanPassTest, AbortedScanStillPlacesWhatItFound) {
  Entry* file = entry(40, 39, 2, u"a.txt", 1);
  orphan(file);
  volume->setStopTreeThread(true);
  processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), false, false);
  ASSERT_NE(file->parent, nullptr);
  EXPECT_EQ(file->parent->fileID, 7u);  // "Lost Files"
  volume->setStopTreeThread(false);
}

class AdvScanOrphanTest : public OrphanPassTest {
 protected:
  void found(Entry* dir) {
    volume->tables.btreeOrphAdvScanEntries->insert(OrphanItem{dir->fileID, dir, false, false});
    ++volume->counters.orphAdvScanEntriesTotal;
  }
};

TEST_F(AdvScanOrphanTest, FirstRunJoinsFindsToEachOtherOnly) {
  Entry* folder = entry(60, 59, 1, u"Frag");
  Entry* file = entry(61, 60, 2, u"e.txt", 4);
  Entry* catalogChild = entry(62, kRootID, 2, u"f.txt", 4);  // its parent is only in btree
  found(folder);
  found(file);
  found(catalogChild);
  processOrphanAdvScanEntriesWithIncrement(*volume, ProgressSink::none(), true, false);
  EXPECT_EQ(file->parent, folder);
  EXPECT_EQ(catalogChild->parent, nullptr);
  EXPECT_EQ(volume->counters.fileCount, 1u);
}

TEST_F(AdvScanOrphanTest, SecondRunGivesEveryParentlessFindAPlace) {
  Entry* folderA = entry(70, 99, 1, u"A");
  Entry* folderB = entry(71, 99, 1, u"B");
  Entry* file = entry(72, 98, 2, u"g.txt", 4);
  Entry* empty = entry(73, 98, 2, u"h.txt", 0);
  for (Entry* dir : {folderA, folderB, file, empty}) found(dir);
  processOrphanAdvScanEntriesWithIncrement(*volume, ProgressSink::none(), true, false);
  processOrphanAdvScanEntriesRun2WithIncrement(*volume, ProgressSink::none(), true, false);
  EXPECT_EQ(file->parent, volume->dirLostFiles);
  EXPECT_EQ(file->deleted, 1);
  EXPECT_EQ(empty->parent, nullptr);  // a file of size 0 is left out here
  ASSERT_NE(folderA->parent, nullptr);
  ASSERT_NE(folderB->parent, nullptr);
  const Entry* lostFolders = folderA->parent->parent;
  ASSERT_NE(lostFolders, nullptr);
  EXPECT_EQ(lostFolders->fileID, kLostFoldersID);
  std::vector<std::u16string> names;
  for (const Entry* child : lostFolders->childList) names.push_back(EntryArena::fileNameOfDir(child).value_or(u""));
  EXPECT_EQ(names, (std::vector<std::u16string>{u"LostFolder99", u"LostFolder99_"}));
  EXPECT_EQ(folderA->parent->fileID, 99u);
}

}  // namespace
}  // namespace nua
