// A tree scan driven through the controller as the front ends drive it: the wizard steps, the scan
// thread, progress on the main thread, abort, the refusal and the end of a result.
#include "app/scan_run.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "app/wizard_controller.h"
#include "app/thread_scan_launcher.h"
#include "imagekit/scenario.h"

namespace nua {
namespace {

class TabView : public NullWizardView {
 public:
  void showTab(const std::string& identifier) override { tabs.push_back(identifier); }
  std::vector<std::string> tabs;
};

const std::filesystem::path& imageFolder() {
  struct Folder {
    std::filesystem::path path = std::filesystem::temp_directory_path() / ("nua-scan-run-" + std::to_string(::getpid()));
    Folder() { std::filesystem::create_directories(path); }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

std::string kitImage(const std::string& scenario, std::uint64_t& bytes) {
  const std::filesystem::path& folder = imageFolder();
  const std::string path = (folder / (scenario + ".img")).string();
  imagekit::Manifest manifest;
  std::string error;
  const imagekit::Scenario* found = imagekit::findScenario(scenario);
  if (found == nullptr || !found->make(path, {}, manifest, error)) return "";
  bytes = manifest.imageBytes;
  return path;
}

class ScanRunTest : public ::testing::Test {
 protected:
  void start(const std::string& scenario) {
    std::uint64_t bytes = 0;
    path = kitImage(scenario, bytes);
    ASSERT_FALSE(path.empty());
    sources.initialDriveList = [this, bytes] {
      DriveListing listing;
      listing.driveDictArray.push_back(
          DriveRow::fromDict(Dict{{"Path", path}, {"Size", bytes}, {"Preferred Block Size", 512}}));
      return listing;
    };
    sources.partitionsOfDrive = [this, bytes](MediaReader&) {
      return std::vector<PartitionRow>{PartitionRow::fromDict(
          Dict{{"Volume Scan Type", 0}, {"Path", path}, {"Volume Start", 0}, {"Volume Size In Sectors", bytes / 512},
               {"Content", "Apple_HFS"}, {"Volume Name", "Nua Test"}})};
    };
    launcher.setEntry(ScanEntry::kStartMakingTree, startMakingTree);
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
    controller->progressChanged = [this] { onProgress(); };
    controller->recoverPartitionAndDrives();
    controller->recoverPartitionAndDrivesFast();
    controller->selectDrivesListRow(0);
    controller->nextButtonInDrivesListTabClicked();
    controller->selectPTListRow(0);
    controller->ptListNextClicked();
    controller->treeScanModeStdScanClicked();
    volume = controller->selectedVolume;
    controller->skipButtonSigTabClicked();
    for (int i = 0; i < 600 && controller->scanIsRunning; ++i) controller->mainThread().runFor(std::chrono::milliseconds(50));
    launcher.join();
    controller->mainThread().runPending();
  }
  void TearDown() override {
    launcher.join();
    controller.reset();
  }
  virtual void onProgress() { statuses.push_back(controller->progressScreen().status); }

  std::string path;
  TabView view;
  RecordingUiBridge ui;
  ThreadScanLauncher launcher{ui, nullptr};
  MediaSources sources;
  std::unique_ptr<WizardController> controller;
  std::shared_ptr<Volume> volume;
  std::vector<std::string> statuses;
  std::function<void()> extra;
};

TEST_F(ScanRunTest, StandardScanShowsTheTreeWithItsNote) {
  start("hfs-basic");
  EXPECT_FALSE(controller->scanIsRunning);
  ASSERT_NE(volume->dirRoot, nullptr);
  EXPECT_EQ(controller->dirRootTemp, volume->dirRoot);
  EXPECT_EQ(volume->dirRoot->fileCount, 7u);
  EXPECT_EQ(view.tabs.back(), "Tree");
  ASSERT_FALSE(ui.alerts.empty());
  EXPECT_EQ(ui.alerts.back().title, "Standard scan completed");
  EXPECT_EQ(controller->progressScreen().treeTotal, "56.39 KB in 7 Files");
  EXPECT_FALSE(controller->timerValid());
  bool sawCleanUp = false;
  for (const std::string& s : statuses) sawCleanUp |= s == "Creating tree from Nua Test - Fixing names...";
  EXPECT_TRUE(sawCleanUp);
}

class AbortingScanRunTest : public ScanRunTest {
 protected:
  void onProgress() override {
    // The scan waits while the main thread handles this status, so the stop lands before the walk.
    if (controller->progressScreen().status.find("Checking Catalog File ...") != std::string::npos && !asked) {
      asked = true;
      controller->stopTreeThread();
      EXPECT_TRUE(controller->abortSheetVisible());
      controller->abortTreeThread();
    }
  }
  bool asked = false;
};

TEST_F(AbortingScanRunTest, AbortEndsWithAPartialTreeAndTheNormalEnding) {
  start("hfs-basic");
  EXPECT_TRUE(asked);
  EXPECT_FALSE(controller->scanIsRunning);
  ASSERT_NE(volume->dirRoot, nullptr);
  EXPECT_TRUE(volume->dirRoot->childList.empty());
  EXPECT_FALSE(controller->abortSheetVisible());
  ASSERT_FALSE(ui.alerts.empty());
  EXPECT_EQ(ui.alerts.back().title, "Standard scan completed");
}

TEST_F(ScanRunTest, RefusedVolumeSaysSoAndGoesBack) {
  start("hfs-damaged-catalog");
  EXPECT_FALSE(controller->scanIsRunning);
  ASSERT_FALSE(ui.alerts.empty());
  EXPECT_EQ(ui.alerts.front().title, "!Can not process");
  EXPECT_EQ(ui.alerts.front().text,
            "Key data structures not found. Please try Advance Scan for tree on the desired volume.");
  EXPECT_EQ(ui.alerts.size(), 1u);  // no completion note without a tree
  EXPECT_EQ(volume->dirRoot, nullptr);
  controller->joinFreeTree();
  EXPECT_EQ(controller->selectedVolume, nullptr);
  bool backToList = false;
  for (const std::string& tab : view.tabs) backToList |= tab == "PT list";
  EXPECT_TRUE(backToList);
}

TEST_F(ScanRunTest, TimerTickShowsTheOfferedUpdateOnce) {
  start("hfs-basic");
  controller->selectedVolume = volume;
  ScanProgress offer = ScanProgress::withCounts(ScanCounts{99, 1, 98, 4096});
  offer.timeRemaining = "0:00:00:03";
  controller->offerForTick(offer);
  EXPECT_TRUE(controller->tickPending());
  controller->myTimerFireMethod();
  EXPECT_FALSE(controller->tickPending());
  EXPECT_EQ(controller->progressScreen().entriesFound, "99");
  EXPECT_EQ(controller->progressScreen().timeRemaining, "0:00:00:03");
  controller->myTimerFireMethod();  // nothing new: the screen stays
  EXPECT_EQ(controller->progressScreen().entriesFound, "99");
  EXPECT_EQ(controller->progressScreen().timeRemaining, "0:00:00:03");
}

// A report is newer than an offer still waiting: the tick after it must not bring the old counts back.
TEST_F(ScanRunTest, AReportDropsTheOfferItOutdates) {
  start("hfs-basic");
  controller->selectedVolume = volume;
  controller->offerForTick(ScanProgress::withCounts(ScanCounts{5, 1, 4, 100}));
  controller->report(ScanProgress::withCounts(ScanCounts{311, 11, 300, 9000}));
  EXPECT_FALSE(controller->tickPending());
  controller->myTimerFireMethod();
  EXPECT_EQ(controller->progressScreen().entriesFound, "311");
  EXPECT_EQ(controller->progressScreen().files, "300");
}

TEST_F(ScanRunTest, FreeTreeEndsTheResult) {
  start("hfs-basic");
  controller->freeTree(false);
  controller->joinFreeTree();
  EXPECT_EQ(controller->dirRootTemp, nullptr);
  EXPECT_EQ(controller->selectedVolume, nullptr);
  EXPECT_EQ(volume->dirRoot, nullptr);
}

// The runner owns the tick: it starts before the engines' first report and stops before the last
// update, after which the scan may not wait on the main thread. Both entries, on FAT and on HFS+.
class EventSink final : public ScanRunSink {
 public:
  void report(const ScanProgress& p) override { events.push_back(p.treeComplete ? "report complete" : "report"); }
  [[nodiscard]] bool tickPending() const override { return false; }
  void offerForTick(const ScanProgress&) override { ++offers; }
  void alert(const Alert&) override { events.push_back("alert"); }
  void abandonScan() override { events.push_back("abandon"); }
  void startTicks() override { events.push_back("start ticks"); }
  void stopTicks() override { events.push_back("stop ticks"); }
  void complete(const ScanProgress& last) override {
    events.push_back(last.treeComplete ? "complete" : "complete without tree");
    lastStatus = last.status.value_or("");
  }
  std::vector<std::string> events;
  std::string lastStatus;
  int offers = 0;
};

TEST(ScanRunner, TicksRunAroundTheWholeScanAndStopBeforeItsCompletion) {
  for (const char* scenario : {"hfs-basic", "fat16-basic"}) {
    std::uint64_t bytes = 0;
    const std::string path = kitImage(scenario, bytes);
    ASSERT_FALSE(path.empty()) << scenario;
    const bool fat = std::string(scenario).rfind("fat", 0) == 0;
    for (const bool deletedFileScan : {false, true}) {
      auto volume = Volume::initWithDictionary(Dict{{"Volume Scan Type", 0}, {"Path", path}, {"Volume Start", 0},
                                                    {"Volume Size In Sectors", bytes / 512},
                                                    {"Content", fat ? "FAT16" : "Apple_HFS"}, {"Volume Name", "x"}},
                                               MediaContext{});
      EventSink sink;
      if (deletedFileScan) {
        scanForDeletedFiles(*volume, ScanArguments{std::int64_t{1}, std::int64_t{0}}, sink);
      } else {
        startMakingTree(*volume, ScanArguments{std::string("Normal Scan"), std::int64_t{0}}, sink);
      }
      const std::vector<std::string>& e = sink.events;
      ASSERT_GE(e.size(), 4u) << scenario;
      EXPECT_EQ(e.front(), "start ticks") << scenario;
      EXPECT_EQ(e[e.size() - 2], "stop ticks") << scenario;
      EXPECT_EQ(e.back(), "complete") << scenario;
      EXPECT_EQ(std::count(e.begin(), e.end(), "start ticks"), 1) << scenario;
      EXPECT_EQ(std::count(e.begin(), e.end(), "stop ticks"), 1) << scenario;
      EXPECT_EQ(std::count(e.begin(), e.end(), "alert"), 0) << scenario;
      EXPECT_EQ(sink.lastStatus, deletedFileScan ? "Tree Completed ..." : "default") << scenario;
      ASSERT_NE(volume->dirRoot, nullptr) << scenario;
    }
  }
}

}  // namespace
}  // namespace nua
