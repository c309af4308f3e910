// The signature catalog as the "Signatures" screen works it: loading a mode's data file with the
// user's retries, marks, counts, find in file types, size edits, and custom file types.
// Front ends show what it holds and call it; they decide nothing themselves.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/ui_bridge.h"
#include "signature/sig_archive.h"
#include "signature/sig_data_store.h"

namespace nua {

// Enabled states of the screen's buttons, as loadSigData leaves them.
struct SigButtons {
  bool selectAll = false;
  bool deselectAll = false;
  bool removeFileType = false;
  bool addFileType = false;
  bool sigSelNext = false;
  bool loadFileTypes = false;
};

// What countSig shows.
struct SigCounts {
  std::int32_t marked = 0;
  std::int32_t unmarked = 0;
  std::size_t categories = 0;
  std::string markedText;      // "Marked: %d, Unmarked: %d"
  std::string totalText;       // "Total Signatures: %d"
  std::string categoriesText;  // "Total Categories: %ld"
};

// The five text fields of the add sheet and the category combo box, as typed.
struct NewSigFields {
  std::string category;
  std::string software;
  std::string extension;
  std::string header;
  std::string offset;
  std::string size;  // "Maximum File Size to recover"
};

class SignatureCatalog {
 public:
  SignatureCatalog(SigDataStore& store, UiBridge& ui);

  int scanMode = -1;
  SigRootArray sigRootArray;
  std::vector<std::shared_ptr<SigNode>> sigSelArray;
  SigNode emptySigNode;  // the one row shown while the catalog is empty
  std::int32_t sigDataLoadCount = 0;
  std::vector<std::shared_ptr<SigNode>> arrayFTFound;
  std::int64_t indexFT = 0;

  SigButtons buttons;
  bool nextButtonSigTab = false;
  std::string findFTStatusText;
  SigCounts counts;
  bool stepperFTEnabled = false;
  std::int64_t stepperFTMaximum = 0;
  SigNode* selectedFoundRow = nullptr;  // the row stepperFTClicked selected
  bool lastSaveFailed = false;          // a save of add, remove or size edit failed: the screen beeps
  std::string lastLoadReason;           // why the last load gave nothing; for logs and the command line

  // Entry to the screen: count 0, load, deselect all.
  void prepareForSignatureSearch();
  // Loads the mode's main file (count 1 or less) or backup (2 or more). Damage leaves the catalog
  // empty with the buttons set for "Load File Types"; there is no automatic fallback.
  void loadSigData();
  // "Load File Types": one more attempt, then the texts for the backup and for giving up.
  void reloadSigData();
  // After a "Load File Types" load: rows disable the button, no rows word the empty row for what is
  // left to try (the backup, then support).
  void showReloadOutcome();
  void countSig();

  // The user toggled "Mark" on a row. Marking "Documents" or its "rtf" row marks every "Images"
  // category too, since pictures embedded in RTFD documents are recovered as images.
  void markClicked(SigNode& item, int value);
  void selectAllSig();
  void deselectAllSig();
  // sigSelArray from every category's selected children, in catalog order.
  void gatherSigSelArray();
  // After a crash restart: every file type whose extension is in the saved list, in catalog order.
  void rebuildSigSelArray(const std::vector<std::string>& extensions);

  // Find in file types: marks every match and selects the first.
  void findFileTypes(std::string_view text);
  void stepperFTClicked(double stepperValue);

  // Column values of a row: the size shown (userSize, else defaultSize; 0 on a category) and the
  // mark (a category: 1 all, 0 none, -1 some).
  [[nodiscard]] static std::uint64_t sizeColumnValue(const SigNode& node);
  [[nodiscard]] static int markColumnValue(const SigNode& node);
  // The size column was edited: stores the value and rewrites the mode's main file.
  void setUserSize(SigNode& node, std::uint32_t value);

  // Whether "Remove" applies to a row: a custom file type, or a category with no children.
  [[nodiscard]] static bool canRemove(const SigNode* row);
  void removeFileType(SigNode* row);
  // Validates in the screen's order; the first failure shows an "!Error" alert and returns false
  // (the sheet stays open). On success the row is added and both files are rewritten.
  [[nodiscard]] bool addNewSigOKClicked(const NewSigFields& fields);
  // Names of all categories, for the add sheet's combo box.
  [[nodiscard]] std::vector<std::string> categoryNames() const;

  // The gradient's right edge on the speed bar: the marked share of `width`. 0 with no file types.
  [[nodiscard]] float speedBarMarkedWidth(float width) const;

 private:
  void setEmptyState();
  bool showAddError(const std::string& text);
  void saveMain();
  SigDataStore& store_;
  UiBridge& ui_;
};

// Header text helpers of the add sheet. Both tests accept an empty string.
[[nodiscard]] bool stringIsHex(std::string_view text);
[[nodiscard]] bool stringIsNumeric(std::string_view text);
// Two hex digits per byte, the first byte most significant; shorter than two characters gives 0.
[[nodiscard]] std::uint64_t getHeaderFromString(std::string_view text);

}  // namespace nua
