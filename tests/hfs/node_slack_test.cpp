// The readers of records left in node slack and freed nodes, over nodes built byte by byte: a good
// decode, every truncation, and each checked field out of range.
#include "hfs/detail/node_slack.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace nua::detail {
namespace {

constexpr std::size_t kNodeBytes = 4096;
constexpr std::uint64_t kBlockBytes = 4096;

// A catalog file record: key (parent, name), then the 248-byte body with id, dates and a data fork of
// `size` bytes in one extent at block 100.
std::vector<std::byte> fileRecord(std::uint32_t parentID, const std::u16string& name, std::uint32_t fileID,
                                  std::uint64_t size) {
  const std::size_t keyLength = 6 + 2 * name.size();
  std::vector<std::byte> r(2 + keyLength + 248);
  putBe16(r, 0, static_cast<std::uint16_t>(keyLength));
  putBe32(r, 2, parentID);
  putBe16(r, 6, static_cast<std::uint16_t>(name.size()));
  for (std::size_t i = 0; i < name.size(); ++i) putBe16(r, 8 + 2 * i, name[i]);
  const std::size_t body = 2 + keyLength;
  putBe16(r, body, 2);
  putBe32(r, body + 8, fileID);
  for (std::size_t date = 12; date < 32; date += 4) putBe32(r, body + date, 0xE0000000u);
  const std::uint32_t blocks = static_cast<std::uint32_t>((size + kBlockBytes - 1) / kBlockBytes);
  putBe32(r, body + 88, static_cast<std::uint32_t>(size >> 32));
  putBe32(r, body + 92, static_cast<std::uint32_t>(size));
  putBe32(r, body + 100, blocks);
  putBe32(r, body + 104, 100);
  putBe32(r, body + 108, blocks);
  return r;
}

std::vector<std::byte> extentRecord(std::uint32_t fileID, std::uint32_t startBlock) {
  std::vector<std::byte> r(76);
  putBe16(r, 0, 10);
  putBe32(r, 4, fileID);
  putBe32(r, 8, startBlock);
  putBe32(r, 12, 500);
  putBe32(r, 16, 3);
  putBe32(r, 20, 600);
  putBe32(r, 24, 2);
  return r;
}

// A leaf of one live record of `liveBytes` bytes whose slack holds `stale` right behind it.
std::vector<std::byte> leafWithStale(const std::vector<std::byte>& stale, std::size_t liveBytes = 40) {
  std::vector<std::byte> node(kNodeBytes);
  node[8] = std::byte{0xFF};
  node[9] = std::byte{1};
  putBe16(node, 10, 1);
  putBe16(node, kNodeBytes - 2, 14);
  putBe16(node, kNodeBytes - 4, static_cast<std::uint16_t>(14 + liveBytes));
  std::copy(stale.begin(), stale.end(), node.begin() + static_cast<std::ptrdiff_t>(14 + liveBytes));
  return node;
}

TEST(NodeSlack, TheFreeSpaceRunsFromTheTablesLastEntryToTheTable) {
  const auto node = leafWithStale({});
  const auto slack = nodeSlack(node, 1);
  ASSERT_TRUE(slack.has_value());
  EXPECT_EQ(slack->begin, 54u);
  EXPECT_EQ(slack->end, kNodeBytes - 4);
}

TEST(NodeSlack, AFreeSpaceOffsetOutsideTheNodeOrATableTooLargeHasNoSlack) {
  struct Case {
    const char* what;
    std::uint16_t numRecords;
    std::uint16_t freeOffset;
  };
  for (const Case& c : {Case{"inside the descriptor", 1, 13}, Case{"inside the table", 1, kNodeBytes - 2},
                        Case{"more records than fit", 2100, 14}}) {
    auto node = leafWithStale({});
    if (c.numRecords < 2048) putBe16(node, kNodeBytes - 4, c.freeOffset);
    EXPECT_FALSE(nodeSlack(node, c.numRecords).has_value()) << c.what;
  }
  EXPECT_FALSE(nodeSlack(ByteSpan(leafWithStale({})).first(10), 0).has_value());
}

TEST(StaleCatalogRecords, AWholeFileRecordInTheSlackIsReadWithItsFields) {
  const auto node = leafWithStale(fileRecord(16, u"gone.txt", 40, 5000));
  const auto found = findStaleCatalogRecords(node, *nodeSlack(node, 1), kBlockBytes);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].step, FragmentStep::kFile);
  EXPECT_EQ(found[0].key.parentID, 16u);
  EXPECT_EQ(found[0].key.name, u"gone.txt");
  EXPECT_EQ(found[0].file.fileID, 40u);
  EXPECT_EQ(found[0].file.dataFork.logicalSize, 5000u);
  EXPECT_EQ(found[0].file.dataFork.extents[0].startBlock, 100u);
}

TEST(StaleCatalogRecords, ARecordCutAtAnyLengthIsNotTaken) {
  const auto record = fileRecord(16, u"gone.txt", 40, 5000);
  const auto node = leafWithStale(record);
  for (std::size_t cut = 0; cut < record.size(); ++cut) {
    const NodeSlack slack{54, 54 + cut};
    EXPECT_TRUE(findStaleCatalogRecords(node, slack, kBlockBytes).empty()) << cut;
  }
  // A range past the node's end is refused rather than read.
  EXPECT_TRUE(findStaleCatalogRecords(node, NodeSlack{54, kNodeBytes + 1}, kBlockBytes).empty());
}

TEST(StaleCatalogRecords, EachCheckedFieldOutOfRangeRejectsTheRecord) {
  const std::size_t body = 2 + 6 + 2 * 8;  // for the name "gone.txt"
  const std::vector<std::pair<const char*, std::function<void(std::vector<std::byte>&)>>> cases = {
      {"key length not 6 + 2 x name length", [](auto& r) { putBe16(r, 0, 24); }},
      {"empty name", [](auto& r) { putBe16(r, 6, 0); }},
      {"parent 1 (the volume root's own record)", [](auto& r) { putBe32(r, 2, 1); }},
      {"parent 0", [](auto& r) { putBe32(r, 2, 0); }},
      {"a volume file's id", [&](auto& r) { putBe32(r, body + 8, 15); }},
      {"no creation date", [&](auto& r) { putBe32(r, body + 12, 0); }},
      {"no modification date", [&](auto& r) { putBe32(r, body + 16, 0); }},
      {"a thread record", [&](auto& r) { putBe16(r, body, 4); }},
      {"more bytes than blocks", [&](auto& r) { putBe32(r, body + 100, 1); }},
  };
  for (const auto& [what, damage] : cases) {
    auto record = fileRecord(16, u"gone.txt", 40, 5000);
    damage(record);
    const auto node = leafWithStale(record);
    EXPECT_TRUE(findStaleCatalogRecords(node, *nodeSlack(node, 1), kBlockBytes).empty()) << what;
  }
  const auto dsStore = leafWithStale(fileRecord(16, u".DS_Store", 40, 5000));
  EXPECT_TRUE(findStaleCatalogRecords(dsStore, *nodeSlack(dsStore, 1), kBlockBytes).empty());
}

TEST(StaleCatalogRecords, AFreedNodeGivesEveryRecordBehindItsDescriptor) {
  auto first = fileRecord(16, u"a.txt", 40, 10);
  const auto second = fileRecord(16, u"b.txt", 41, 9000);
  first.insert(first.end(), second.begin(), second.end());
  auto node = leafWithStale(first, 0);
  putBe16(node, 10, 0);  // numRecords 0, as a node is left when it empties
  const auto found = findStaleCatalogRecords(node, freedNodeSpace(node), kBlockBytes);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].file.fileID, 40u);
  EXPECT_EQ(found[1].file.fileID, 41u);
}

TEST(StaleExtentRecords, AWholeRecordIsReadAndDamagedOnesAreNot) {
  const auto node = leafWithStale(extentRecord(40, 8), 76);
  const auto found = findStaleExtentRecords(node, *nodeSlack(node, 1));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].key.fileID, 40u);
  EXPECT_EQ(found[0].key.startBlock, 8u);
  EXPECT_EQ(found[0].extents[1].startBlock, 600u);
  const std::vector<std::pair<const char*, std::function<void(std::vector<std::byte>&)>>> cases = {
      {"key length 12", [](auto& r) { putBe16(r, 0, 12); }},
      {"fork type 1", [](auto& r) { r[2] = std::byte{1}; }},
      {"pad set", [](auto& r) { r[3] = std::byte{1}; }},
      {"a volume file's id", [](auto& r) { putBe32(r, 4, 4); }},
      {"first extent empty", [](auto& r) { putBe32(r, 16, 0); }},
      {"an extent after an empty one", [](auto& r) { putBe32(r, 44, 9); }},
  };
  for (const auto& [what, damage] : cases) {
    auto record = extentRecord(40, 8);
    damage(record);
    const auto damaged = leafWithStale(record, 76);
    EXPECT_TRUE(findStaleExtentRecords(damaged, *nodeSlack(damaged, 1)).empty()) << what;
  }
}

}  // namespace
}  // namespace nua::detail
