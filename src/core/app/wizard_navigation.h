// The wizard's navigation: the rows chosen on the lists and the Next buttons they enable, the marks on
// "Signatures", and every way back, from a list, a screen or the result, to the screen before.
#pragma once

namespace nua {

class WizardController;
struct SigNode;

class WizardNavigation {
 public:
  explicit WizardNavigation(WizardController& controller) : controller_(controller) {}

  // Row selections; -1, or a row past the end, clears the selection and disables Next.
  void selectDrivesListRow(int row);
  void selectPTListRow(int row);
  void selectPTScanListRow(int row);
  void checkBoxForScanForVolumesClicked(bool on);
  // The user toggled the mark of a category or file type in the outline of "Signatures".
  void setSigMark(SigNode& node, bool on);

  void backToMainScreenFromFileRecoveryTab();
  void backToMainScreenFromPhotoRecoveryTab();
  void backToMainScreenFromPartitionRecoveryTab();
  void backButtonInDrivesListTabClicked();
  void ptListBackClicked();
  void ptScanListBackClicked();
  void treeScanModeBackClicked();
  void sigSelBackToVolumesClicked();
  void rawSliderBackToSigSelClicked();
  // The home button of any screen; the one on "Tree" warns first and may be cancelled.
  void gotoHome();
  void treeBackButtonClicked();

 private:
  // "PT list" with the search box cleared and no row selected, so Next waits for a new choice.
  void showPTListUnselected();
  WizardController& controller_;
};

}  // namespace nua
