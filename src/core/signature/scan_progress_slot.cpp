#include "signature/scan_progress_slot.h"

namespace nua {

// Until a thousandth of the range is done the estimate swings too much to show.
constexpr std::uint64_t kFractionBeforeEtaCalculation = 1000;

void ScanProgressSlot::publish(const SignatureScanProgress& progress) {
  if (full_.load(std::memory_order_acquire)) return;
  value_ = progress;
  full_.store(true, std::memory_order_release);
}

std::optional<SignatureScanProgress> ScanProgressSlot::take() {
  if (!full_.load(std::memory_order_acquire)) return std::nullopt;
  const SignatureScanProgress copy = value_;
  full_.store(false, std::memory_order_release);
  return copy;
}

ScanProgressFigures progressFigures(const SignatureScanProgress& progress) {
  ScanProgressFigures figures;
  if (progress.totalUnits == 0) return figures;
  figures.percentDone = static_cast<std::uint32_t>(progress.unitsDone * 100 / progress.totalUnits);
  if (progress.unitsDone > progress.totalUnits / kFractionBeforeEtaCalculation && progress.unitsDone > 0 &&
      progress.unitsDone <= progress.totalUnits) {
    figures.secondsRemaining = static_cast<double>(progress.totalUnits - progress.unitsDone) *
                               progress.elapsedSeconds / static_cast<double>(progress.unitsDone);
  }
  return figures;
}

}  // namespace nua
