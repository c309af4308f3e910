#include "view/new_dir_view_helper.h"

#include "tree/new_dir_arena.h"
#include "tree/new_dir_ops.h"

namespace nua {

std::u16string_view extensionOfName(std::u16string_view name) {
  const std::size_t dot = name.rfind(u'.');
  if (dot == std::u16string_view::npos) return name;
  return name.substr(dot + 1);
}

NewDirViewHelper::NewDirViewHelper(NewDir* dir) : newDir_(dir) {
  newDir_->viewHelper = this;
  updateFileName();
}

NewDirViewHelper::NewDirViewHelper(NewDir* dir, std::uint8_t appendChildrenArrayCount)
    : newDir_(dir), appendChildrenArrayCount_(appendChildrenArrayCount) {
  newDir_->viewHelper = this;
}

void NewDirViewHelper::updateFileName() {
  const auto name = NewDirArena::fileNameOfDir(newDir_);
  if (!name) return;
  fileName_ = *name;
  const std::u16string_view extension = extensionOfName(fileName_);
  if (!extension.empty()) extension_ = extension;
}

NewDir* NewDirViewHelper::childAtIndex(std::uint32_t index) const { return nua::childAtIndex(index, newDir_); }

std::u16string shownNameOfDir(const NewDir* dir) {
  if (dir->viewHelper != nullptr) return dir->viewHelper->fileName();
  return NewDirArena::fileNameOfDir(dir).value_or(std::u16string());
}

}  // namespace nua
