// What the "Signatures" screen does beyond marking: "Load File Types" with its retries, find in file
// types with its stepper, the editable size column, adding and removing custom file types, and the
// counts and speed bar. The rows stay the controller's sigRootArray; the catalog's operations run on
// them here, so the screen only shows what this returns.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/ui_bridge.h"
#include "signature/sig_data_store.h"
#include "signature/signature_catalog.h"

namespace nua {

class WizardController;

// The size column's text as the user typed it: a whole number that fits 32 bits unsigned, else nothing.
[[nodiscard]] std::optional<std::uint32_t> parseUserSize(std::string_view text);

class SignatureScreen {
 public:
  SignatureScreen(WizardController& controller, UiBridge& ui);
  SignatureScreen(const SignatureScreen&) = delete;
  SignatureScreen& operator=(const SignatureScreen&) = delete;

  // Where the data files are read and written. Without them the catalog comes from the controller's
  // MediaSources, and edits stay in memory as after a failed write.
  void useDataFiles(SigDataPaths paths);
  void useStandardDataFiles();
  [[nodiscard]] bool hasDataFiles() const { return hasDataFiles_; }
  // The mode's main file while `loadCount` is 1 or less, its backup after; empty when unreadable.
  [[nodiscard]] SigRootArray loadSigData(int scanMode, std::int32_t loadCount);

  // "Load File Types": one more attempt, and the text of the empty row for what is left to try.
  void reloadSigData();
  [[nodiscard]] const std::string& emptyRowText() const { return catalog_.emptySigNode.category; }
  // Enabled states of the screen's buttons as the last load left them.
  [[nodiscard]] const SigButtons& buttons() const { return catalog_.buttons; }

  // The user toggled "Mark" on a row.
  void markClicked(SigNode& node, bool on);
  void selectAllSig();
  void deselectAllSig();
  // "Marked: %d, Unmarked: %d", "Total Signatures: %d" and "Total Categories: %ld" of the rows now.
  [[nodiscard]] const SigCounts& counts();
  // The right edge of the speed bar's gradient in a bar `width` wide.
  [[nodiscard]] float speedBarMarkedWidth(float width);
  // The line under the find field: the find's result, "All marked", "All unmarked", or empty.
  [[nodiscard]] const std::string& findStatusText() const { return findStatusText_; }

  // Find in file types: marks every match and returns the first to select (null when none).
  SigNode* findFileTypes(std::string_view text);
  [[nodiscard]] bool stepperEnabled() const { return catalog_.stepperFTEnabled; }
  [[nodiscard]] std::int64_t stepperMaximum() const { return catalog_.stepperFTMaximum; }
  // The found row at the stepper's value, to select alone; null outside the found rows.
  SigNode* stepperFTClicked(double value);

  // The size column of a file type was edited. False when the text is no size (the row keeps its
  // value) or when the file could not be written (the row keeps the new value; the screen beeps).
  bool setUserSize(SigNode& node, std::string_view text);

  // Names for the add sheet's category box.
  [[nodiscard]] std::vector<std::string> categoryNames() const;
  // The add sheet's OK: false after showing the first failed check's "!Error" alert (the sheet stays).
  [[nodiscard]] bool addNewSigOKClicked(const NewSigFields& fields);
  // Whether "Remove File Type" applies to the selected row (null: none selected).
  [[nodiscard]] bool canRemove(const SigNode* row) const;
  void removeFileType(SigNode* row);
  // The last add, remove or size edit could not be written to the data files.
  [[nodiscard]] bool lastSaveFailed() const { return catalog_.lastSaveFailed; }

 private:
  // The catalog works on the controller's rows, and the controller takes its rows back after.
  void syncIn();
  void syncOut();

  WizardController& controller_;
  SigDataStore store_{SigDataPaths{}};
  bool hasDataFiles_ = false;
  SignatureCatalog catalog_;
  std::string findStatusText_;
};

}  // namespace nua
