#include "view/entry_view_helper.h"

#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {

std::u16string_view extensionOfName(std::u16string_view name) {
  const std::size_t dot = name.rfind(u'.');
  if (dot == std::u16string_view::npos) return name;
  return name.substr(dot + 1);
}

EntryViewHelper::EntryViewHelper(Entry* dir) : newDir_(dir) {
  newDir_->viewHelper = this;
  updateFileName();
}

EntryViewHelper::EntryViewHelper(Entry* dir, std::uint8_t appendChildrenArrayCount)
    : newDir_(dir), appendChildrenArrayCount_(appendChildrenArrayCount) {
  newDir_->viewHelper = this;
}

void EntryViewHelper::updateFileName() {
  const auto name = EntryArena::fileNameOfDir(newDir_);
  if (!name) return;
  fileName_ = *name;
  const std::u16string_view extension = extensionOfName(fileName_);
  if (!extension.empty()) extension_ = extension;
}

Entry* EntryViewHelper::childAtIndex(std::uint32_t index) const { return nua::childAtIndex(index, newDir_); }

std::u16string shownNameOfDir(const Entry* dir) {
  if (dir->viewHelper != nullptr) return dir->viewHelper->fileName();
  return EntryArena::fileNameOfDir(dir).value_or(std::u16string());
}

}  // namespace nua
