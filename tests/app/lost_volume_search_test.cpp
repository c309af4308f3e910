// The lost-volume search driven through the controller as the front ends drive it: "PT list" with the
// box on, the search thread reporting to the main thread, "PT scan list" with completed entries, the
// way on to the tree scan of a found volume, a stop part-way, and the progress keys one by one.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include "app/lost_volume_search.h"
#include "app/thread_scan_launcher.h"
#include "app/wizard_controller.h"
#include "app/volume_scan_progress.h"
#include "imagekit/scenario.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

class RecordingView : public NullWizardView {
 public:
  void showTab(const std::string& identifier) override { tabs.push_back(identifier); }
  void setText(WizardField field, const std::string& text) override { texts[field] = text; }
  void setEnabled(WizardControl control, bool enabled) override { enabledState[control] = enabled; }
  std::vector<std::string> tabs;
  std::map<WizardField, std::string> texts;
  std::map<WizardControl, bool> enabledState;
};

class LostVolumeSearchTest : public testing::Test {
 protected:
  void SetUp() override {
    image = fs::temp_directory_path() / ("nua-app-lost-" + std::to_string(::getpid()) + ".img");
    const imagekit::Scenario* scenario = imagekit::findScenario("lost-two-volumes");
    ASSERT_NE(scenario, nullptr);
    std::string error;
    ASSERT_TRUE(scenario->make(image.string(), {}, manifest, error)) << error;
    sources.initialDriveList = [this] {
      DriveListing listing;
      listing.driveDictArray.push_back(DriveRow::fromDict(
          Dict{{"Path", image.string()}, {"Size", manifest.imageBytes}, {"Preferred Block Size", 512}}));
      return listing;
    };
    sources.partitionsOfDrive = [](MediaReader&) { return std::vector<PartitionRow>{}; };  // the map is gone
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
    controller->volumeScanChanged = [this] {
      if (onChange) onChange();
    };
  }
  void TearDown() override {
    serveUntilTheSearchEnds();
    controller.reset();
    fs::remove(image);
  }
  void startSearch() {
    controller->recoverPartitionAndDrives();
    controller->recoverPartitionAndDrivesFast();
    controller->selectDrivesListRow(0);
    controller->nextButtonInDrivesListTabClicked();
    ASSERT_EQ(view.tabs.back(), "PT list");
    EXPECT_FALSE(view.enabledState[WizardControl::kPTListNext]);
    controller->checkBoxForScanForVolumesClicked(true);
    EXPECT_TRUE(view.enabledState[WizardControl::kPTListNext]);
    controller->ptListNextClicked();
    EXPECT_EQ(view.tabs.back(), "PT scan prog");
    serveUntilTheSearchEnds();
  }
  void serveUntilTheSearchEnds() {
    for (int i = 0; i < 1200 && (controller->scanIsRunning || launcher.running()); ++i)
      controller->mainThread().runFor(std::chrono::milliseconds(25));
    launcher.join();
    controller->mainThread().runPending();
  }

  fs::path image;
  imagekit::Manifest manifest;
  RecordingView view;
  RecordingUiBridge ui;
  ThreadScanLauncher launcher{ui, nullptr};
  MediaSources sources;
  std::unique_ptr<WizardController> controller;
  std::function<void()> onChange;
};

TEST_F(LostVolumeSearchTest, FoundVolumesAreListedCompleteAndLeadToTheTreeScan) {
  startSearch();
  EXPECT_FALSE(controller->scanIsRunning);
  EXPECT_FALSE(controller->timerValid());
  EXPECT_EQ(view.tabs.back(), "PT scan list");
  const auto& list = controller->partitionScanListDictArray;
  EXPECT_EQ(view.texts[WizardField::kNumFoundVolumes], std::to_string(list.size()));
  EXPECT_FALSE(view.enabledState[WizardControl::kPTScanListNext]);
  EXPECT_EQ(controller->volumeScanScreen().volumeScanFoundArray.size(), list.size());
  for (const auto& volume : manifest.volumes) {
    const auto it = std::find_if(list.begin(), list.end(),
                                 [&](const PartitionRow& d) { return d.volumeStart == volume.startSector; });
    ASSERT_NE(it, list.end()) << volume.name;
    EXPECT_EQ(it->volumeName, volume.name);
    EXPECT_EQ(it->sectorSizeBytes, 512u);
    EXPECT_EQ(it->sizeBytes, volume.sectorCount * 512);
  }
  const auto row = static_cast<int>(std::distance(
      list.begin(), std::find_if(list.begin(), list.end(), [&](const PartitionRow& d) {
        return d.volumeStart == manifest.volumes[1].startSector;
      })));
  controller->selectPTScanListRow(row);
  EXPECT_TRUE(view.enabledState[WizardControl::kPTScanListNext]);
  controller->ptScanListNextClicked();
  EXPECT_EQ(view.tabs.back(), "Tree scan mode");
  EXPECT_EQ(controller->isPTListOrPTScanListChosen, 1);
  ASSERT_NE(controller->selectedVolume, nullptr);
  EXPECT_EQ(controller->selectedVolume->volumeScanType, 1);
  EXPECT_EQ(controller->selectedVolume->HPlusVolStart, manifest.volumes[1].startSector);
  // Back from the tree scan mode comes to the list again, with its count.
  controller->treeScanModeBackClicked();
  EXPECT_EQ(view.tabs.back(), "PT scan list");
}

TEST_F(LostVolumeSearchTest, StopAfterTheFirstFindListsWhatWasFound) {
  onChange = [this] {
    if (controller->volumeScanScreen().volumeScanFoundArray.size() == 1 && controller->scanIsRunning &&
        !controller->abortSheetVisible()) {
      controller->stopTreeThread();
      EXPECT_TRUE(controller->abortSheetVisible());
      controller->abortTreeThread();
    }
  };
  startSearch();
  EXPECT_EQ(view.tabs.back(), "PT scan list");
  // A check cut short by the stop may still add a row (its word stays in place), never a volume.
  const auto& rows = controller->volumeScanScreen().volumeScanFoundArray;
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(rows[0].string("Found Column"), "Volume Found @ Sector: " + std::to_string(manifest.volumes[0].startSector));
  ASSERT_EQ(controller->partitionScanListDictArray.size(), 1u);
  EXPECT_EQ(controller->partitionScanListDictArray[0].volumeStart, manifest.volumes[0].startSector);
}

// The command line's search, outside the wizard: every volume with its name, and a stop raised from
// the sink at the first find ends the sweep early.
TEST_F(LostVolumeSearchTest, TheFrontEndsSearchFindsEveryVolumeAndStopsWhenAsked) {
  const Dict disk{{"Path", image.string()}, {"Size", manifest.imageBytes}, {"Preferred Block Size", 512}};
  class CountingSink final : public VolumeSearchSink {
   public:
    explicit CountingSink(std::atomic<bool>* stop) : stop_(stop) {}
    void report(const VolumeSearchProgress& update) override {
      if (!update.foundRow) return;
      rows.push_back(*update.foundRow);
      if (stop_ != nullptr) stop_->store(true);
    }
    [[nodiscard]] bool sweepOfferPending() const override { return false; }
    void offerSweepPosition(const VolumeSearchProgress&) override {}
    std::vector<Dict> rows;

   private:
    std::atomic<bool>* stop_;
  };

  LostVolumeSearch whole(disk);
  CountingSink all(nullptr);
  const std::vector<PartitionRow> found = whole.run(all);
  EXPECT_EQ(whole.sectorBytes(), 512u);
  // A volume may be found by its primary and its alternate header alike.
  EXPECT_GE(found.size(), manifest.volumes.size());
  EXPECT_GE(all.rows.size(), manifest.volumes.size());
  for (const auto& volume : manifest.volumes) {
    const auto it = std::find_if(found.begin(), found.end(),
                                 [&](const PartitionRow& d) { return d.volumeStart == volume.startSector; });
    ASSERT_NE(it, found.end()) << volume.name;
    EXPECT_EQ(it->volumeName, volume.name);
  }

  LostVolumeSearch stopped(disk);
  CountingSink first(&stopped.stopFlag());
  const std::vector<PartitionRow> kept = stopped.run(first);
  // The flag is polled between chunks of the sweep, so a find or two more may come first.
  EXPECT_FALSE(first.rows.empty());
  EXPECT_LT(first.rows.size(), all.rows.size());
  EXPECT_LT(kept.size(), found.size());
}

// ---- The parts of the search's progress, one by one. ----

TEST(VolumeScanProgress, EachPartReachesItsField) {
  VolumeScanScreen s;
  VolumeSearchProgress bar;
  bar.barMaximum = std::uint64_t{0x1'0000'0005};
  bar.timeRemaining = "0:00:01:00";
  applyVolumeSearchProgress(bar, s);
  EXPECT_EQ(s.barMaxValue, 5);  // kept as i32
  EXPECT_EQ(s.timeRemaining, "0:00:01:00");
  VolumeSearchProgress position;
  position.barValue = 3;
  applyVolumeSearchProgress(position, s);
  EXPECT_EQ(s.barDoubleValue, 3);
  EXPECT_EQ(s.timeRemaining, "0:00:01:00");  // left alone when absent
  VolumeSearchProgress check;
  check.validityAnimation = ProgressAnimation::kStart;
  check.checking = true;
  check.checkTimeRemaining = "0:00:00:09";
  applyVolumeSearchProgress(check, s);
  EXPECT_TRUE(s.validityBarAnimating);
  EXPECT_EQ(s.subTaskLabel, "Time Remaining (Sub Task):");
  EXPECT_EQ(s.subTaskTimeRemaining, "0:00:00:09");
  VolumeSearchProgress checked;
  checked.validityAnimation = ProgressAnimation::kStop;
  applyVolumeSearchProgress(checked, s);
  EXPECT_FALSE(s.validityBarAnimating);
  EXPECT_EQ(s.subTaskLabel, "");          // emptied once no check reports
  EXPECT_EQ(s.subTaskTimeRemaining, "");  // blanking
  const Dict row{{"Found Column", "Volume Found @ Sector: 7"}, {"Validity Column", DictArray{100, "Valid"}}};
  VolumeSearchProgress find;
  find.foundRow = row;
  applyVolumeSearchProgress(find, s);
  applyVolumeSearchProgress(VolumeSearchProgress{}, s);  // no row: nothing to add
  ASSERT_EQ(s.volumeScanFoundArray.size(), 1u);
  EXPECT_EQ(s.volumeScanFoundArray[0], row);
}

}  // namespace
}  // namespace nua
