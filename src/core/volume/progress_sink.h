// What a running scan tells the person watching it: a typed progress update and the sink it goes to.
// The engines fill a ScanProgress and hand it to the sink they were given; app/ alone turns it into
// what the screens show.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/ui_bridge.h"
#include "volume/progress_texts.h"

namespace nua {

// The bar's kind: one that only moves, or one that fills from its minimum to its maximum.
enum class ProgressBar : std::uint8_t { kIndeterminate, kDeterminate };
enum class ProgressAnimation : std::uint8_t { kStart, kStop };

// What a scan has found so far.
struct ScanCounts {
  std::uint64_t entries = 0;
  std::uint64_t folders = 0;
  std::uint64_t files = 0;
  std::uint64_t data = 0;  // bytes
};

// One update of the progress screen. An empty field leaves its part of the screen as it is, except
// timeRemaining, the percentage and the completed size, which every update sets (empty blanks them).
struct ScanProgress {
  std::optional<std::string> status;  // a progress_text; progress_text::kScanStatus shows the scan's own
  std::optional<ProgressBar> bar;
  std::optional<ProgressAnimation> animation;
  std::optional<std::uint64_t> barMinimum;
  std::optional<std::uint64_t> barMaximum;
  std::optional<std::uint64_t> barValue;
  std::optional<std::uint64_t> barIncrement;  // added to the bar's value
  std::string timeRemaining;                  // as getTimeFormStringForInterval writes it
  std::optional<double> percentDone;
  std::optional<std::uint64_t> sizeDone;  // shown with totalSize, both or neither
  std::optional<std::uint64_t> totalSize;
  std::optional<ScanCounts> counts;
  bool treeComplete = false;  // the scan is over: the tree, if any, is shown next

  [[nodiscard]] static ScanProgress withStatus(std::string text) {
    ScanProgress progress;
    progress.status = std::move(text);
    return progress;
  }
  // The scan's own status with what it has found so far: what a walk shows as it goes.
  [[nodiscard]] static ScanProgress withCounts(const ScanCounts& found) {
    ScanProgress progress = withStatus(progress_text::kScanStatus);
    progress.counts = found;
    return progress;
  }
};

// Where a scan sends its progress. The scan runs on its own thread; an implementation shows an update on
// the main thread.
class ProgressSink {
 public:
  virtual ~ProgressSink() = default;
  // Shown before the scan goes on.
  virtual void report(const ScanProgress& progress) = 0;
  // The running counts are handed over once a second, not per record: while an offered update waits to
  // be shown, tickPending is true and the scan offers nothing new.
  [[nodiscard]] virtual bool tickPending() const = 0;
  virtual void offerForTick(const ScanProgress& progress) = 0;
  // Asks the person at the screen, and waits for the answer.
  virtual void alert(const Alert& alert) = 0;
  // The scan can't go on and leaves no tree: back to the list its volume came from.
  virtual void abandonScan() = 0;

  // A sink that shows nothing, for scans run without a screen.
  [[nodiscard]] static ProgressSink& none();
};

}  // namespace nua
