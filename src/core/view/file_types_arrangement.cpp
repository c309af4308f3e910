#include "view/file_types_arrangement.h"

#include <algorithm>

#include "records/entry_ops.h"
#include "view/detail/tree_walk.h"

namespace nua {

namespace {

char16_t foldCase(char16_t unit) { return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit; }

bool lessIgnoringCase(const std::u16string& a, const std::u16string& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char16_t x, char16_t y) { return foldCase(x) < foldCase(y); });
}

}  // namespace

Entry* FileTypesArrangement::folderFor(const std::u16string& extension) {
  const auto found = dictFileTypesExtensions_.find(extension);
  if (found != dictFileTypesExtensions_.end()) return found->second;
  Entry* folder = arena_.newDir();
  folder->fileType = 1;
  folder->parent = dirRootFileTypes_;
  // The folder keeps no stored name: it is shown, and saved, under its helper's name.
  helpers_.emplace_back(folder, std::uint8_t{1}).setFileName(extension);
  dictFileTypesExtensions_.emplace(extension, folder);
  arrayFileTypeExtension_.push_back(extension);
  return folder;
}

void FileTypesArrangement::addFile(Entry* file) {
  const std::u16string name = shownNameOfDir(file);
  const std::u16string extension(extensionOfName(name));
  if (extension.empty()) return;
  Entry* folder = folderFor(extension);
  file->parent = folder;
  ++folder->fileCount;
  ++folder->childrenCount;
  folder->fileSize += file->fileSize;
  addChild(file, folder);
  if (file->deleted == 1) {
    addChildDeletedArray(file, folder);
    for (Entry* up = folder; up != nullptr; up = up->parent) up->deleted = 1;
  }
  if (file->selected == 1) folder->selected = 1;
}

void FileTypesArrangement::arrangeTreeForFileTypes(Entry* folder) {
  detail::walkTree(
      folder,
      [&](Entry*, Entry* child) {
        if (child->fileType == 1) return true;
        if (child->fileType == 2) addFile(child);
        return false;
      },
      [](Entry*) {});
}

void FileTypesArrangement::rearrangeFileTypesTreeInAplhaNumOrder() {
  std::stable_sort(arrayFileTypeExtension_.begin(), arrayFileTypeExtension_.end(), lessIgnoringCase);
  Entry* root = dirRootFileTypes_;
  for (const std::u16string& extension : arrayFileTypeExtension_) {
    Entry* folder = dictFileTypesExtensions_.at(extension);
    root->fileCount += folder->fileCount;
    root->fileSize += folder->fileSize;
    root->childrenCount += folder->childListCount() + 1;
    addChild(folder, root);
    if (folder->deleted == 1) {
      root->deleted = 1;
      addChildDeletedArray(folder, root);
    }
  }
  dictFileTypesExtensions_.clear();
  arrayFileTypeExtension_.clear();
}

Entry* buildFileTypesTree(EntryArena& arena, Entry* dirRoot, std::deque<EntryViewHelper>& helpers) {
  Entry* root = makeRootDir(arena, nullptr);
  helpers.emplace_back(root);
  FileTypesArrangement arrangement(arena, root, helpers);
  if (dirRoot != nullptr) arrangement.arrangeTreeForFileTypes(dirRoot);
  arrangement.rearrangeFileTypesTreeInAplhaNumOrder();
  return root;
}

}  // namespace nua
