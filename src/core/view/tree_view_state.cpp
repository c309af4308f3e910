#include "view/tree_view_state.h"

#include "base/text.h"
#include "records/entry_ops.h"
#include "view/check_controller.h"
#include "view/file_types_arrangement.h"
#include "view/tree_arrangement.h"

namespace nua {

TreeViewState::TreeViewState(std::shared_ptr<EntryArena> arena, Entry* dirRoot)
    : arena_(std::move(arena)), dirRoot_(dirRoot), emptyDirHelper_(&emptyDir_) {
  showDataAll();
  countMarkedDataAndFiles();
}

TreeViewState::~TreeViewState() { releaseViews(); }

void TreeViewState::releaseViews() {
  if (dirRoot_ != nullptr && (dirRootFileTypes_ != nullptr || dirRoot_->showDeletedOnly == 1)) {
    // Parent links may point into the file types folders, and lists may stand swapped.
    bringDataRootToAll();
    setParents(dirRoot_);
  }
  freeFileTypesTree();
  for (EntryViewHelper& helper : rowHelpers_) {
    if (helper.newDir()->viewHelper == &helper) helper.newDir()->viewHelper = nullptr;
  }
  rowHelpers_.clear();
  dirRootTemp_ = dirRoot_;
  dirRootDeleted_ = nullptr;
  fileTypes_ = false;
  deletedOnly_ = false;
}

void TreeViewState::freeFileTypesTree() {
  if (dirRootFileTypes_ == nullptr) return;
  // Folders own neither the files in them nor anything else: empty their lists before freeing.
  std::vector<Entry*> folders = dirRootFileTypes_->childList;
  folders.insert(folders.end(), dirRootFileTypes_->deletedList.begin(), dirRootFileTypes_->deletedList.end());
  folders.push_back(dirRootFileTypes_);
  for (Entry* folder : folders) {
    if (folder == nullptr || folder->viewHelper == nullptr) continue;  // freed already (it was in both lists)
    folder->viewHelper = nullptr;
    folder->childList.clear();
    folder->deletedList.clear();
    arena_->freeNDir(folder);
  }
  arrayDirFileTypesHelper_.clear();
  dirRootFileTypes_ = nullptr;
  dirRootFileTypesDeleted_ = nullptr;
}

const char* TreeViewState::buttonTreeFileTypesToggleTitle() const {
  return fileTypes_ ? kDataViewTitle : kFileTypesViewTitle;
}

const char* TreeViewState::buttonTreeShowDeletedTitle() const { return deletedOnly_ ? kShowAllTitle : kShowDeletedTitle; }

void TreeViewState::prepareTree(TreeToggle pressed) {
  dirRootTemp_ = nullptr;
  const bool fileTypes = pressed == TreeToggle::kFileTypes ? !fileTypes_ : fileTypes_;
  const bool deletedOnly = pressed == TreeToggle::kDeleted ? !deletedOnly_ : deletedOnly_;
  if (!fileTypes && !deletedOnly) showDataAll();
  if (!fileTypes && deletedOnly) showDataDeleted();
  if (fileTypes && !deletedOnly) showFileTypesAll();
  if (fileTypes && deletedOnly) showFileTypesDeleted();
  fileTypes_ = fileTypes;
  deletedOnly_ = deletedOnly;
  countMarkedDataAndFiles();
}

void TreeViewState::showView(bool fileTypes, bool deletedOnly) {
  if (fileTypes != fileTypes_) prepareTree(TreeToggle::kFileTypes);
  if (deletedOnly != deletedOnly_) prepareTree(TreeToggle::kDeleted);
}

void TreeViewState::bringDataRootToAll() {
  if (dirRoot_->showDeletedOnly == 1) arrangeTreeForDeleted(dirRoot_, 0);
  dirRoot_->showDeletedOnly = 0;
}

void TreeViewState::showDataAll() {
  dirRootTemp_ = dirRoot_;
  if (dirRoot_ == nullptr) return;
  bringDataRootToAll();
  setParents(dirRootTemp_);
}

void TreeViewState::showDataDeleted() {
  if (dirRoot_ == nullptr) return;
  // The root is swapped whenever it does not stand deleted-only, also when it was once before:
  // otherwise a second visit to this view would show every entry.
  if (dirRoot_->showDeletedOnly != 1) arrangeTreeForDeleted(dirRoot_, 1);
  dirRootDeleted_ = dirRoot_;
  dirRootTemp_ = dirRootDeleted_;
  dirRootTemp_->showDeletedOnly = 1;
  setParents(dirRootTemp_);
}

void TreeViewState::ensureFileTypesTree() {
  if (dirRootFileTypes_ != nullptr || dirRoot_ == nullptr) return;
  bringDataRootToAll();
  dirRootFileTypes_ = buildFileTypesTree(*arena_, dirRoot_, arrayDirFileTypesHelper_);
}

void TreeViewState::showFileTypesAll() {
  if (dirRoot_ == nullptr) return;
  ensureFileTypesTree();
  if (dirRootFileTypes_->showDeletedOnly == 1) arrangeTreeForDeleted(dirRootFileTypes_, 0);
  dirRootFileTypes_->showDeletedOnly = 0;
  dirRootTemp_ = dirRootFileTypes_;
  setParents(dirRootTemp_);
}

void TreeViewState::showFileTypesDeleted() {
  if (dirRoot_ == nullptr) return;
  ensureFileTypesTree();
  if (dirRootFileTypes_->showDeletedOnly != 1) arrangeTreeForDeleted(dirRootFileTypes_, 1);
  dirRootFileTypesDeleted_ = dirRootFileTypes_;
  dirRootTemp_ = dirRootFileTypesDeleted_;
  dirRootTemp_->showDeletedOnly = 1;
  setParents(dirRootTemp_);
}

void TreeViewState::returnTree() {
  if (dirRoot_ == nullptr) return;
  bringDataRootToAll();
}

void TreeViewState::countMarkedDataAndFiles() {
  counts_.recount(dirRootTemp_);
  if (dirRootTemp_ != nullptr && dirRootTemp_->selected == 1) saveButtonEnabled_ = true;
}

std::string TreeViewState::textFieldTotalData() const {
  if (dirRootTemp_ == nullptr) return " ";
  return formatText("%@ in %@ Files", {sizeText(dirRootTemp_->fileSize), std::to_string(dirRootTemp_->fileCount)});
}

std::string TreeViewState::textFieldMarkedData() const {
  return formatText("%@ in %@ Files", {sizeText(counts_.markedData()), std::to_string(counts_.markedFiles())});
}

bool TreeViewState::setMark(EntryViewHelper* item, bool value, bool scanInfoOrSavingNotProcessing, UiBridge& ui) {
  if (!scanInfoOrSavingNotProcessing) {
    ui.runAlertPanel({"Process Running",
                      "Can not check/uncheck while current process (Data Saving/Recovery Session Saving/Recovery "
                      "Session Opening) is running. Please wait for the process to finish first.",
                      {"OK"}});
    return false;
  }
  if (item == nullptr || item->newDir() == nullptr || item->newDir() == &emptyDir_) return false;
  setMark(item->newDir(), value);
  return true;
}

void TreeViewState::setMark(Entry* dir, bool value) {
  CheckController(dir, value ? 1 : 0, &counts_).run();
  saveButtonEnabled_ = dirRootTemp_ != nullptr && dirRootTemp_->selected == 1;
}

bool TreeViewState::isMarkedForSaving(const Entry* dir) const {
  if (dir->selected == 1) return true;
  return dir->fileType == 1 && counts_.markedBelow(dir) != 0;
}

EntryViewHelper* TreeViewState::helperFor(Entry* dir) {
  if (dir == nullptr) return nullptr;
  if (dir->viewHelper != nullptr) return dir->viewHelper;
  return &rowHelpers_.emplace_back(dir);
}

std::uint32_t TreeViewState::numberOfChildrenOfItem(const EntryViewHelper* item) const {
  return item == nullptr ? 1 : item->childrenArrayCount();
}

EntryViewHelper* TreeViewState::childOfItem(std::uint32_t index, const EntryViewHelper* item) {
  if (item == nullptr) return dirRootTemp_ != nullptr ? helperFor(dirRootTemp_) : &emptyDirHelper_;
  return helperFor(item->childAtIndex(index));
}

bool TreeViewState::isItemExpandable(const EntryViewHelper* item) const {
  return item == nullptr || item->childrenArrayCount() != 0;
}

int TreeViewState::markState(const EntryViewHelper& item) const {
  const Entry* dir = item.newDir();
  if (dir->childrenCount == 0) return dir->selected;
  const std::uint32_t selected = counts_.childrenSelected(dir);
  if (selected >= dir->childrenCount) return 1;
  return selected == 0 ? 0 : -1;
}

}  // namespace nua
