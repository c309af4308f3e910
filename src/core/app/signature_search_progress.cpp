#include "app/signature_search_progress.h"

#include "signature/scan_progress_slot.h"
#include "volume/volume.h"

namespace nua {

ScanProgress signatureSearchUpdate(const SignatureScanProgress& numbers, const std::string& status,
                                   const ScanCounts& counts) {
  const ScanProgressFigures figures = progressFigures(numbers);
  ScanProgress update = ScanProgress::withStatus(status);
  update.timeRemaining =
      figures.secondsRemaining ? getTimeFormStringForInterval(*figures.secondsRemaining) : kCalculatingTimeRemaining;
  update.percentDone = figures.percentDone;
  update.sizeDone = numbers.bytesDone;
  update.totalSize = numbers.totalBytes;
  update.counts = counts;
  update.barValue = numbers.unitsDone;
  return update;
}

SignatureSearchProgress::SignatureSearchProgress(ProgressSink& progress, std::string status,
                                                 std::function<ScanCounts()> counts)
    : progress_(progress), status_(std::move(status)), counts_(std::move(counts)) {}

void SignatureSearchProgress::open(std::uint64_t totalUnits) {
  ScanProgress opening = ScanProgress::withStatus(status_);
  opening.bar = ProgressBar::kDeterminate;
  opening.barMaximum = totalUnits;
  progress_.report(opening);
}

void SignatureSearchProgress::publish(const SignatureScanProgress& numbers) {
  // The screen still holds the last update: this one is skipped, not queued.
  if (progress_.tickPending()) return;
  progress_.offerForTick(signatureSearchUpdate(numbers, status_, counts_ ? counts_() : ScanCounts{}));
}

}  // namespace nua
