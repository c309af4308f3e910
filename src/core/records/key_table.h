// The in-memory ordered key table used for every "seen this id / sector / header?" question of a scan:
// a B-tree of four keys and five branches per node, written once over the item kind, plus the family
// of tables the scans use. The first item with a key wins; there is no delete.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <type_traits>

namespace nua {

struct Entry;

// What a walk callback returns; a callback returning void always continues.
enum class TableWalk { kContinue, kStop };

// Hooks of a table kind. The plain kind does nothing on a key match during insert or on a lookup.
struct PlainTablePolicy {
  template <class Item>
  static void keyMatchedOnInsert(Item& /*stored*/, const Item& /*incoming*/) {}
  template <class Item>
  static void itemRetrieved(Item& /*found*/) {}
};

template <class Item, class Policy = PlainTablePolicy>
class KeyTable {
 public:
  using KeyType = decltype(Item::keyField);
  static constexpr int kMaxKeys = 4;

  class Node {
   public:
    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] Item* key(int index) const { return keys_[static_cast<std::size_t>(index)]; }
    [[nodiscard]] Node* branch(int index) const { return branches_[static_cast<std::size_t>(index)]; }

   private:
    friend class KeyTable;
    int count_ = 0;
    std::array<Item*, kMaxKeys> keys_{};
    std::array<Node*, kMaxKeys + 1> branches_{};
  };

  KeyTable() = default;
  KeyTable(const KeyTable&) = delete;
  KeyTable& operator=(const KeyTable&) = delete;

  // The family's absent-branch marker; compare branches against it, never against null.
  [[nodiscard]] static Node* sentinel() { return &sentinelNode_; }

  [[nodiscard]] bool empty() const { return root_ == sentinel(); }
  [[nodiscard]] Node* root() const { return root_; }
  [[nodiscard]] std::int64_t numItems() const { return numItems_; }
  [[nodiscard]] std::int64_t numNodes() const { return numNodes_; }

  // Adds a copy of the item. A key already present keeps its first item (the policy may merge into
  // it) and the copy is dropped; numItems counts the insert either way. Always returns 1.
  int insert(const Item& item) {
    items_.push_back(item);
    Item* incoming = &items_.back();
    bool moveUp = true;
    bool duplicate = false;
    Item* newItem = nullptr;
    Node* newRight = sentinel();
    pushDownCurrentItem(incoming, root_, moveUp, newItem, newRight, duplicate);
    if (moveUp) {
      Node* newRoot = newNode();
      newRoot->count_ = 1;
      newRoot->keys_[0] = newItem;
      newRoot->branches_[0] = root_;
      newRoot->branches_[1] = newRight;
      root_ = newRoot;
    }
    if (duplicate) items_.pop_back();
    ++numItems_;
    return 1;
  }

  // The stored item with this key, or null. The address stays valid for the life of the table.
  [[nodiscard]] Item* retrieveKeyField(KeyType key) {
    Node* node = root_;
    while (node != sentinel()) {
      int location = 0;
      if (searchNodeForTarget(*node, key, location)) {
        Item* found = node->keys_[static_cast<std::size_t>(location)];
        Policy::itemRetrieved(*found);
        return found;
      }
      node = node->branches_[static_cast<std::size_t>(location + 1)];
    }
    return nullptr;
  }

  // Searches one node: true when the key is there. `location` is its index, else the index of the
  // last key below the target, or -1 when the target lies below key 0.
  [[nodiscard]] static bool searchNodeForTarget(const Node& node, KeyType target, int& location) {
    if (target < node.keys_[0]->keyField) {
      location = -1;
      return false;
    }
    location = node.count_ - 1;
    while (target < node.keys_[static_cast<std::size_t>(location)]->keyField && location > 0) --location;
    return target == node.keys_[static_cast<std::size_t>(location)]->keyField;
  }

  // Visits each node, then its branches 0..count in order. fn(const Node&) returns void or TableWalk.
  template <class Fn>
  void forEachNodePreOrder(Fn&& fn) const {
    walkPreOrder(root_, fn);
  }

  // Visits the items in rising key order. fn(Item&) returns void or TableWalk.
  template <class Fn>
  void forEachItemInOrder(Fn&& fn) const {
    walkInOrder(root_, fn);
  }

 private:
  Node* newNode() {
    Node& node = nodes_.emplace_back();
    node.branches_.fill(sentinel());
    ++numNodes_;
    return &node;
  }

  // Finds the item's place below currentRoot. On the way back up, moveUp says whether newItem (with
  // newRight as its right branch) still has to be placed in the level above.
  void pushDownCurrentItem(Item* currentItem, Node* currentRoot, bool& moveUp, Item*& newItem, Node*& newRight,
                           bool& duplicate) {
    if (currentRoot == sentinel()) {
      moveUp = true;
      newItem = currentItem;
      newRight = sentinel();
      return;
    }
    int location = 0;
    if (searchNodeForTarget(*currentRoot, currentItem->keyField, location)) {
      Policy::keyMatchedOnInsert(*currentRoot->keys_[static_cast<std::size_t>(location)], *currentItem);
      moveUp = false;
      duplicate = true;
      return;
    }
    pushDownCurrentItem(currentItem, currentRoot->branches_[static_cast<std::size_t>(location + 1)], moveUp,
                        newItem, newRight, duplicate);
    if (!moveUp) return;
    if (currentRoot->count_ > kMaxKeys - 1) {
      splitCurrentItem(newItem, newRight, currentRoot, location, newItem, newRight);
    } else {
      moveUp = false;
      addItem(newItem, newRight, currentRoot, location + 1);
    }
  }

  // Puts the item at `location` and its right branch at location + 1, shifting the rest up.
  static void addItem(Item* newItem, Node* newRight, Node* node, int location) {
    for (int index = node->count_; index > location; --index) {
      node->keys_[static_cast<std::size_t>(index)] = node->keys_[static_cast<std::size_t>(index - 1)];
      node->branches_[static_cast<std::size_t>(index + 1)] = node->branches_[static_cast<std::size_t>(index)];
    }
    node->keys_[static_cast<std::size_t>(location)] = newItem;
    node->branches_[static_cast<std::size_t>(location + 1)] = newRight;
    ++node->count_;
  }

  // Splits the full node currentRoot around the incoming item, which belongs after `location`.
  // Hands back the key that goes up and the new right node.
  void splitCurrentItem(Item* currentItem, Node* currentRight, Node* currentRoot, int location, Item*& newItem,
                        Node*& newRight) {
    Node* rightNode = newNode();
    const int median = location < 2 ? 2 : 3;
    for (int index = median; index < kMaxKeys; ++index) {
      rightNode->keys_[static_cast<std::size_t>(index - median)] = currentRoot->keys_[static_cast<std::size_t>(index)];
      rightNode->branches_[static_cast<std::size_t>(index - median + 1)] =
          currentRoot->branches_[static_cast<std::size_t>(index + 1)];
    }
    rightNode->count_ = kMaxKeys - median;
    currentRoot->count_ = median;
    clearAbove(*currentRoot);
    if (location > 1) {
      addItem(currentItem, currentRight, rightNode, location + 1 - median);
    } else {
      addItem(currentItem, currentRight, currentRoot, location + 1);
    }
    const auto last = static_cast<std::size_t>(currentRoot->count_);
    newItem = currentRoot->keys_[last - 1];
    rightNode->branches_[0] = currentRoot->branches_[last];
    --currentRoot->count_;
    clearAbove(*currentRoot);
    newRight = rightNode;
  }

  // Slots past count hold nothing, so a stale key can never be read through a node.
  static void clearAbove(Node& node) {
    for (int index = node.count_; index < kMaxKeys; ++index) {
      node.keys_[static_cast<std::size_t>(index)] = nullptr;
      node.branches_[static_cast<std::size_t>(index + 1)] = sentinel();
    }
  }

  template <class Fn, class Arg>
  static bool callWalk(Fn& fn, Arg& arg) {
    if constexpr (std::is_same_v<std::invoke_result_t<Fn&, Arg&>, TableWalk>) {
      return fn(arg) == TableWalk::kContinue;
    } else {
      fn(arg);
      return true;
    }
  }

  template <class Fn>
  static bool walkPreOrder(const Node* node, Fn& fn) {
    if (node == sentinel()) return true;
    if (!callWalk(fn, *node)) return false;
    for (int index = 0; index <= node->count_; ++index) {
      if (!walkPreOrder(node->branches_[static_cast<std::size_t>(index)], fn)) return false;
    }
    return true;
  }

  template <class Fn>
  static bool walkInOrder(const Node* node, Fn& fn) {
    if (node == sentinel()) return true;
    for (int index = 0; index < node->count_; ++index) {
      if (!walkInOrder(node->branches_[static_cast<std::size_t>(index)], fn)) return false;
      if (!callWalk(fn, *node->keys_[static_cast<std::size_t>(index)])) return false;
    }
    return walkInOrder(node->branches_[static_cast<std::size_t>(node->count_)], fn);
  }

  static inline Node sentinelNode_{};

  Node* root_ = sentinel();
  std::int64_t numNodes_ = 0;
  std::int64_t numItems_ = 0;
  std::deque<Node> nodes_;  // deques keep element addresses on growth, so items and nodes never move
  std::deque<Item> items_;
};

// Entries by catalog node id.
struct EntryItem {
  std::uint32_t keyField = 0;
  Entry* dir = nullptr;
};
class EntryTable final : public KeyTable<EntryItem> {};
using EntryTableNode = EntryTable::Node;

// Lookups count visits: the node walkers use the counter to tell a node seen twice.
struct CountingRetrievePolicy : PlainTablePolicy {
  template <class Item>
  static void itemRetrieved(Item& found) {
    ++found.retrieveCount;
  }
};

// Sectors, dates and blocks by a 64-bit key, with a visit counter.
struct CountedKeyItem {
  std::uint64_t keyField = 0;
  std::uint32_t retrieveCount = 0;
};
class CountedKeyTable final : public KeyTable<CountedKeyItem, CountingRetrievePolicy> {};
using CountedKeyTableNode = CountedKeyTable::Node;

// Entries whose parent wasn't known yet, with the orphan pass's per-entry flags.
struct OrphanItem {
  std::uint32_t keyField = 0;
  Entry* dir = nullptr;
  bool alreadyPolled = false;
  bool parentFoundInBtree = false;
};
class OrphanTable final : public KeyTable<OrphanItem> {
 public:
  // Options and cursor the orphan pass carries on its table.
  std::int32_t indexInCurrentNode = 0;
  std::int32_t typeOfScanInVolume = 0;
  [[nodiscard]] bool incrementData() const { return incrementData_; }
  void setIncrementData(bool value) { incrementData_ = value; }
  [[nodiscard]] bool showVolNameOnly() const { return showVolNameOnly_; }
  void setShowVolNameOnly(bool value) { showVolNameOnly_ = value; }
  [[nodiscard]] bool abortThread() const { return abortThread_; }
  void setAbortThread(bool value) { abortThread_ = value; }

 private:
  bool incrementData_ = false;
  bool showVolNameOnly_ = false;
  std::atomic<bool> abortThread_ = false;  // set by the thread that asks the pass to stop
};
using OrphanTableNode = OrphanTable::Node;

// A stored record identity to the loaded record, for session loading.
struct IdentityEntryItem {
  std::uint64_t keyField = 0;
  Entry* dir = nullptr;
};
class IdentityEntryTable final : public KeyTable<IdentityEntryItem> {};
using IdentityEntryTableNode = IdentityEntryTable::Node;

}  // namespace nua
