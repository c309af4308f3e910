#include "progress_printer.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

#include "base/text.h"

namespace nua::cli {
namespace {

using Clock = std::chrono::steady_clock;

// At most about four redraws a second: a bar redrawn faster only flickers.
constexpr auto kBarInterval = std::chrono::milliseconds(250);

// The percentage the bar stands at; none while the bar only moves.
std::optional<int> barPercent(const ProgressScreen& s) {
  if (s.barIndeterminate || !(s.barMaxValue > s.barMinValue)) return std::nullopt;
  const int percent = static_cast<int>(100.0 * (s.barDoubleValue - s.barMinValue) / (s.barMaxValue - s.barMinValue));
  return percent > 100 ? 100 : percent;
}

std::string orZero(const std::string& text) { return text.empty() ? "0" : text; }

std::string gauge(std::optional<int> percent) {
  const std::size_t filled = percent ? static_cast<std::size_t>(*percent / 5) : 0;
  return "[" + std::string(filled, '#') + std::string(20 - filled, '.') + "]";
}

std::size_t terminalColumns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20) return size.ws_col;
  return 120;
}

}  // namespace

ProgressStyle progressStyleFor(bool terminal, bool quiet, bool json, bool forced) {
  if (forced) return ProgressStyle::kBar;
  if (quiet) return ProgressStyle::kNone;
  if (!terminal) return ProgressStyle::kStatusLines;
  return json ? ProgressStyle::kNone : ProgressStyle::kBar;
}

std::string progressBarLine(const ProgressScreen& s, std::optional<double> bytesPerSecond) {
  std::optional<int> percent = barPercent(s);
  if (percent && *percent < 0) percent = 0;  // a bar below its minimum has done nothing yet
  std::string line = gauge(percent) + " ";
  const std::string percentText = percent ? std::to_string(*percent) : "-";
  line += std::string(percentText.size() < 3 ? 3 - percentText.size() : 0, ' ') + percentText + "%";
  if (s.totalSizeBytes > 0) {
    line += " " + sizeText(s.sizeDoneBytes) + " / " + sizeText(s.totalSizeBytes);
  } else if (percent) {
    line += " " + std::to_string(static_cast<std::uint64_t>(s.barDoubleValue)) + " / " +
            std::to_string(static_cast<std::uint64_t>(s.barMaxValue));
  }
  if (bytesPerSecond) line += ", " + sizeText(static_cast<std::uint64_t>(*bytesPerSecond)) + "/s";
  if (!s.timeRemaining.empty()) line += ", left " + s.timeRemaining;
  line += ", found " + orZero(s.files) + " files, " + orZero(s.folders) + " folders";
  if (!s.status.empty()) line += " | " + s.status;
  return line;
}

ProgressPrinter::ProgressPrinter(ProgressStyle style, bool terminal, StderrUiBridge& ui)
    : style_(style), terminal_(terminal), ui_(ui) {}

void ProgressPrinter::show(const ProgressScreen& screen, bool force) {
  if (style_ == ProgressStyle::kNone) return;
  const auto now = Clock::now();
  const std::optional<double> speed = speed_.at(screen, now);
  const auto interval = style_ == ProgressStyle::kBar
                            ? std::chrono::duration_cast<Clock::duration>(kBarInterval)
                            : std::chrono::duration_cast<Clock::duration>(
                                  terminal_ ? std::chrono::milliseconds(200) : std::chrono::milliseconds(1000));
  if (!force && now - last_ < interval) return;
  last_ = now;
  if (style_ == ProgressStyle::kStatusLines) {
    showStatusLine(screen);
  } else {
    const std::string line = progressBarLine(screen, speed);
    if (terminal_) {
      // Padded to the width, so a shorter line leaves nothing of the last one behind.
      const int width = static_cast<int>(terminalColumns() - 1);
      std::fprintf(stderr, "\r%-*.*s", width, width, line.c_str());
      ui_.atLineStart = false;
    } else {
      std::fprintf(stderr, "%s\n", line.c_str());
    }
  }
}

void ProgressPrinter::showStatusLine(const ProgressScreen& s) {
  const std::optional<int> percent = barPercent(s);
  std::string line = (percent ? std::to_string(*percent) : std::string("  -")) + "% " + s.status;
  line += " | entries " + orZero(s.entriesFound) + ", folders " + orZero(s.folders) + ", files " + orZero(s.files);
  if (!s.timeRemaining.empty()) line += " | left " + s.timeRemaining;
  std::fprintf(stderr, "%s\n", line.c_str());
}

std::optional<double> ScanSpeed::at(const ProgressScreen& screen, Clock::time_point now) {
  if (screen.totalSizeBytes == 0) return std::nullopt;
  if (!originTime_ || screen.totalSizeBytes != totalBytes_ || screen.sizeDoneBytes < originBytes_) {
    originTime_ = now;
    originBytes_ = screen.sizeDoneBytes;
    totalBytes_ = screen.totalSizeBytes;
    return std::nullopt;
  }
  const double seconds = std::chrono::duration<double>(now - *originTime_).count();
  if (seconds < 0.2) return std::nullopt;
  return static_cast<double>(screen.sizeDoneBytes - originBytes_) / seconds;
}

void ProgressPrinter::finish() {
  if (style_ != ProgressStyle::kNone && terminal_ && !ui_.atLineStart) std::fputc('\n', stderr);
  ui_.atLineStart = true;
}

}  // namespace nua::cli
