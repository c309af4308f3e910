// Find in the tree on screen: a case-insensitive search of the shown names on a worker, with the hits
// handed over in batches, stepping through them, and marking or unmarking them all. The front end
// keeps one TreeFind per result and calls it on its main thread (the walk excepted).
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "records/entry.h"

namespace nua {

class TreeViewState;

// Whether needle occurs in name, comparing case-insensitively (simple case folding of the Latin,
// Greek and Cyrillic letters). An empty needle matches nothing.
[[nodiscard]] bool nameContainsText(std::u16string_view name, std::u16string_view needle);

// The names the walk compares, as shown: the record's own name, or for the folders of the file types
// view (which have none of their own) their extension. Built on the main thread before the walk,
// since shown names live in helpers the outline makes as it goes.
using ShownFolderNames = std::unordered_map<const Entry*, std::u16string>;
[[nodiscard]] ShownFolderNames shownFolderNamesOf(const TreeViewState& view);

// The walk from root, depth first, the root included: a record without a name ends its branch. Hits
// are handed to `deliver` in batches of up to `batchSize`, in the order of the walk; the walk stops
// when findThreadAbort is set. Bounded by an explicit stack: no depth of tree overflows it.
void findStringInDir(std::u16string_view text, Entry* root, const ShownFolderNames& folderNames,
                     const std::atomic<bool>& findThreadAbort,
                     const std::function<void(std::vector<Entry*>)>& deliver, std::size_t batchSize = 256);

// Every hit of a UTF-8 text in the view now shown, in the order of the walk, on the calling thread
// (for the command line).
[[nodiscard]] std::vector<Entry*> findAll(const TreeViewState& view, std::string_view text);
// The shown names from below the top record down to dir, joined by "/"; the top record itself gives "".
[[nodiscard]] std::string pathBelowRoot(const Entry* dir);

// "%@ Matches Found"
[[nodiscard]] std::string findMatchesText(std::size_t count);

class TreeFind {
 public:
  // The search field's action: false when two searches are in flight (the request is dropped). Blanks
  // the lines and the position.
  [[nodiscard]] bool find();
  // The worker took the request (a previous one existed or not).
  void searchStarted();
  // Hits arrived from the worker; returns the new result line.
  std::string addHits(const std::vector<Entry*>& hits);
  // The walk ended: result line; the buttons follow from the count.
  std::string searchComplete();
  // A view switch: hits and lines cleared, the position to 0.
  void clear();

  // The next or previous hit (running round the ends), or null with no hits. The position line is
  // "%u/%lu highlighted".
  Entry* findNext();
  Entry* findPrev();
  [[nodiscard]] const std::string& selectedIndexText() const { return selectedIndexText_; }

  // Marks or unmarks every hit as a click on each would; returns the records changed, for reloading.
  const std::vector<Entry*>& markAllFound(TreeViewState& view);
  const std::vector<Entry*>& unmarkAllFound(TreeViewState& view);

  [[nodiscard]] bool markAllEnabled() const { return markAllEnabled_; }
  [[nodiscard]] bool unmarkAllEnabled() const { return unmarkAllEnabled_; }
  [[nodiscard]] bool stepEnabled() const { return !findArray_.empty() && searchDone_; }

  [[nodiscard]] const std::vector<Entry*>& findArray() const { return findArray_; }
  [[nodiscard]] std::int32_t findArrayIndex() const { return findArrayIndex_; }
  [[nodiscard]] std::int32_t findArrayIndexTrend() const { return findArrayIndexTrend_; }
  [[nodiscard]] std::int32_t numFindAttempts() const { return numFindAttempts_; }

 private:
  Entry* hitAtIndex();

  std::vector<Entry*> findArray_;
  std::int32_t findArrayIndex_ = 0;
  std::int32_t findArrayIndexTrend_ = 0;
  std::int32_t numFindAttempts_ = 0;
  bool findThreadExists_ = false;
  bool searchDone_ = false;
  bool markAllEnabled_ = false;
  bool unmarkAllEnabled_ = false;
  std::string selectedIndexText_ = " ";
};

}  // namespace nua
