#include "view/preview_gate.h"

namespace nua {

Alert previewWarningAlert() {
  return {"Information",
          "It is strongly recommended to save \"Recovery Session\" before proceeding further. Though every care has "
          "been taken to avoid unexpected errors, large corrupted files might cause software to become unstable and "
          "delay the preview display. Saving \"Recovery Session\" would be helpful to reload the tree which avoids "
          "rescanning the drive in unstable conditions or if any unexpected errors occur.",
          {"Go Back", "Preview"}};
}

PreviewRequestAction PreviewGate::preview(bool hasSelectedRow, bool isFolder, bool windowVisible,
                                          const std::shared_ptr<const void>& volume, bool scanInfoSaved,
                                          UiBridge& ui) {
  if (!hasSelectedRow || (isFolder && !windowVisible)) return PreviewRequestAction::kNothing;
  if (numPreviewAttempts_++ >= 2) {
    --numPreviewAttempts_;
    return PreviewRequestAction::kDropped;
  }
  const bool warned = volume && !warnedVolume_.owner_before(volume) && !volume.owner_before(warnedVolume_) &&
                      !warnedVolume_.expired();
  if (!scanInfoSaved && !warned) {
    warnedVolume_ = volume;
    if (ui.runAlertPanel(previewWarningAlert()) == 0) return PreviewRequestAction::kGoBack;
  }
  return PreviewRequestAction::kStart;
}

void PreviewGate::previewStarted() {
  numPreviewAttempts_ = previewThreadExists_ ? 1 : 0;
  previewThreadExists_ = true;
}

}  // namespace nua
