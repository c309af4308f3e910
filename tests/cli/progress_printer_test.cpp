// The progress bar's line as a scan's progress screen fills it, and when the bar is drawn at all.
#include "progress_printer.h"

#include <gtest/gtest.h>

namespace nua::cli {
namespace {

ProgressScreen searchHalfway() {
  ProgressScreen s;
  s.barMinValue = 0.0;
  s.barMaxValue = 200.0;
  s.barDoubleValue = 90.0;
  s.sizeDoneBytes = 1000000;
  s.totalSizeBytes = 2000000;
  s.timeRemaining = "0:00:00:02";
  s.files = "3";
  s.folders = "1";
  s.status = "Searching for music, video and photos from PHOTOS - Searching lost files...";
  return s;
}

TEST(ProgressBarLine, ShowsPercentPositionSpeedTimeLeftAndFinds) {
  EXPECT_EQ(progressBarLine(searchHalfway(), 500000.0),
            "[#########...........]  45% 1.00 MB / 2.00 MB, 500.00 KB/s, left 0:00:00:02, found 3 files, 1 folders"
            " | Searching for music, video and photos from PHOTOS - Searching lost files...");
}

TEST(ProgressBarLine, LeavesOutWhatTheScanDoesNotTell) {
  ProgressScreen units = searchHalfway();
  units.sizeDoneBytes = units.totalSizeBytes = 0;
  units.timeRemaining.clear();
  units.status.clear();
  // Without a size the position is the bar's own units; without a speed, none is shown.
  EXPECT_EQ(progressBarLine(units, std::nullopt), "[#########...........]  45% 90 / 200, found 3 files, 1 folders");

  ProgressScreen moving;
  moving.barIndeterminate = true;
  moving.status = "Creating tree from Nua Test";
  EXPECT_EQ(progressBarLine(moving, std::nullopt),
            "[....................]   -%, found 0 files, 0 folders | Creating tree from Nua Test");
}

TEST(ProgressBarLine, KeepsThePercentWithinTheBar) {
  ProgressScreen past = searchHalfway();
  past.barDoubleValue = 250.0;
  EXPECT_EQ(progressBarLine(past, std::nullopt).substr(0, 27), "[####################] 100%");
  past.barDoubleValue = -10.0;
  EXPECT_EQ(progressBarLine(past, std::nullopt).substr(0, 27), "[....................]   0%");
}

TEST(ScanSpeed, MeasuresEachStageFromItsFirstSizedUpdate) {
  ScanSpeed speed;
  const ScanSpeed::Clock::time_point start{};
  ProgressScreen s = searchHalfway();
  EXPECT_FALSE(speed.at(s, start));  // the first update only starts the measure
  s.sizeDoneBytes += 3000000;
  s.totalSizeBytes = 8000000;
  EXPECT_FALSE(speed.at(s, start + std::chrono::seconds(1)));  // a new total: the next stage
  s.sizeDoneBytes += 1000000;
  EXPECT_EQ(speed.at(s, start + std::chrono::seconds(3)), 500000.0);
  s.sizeDoneBytes = 0;  // a position that goes back starts again
  EXPECT_FALSE(speed.at(s, start + std::chrono::seconds(4)));
  s.sizeDoneBytes = 0;
  s.totalSizeBytes = 0;  // an update without a size has no speed
  EXPECT_FALSE(speed.at(s, start + std::chrono::seconds(9)));
}

TEST(ProgressStyle, BarOnATerminalOrWhenAskedStatusLinesInALog) {
  struct Case {
    bool terminal, quiet, json, forced;
    ProgressStyle style;
  };
  const Case cases[] = {
      {true, false, false, false, ProgressStyle::kBar},   {true, false, true, false, ProgressStyle::kNone},
      {true, true, false, false, ProgressStyle::kNone},   {false, false, false, false, ProgressStyle::kStatusLines},
      {false, false, true, false, ProgressStyle::kStatusLines}, {false, true, false, false, ProgressStyle::kNone},
      {false, true, true, true, ProgressStyle::kBar},     {true, true, true, true, ProgressStyle::kBar},
  };
  for (const Case& c : cases)
    EXPECT_EQ(progressStyleFor(c.terminal, c.quiet, c.json, c.forced), c.style)
        << c.terminal << c.quiet << c.json << c.forced;
}

}  // namespace
}  // namespace nua::cli
