// Whether a preview request goes ahead: the count of requests in flight (a third is dropped) and the
// advice, once per volume, to save the recovery session first.
#pragma once

#include <cstdint>
#include <memory>

#include "base/ui_bridge.h"

namespace nua {

enum class PreviewRequestAction {
  kNothing,  // no row, or a folder while the window is closed
  kDropped,  // two requests are in flight already
  kGoBack,   // the advice was answered with "Go Back" (the attempt stays counted)
  kStart,    // the worker takes it
};

class PreviewGate {
 public:
  // The button, a double click, or a new selection while the window is open. volume names the
  // result's source (the advice comes once per volume); scanInfoSaved: its session was saved.
  [[nodiscard]] PreviewRequestAction preview(bool hasSelectedRow, bool isFolder, bool windowVisible,
                                             const std::shared_ptr<const void>& volume, bool scanInfoSaved,
                                             UiBridge& ui);
  // The worker began a request: after a worker has run once the count stands at 1, before at 0.
  void previewStarted();
  // The window was closed.
  void previewClose() { numPreviewAttempts_ = 0; }

  [[nodiscard]] std::int32_t numPreviewAttempts() const { return numPreviewAttempts_; }

 private:
  std::int32_t numPreviewAttempts_ = 0;
  bool previewThreadExists_ = false;
  std::weak_ptr<const void> warnedVolume_;  // previewWarningShown, for this volume
};

// The advice shown before the first preview of a volume whose session is not saved.
[[nodiscard]] Alert previewWarningAlert();

}  // namespace nua
