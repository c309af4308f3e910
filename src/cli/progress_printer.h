// A scan's progress on standard error: the status lines a script's log gets, or a bar that shows how
// far the scan is, how fast it reads, how long it still needs and what it has found so far.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "app/scan_progress.h"
#include "tree_output.h"

namespace nua::cli {

enum class ProgressStyle {
  kNone,
  kStatusLines,  // one status line a second, with the counts (standard error is no terminal)
  kBar,          // the bar, redrawn in place on a terminal, else one line per redraw
};

// Picks the style: the bar on a terminal unless --quiet or --json (their output is read by scripts),
// status lines elsewhere unless --quiet; --progress always draws the bar.
[[nodiscard]] ProgressStyle progressStyleFor(bool terminal, bool quiet, bool json, bool forced);

// The bar's line: percent with a 20-cell gauge, position (completed size, or units of the bar when the
// scan gives no size), speed, time left and finds, then the status text. Parts the screen doesn't
// have are left out.
[[nodiscard]] std::string progressBarLine(const ProgressScreen& screen, std::optional<double> bytesPerSecond);

// The read speed of a scan stage: bytes completed since the stage's first sized update, over the time
// since then. A new total (the next stage) or a position that goes back starts the measure again.
class ScanSpeed {
 public:
  using Clock = std::chrono::steady_clock;
  // None until a stage has run long enough to tell, and for updates that give no size.
  [[nodiscard]] std::optional<double> at(const ProgressScreen& screen, Clock::time_point now);

 private:
  std::optional<Clock::time_point> originTime_;
  std::uint64_t originBytes_ = 0;
  std::uint64_t totalBytes_ = 0;
};

class ProgressPrinter {
 public:
  ProgressPrinter(ProgressStyle style, bool terminal, StderrUiBridge& ui);
  // Shows the screen unless the last line is too recent; `force` shows it anyway.
  void show(const ProgressScreen& screen, bool force);
  // Ends a bar drawn in place with its newline.
  void finish();

 private:
  void showStatusLine(const ProgressScreen& screen);
  void showBar(const ProgressScreen& screen, std::chrono::steady_clock::time_point now);

  ProgressStyle style_;
  bool terminal_;
  StderrUiBridge& ui_;
  std::chrono::steady_clock::time_point last_{};
  ScanSpeed speed_;
};

}  // namespace nua::cli
