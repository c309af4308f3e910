// What each key of a progress dictionary does to the progress screen, and the time format.
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

TEST(ApplyProgressDictionary, BlankingKeysEmptyTheirFields) {
  ProgressScreen screen;
  applyProgressDictionary(Dict{{"TimeRemaining", "0:00:01:00"}, {"Percent Done", 45}, {"Size Done", 1000},
                               {"Total Size", 2000000}},
                          "Creating tree from x", screen);
  EXPECT_EQ(screen.timeRemaining, "0:00:01:00");
  EXPECT_EQ(screen.percentDone, "Overall Progress: 45%");
  EXPECT_EQ(screen.completed, "Completed: 1.00 KB / 2.00 MB");
  applyProgressDictionary(Dict{{"Entries Found", 5}}, "Creating tree from x", screen);
  EXPECT_EQ(screen.timeRemaining, "");
  EXPECT_EQ(screen.percentDone, "");
  EXPECT_EQ(screen.completed, " ");
  EXPECT_EQ(screen.entriesFound, "5");
}

TEST(ApplyProgressDictionary, StatusBarAndCounters) {
  ProgressScreen screen;
  applyProgressDictionary(Dict{{"Progress Status", "default"}, {"Progress Type", 1}, {"BarMaxValue", 10},
                               {"BarDoubleValue", 4}, {"Start Animation", true}, {"Folders", 2}, {"Files", 3},
                               {"Data", 1500}},
                          "Creating tree from x", screen);
  EXPECT_EQ(screen.status, "Creating tree from x");
  EXPECT_FALSE(screen.barIndeterminate);
  EXPECT_TRUE(screen.barAnimating);
  EXPECT_EQ(screen.barMaxValue, 10.0);
  EXPECT_EQ(screen.barDoubleValue, 4.0);
  EXPECT_EQ(screen.folders, "2");
  EXPECT_EQ(screen.files, "3");
  EXPECT_EQ(screen.data, "1.50 KB");
  applyProgressDictionary(Dict{{"Progress Status", "Fixing names..."}, {"BarIncrement", 3}, {"Stop Animation", 1},
                               {"Progress Type", 0}},
                          "Creating tree from x", screen);
  EXPECT_EQ(screen.status, "Creating tree from x - Fixing names...");
  EXPECT_EQ(screen.barDoubleValue, 7.0);
  EXPECT_FALSE(screen.barAnimating);
  EXPECT_TRUE(screen.barIndeterminate);
}

}  // namespace
}  // namespace nua
