// Placing extent groups found in the journal, and telling an extents leaf by its first sector.
#include "hfs/journal_extent_search.h"

#include <gtest/gtest.h>

#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

ExtCompP group(std::uint32_t keyStartBlock, std::vector<ExtP> cells) {
  ExtCompP g;
  g.keyStartBlock = keyStartBlock;
  for (const ExtP& e : cells) addDataExtCompEXTP(e, g);
  return g;
}

class RearrangeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    volume = Volume::initWithDictionary(Dict{{"Volume Scan Type", 0}, {"Content", "Apple_HFS"}}, MediaContext{});
    volume->blockSize = 8;  // 4096-byte blocks of 512-byte sectors
    root = makeRootDir(*volume->arena, volume->tables.btree.get());
    file = volume->arena->newDir();
    file->fileType = 2;
    file->fileSize = 24 * 4096 - 100;
    addChild(file, root);
    addDataExtStartBlock(100, 8, file);
  }
  std::unique_ptr<Volume> volume;
  Entry* root = nullptr;
  Entry* file = nullptr;
};

// Recorded decision: journal copies come in any order, so the groups are placed in repeated passes
// until nothing more fits, and `complete` is computed again after the placing. A group found before
// the one it follows is still placed, and the file then counts as complete.
TEST_F(RearrangeTest, ExtraExtentsArePlacedInRepeatedPassesThenCompleteIsRecomputed) {
  addDataExtComp(group(16, {{300, 8}}), file);
  addDataExtComp(group(8, {{200, 8}}), file);
  HfsVolume hfs(*volume, ProgressSink::none());
  rearrangeExtsFound(hfs, root);
  ASSERT_EQ(file->dataExt.size(), 3u);
  EXPECT_EQ(file->dataExt[1].startBlock, 200u);
  EXPECT_EQ(file->dataExt[2].startBlock, 300u);
  EXPECT_EQ(file->complete, 1);
}

TEST_F(RearrangeTest, AGapLeavesTheFileIncompleteWithWhatFollowsOn) {
  addDataExtComp(group(16, {{300, 8}}), file);
  addDataExtComp(group(8, {}), file);  // a group with no cells places nothing and can't loop
  HfsVolume hfs(*volume, ProgressSink::none());
  rearrangeExtsFound(hfs, root);
  EXPECT_EQ(file->dataExt.size(), 1u);
  EXPECT_EQ(file->complete, 0);
}

TEST(ExtentsLeafShape, KeyLengthsAtBothRecordsAndTheDescriptorDecide) {
  std::vector<std::byte> sector(512);
  put8(sector, 8, 0xFF);
  put8(sector, 9, 1);
  putBe16(sector, 10, 2);
  putBe16(sector, 14, 10);
  putBe16(sector, 90, 10);
  EXPECT_TRUE(looksLikeExtentsLeafNode(sector));
  for (std::size_t n = 0; n < 92; ++n) EXPECT_FALSE(looksLikeExtentsLeafNode(ByteSpan(sector).first(n)));
  for (auto [offset, value] : {std::pair<std::size_t, std::uint16_t>{14, 6}, {90, 0}, {10, 0}, {12, 1}}) {
    auto bad = sector;
    putBe16(bad, offset, value);
    EXPECT_FALSE(looksLikeExtentsLeafNode(bad)) << offset;
  }
}

}  // namespace
}  // namespace nua
