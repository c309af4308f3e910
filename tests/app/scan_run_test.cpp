// A tree scan driven through the controller as the front ends drive it: the wizard steps, the scan
// thread, progress on the main thread, abort, the refusal and the end of a result.
#include "app/scan_run.h"

#include <gtest/gtest.h>

#include <unistd.h>

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
    sources.partitionsOfDrive = [this, bytes](DMedia&) {
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

TEST_F(ScanRunTest, TimerTickHandsTheFilledDictionaryOver) {
  start("hfs-basic");
  controller->selectedVolume = volume;
  volume->dataUpdate = Dict{{"Entries Found", 99}, {"TimeRemaining", "0:00:00:03"}};
  volume->timerFireMethodCanRun = true;
  controller->myTimerFireMethod();
  EXPECT_FALSE(volume->timerFireMethodCanRun);
  EXPECT_EQ(controller->progressScreen().entriesFound, "99");
  EXPECT_EQ(controller->progressScreen().timeRemaining, "0:00:00:03");
  controller->myTimerFireMethod();  // nothing new: the screen stays
  EXPECT_EQ(controller->progressScreen().entriesFound, "99");
}

TEST_F(ScanRunTest, FreeTreeEndsTheResult) {
  start("hfs-basic");
  controller->freeTree(false);
  controller->joinFreeTree();
  EXPECT_EQ(controller->dirRootTemp, nullptr);
  EXPECT_EQ(controller->selectedVolume, nullptr);
  EXPECT_EQ(volume->dirRoot, nullptr);
}

}  // namespace
}  // namespace nua
