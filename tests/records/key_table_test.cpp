// Shape, duplicate handling, visit counting and walk order of the ordered key tables.
#include "records/key_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include "records/entry.h"

namespace nua {
namespace {

using KeyRows = std::vector<std::vector<std::uint64_t>>;

template <class Table>
KeyRows preOrderKeys(const Table& table) {
  KeyRows rows;
  table.forEachNodePreOrder([&rows](const typename Table::Node& node) {
    std::vector<std::uint64_t>& row = rows.emplace_back();
    for (int index = 0; index < node.count(); ++index) row.push_back(node.key(index)->keyField);
  });
  return rows;
}

template <class Table>
void insertKeys(Table& table, const std::vector<std::uint64_t>& keys) {
  for (std::uint64_t key : keys) table.insert({static_cast<typename Table::KeyType>(key)});
}

// Every node holds 1..4 rising keys within its bounds, and every leaf sits at the same depth.
template <class Table>
void expectWellFormed(const Table& table) {
  using Node = typename Table::Node;
  int leafDepth = -1;
  auto check = [&](auto& self, const Node* node, int depth, std::uint64_t low, std::uint64_t high) -> void {
    ASSERT_GE(node->count(), 1);
    ASSERT_LE(node->count(), 4);
    for (int index = 0; index < node->count(); ++index) {
      const std::uint64_t key = node->key(index)->keyField;
      EXPECT_GE(key, low);
      EXPECT_LE(key, high);
      if (index > 0) {
        EXPECT_LT(node->key(index - 1)->keyField, key);
      }
    }
    if (node->branch(0) == Table::sentinel()) {
      if (leafDepth < 0) leafDepth = depth;
      EXPECT_EQ(depth, leafDepth);
      for (int index = 0; index <= node->count(); ++index) EXPECT_EQ(node->branch(index), Table::sentinel());
      return;
    }
    for (int index = 0; index <= node->count(); ++index) {
      ASSERT_NE(node->branch(index), Table::sentinel());
      const std::uint64_t below = index == 0 ? low : node->key(index - 1)->keyField + 1;
      const std::uint64_t above = index == node->count() ? high : node->key(index)->keyField - 1;
      self(self, node->branch(index), depth + 1, below, above);
    }
  };
  if (!table.empty()) check(check, table.root(), 0, 0, UINT64_MAX);
}

TEST(KeyTableTest, EmptyTableHasSentinelRootAndFindsNothing) {
  EntryTable table;
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.root(), EntryTable::sentinel());
  EXPECT_EQ(table.retrieveKeyField(0), nullptr);
  EXPECT_EQ(table.numNodes(), 0);
  EXPECT_EQ(table.numItems(), 0);
}

TEST(KeyTableTest, FifthRisingKeySplitsRootAroundThree) {
  EntryTable table;
  insertKeys(table, {1, 2, 3, 4});
  EXPECT_EQ(preOrderKeys(table), (KeyRows{{1, 2, 3, 4}}));
  EXPECT_EQ(table.numNodes(), 1);

  table.insert({5, nullptr});
  EXPECT_EQ(preOrderKeys(table), (KeyRows{{3}, {1, 2}, {4, 5}}));
  EXPECT_EQ(table.numNodes(), 3);
  EXPECT_EQ(table.numItems(), 5);
}

TEST(KeyTableTest, KeyBelowAllOfFullNodeGoesToLeftHalf) {
  EntryTable table;
  insertKeys(table, {10, 20, 30, 40});
  int location = 0;
  EXPECT_FALSE(EntryTable::searchNodeForTarget(*table.root(), 5, location));
  EXPECT_EQ(location, -1);

  table.insert({5, nullptr});
  EXPECT_EQ(preOrderKeys(table), (KeyRows{{20}, {5, 10}, {30, 40}}));
}

TEST(KeyTableTest, SearchNodeGivesIndexOfLastKeyNotAboveTarget) {
  EntryTable table;
  insertKeys(table, {10, 20, 30, 40});
  struct Case {
    std::uint32_t target;
    bool found;
    int location;
  };
  const Case cases[] = {{0, false, -1}, {9, false, -1}, {10, true, 0}, {15, false, 0}, {25, false, 1},
                        {30, true, 2},  {40, true, 3},  {41, false, 3}, {UINT32_MAX, false, 3}};
  for (const Case& c : cases) {
    int location = 99;
    EXPECT_EQ(EntryTable::searchNodeForTarget(*table.root(), c.target, location), c.found) << c.target;
    EXPECT_EQ(location, c.location) << c.target;
  }
}

TEST(KeyTableTest, FirstItemWithKeyWinsAndDuplicatesStillCount) {
  Entry first;
  Entry second;
  EntryTable table;
  EXPECT_EQ(table.insert({7, &first}), 1);
  EXPECT_EQ(table.insert({7, &second}), 1);
  ASSERT_NE(table.retrieveKeyField(7), nullptr);
  EXPECT_EQ(table.retrieveKeyField(7)->dir, &first);
  EXPECT_EQ(table.numItems(), 2);
  EXPECT_EQ(table.numNodes(), 1);
  EXPECT_EQ(preOrderKeys(table), (KeyRows{{7}}));
}

TEST(KeyTableTest, KeyZeroIsStoredAndFound) {
  Entry dir;
  EntryTable table;
  insertKeys(table, {5, 3, 9});
  table.insert({0, &dir});
  ASSERT_NE(table.retrieveKeyField(0), nullptr);
  EXPECT_EQ(table.retrieveKeyField(0)->dir, &dir);
  EXPECT_EQ(preOrderKeys(table), (KeyRows{{0, 3, 5, 9}}));
}

TEST(KeyTableTest, UInt32TableCountsEachLookup) {
  CountedKeyTable table;
  table.insert({0x1'0000'0000ULL, 0});
  EXPECT_EQ(table.retrieveKeyField(0x1'0000'0000ULL)->retrieveCount, 1U);
  const CountedKeyItem* item = table.retrieveKeyField(0x1'0000'0000ULL);
  EXPECT_EQ(item->retrieveCount, 2U);
  EXPECT_EQ(table.retrieveKeyField(0), nullptr);
  EXPECT_EQ(item->retrieveCount, 2U);
}

TEST(KeyTableTest, RisingOneToTwentyPreOrder) {
  EntryTable table;
  for (std::uint32_t key = 1; key <= 20; ++key) table.insert({key, nullptr});
  const KeyRows expected{{9},      {3, 6},   {1, 2},   {4, 5},   {7, 8},
                         {12, 15, 18}, {10, 11}, {13, 14}, {16, 17}, {19, 20}};
  EXPECT_EQ(preOrderKeys(table), expected);
  EXPECT_EQ(table.numNodes(), 10);
}

TEST(KeyTableTest, ScrambledSequencePreOrder) {
  IdentityEntryTable table;
  insertKeys(table, {50, 20, 80, 10, 30, 60, 90, 5, 25, 15, 35, 1});
  EXPECT_EQ(preOrderKeys(table), (KeyRows{{15, 30, 60}, {1, 5, 10}, {20, 25}, {35, 50}, {80, 90}}));
  EXPECT_EQ(table.numNodes(), 5);
}

TEST(KeyTableTest, InOrderWalkRisesAndStopsOnRequest) {
  EntryTable table;
  insertKeys(table, {50, 20, 80, 10, 30, 60, 90, 5, 25, 15, 35, 1});
  std::vector<std::uint32_t> keys;
  table.forEachItemInOrder([&keys](EntryItem& item) { keys.push_back(item.keyField); });
  EXPECT_EQ(keys, (std::vector<std::uint32_t>{1, 5, 10, 15, 20, 25, 30, 35, 50, 60, 80, 90}));

  keys.clear();
  table.forEachItemInOrder([&keys](EntryItem& item) {
    keys.push_back(item.keyField);
    return keys.size() == 3 ? TableWalk::kStop : TableWalk::kContinue;
  });
  EXPECT_EQ(keys, (std::vector<std::uint32_t>{1, 5, 10}));

  int nodesSeen = 0;
  table.forEachNodePreOrder([&nodesSeen](const EntryTableNode&) {
    ++nodesSeen;
    return TableWalk::kStop;
  });
  EXPECT_EQ(nodesSeen, 1);
}

TEST(KeyTableTest, OrphanItemFlagsStickToTheStoredItem) {
  OrphanTable table;
  for (std::uint32_t key = 100; key > 0; --key) table.insert({key, nullptr, false, false});
  OrphanItem* item = table.retrieveKeyField(42);
  ASSERT_NE(item, nullptr);
  item->alreadyPolled = true;
  for (std::uint32_t key = 101; key < 1000; ++key) table.insert({key, nullptr, false, false});
  EXPECT_EQ(table.retrieveKeyField(42), item);
  EXPECT_TRUE(table.retrieveKeyField(42)->alreadyPolled);
  EXPECT_FALSE(table.retrieveKeyField(43)->alreadyPolled);
  expectWellFormed(table);
}

TEST(KeyTableTest, MatchesMapOnRandomKeys) {
  std::mt19937_64 random(20240611);
  IdentityEntryTable table;
  std::map<std::uint64_t, Entry*> expected;
  std::vector<Entry> records(64);
  const int inserts = 20000;
  for (int step = 0; step < inserts; ++step) {
    const std::uint64_t key = random() % 30000;  // dense enough for many duplicates
    Entry* dir = &records[random() % records.size()];
    table.insert({key, dir});
    expected.emplace(key, dir);  // emplace keeps the first value, as the table does
  }
  EXPECT_EQ(table.numItems(), inserts);
  for (std::uint64_t key = 0; key < 30000; ++key) {
    const auto found = expected.find(key);
    const IdentityEntryItem* item = table.retrieveKeyField(key);
    if (found == expected.end()) {
      EXPECT_EQ(item, nullptr) << key;
    } else {
      ASSERT_NE(item, nullptr) << key;
      EXPECT_EQ(item->dir, found->second) << key;
    }
  }
  std::vector<std::uint64_t> walked;
  table.forEachItemInOrder([&walked](IdentityEntryItem& item) { walked.push_back(item.keyField); });
  ASSERT_EQ(walked.size(), expected.size());
  EXPECT_TRUE(std::equal(walked.begin(), walked.end(), expected.begin(),
                         [](std::uint64_t key, const auto& entry) { return key == entry.first; }));
  expectWellFormed(table);
}

}  // namespace
}  // namespace nua
