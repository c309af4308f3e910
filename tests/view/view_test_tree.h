// Builds result trees for the view tests: folders and files with names, extents and flags, counted
// on their ancestors as a scan would, with the deleted lists filled after.
#pragma once

#include <memory>
#include <string>

#include "records/entry.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"
#include "view/tree_arrangement.h"

namespace nua::testing_view {

class TestTree {
 public:
  TestTree() : arena(std::make_shared<EntryArena>()), root(makeRootDir(*arena, nullptr)) {}

  Entry* folder(Entry* parent, const std::u16string& name, bool deleted = false) {
    Entry* dir = attach(parent, name, 1, deleted);
    raiseAncestorCountsForFolder(dir);
    return dir;
  }

  Entry* file(Entry* parent, const std::u16string& name, std::uint64_t size, bool deleted = false) {
    Entry* dir = attach(parent, name, 2, deleted);
    dir->fileSize = size;
    dir->fileCount = 1;
    dir->sectorsPerBlock = 1;
    raiseAncestorCountsForFile(dir);
    if (deleted) {
      for (Entry* up = parent; up != nullptr; up = up->parent) up->deleted = 1;
    }
    return dir;
  }

  // The deleted lists, as the scan's clean-up builds them at its end.
  void finish() { rearrangeDeletedTree(root, true); }

  std::shared_ptr<EntryArena> arena;
  Entry* root;

 private:
  Entry* attach(Entry* parent, const std::u16string& name, std::uint16_t fileType, bool deleted) {
    Entry* dir = arena->newDir();
    arena->setFileName(name, dir);
    dir->fileType = fileType;
    dir->deleted = deleted ? 1 : 0;
    dir->parent = parent;
    addChild(dir, parent);
    return dir;
  }
};

}  // namespace nua::testing_view
