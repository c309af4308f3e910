// The one-slot handoff of a search's progress from the scan thread to the thread that shows it: the
// scan never waits, and skips its refresh while the last numbers have not been taken yet. Texts are
// made by the taker, from the figures below, only for what it shows.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "signature/signature_scan_engine.h"

namespace nua {

class ScanProgressSlot final : public SignatureScanProgressSink {
 public:
  void publish(const SignatureScanProgress& progress) override;
  // The numbers published since the last take, emptying the slot; nothing when there are none.
  [[nodiscard]] std::optional<SignatureScanProgress> take();

 private:
  SignatureScanProgress value_;
  std::atomic<bool> full_{false};
};

// What the progress screen derives from the numbers: the whole percent done, and the seconds left,
// which are not guessed (nothing: "Calculating ...") until a thousandth of the range is done.
struct ScanProgressFigures {
  std::uint32_t percentDone = 0;
  std::optional<double> secondsRemaining;
};
[[nodiscard]] ScanProgressFigures progressFigures(const SignatureScanProgress& progress);

}  // namespace nua
