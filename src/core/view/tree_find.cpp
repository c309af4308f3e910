#include "view/tree_find.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/text.h"
#include "view/tree_view_state.h"

namespace nua {

namespace {

char16_t foldCase(char16_t c) {
  if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(c + 32);
  if (c < 0xC0) return c;
  if (c <= 0xDE && c != 0xD7) return static_cast<char16_t>(c + 32);                  // Latin-1
  if (c >= 0x100 && c <= 0x17F && c != 0x130 && c != 0x138 && c != 0x149) {          // Latin Extended-A
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c & 1) != 0 ? static_cast<char16_t>(c + 1) : c;
    return (c & 1) == 0 ? static_cast<char16_t>(c + 1) : c;
  }
  if (c >= 0x391 && c <= 0x3AB && c != 0x3A2) return static_cast<char16_t>(c + 32);  // Greek
  if (c >= 0x410 && c <= 0x42F) return static_cast<char16_t>(c + 32);                // Cyrillic
  if (c >= 0x400 && c <= 0x40F) return static_cast<char16_t>(c + 80);
  return c;
}

std::u16string_view nameOf(const Entry* dir, const ShownFolderNames& folderNames) {
  if (const auto it = folderNames.find(dir); it != folderNames.end()) return it->second;
  return {dir->fileName.units, dir->fileName.length};
}

}  // namespace

bool nameContainsText(std::u16string_view name, std::u16string_view needle) {
  if (needle.empty() || needle.size() > name.size()) return false;
  const auto equal = [](char16_t a, char16_t b) { return foldCase(a) == foldCase(b); };
  return std::search(name.begin(), name.end(), needle.begin(), needle.end(), equal) != name.end();
}

ShownFolderNames shownFolderNamesOf(const TreeViewState& view) {
  ShownFolderNames names;
  Entry* root = view.dirRootTemp();
  if (root == nullptr || !view.showsFileTypes()) return names;
  for (const std::vector<Entry*>* list : {&root->childList, &root->deletedList}) {
    for (const Entry* folder : *list) {
      if (folder != nullptr && folder->viewHelper != nullptr) names.emplace(folder, folder->viewHelper->fileName());
    }
  }
  return names;
}

void findStringInDir(std::u16string_view text, Entry* root, const ShownFolderNames& folderNames,
                     const std::atomic<bool>& findThreadAbort,
                     const std::function<void(std::vector<Entry*>)>& deliver, std::size_t batchSize) {
  std::vector<Entry*> batch;
  // Pending records, the next to visit at the back; children pushed in reverse keep the walk's order.
  std::vector<Entry*> stack{root};
  while (!stack.empty() && !findThreadAbort) {
    Entry* dir = stack.back();
    stack.pop_back();
    if (dir == nullptr) continue;
    const std::u16string_view name = nameOf(dir, folderNames);
    if (name.empty()) continue;
    if (nameContainsText(name, text)) {
      batch.push_back(dir);
      if (batch.size() >= batchSize) deliver(std::exchange(batch, {}));
    }
    for (auto it = dir->childList.rbegin(); it != dir->childList.rend(); ++it) stack.push_back(*it);
  }
  if (!batch.empty()) deliver(std::move(batch));
}

std::vector<Entry*> findAll(const TreeViewState& view, std::string_view text) {
  std::vector<Entry*> hits;
  const std::atomic<bool> never{false};
  findStringInDir(toUtf16(text), view.dirRootTemp(), shownFolderNamesOf(view), never,
                  [&hits](std::vector<Entry*> batch) { hits.insert(hits.end(), batch.begin(), batch.end()); });
  return hits;
}

std::string pathBelowRoot(const Entry* dir) {
  std::vector<std::u16string> names;
  // Bounded: a parent chain never holds more records than a tree can.
  for (const Entry* up = dir; up != nullptr && up->parent != nullptr && names.size() < 1000000; up = up->parent) {
    names.push_back(shownNameOfDir(up));
  }
  std::string path;
  for (auto it = names.rbegin(); it != names.rend(); ++it) path += (path.empty() ? "" : "/") + toUtf8(*it);
  return path;
}

std::string findMatchesText(std::size_t count) { return formatText("%@ Matches Found", {std::to_string(count)}); }

bool TreeFind::find() {
  if (numFindAttempts_++ >= 2) {
    --numFindAttempts_;
    return false;
  }
  selectedIndexText_ = " ";
  findArrayIndex_ = 0;
  findArrayIndexTrend_ = 0;
  return true;
}

void TreeFind::searchStarted() {
  if (findThreadExists_) --numFindAttempts_;
  findThreadExists_ = true;
  findArray_.clear();
  searchDone_ = false;
  markAllEnabled_ = false;
  unmarkAllEnabled_ = false;
}

std::string TreeFind::addHits(const std::vector<Entry*>& hits) {
  findArray_.insert(findArray_.end(), hits.begin(), hits.end());
  return findMatchesText(findArray_.size());
}

std::string TreeFind::searchComplete() {
  searchDone_ = true;
  markAllEnabled_ = !findArray_.empty();
  unmarkAllEnabled_ = false;
  return findMatchesText(findArray_.size());
}

void TreeFind::clear() {
  findArray_.clear();
  findArrayIndex_ = 0;
  findArrayIndexTrend_ = 0;
  searchDone_ = false;
  markAllEnabled_ = false;
  unmarkAllEnabled_ = false;
  selectedIndexText_ = " ";
}

Entry* TreeFind::hitAtIndex() {
  // The steps keep the index inside the hits; this guards the one case they do not cover.
  if (findArrayIndex_ < 0 || static_cast<std::size_t>(findArrayIndex_) >= findArray_.size()) findArrayIndex_ = 0;
  char text[64];
  std::snprintf(text, sizeof text, "%u/%lu highlighted", static_cast<unsigned>(findArrayIndex_ + 1),
                static_cast<unsigned long>(findArray_.size()));
  selectedIndexText_ = text;
  return findArray_[static_cast<std::size_t>(findArrayIndex_)];
}

Entry* TreeFind::findNext() {
  if (findArray_.empty()) return nullptr;
  const auto last = static_cast<std::uint32_t>(findArray_.size() - 1);
  if (findArrayIndexTrend_ == -1) findArrayIndex_ += 2;
  if (static_cast<std::uint32_t>(findArrayIndex_) > last) findArrayIndex_ = 0;
  if (findArrayIndex_ < 0) findArrayIndex_ += 2;
  Entry* hit = hitAtIndex();
  ++findArrayIndex_;
  findArrayIndexTrend_ = 1;
  return hit;
}

Entry* TreeFind::findPrev() {
  if (findArray_.empty()) return nullptr;
  const auto last = static_cast<std::int32_t>(findArray_.size() - 1);
  if (findArrayIndexTrend_ == 1) findArrayIndex_ -= 2;
  if (findArrayIndex_ < 0) findArrayIndex_ = last;
  if (findArrayIndex_ > last) findArrayIndex_ -= 2;
  Entry* hit = hitAtIndex();
  --findArrayIndex_;
  findArrayIndexTrend_ = -1;
  return hit;
}

const std::vector<Entry*>& TreeFind::markAllFound(TreeViewState& view) {
  for (Entry* hit : findArray_) view.setMark(hit, true);
  if (!findArray_.empty()) {
    markAllEnabled_ = false;
    unmarkAllEnabled_ = true;
  }
  view.countMarkedDataAndFiles();
  return findArray_;
}

const std::vector<Entry*>& TreeFind::unmarkAllFound(TreeViewState& view) {
  for (Entry* hit : findArray_) view.setMark(hit, false);
  if (!findArray_.empty()) {
    markAllEnabled_ = true;
    unmarkAllEnabled_ = false;
  }
  view.countMarkedDataAndFiles();
  return findArray_;
}

}  // namespace nua
