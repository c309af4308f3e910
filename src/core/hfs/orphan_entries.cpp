// Placing the entries that arrived before their parents, once the catalog walk is over.
#include "hfs/orphan_entries.h"

#include <chrono>

#include "tree/new_dir_arena.h"
#include "tree/new_dir_ops.h"
#include "tree/tree_cleanup.h"

namespace nua {
namespace {

using Clock = std::chrono::steady_clock;

bool leadsTo(const NewDir* from, const NewDir* target) {
  std::size_t steps = 0;
  for (const NewDir* a = from; a != nullptr && steps < kMaxTreeWalkDepth; a = a->parent, ++steps)
    if (a == target) return true;
  return false;
}

class OrphanPass {
 public:
  explicit OrphanPass(Volume& v) : v_(v) {}
  void processThisOrphanEntry(ItemTypeOrph& item);

 private:
  void attach(NewDir* entry, NewDir* parent);
  void reportProgress();
  Volume& v_;
  Clock::time_point start_ = Clock::now();
};

void OrphanPass::attach(NewDir* entry, NewDir* parent) {
  const std::u16string name = NewDirArena::fileNameOfDir(entry).value_or(u"");
  const std::u16string unique = suggestedRepeatFileName(name, parent, *v_.folderNameIndex);
  if (unique != name) v_.arena->setFileName(unique, entry);
  entry->parent = parent;
  addChildUpdateBTree(entry, parent, TreeSide::kVolume);
  if (entry->fileType == 2) {
    raiseAncestorCountsForFile(entry);
  } else {
    raiseAncestorCountsForSubtree(entry);
  }
}

void OrphanPass::processThisOrphanEntry(ItemTypeOrph& item) {
  NewDir* entry = item.dir;
  if (entry == nullptr) return;
  ++v_.orphEntryCount;
  entry->childBTree = v_.btree.get();
  NewDir* parent = nullptr;
  if (ItemTypeOrph* waiting = v_.btreeOrph->retrieveKeyField(entry->parentID)) parent = waiting->dir;
  if (parent == nullptr)
    if (ItemType* placed = v_.btree->retrieveKeyField(entry->parentID)) parent = placed->dir;
  // An entry can't become its own ancestor: damaged ids that would close a loop count as no parent.
  if (parent != nullptr && leadsTo(parent, entry)) parent = nullptr;
  if (parent != nullptr) {
    attach(entry, parent);
    item.alreadyPolled = true;
    item.parentFoundInBtree = true;
  } else if (entry->fileType == 2 && v_.dirLostFiles != nullptr) {
    entry->deleted = 1;
    attach(entry, v_.dirLostFiles);
    item.alreadyPolled = true;
    item.parentFoundInBtree = true;
  } else {
    return;  // a folder with no parent stays out of the tree, with all that hangs on it
  }
  if (v_.btreeOrph->incrementData()) {
    ++v_.entryCount;
    if (entry->fileType == 1) {
      ++v_.folderCount;
    } else {
      ++v_.fileCount;
      v_.dataSize += entry->fileSize;
    }
  }
  reportProgress();
}

void OrphanPass::reportProgress() {
  if (v_.orphEntryCount == 0 || v_.timerFireMethodCanRun) return;
  const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
  const double left = (static_cast<double>(v_.orphEntriesTotal) - static_cast<double>(v_.orphEntryCount)) * elapsed /
                      static_cast<double>(v_.orphEntryCount);
  v_.dataUpdate = Dict{{"Progress Status", "Processing orphan & lost entries..."},
                       {"Folders", v_.folderCount},
                       {"Files", v_.fileCount},
                       {"Entries Found", v_.entryCount},
                       {"Data", v_.dataSize},
                       {"BarDoubleValue", v_.orphEntryCount},
                       {"TimeRemaining", getTimeFormStringForInterval(left)}};
  v_.timerFireMethodCanRun = true;
}

}  // namespace

NewDir* findOrMakeLostFiles(Volume& v) {
  if (v.dirRoot == nullptr || !v.btree) return nullptr;
  if (ItemType* existing = v.btree->retrieveKeyField(kLostFilesID); existing != nullptr && existing->dir != nullptr) {
    existing->dir->deleted = 1;
    return existing->dir;
  }
  NewDirArena& arena = *v.arena;
  NewDir* lost = arena.newDir();
  arena.setFileName(u"Lost Files", lost);
  lost->fileID = kLostFilesID;
  lost->parentID = kRootID;
  lost->fileType = 1;
  arena.setPathName(u"/Root", lost);
  lost->childBTree = v.btree.get();
  lost->parent = v.dirRoot;
  lost->deleted = 1;
  ++v.folderCount;
  ++v.entryCount;
  ++v.dirRoot->childrenCount;
  addChildUpdateBTree(lost, v.dirRoot, TreeSide::kVolume);
  return lost;
}

void processOrphanEntriesWithIncrement(Volume& v, bool incrementData, bool showVolNameOnly) {
  if (v.stopTreeThread || !v.btreeOrph || !v.btree) return;
  v.btreeOrph->setIncrementData(incrementData);
  v.btreeOrph->setShowVolNameOnly(showVolNameOnly);
  v.orphEntryCount = 0;
  v.sendProgress(Dict{{"Progress Status", "Processing orphan & lost entries..."},
                      {"Progress Type", 1},
                      {"BarDoubleValue", 0}},
                 true);
  v.sendProgress(Dict{{"BarMaxValue", v.orphEntriesTotal}, {"BarMinValue", 0}}, true);
  v.dirLostFiles = findOrMakeLostFiles(v);
  if (ScanController* controller = Volume::appController()) controller->setUpTimer();
  OrphanPass pass(v);
  // A node's keys come before its branches, so the order is the table's shape, not key order.
  v.btreeOrph->forEachNodePreOrder([&](const NodeTypeOrph& node) {
    if (v.stopTreeThread) return TableWalk::kStop;
    for (int i = 0; i < node.count(); ++i) {
      ItemTypeOrph* item = node.key(i);
      if (item != nullptr && !item->alreadyPolled && !item->parentFoundInBtree) pass.processThisOrphanEntry(*item);
    }
    return TableWalk::kContinue;
  });
}

}  // namespace nua
