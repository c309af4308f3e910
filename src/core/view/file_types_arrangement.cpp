#include "view/file_types_arrangement.h"

#include <algorithm>

#include "tree/new_dir_ops.h"
#include "view/detail/tree_walk.h"

namespace nua {

namespace {

char16_t foldCase(char16_t unit) { return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit; }

bool lessIgnoringCase(const std::u16string& a, const std::u16string& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char16_t x, char16_t y) { return foldCase(x) < foldCase(y); });
}

}  // namespace

NewDir* FileTypesArrangement::folderFor(const std::u16string& extension) {
  const auto found = dictFileTypesExtensions_.find(extension);
  if (found != dictFileTypesExtensions_.end()) return found->second;
  NewDir* folder = arena_.newDir();
  folder->fileType = 1;
  folder->parent = dirRootFileTypes_;
  // The folder keeps no stored name: it is shown, and saved, under its helper's name.
  helpers_.emplace_back(folder, std::uint8_t{1}).setFileName(extension);
  dictFileTypesExtensions_.emplace(extension, folder);
  arrayFileTypeExtension_.push_back(extension);
  return folder;
}

void FileTypesArrangement::addFile(NewDir* file) {
  const std::u16string name = shownNameOfDir(file);
  const std::u16string extension(extensionOfName(name));
  if (extension.empty()) return;
  NewDir* folder = folderFor(extension);
  file->parent = folder;
  ++folder->fileCount;
  ++folder->childrenCount;
  folder->fileSize += file->fileSize;
  addChild(file, folder);
  if (file->deleted == 1) {
    addChildDeletedArray(file, folder);
    for (NewDir* up = folder; up != nullptr; up = up->parent) up->deleted = 1;
  }
  if (file->selected == 1) folder->selected = 1;
}

void FileTypesArrangement::arrangeTreeForFileTypes(NewDir* folder) {
  detail::walkTree(
      folder,
      [&](NewDir*, NewDir* child) {
        if (child->fileType == 1) return true;
        if (child->fileType == 2) addFile(child);
        return false;
      },
      [](NewDir*) {});
}

void FileTypesArrangement::rearrangeFileTypesTreeInAplhaNumOrder() {
  std::stable_sort(arrayFileTypeExtension_.begin(), arrayFileTypeExtension_.end(), lessIgnoringCase);
  NewDir* root = dirRootFileTypes_;
  for (const std::u16string& extension : arrayFileTypeExtension_) {
    NewDir* folder = dictFileTypesExtensions_.at(extension);
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

NewDir* buildFileTypesTree(NewDirArena& arena, NewDir* dirRoot, std::deque<NewDirViewHelper>& helpers) {
  NewDir* root = makeRootDir(arena, nullptr);
  helpers.emplace_back(root);
  FileTypesArrangement arrangement(arena, root, helpers);
  if (dirRoot != nullptr) arrangement.arrangeTreeForFileTypes(dirRoot);
  arrangement.rearrangeFileTypesTreeInAplhaNumOrder();
  return root;
}

}  // namespace nua
