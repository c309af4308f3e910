// What each part of a progress update does to the progress screen, and the time format.
#include "app/scan_progress.h"

#include <gtest/gtest.h>

namespace nua {
namespace {

TEST(GetTimeFormStringForInterval, DaysHoursMinutesSeconds) {
  EXPECT_EQ(getTimeFormStringForInterval(59.9), "0:00:00:59");
  EXPECT_EQ(getTimeFormStringForInterval(90090.0), "1:01:01:30");
  EXPECT_EQ(getTimeFormStringForInterval(3909.0), "0:01:05:09");
  EXPECT_EQ(getTimeFormStringForInterval(0.0), "0:00:00:00");
  EXPECT_EQ(getTimeFormStringForInterval(-5.0), "0:00:00:00");
  EXPECT_EQ(getTimeFormStringForInterval(1.0 / 0.0), getTimeFormStringForInterval(1e15));
}

TEST(ApplyScanProgress, BlankingPartsEmptyTheirFields) {
  ProgressScreen screen;
  ScanProgress sized;
  sized.timeRemaining = "0:00:01:00";
  sized.percentDone = 45;
  sized.sizeDone = 1000;
  sized.totalSize = 2000000;
  applyScanProgress(sized, "Creating tree from x", screen);
  EXPECT_EQ(screen.timeRemaining, "0:00:01:00");
  EXPECT_EQ(screen.percentDone, "Overall Progress: 45%");
  EXPECT_EQ(screen.completed, "Completed: 1.00 KB / 2.00 MB");
  sized.percentDone = 45.5;
  sized.totalSize.reset();  // the completed size needs both
  applyScanProgress(sized, "Creating tree from x", screen);
  EXPECT_EQ(screen.percentDone, "Overall Progress: 45.5%");
  EXPECT_EQ(screen.completed, " ");
  applyScanProgress(ScanProgress::withCounts(ScanCounts{5, 0, 0, 0}), "Creating tree from x", screen);
  EXPECT_EQ(screen.timeRemaining, "");
  EXPECT_EQ(screen.percentDone, "");
  EXPECT_EQ(screen.completed, " ");
  EXPECT_EQ(screen.entriesFound, "5");
}

TEST(ApplyScanProgress, StatusBarAndCounters) {
  ProgressScreen screen;
  ScanProgress begins = ScanProgress::withCounts(ScanCounts{0, 2, 3, 1500});
  begins.bar = ProgressBar::kDeterminate;
  begins.barMaximum = 10;
  begins.barValue = 4;
  begins.animation = ProgressAnimation::kStart;
  applyScanProgress(begins, "Creating tree from x", screen);
  EXPECT_EQ(screen.status, "Creating tree from x");
  EXPECT_FALSE(screen.barIndeterminate);
  EXPECT_TRUE(screen.barAnimating);
  EXPECT_EQ(screen.barMaxValue, 10.0);
  EXPECT_EQ(screen.barDoubleValue, 4.0);
  EXPECT_EQ(screen.folders, "2");
  EXPECT_EQ(screen.files, "3");
  EXPECT_EQ(screen.data, "1.50 KB");
  ScanProgress step = ScanProgress::withStatus(progress_text::kFixingNames);
  step.barIncrement = 3;
  step.animation = ProgressAnimation::kStop;
  step.bar = ProgressBar::kIndeterminate;
  applyScanProgress(step, "Creating tree from x", screen);
  EXPECT_EQ(screen.status, "Creating tree from x - Fixing names...");
  EXPECT_EQ(screen.barDoubleValue, 7.0);
  EXPECT_FALSE(screen.barAnimating);
  EXPECT_TRUE(screen.barIndeterminate);
  // Parts left out leave the screen as it is.
  applyScanProgress(ScanProgress{}, "Creating tree from x", screen);
  EXPECT_EQ(screen.status, "Creating tree from x - Fixing names...");
  EXPECT_EQ(screen.files, "3");
  EXPECT_EQ(screen.barDoubleValue, 7.0);
  EXPECT_TRUE(screen.barIndeterminate);
}

}  // namespace
}  // namespace nua
