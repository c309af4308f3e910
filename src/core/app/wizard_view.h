// What the controller needs of a front end: show a screen by its tab identifier and reflect the
// state of the few controls whose state the wizard decides. The view makes no decisions.
#pragma once

#include <string>

namespace nua {

// Controls whose enabled, hidden or checked state the controller sets.
enum class WizardControl {
  kDrivesListNext,
  kPTListNext,
  kPTScanListNext,
  kSignaturesNext,
  kSignaturesSkip,
  kRawSearchBox,        // the raw-search check box on "Signatures"
  kScanForVolumesBox,   // the scan-for-volumes check box on "PT list"
  kAddFileType,         // buttonSigAddFileType
  kRemoveFileType,      // buttonRemoveFileType
};

// Text fields the controller writes.
enum class WizardField {
  kDrivesListHeading,
  kMainScanStatus,
  kSelectedIndex,
  kScanStartDate,
  kRawSize,
  kStartSliderText,
  kEndSliderText,
  kFindPlaceholder,
  kFindFileTypesPlaceholder,
  kNumFoundVolumes,
};

enum class WizardTable { kDrivesList, kPTList, kPTScanList, kSignatures };

class WizardView {
 public:
  virtual ~WizardView() = default;
  virtual void showTab(const std::string& identifier) = 0;
  virtual void setEnabled(WizardControl control, bool enabled) = 0;
  virtual void setHidden(WizardControl control, bool hidden) = 0;
  virtual void setChecked(WizardControl control, bool checked) = 0;
  virtual void setText(WizardField field, const std::string& text) = 0;
  virtual void setSliders(float start, float end) = 0;
  // The rows of a table changed (the controller owns the lists); selection is cleared by `deselect`.
  virtual void reloadTable(WizardTable table) = 0;
  virtual void deselect(WizardTable table) = 0;
  virtual void setLoadingSheetVisible(bool visible) = 0;
  // The identifier of the screen now shown: quitting and the window's size rules depend on it. A view
  // that draws nothing has no screen.
  [[nodiscard]] virtual std::string selectedTabIdentifier() const { return {}; }
  // Leaving "Tree": the window takes its initial frame again, centred.
  virtual void restoreInitialWindowFrame() {}
};

// A view that ignores everything: for headless runs that only record the decision.
class NullWizardView : public WizardView {
 public:
  void showTab(const std::string&) override {}
  void setEnabled(WizardControl, bool) override {}
  void setHidden(WizardControl, bool) override {}
  void setChecked(WizardControl, bool) override {}
  void setText(WizardField, const std::string&) override {}
  void setSliders(float, float) override {}
  void reloadTable(WizardTable) override {}
  void deselect(WizardTable) override {}
  void setLoadingSheetVisible(bool) override {}
};

}  // namespace nua
