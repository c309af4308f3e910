// Record lifetime, identities and name storage of the arena.
#include "records/entry_arena.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace nua {
namespace {

using namespace std::string_literals;

TEST(EntryArenaTest, NewRecordsAreZeroFilledWithSequentialIdentities) {
  EntryArena arena;
  Entry* first = arena.newDir();
  Entry* second = arena.newDir();
  EXPECT_EQ(first->identity, 1U);
  EXPECT_EQ(second->identity, 2U);
  EXPECT_EQ(first->fileID, 0U);
  EXPECT_EQ(first->parent, nullptr);
  EXPECT_EQ(first->childListCount(), 0U);
  EXPECT_EQ(first->fileNameLength(), 0);
  EXPECT_EQ(arena.byIdentity(2), second);
  EXPECT_EQ(arena.byIdentity(0), nullptr);
  EXPECT_EQ(arena.byIdentity(3), nullptr);
  EXPECT_EQ(arena.liveCount(), 2U);
}

struct NameCase {
  const char* label;
  std::u16string text;
  std::u16string stored;  // empty: length 0 and no text
};

class EntryArenaNameTest : public testing::TestWithParam<NameCase> {};

TEST_P(EntryArenaNameTest, StoresTextCutAtFirstNul) {
  const NameCase& c = GetParam();
  EntryArena arena;
  Entry* dir = arena.newDir();
  arena.setFileName(c.text, dir);
  arena.setPathName(c.text, dir);
  arena.setExtension(c.text, dir);
  EXPECT_EQ(dir->fileNameLength(), c.stored.size());
  EXPECT_EQ(dir->pathNameLength(), c.stored.size());
  EXPECT_EQ(dir->extensionLength(), c.stored.size());
  if (c.stored.empty()) {
    EXPECT_EQ(EntryArena::fileNameOfDir(dir), std::nullopt);
    EXPECT_EQ(EntryArena::pathNameOfDir(dir), std::nullopt);
    EXPECT_EQ(EntryArena::extensionOfDir(dir), std::nullopt);
  } else {
    EXPECT_EQ(EntryArena::fileNameOfDir(dir), c.stored);
    EXPECT_EQ(EntryArena::pathNameOfDir(dir), c.stored);
    EXPECT_EQ(EntryArena::extensionOfDir(dir), c.stored);
  }
}

INSTANTIATE_TEST_SUITE_P(Names, EntryArenaNameTest,
                         testing::Values(NameCase{"plain", u"IMG_0001.JPG", u"IMG_0001.JPG"},
                                         NameCase{"nulInside", u"ab\0cd"s, u"ab"},
                                         NameCase{"empty", u"", u""},
                                         NameCase{"nulFirst", u"\0xyz"s, u""},
                                         NameCase{"nonBmp", u"\xD83D\xDCF7 photo", u"\xD83D\xDCF7 photo"}),
                         [](const testing::TestParamInfo<NameCase>& param) { return std::string(param.param.label); });

TEST(EntryArenaTest, SettingANameAgainReplacesIt) {
  EntryArena arena;
  Entry* dir = arena.newDir();
  arena.setFileName(u"long old name", dir);
  arena.setFileName(u"new", dir);
  EXPECT_EQ(EntryArena::fileNameOfDir(dir), u"new");
  arena.setFileName(u"", dir);
  EXPECT_EQ(dir->fileNameLength(), 0);
  EXPECT_EQ(EntryArena::fileNameOfDir(dir), std::nullopt);
}

TEST(EntryArenaTest, NamesSurviveManyAllocationsAndLongNamesAreCapped) {
  EntryArena arena;
  std::vector<Entry*> dirs;
  for (int index = 0; index < 30000; ++index) {
    Entry* dir = arena.newDir();
    arena.setFileName(u"file " + std::u16string(static_cast<std::size_t>(index % 50), u'x'), dir);
    dirs.push_back(dir);
  }
  Entry* big = arena.newDir();
  arena.setFileName(std::u16string(20000, u'b'), big);
  Entry* huge = arena.newDir();
  arena.setFileName(std::u16string(70000, u'h'), huge);

  for (int index = 0; index < 30000; ++index) {
    ASSERT_EQ(EntryArena::fileNameOfDir(dirs[static_cast<std::size_t>(index)]),
              u"file " + std::u16string(static_cast<std::size_t>(index % 50), u'x'));
  }
  EXPECT_EQ(EntryArena::fileNameOfDir(big), std::u16string(20000, u'b'));
  EXPECT_EQ(huge->fileNameLength(), 65535);
}

TEST(EntryArenaTest, FreeingASubtreeFreesEveryRecordBelowAndSlotsGetNewIdentities) {
  EntryArena arena;
  Entry* keep = arena.newDir();
  Entry* root = arena.newDir();
  Entry* folder = arena.newDir();
  Entry* file = arena.newDir();
  root->childList = {folder};
  folder->childList = {file};
  root->deletedList = {folder};
  file->dataExt = {{10, 2}};
  arena.setFileName(u"a", file);
  const std::uint64_t fileIdentity = file->identity;

  arena.freeNDir(root);
  EXPECT_EQ(arena.liveCount(), 1U);
  EXPECT_EQ(arena.byIdentity(fileIdentity), nullptr);
  EXPECT_EQ(arena.byIdentity(keep->identity), keep);

  std::set<Entry*> reused;
  for (int index = 0; index < 3; ++index) {
    Entry* dir = arena.newDir();
    EXPECT_EQ(dir->identity, 5U + static_cast<unsigned>(index));
    EXPECT_TRUE(dir->childList.empty());
    EXPECT_TRUE(dir->dataExt.empty());
    EXPECT_EQ(dir->fileNameLength(), 0);
    reused.insert(dir);
  }
  EXPECT_EQ(reused, (std::set<Entry*>{root, folder, file}));
}

TEST(EntryArenaTest, FreeingADeepChainDoesNotRecurse) {
  EntryArena arena;
  Entry* root = arena.newDir();
  Entry* last = root;
  for (int depth = 0; depth < 200000; ++depth) {
    Entry* child = arena.newDir();
    child->fileType = 1;
    child->parent = last;
    last->childList.push_back(child);
    last = child;
  }
  arena.freeNDir(root);
  EXPECT_EQ(arena.liveCount(), 0U);
}

TEST(EntryArenaTest, DamagedLinksFreeEachRecordOnce) {
  EntryArena arena;
  Entry* root = arena.newDir();
  Entry* a = arena.newDir();
  Entry* b = arena.newDir();
  root->childList = {a, b, nullptr};
  a->childList = {b, root};  // b shared, and a loop back to the root
  arena.freeNDir(root);
  EXPECT_EQ(arena.liveCount(), 0U);
  arena.freeNDir(a);  // already free: ignored

  std::set<Entry*> slots;
  for (int index = 0; index < 4; ++index) slots.insert(arena.newDir());
  EXPECT_EQ(slots.size(), 4U);
  EXPECT_EQ(arena.liveCount(), 4U);
}

}  // namespace
}  // namespace nua
