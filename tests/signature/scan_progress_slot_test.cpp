// The progress handoff between the scan thread and the one that shows it: every take is one whole
// published value, later than the previous one, and the scan never blocks.
#include "signature/scan_progress_slot.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace nua {
namespace {

TEST(ScanProgressSlot, TakesAreWholeValuesInPublishingOrder) {
  ScanProgressSlot slot;
  std::atomic<bool> scanDone{false};
  std::thread scan([&] {
    for (std::uint64_t unit = 1; unit <= 200000; ++unit) {
      SignatureScanProgress p;
      p.unitsDone = unit;
      p.finds = unit * 3;  // a torn value would break the relation
      slot.publish(p);
    }
    scanDone = true;
  });
  std::uint64_t previous = 0;
  int taken = 0;
  while (true) {
    const bool last = scanDone.load();
    if (const auto p = slot.take()) {
      ASSERT_GT(p->unitsDone, previous);
      ASSERT_EQ(p->finds, p->unitsDone * 3);
      previous = p->unitsDone;
      ++taken;
    } else if (last) {
      break;
    }
  }
  scan.join();
  EXPECT_GT(taken, 0);
}

TEST(ScanProgressFigures, PercentAndTimeLeftOnlyAfterAThousandth) {
  SignatureScanProgress p;
  p.totalUnits = 1000000;
  p.unitsDone = 1000;  // exactly a thousandth: still calculating
  p.elapsedSeconds = 2;
  EXPECT_FALSE(progressFigures(p).secondsRemaining);
  p.unitsDone = 250000;
  p.elapsedSeconds = 10;
  const ScanProgressFigures f = progressFigures(p);
  EXPECT_EQ(f.percentDone, 25U);
  ASSERT_TRUE(f.secondsRemaining);
  EXPECT_DOUBLE_EQ(*f.secondsRemaining, 30.0);
  p.totalUnits = 0;
  EXPECT_EQ(progressFigures(p).percentDone, 0U);
}

}  // namespace
}  // namespace nua
