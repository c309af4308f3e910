// The end of a scan as the controller sees it: however the scan's thread ended (its own completion
// with or without a tree, a refusal, or nothing at all because its stage is missing or failed), the
// progress screen is left for a usable one, the abort question closes and quitting is allowed again.
#include "app/wizard_controller.h"

#include <gtest/gtest.h>

#include <map>

#include "signature/sig.h"
#include "records/entry_ops.h"
#include "volume/volume.h"

namespace nua {
namespace {

class TabView : public NullWizardView {
 public:
  void showTab(const std::string& id) override { screens.push_back(id); }
  void setEnabled(WizardControl c, bool e) override { enabled[c] = e; }
  [[nodiscard]] std::string selectedTabIdentifier() const override { return screens.empty() ? "" : screens.back(); }
  std::vector<std::string> screens;
  std::map<WizardControl, bool> enabled;
};

// Records the scan it is handed; `threadEnds` stands for the end of a scan's thread (by default the
// last one's).
class HeldLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry, std::shared_ptr<Volume> v, ScanArguments) override {
    volume = std::move(v);
    ++count;
    last = numberNextScan();
  }
  void detachVolumeScan(std::shared_ptr<MediaReader>) override {
    ++volumeScans;
    last = numberNextScan();
  }
  void threadEnds(bool volumeScan = false) { reportScanThreadEnded(last, volumeScan); }
  void threadOfScanEnds(std::uint64_t scanNumber) { reportScanThreadEnded(scanNumber, false); }
  std::uint64_t last = 0;
  std::shared_ptr<Volume> volume;
  int count = 0;
  int volumeScans = 0;
};

DriveRow volumeRow() {
  return DriveRow::fromDict(Dict{{"WhetherVolume", true}, {"Path", "/dev/sdz1"}, {"Preferred Block Size", 512},
                                 {"Size", std::uint64_t{1536000}}, {"Volume Name", "Photos"}, {"Content", "Apple_HFS"},
                                 {"journaled", "Yes"}, {"supportFileSystemRecovery", 1}});
}

// What the scan's thread did before it ended.
enum class ScanThread { kEndsWithoutCompletion, kCompletesWithoutTree, kCompletesWithTree, kRefusesTheVolume };

struct EndCase {
  const char* what;
  ScanThread thread;
  const char* screenAfter;
};

class ScanEnd : public ::testing::Test {
 protected:
  ScanEnd() {
    sources.initialDriveList = [] {
      DriveListing listing;
      listing.volumeDictArray = {volumeRow()};
      listing.volumeDictArrayHFSOnly = listing.volumeDictArray;
      return listing;
    };
    sources.loadSigData = [](int) { return std::vector<std::shared_ptr<SigNode>>{}; };
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
  }
  ~ScanEnd() override { controller->joinFreeTree(); }

  // "Recover Files", fast, the one volume: the scan starts at once.
  void startScan() {
    controller->recoverFilesFast();
    controller->selectDrivesListRow(0);
    controller->nextButtonInDrivesListTabClicked();
    ASSERT_EQ(launcher.count, 1);
    ASSERT_TRUE(controller->scanIsRunning);
    ASSERT_EQ(view.selectedTabIdentifier(), "Progress");
  }

  TabView view;
  RecordingUiBridge ui;
  HeldLauncher launcher;
  MediaSources sources;
  std::unique_ptr<WizardController> controller;
};

class ScanEndTest : public ScanEnd, public ::testing::WithParamInterface<EndCase> {};

TEST_P(ScanEndTest, LeavesProgressForAUsableScreen) {
  const EndCase& c = GetParam();
  startScan();
  // The user has asked to stop, and the question is up when the scan ends.
  controller->stopTreeThread();
  ASSERT_TRUE(controller->abortSheetVisible());
  // Nothing the user did while the scan ran may be refused afterwards: quitting is refused now.
  EXPECT_FALSE(controller->windowShouldClose());

  Volume& volume = *launcher.volume;
  ScanProgress completion = ScanProgress::withStatus(progress_text::kTreeCompleted);
  completion.treeComplete = true;
  switch (c.thread) {
    case ScanThread::kEndsWithoutCompletion: break;
    case ScanThread::kCompletesWithoutTree: controller->complete(completion); break;
    case ScanThread::kCompletesWithTree:
      volume.dirRoot = makeRootDir(*volume.arena, volume.tables.btree.get());
      controller->complete(completion);
      break;
    case ScanThread::kRefusesTheVolume:
      controller->abandonScan();
      controller->complete(completion);
      break;
  }
  const std::size_t screensBefore = view.screens.size();
  launcher.threadEnds();
  controller->mainThread().runPending();
  controller->joinFreeTree();
  controller->mainThread().runPending();

  EXPECT_FALSE(controller->scanIsRunning) << c.what;
  EXPECT_FALSE(controller->abortSheetVisible()) << c.what;
  EXPECT_EQ(view.selectedTabIdentifier(), c.screenAfter) << c.what;
  // The way back is taken once, not once by the refusal and again by the end.
  EXPECT_EQ(view.screens.size(), screensBefore + 1) << c.what;
  if (std::string(c.screenAfter) == "Drives List") {
    EXPECT_FALSE(view.enabled[WizardControl::kDrivesListNext]) << c.what;
    EXPECT_EQ(controller->selectedVolume, nullptr) << c.what;
    EXPECT_TRUE(controller->windowShouldClose()) << c.what;
  } else {
    ASSERT_NE(controller->selectedVolume, nullptr);
    EXPECT_NE(controller->selectedVolume->dirRoot, nullptr) << c.what;
  }
}

INSTANTIATE_TEST_SUITE_P(
    EveryEnd, ScanEndTest,
    ::testing::Values(EndCase{"stage missing or failed: no completion", ScanThread::kEndsWithoutCompletion, "Drives List"},
                      EndCase{"completion without a tree", ScanThread::kCompletesWithoutTree, "Drives List"},
                      EndCase{"completion with a tree", ScanThread::kCompletesWithTree, "Tree"},
                      EndCase{"volume refused", ScanThread::kRefusesTheVolume, "Drives List"}));

TEST_F(ScanEnd, TheEndOfAnOlderScansThreadLeavesANewerScanRunning) {
  startScan();
  const std::uint64_t first = launcher.last;
  controller->rawSliderNextClicked();  // a second scan is started...
  ASSERT_EQ(launcher.count, 2);
  launcher.threadOfScanEnds(first);    // ...and the first one's thread reports its end only now
  controller->mainThread().runPending();
  EXPECT_TRUE(controller->scanIsRunning);
  EXPECT_EQ(view.selectedTabIdentifier(), "Progress");
  launcher.threadEnds();
  controller->mainThread().runPending();
  controller->joinFreeTree();
  EXPECT_FALSE(controller->scanIsRunning);
}

TEST_F(ScanEnd, ALostVolumeSearchThatEndsWithoutVolumesGoesBackToThePartitionList) {
  sources.initialDriveList = [] {
    DriveListing listing;
    listing.driveDictArray = {DriveRow::fromDict(Dict{{"WhetherDiskDict", true}, {"Path", "/dev/sdz"},
                                                      {"Preferred Block Size", 512},
                                                      {"Size", std::uint64_t{2000000000}}})};
    return listing;
  };
  sources.partitionsOfDrive = [](MediaReader&) { return std::vector<PartitionRow>{}; };
  controller.reset();  // one controller at a time listens to the launcher
  controller = std::make_unique<WizardController>(view, ui, launcher, sources);
  controller->recoverPartitionAndDrivesFast();
  controller->selectDrivesListRow(0);
  controller->nextButtonInDrivesListTabClicked();
  ASSERT_EQ(view.selectedTabIdentifier(), "PT list");
  controller->checkBoxForScanForVolumesClicked(true);
  controller->ptListNextClicked();
  ASSERT_EQ(launcher.volumeScans, 1);
  ASSERT_TRUE(controller->scanIsRunning);
  launcher.threadEnds(true);
  controller->mainThread().runPending();
  EXPECT_FALSE(controller->scanIsRunning);
  EXPECT_EQ(view.selectedTabIdentifier(), "PT list");
  EXPECT_FALSE(controller->scanForVolumesBoxOn());
}

}  // namespace
}  // namespace nua
