#include "app/scan_progress.h"

#include "base/text.h"

namespace nua {
namespace {

// A percentage as its shortest decimal: 45 for 45.0, 45.5 for 45.5.
std::string percentText(double value) {
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

class SilentScanRunSink final : public ScanRunSink {
 public:
  void report(const ScanProgress&) override {}
  [[nodiscard]] bool tickPending() const override { return false; }
  void offerForTick(const ScanProgress&) override {}
  void alert(const Alert&) override {}
  void abandonScan() override {}
  void startTicks() override {}
  void stopTicks() override {}
  void complete(const ScanProgress&) override {}
};

}  // namespace

ScanRunSink& ScanRunSink::none() {
  static SilentScanRunSink sink;
  return sink;
}

void applyScanProgress(const ScanProgress& update, const std::string& mainScanStatus, ProgressScreen& screen) {
  screen.timeRemaining = update.timeRemaining;
  screen.percentDone =
      update.percentDone ? formatText("Overall Progress: %@%@", {percentText(*update.percentDone), "%"}) : "";
  if (update.sizeDone && update.totalSize) {
    screen.completed = formatText("Completed: %@ / %@", {sizeText(*update.sizeDone), sizeText(*update.totalSize)});
    screen.sizeDoneBytes = *update.sizeDone;
    screen.totalSizeBytes = *update.totalSize;
  } else {
    screen.completed = " ";
    screen.sizeDoneBytes = 0;
    screen.totalSizeBytes = 0;
  }
  if (update.bar) screen.barIndeterminate = *update.bar == ProgressBar::kIndeterminate;
  if (update.animation) screen.barAnimating = *update.animation == ProgressAnimation::kStart;
  if (update.status) {
    screen.status = *update.status == progress_text::kScanStatus ? mainScanStatus
                                                                 : formatText("%@ - %@", {mainScanStatus, *update.status});
  }
  if (update.counts) {
    screen.entriesFound = std::to_string(update.counts->entries);
    screen.folders = std::to_string(update.counts->folders);
    screen.files = std::to_string(update.counts->files);
    screen.data = sizeText(update.counts->data);
  }
  if (update.barIncrement) screen.barDoubleValue += static_cast<double>(*update.barIncrement);
  if (update.barMinimum) screen.barMinValue = static_cast<double>(*update.barMinimum);
  if (update.barMaximum) screen.barMaxValue = static_cast<double>(*update.barMaximum);
  if (update.barValue) screen.barDoubleValue = static_cast<double>(*update.barValue);
}

}  // namespace nua
