// The file types view: one folder per name extension under a root of its own. The folders are new
// records; the files in them are the data tree's own records, not copies.
#pragma once

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/entry.h"
#include "records/entry_arena.h"
#include "view/entry_view_helper.h"

namespace nua {

class FileTypesArrangement {
 public:
  // Folder records come from arena; their helpers go into arrayDirFileTypesHelper, which owns them.
  FileTypesArrangement(EntryArena& arena, Entry* dirRootFileTypes, std::deque<EntryViewHelper>& arrayDirFileTypesHelper)
      : arena_(arena), dirRootFileTypes_(dirRootFileTypes), helpers_(arrayDirFileTypesHelper) {}

  // Files below folder go to the folder of their extension, matched with case kept ("JPG" and "jpg"
  // are two folders). A file without a dot goes under its whole name; a name ending in a dot has no
  // extension and stays out of the view.
  void arrangeTreeForFileTypes(Entry* folder);
  // Hangs the extension folders under the root, sorted without regard to case (ties keep the order
  // first met), and adds their totals to the root's.
  void rearrangeFileTypesTreeInAplhaNumOrder();

 private:
  Entry* folderFor(const std::u16string& extension);
  void addFile(Entry* file);

  EntryArena& arena_;
  Entry* dirRootFileTypes_;
  std::deque<EntryViewHelper>& helpers_;
  std::unordered_map<std::u16string, Entry*> dictFileTypesExtensions_;
  std::vector<std::u16string> arrayFileTypeExtension_;
};

// Makes the root of the file types view ("Root", fileID 2, parentID 1, path "1", no parent) with its
// helper in helpers, and arranges every file of dirRoot under it.
[[nodiscard]] Entry* buildFileTypesTree(EntryArena& arena, Entry* dirRoot, std::deque<EntryViewHelper>& helpers);

}  // namespace nua
