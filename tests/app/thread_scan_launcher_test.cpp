// Scans run on their own thread, one at a time, with their volume and arguments.
#include "app/thread_scan_launcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <vector>
#include <stdexcept>

#include "volume/volume.h"

namespace nua {
namespace {

TEST(ThreadScanLauncher, RunsTheEntryOffTheCallingThreadWithItsArguments) {
  RecordingUiBridge ui;
  std::atomic<int> finished{0};
  ThreadScanLauncher launcher(ui, [&](ScanEntry) { ++finished; });
  std::thread::id scanThread;
  std::string name;
  launcher.setEntry(ScanEntry::kStartMakingTree, [&](Volume& v, const ScanArguments& args, ScanRunSink&) {
    scanThread = std::this_thread::get_id();
    name = std::get<std::string>(args.at(0));
    v.scanMode = name;
  });
  auto volume = Volume::initWithDictionary(Dict{{"Volume Scan Type", 0}}, {});
  std::shared_ptr<Volume> shared = std::move(volume);
  launcher.detach(ScanEntry::kStartMakingTree, shared, {std::string("Normal Scan"), std::int64_t{0}});
  launcher.join();
  EXPECT_NE(scanThread, std::this_thread::get_id());
  EXPECT_EQ(shared->scanMode, "Normal Scan");
  EXPECT_EQ(finished, 1);
  EXPECT_TRUE(ui.alerts.empty());
}

TEST(ThreadScanLauncher, EntryNotBuiltYetSaysSoAndStillFinishes) {
  RecordingUiBridge ui;
  std::atomic<int> finished{0};
  ThreadScanLauncher launcher(ui, [&](ScanEntry) { ++finished; });
  launcher.detach(ScanEntry::kScanForDeletedFiles, std::make_shared<Volume>(), {});
  launcher.detach(ScanEntry::kScanForDeletedFilesDisk, std::make_shared<Volume>(), {});  // waits for the first
  launcher.join();
  EXPECT_EQ(finished, 2);
  ASSERT_EQ(ui.alerts.size(), 2u);
  EXPECT_EQ(ui.alerts[0].text, "The scan \"scanForDeletedFiles\" is not built yet.");
}

// Whatever an entry does (returns, is missing, or throws), the scan's thread reports its end, so the
// controller can end a scan that sent no completion; a throwing entry is reported, not fatal.
TEST(ThreadScanLauncher, EveryScanThreadReportsItsEnd) {
  RecordingUiBridge ui;
  ThreadScanLauncher launcher(ui, nullptr);
  std::atomic<int> scansEnded{0};
  std::atomic<int> volumeScansEnded{0};
  std::vector<std::uint64_t> numbers;
  launcher.setScanThreadEnded([&](std::uint64_t scanNumber, bool volumeScan) {
    numbers.push_back(scanNumber);  // one scan thread at a time
    ++(volumeScan ? volumeScansEnded : scansEnded);
  });
  launcher.setEntry(ScanEntry::kStartMakingTree, [](Volume&, const ScanArguments&, ScanRunSink&) {});
  launcher.setEntry(ScanEntry::kScanForDeletedFiles,
                    [](Volume&, const ScanArguments&, ScanRunSink&) { throw std::runtime_error("node table exhausted"); });
  for (ScanEntry entry : {ScanEntry::kStartMakingTree, ScanEntry::kScanForDeletedFiles, ScanEntry::kScanForDeletedFilesDisk})
    launcher.detach(entry, std::make_shared<Volume>(), {});
  launcher.join();
  launcher.detachVolumeScan(nullptr);  // no drive: ends at once
  launcher.join();
  EXPECT_EQ(scansEnded, 3);
  EXPECT_EQ(volumeScansEnded, 1);
  EXPECT_EQ(numbers, (std::vector<std::uint64_t>{1, 2, 3, 4}));
  EXPECT_EQ(launcher.lastScanNumber(), 4u);
  ASSERT_EQ(ui.alerts.size(), 2u);
  EXPECT_EQ(ui.alerts[0].title, "!Can not process");
  EXPECT_EQ(ui.alerts[0].text, "The scan \"scanForDeletedFiles\" failed: node table exhausted");
  EXPECT_EQ(ui.alerts[1].text, "The scan \"scanForDeletedFilesDisk\" is not built yet.");
}

}  // namespace
}  // namespace nua
