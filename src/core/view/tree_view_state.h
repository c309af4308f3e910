// The state of the tree screen: which of the four views is shown (data or file types, each with all
// or deleted entries only), the roots behind them, the helpers of shown rows, marks and their totals.
// The desktop outline and the command line both drive the tree through this one object.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "base/ui_bridge.h"
#include "records/entry.h"
#include "records/entry_arena.h"
#include "view/mark_counts.h"
#include "view/entry_view_helper.h"

namespace nua {

// The two buttons that switch the view.
enum class TreeToggle { kFileTypes, kDeleted };

inline constexpr const char* kFileTypesViewTitle = "File Types View";
inline constexpr const char* kDataViewTitle = "Data  View";
inline constexpr const char* kShowDeletedTitle = "Show Deleted";
inline constexpr const char* kShowAllTitle = "Show  All";

class TreeViewState {
 public:
  // Shows the data view of all entries of dirRoot. The arena is the one that owns dirRoot; the file
  // types folders are made in it too. Must be destroyed (or releaseViews called) before the data tree
  // is freed.
  TreeViewState(std::shared_ptr<EntryArena> arena, Entry* dirRoot);
  ~TreeViewState();
  TreeViewState(const TreeViewState&) = delete;
  TreeViewState& operator=(const TreeViewState&) = delete;

  // Brings the data tree back to all entries with its parents and totals, frees the file types
  // folders (not the files in them) and every helper, and clears the records' helper links.
  void releaseViews();

  // Titles of the two buttons for the view now shown: the state of the screen is read from them.
  [[nodiscard]] const char* buttonTreeFileTypesToggleTitle() const;
  [[nodiscard]] const char* buttonTreeShowDeletedTitle() const;
  [[nodiscard]] bool showsFileTypes() const { return fileTypes_; }
  [[nodiscard]] bool showsDeletedOnly() const { return deletedOnly_; }

  // The switch behind either button, run on a worker while the front end shows its sheet (the
  // outline sees emptyDirHelper meanwhile): builds what the new view needs, puts its root into
  // dirRootTemp, repairs parents and totals, and recounts the marks.
  void prepareTree(TreeToggle pressed);
  // Presses the buttons needed to reach the asked view.
  void showView(bool fileTypes, bool deletedOnly);
  // Back to all entries of the data tree without touching the titles (before a session is written).
  void returnTree();

  [[nodiscard]] Entry* dirRoot() const { return dirRoot_; }
  [[nodiscard]] Entry* dirRootTemp() const { return dirRootTemp_; }
  [[nodiscard]] Entry* dirRootFileTypes() const { return dirRootFileTypes_; }
  [[nodiscard]] Entry* dirRootDeleted() const { return dirRootDeleted_; }
  [[nodiscard]] Entry* dirRootFileTypesDeleted() const { return dirRootFileTypesDeleted_; }

  // Recounts the marked totals of dirRootTemp from the records.
  void countMarkedDataAndFiles();
  [[nodiscard]] std::uint64_t markedData() const { return counts_.markedData(); }
  [[nodiscard]] std::uint32_t markedFiles() const { return counts_.markedFiles(); }
  // "%@ in %@ Files" for everything shown, and for what is marked.
  [[nodiscard]] std::string textFieldTotalData() const;
  [[nodiscard]] std::string textFieldMarkedData() const;
  [[nodiscard]] bool saveButtonEnabled() const { return saveButtonEnabled_; }

  // A click on a check box. While a saving run or session write is busy ("Process Running" alert
  // through ui) nothing changes and false is returned.
  bool setMark(EntryViewHelper* item, bool value, bool scanInfoOrSavingNotProcessing, UiBridge& ui);
  // Marks or unmarks one record as a click would, without the alert (for the command line).
  void setMark(Entry* dir, bool value);

  // Records marked below dir in the view now shown, in constant time.
  [[nodiscard]] std::uint32_t childrenSelected(const Entry* dir) const { return counts_.childrenSelected(dir); }
  // Whether saving writes dir: its own mark for a file; for a folder its mark or any mark below it,
  // since after a view switch a folder's own field holds the mark of its last descendant only.
  [[nodiscard]] bool isMarkedForSaving(const Entry* dir) const;

  // The outline's rows. The helper of a record, made when first asked for.
  [[nodiscard]] EntryViewHelper* helperFor(Entry* dir);
  // item null stands for the top of the outline.
  [[nodiscard]] std::uint32_t numberOfChildrenOfItem(const EntryViewHelper* item) const;
  [[nodiscard]] EntryViewHelper* childOfItem(std::uint32_t index, const EntryViewHelper* item);
  [[nodiscard]] bool isItemExpandable(const EntryViewHelper* item) const;
  // The Mark column: 1 all marked, 0 none, -1 mixed for a record with children; else its mark.
  [[nodiscard]] int markState(const EntryViewHelper& item) const;

 private:
  void showDataAll();
  void showDataDeleted();
  void showFileTypesAll();
  void showFileTypesDeleted();
  void bringDataRootToAll();
  void ensureFileTypesTree();
  void freeFileTypesTree();

  std::shared_ptr<EntryArena> arena_;
  Entry* dirRoot_;
  Entry* dirRootTemp_ = nullptr;
  Entry* dirRootFileTypes_ = nullptr;
  Entry* dirRootDeleted_ = nullptr;
  Entry* dirRootFileTypesDeleted_ = nullptr;
  bool fileTypes_ = false;
  bool deletedOnly_ = false;
  bool saveButtonEnabled_ = false;
  MarkCounts counts_;
  Entry emptyDir_;
  EntryViewHelper emptyDirHelper_;
  std::deque<EntryViewHelper> rowHelpers_;               // helpers of data records, made lazily
  std::deque<EntryViewHelper> arrayDirFileTypesHelper_;  // helpers of the file types folders
};

}  // namespace nua
