// Every way back lands on its screen with its state, the home button's warning on "Tree", the Next
// gates, and the quit and close decisions around a running scan or a session write.
#include "app/wizard_controller.h"

#include <gtest/gtest.h>

#include <map>

#include "media/media_reader.h"
#include "signature/sig.h"
#include "records/entry_ops.h"
#include "volume/volume.h"

namespace nua {
namespace {

class ScreenView : public NullWizardView {
 public:
  void showTab(const std::string& id) override { tab = id; }
  [[nodiscard]] std::string selectedTabIdentifier() const override { return tab; }
  void setEnabled(WizardControl c, bool e) override { enabled[c] = e; }
  void setChecked(WizardControl c, bool on) override { checked[c] = on; }
  void setText(WizardField f, const std::string& t) override { texts[f] = t; }
  void restoreInitialWindowFrame() override { ++framesRestored; }
  std::string tab = "Main Screen";
  std::map<WizardControl, bool> enabled, checked;
  std::map<WizardField, std::string> texts;
  int framesRestored = 0;
};

// Answers every alert with a chosen button and keeps what was asked.
class AnsweringUiBridge : public RecordingUiBridge {
 public:
  int runAlertPanel(const Alert& alert) override {
    (void)RecordingUiBridge::runAlertPanel(alert);
    return answer;
  }
  int answer = 0;
};

class NoLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry, std::shared_ptr<Volume>, ScanArguments) override { ++scans; }
  void detachVolumeScan(std::shared_ptr<MediaReader>) override {}
  int scans = 0;
};

std::vector<std::shared_ptr<SigNode>> catalog() {
  std::vector<std::shared_ptr<SigNode>> roots;
  for (const char* category : {"Images", "Documents"}) {
    auto root = std::make_shared<SigNode>();
    root->fileTypeSigNode = SigNode::kCategoryNode;
    root->category = category;
    for (const char* ext : {"jpg", "rtf"}) {
      auto node = std::make_shared<SigNode>();
      node->fileTypeSigNode = SigNode::kFileTypeNode;
      node->category = category;
      node->sig = std::make_shared<Sig>();
      node->sig->extension = ext;
      node->parent = root.get();
      root->addChild(node);
    }
    roots.push_back(root);
  }
  return roots;
}

class NavigationTest : public ::testing::Test {
 protected:
  NavigationTest() {
    sources.initialDriveList = [this] {
      ++listsBuilt;
      DriveListing listing;
      listing.driveDictArray = {DriveRow::fromDict(Dict{{"WhetherDiskDict", true}, {"Path", "/dev/sdz"},
                                                        {"Preferred Block Size", 512},
                                                        {"Size", std::uint64_t{2000000000}}})};
      listing.volumeDictArray = {DriveRow::fromDict(
          Dict{{"WhetherVolume", true}, {"Path", "/dev/sdz1"}, {"Preferred Block Size", 512},
               {"Size", std::uint64_t{1536000}}, {"Volume Name", "Photos"},
               {"Content", "Apple_HFS"}, {"journaled", "No"}, {"supportFileSystemRecovery", 1}})};
      listing.volumeDictArrayHFSOnly = listing.volumeDictArray;
      return listing;
    };
    sources.partitionsOfDrive = [](MediaReader&) {
      return std::vector<PartitionRow>{PartitionRow::fromDict(
          Dict{{"Volume Scan Type", 0}, {"Path", "/dev/sdz"}, {"Volume Start", 40}, {"Volume Size In Sectors", 3000},
               {"Content", "Apple_HFS"}, {"Volume Name", "Mac"}})};
    };
    sources.loadSigData = [](int) { return catalog(); };
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
  }
  ~NavigationTest() override { controller->joinFreeTree(); }

  // "Recover Files", advanced, the volume: ends on "Signatures" with a volume.
  void toSignatures() {
    controller->recoverFiles();
    controller->recoverFilesAdvanced();
    controller->selectDrivesListRow(0);
    controller->nextButtonInDrivesListTabClicked();
  }
  // "Recover Partitions", fast, the disk, its partition: ends on "Tree scan mode".
  void toTreeScanMode() {
    controller->recoverPartitionAndDrives();
    controller->recoverPartitionAndDrivesFast();
    controller->selectDrivesListRow(0);
    controller->nextButtonInDrivesListTabClicked();
    controller->selectPTListRow(0);
    controller->ptListNextClicked();
  }
  // A shown result: a volume with a root, on "Tree".
  void onTreeWithResult() {
    toSignatures();
    controller->selectedVolume->dirRoot = makeRootDir(*controller->selectedVolume->arena, nullptr);
    view.showTab("Tree");
  }
  void settle() { controller->joinFreeTree(); }

  ScreenView view;
  AnsweringUiBridge ui;
  NoLauncher launcher;
  MediaSources sources;
  int listsBuilt = 0;
  std::unique_ptr<WizardController> controller;
};

TEST_F(NavigationTest, ModeScreensGoBackToTheStart) {
  using Back = void (WizardController::*)();
  const std::pair<void (WizardController::*)(), Back> screens[] = {
      {&WizardController::recoverFiles,
       &WizardController::backToMainScreenFromFileRecoveryTab},
      {&WizardController::recoverPhotos,
       &WizardController::backToMainScreenFromPhotoRecoveryTab},
      {&WizardController::recoverPartitionAndDrives,
       &WizardController::backToMainScreenFromPartitionRecoveryTab}};
  for (const auto& [open, back] : screens) {
    (controller.get()->*open)();
    controller->isPTListOrPTScanListChosen = 0;
    (controller.get()->*back)();
    EXPECT_EQ(view.tab, "Main Screen");
    EXPECT_EQ(controller->isPTListOrPTScanListChosen, -1);
  }
}

TEST_F(NavigationTest, DrivesListGoesBackToTheScreenOfItsModeAndUnsetsTheMode) {
  const std::pair<void (WizardController::*)(), const char*> modes[] = {
      {&WizardController::recoverFilesFast, "Recover Files"},
      {&WizardController::recoverFilesAdvanced, "Recover Files"},
      {&WizardController::recoverPhotosFast, "Recover Photos"},
      {&WizardController::recoverPhotosAdvanced, "Recover Photos"},
      {&WizardController::recoverPartitionAndDrivesFast, "Recover Partitions"},
      {&WizardController::recoverPartitionAndDrivesAdvanced, "Recover Partitions"}};
  for (const auto& [mode, screen] : modes) {
    (controller.get()->*mode)();
    ASSERT_EQ(view.tab, "Drives List");
    EXPECT_FALSE(view.enabled[WizardControl::kDrivesListNext]);
    controller->backButtonInDrivesListTabClicked();
    EXPECT_EQ(view.tab, screen);
    EXPECT_EQ(controller->scanMode, -1);
  }
}

TEST_F(NavigationTest, PartitionListBackRebuildsTheDriveListAndEndsTheResume) {
  toTreeScanMode();
  controller->treeScanModeBackClicked();  // back on "PT list" with the drive released by the choice
  settle();
  ASSERT_EQ(view.tab, "PT list");
  controller->autoStartAfterRawCrash = true;
  const int before = listsBuilt;
  controller->ptListBackClicked();
  EXPECT_EQ(view.tab, "Drives List");
  EXPECT_EQ(listsBuilt, before + 1);
  EXPECT_FALSE(controller->autoStartAfterRawCrash);
  EXPECT_EQ(controller->selectedDrive, nullptr);
  EXPECT_EQ(view.texts[WizardField::kDrivesListHeading], "Please select disk to continue...");
  EXPECT_EQ(controller->drivesListRows().size(), 1u);
  EXPECT_FALSE(view.enabled[WizardControl::kDrivesListNext]);
}

TEST_F(NavigationTest, TreeScanModeGoesBackToTheListTheVolumeCameFrom) {
  toTreeScanMode();
  ASSERT_EQ(view.tab, "Tree scan mode");
  controller->checkBoxForScanForVolumesClicked(true);
  controller->treeScanModeBackClicked();
  settle();
  EXPECT_EQ(view.tab, "PT list");
  EXPECT_FALSE(controller->scanForVolumesBoxOn());
  EXPECT_FALSE(view.enabled[WizardControl::kPTListNext]);
  EXPECT_EQ(controller->selectedVolume, nullptr);
  EXPECT_EQ(controller->partitionListDictArray.size(), 1u);

  // From the lost-volume list: its count is shown again.
  controller->showPTScanList(
      {PartitionRow::fromDict(Dict{{"Volume Scan Type", 1}, {"WhetherAlternateSector", 0}, {"Path", "/dev/sdz"},
                                   {"Volume Start", 40}, {"Volume Size In Sectors", 3000}, {"Content", "Apple_HFS"}}),
       PartitionRow::fromDict(Dict{{"Volume Scan Type", 1}, {"Path", "/dev/sdz"}, {"Content", "Apple_HFS"}})});
  controller->selectPTScanListRow(0);
  controller->ptScanListNextClicked();
  ASSERT_EQ(view.tab, "Tree scan mode");
  view.texts.clear();
  controller->treeScanModeBackClicked();
  settle();
  EXPECT_EQ(view.tab, "PT scan list");
  EXPECT_EQ(view.texts[WizardField::kNumFoundVolumes], "2");
  EXPECT_FALSE(view.enabled[WizardControl::kPTScanListNext]);
  EXPECT_EQ(controller->selectedVolume, nullptr);

  controller->ptScanListBackClicked();
  EXPECT_EQ(view.tab, "PT list");
  EXPECT_EQ(controller->isPTListOrPTScanListChosen, -1);
  EXPECT_FALSE(view.checked[WizardControl::kScanForVolumesBox]);
}

TEST_F(NavigationTest, SignaturesGoBackToTheDriveListOrToTreeScanMode) {
  toSignatures();
  ASSERT_EQ(view.tab, "Signatures");
  EXPECT_FALSE(view.enabled[WizardControl::kSignaturesNext]);
  controller->sigSelBackToVolumesClicked();
  settle();
  EXPECT_EQ(view.tab, "Drives List");
  EXPECT_EQ(view.texts[WizardField::kDrivesListHeading], "Please select volume to continue...");
  EXPECT_TRUE(controller->sigRootArray.empty());
  EXPECT_EQ(controller->selectedVolume, nullptr);
  EXPECT_FALSE(view.enabled[WizardControl::kDrivesListNext]);

  toTreeScanMode();
  controller->treeScanModeStdScanClicked();
  ASSERT_EQ(view.tab, "Signatures");
  controller->sigSelBackToVolumesClicked();
  settle();
  EXPECT_EQ(view.tab, "Tree scan mode");
  EXPECT_EQ(controller->selectedVolume, nullptr);
}

TEST_F(NavigationTest, RawSliderGoesBackToSignaturesWithNothingMarked) {
  toSignatures();
  controller->setRawSearchBox(true);
  controller->setSigMark(*controller->sigRootArray[0], true);
  EXPECT_TRUE(view.enabled[WizardControl::kSignaturesNext]);
  controller->sigSelNextClicked();
  ASSERT_EQ(view.tab, "Raw slider");
  controller->rawSliderBackToSigSelClicked();
  EXPECT_EQ(view.tab, "Signatures");
  EXPECT_TRUE(controller->sigSelArray.empty());
  EXPECT_FALSE(controller->rawSearchBoxOn());
  EXPECT_FALSE(view.enabled[WizardControl::kSignaturesNext]);
  EXPECT_EQ(controller->sigRootArray[0]->selected, 0);
  EXPECT_EQ(launcher.scans, 0);
}

TEST_F(NavigationTest, MarkingDocumentsMarksImagesAndUnmarkingGatesNext) {
  toSignatures();
  SigNode& documents = *controller->sigRootArray[1];
  controller->setSigMark(documents, true);
  EXPECT_EQ(controller->sigRootArray[0]->selected, 1);
  EXPECT_EQ(controller->sigSelArray.size(), 4u);
  controller->setSigMark(*controller->sigRootArray[0], false);
  controller->setSigMark(documents, false);
  EXPECT_TRUE(controller->sigSelArray.empty());
  EXPECT_FALSE(view.enabled[WizardControl::kSignaturesNext]);
}

TEST_F(NavigationTest, HomeFromAnyScreenEndsTheResultAndTheResume) {
  toSignatures();
  controller->autoStartAfterRawCrash = true;
  controller->gotoHome();
  settle();
  EXPECT_EQ(view.tab, "Main Screen");
  EXPECT_EQ(controller->selectedVolume, nullptr);
  EXPECT_FALSE(controller->autoStartAfterRawCrash);
  EXPECT_TRUE(controller->drivesListRows().empty());
  EXPECT_TRUE(ui.alerts.empty());
  EXPECT_EQ(view.framesRestored, 0);
}

TEST_F(NavigationTest, CancelInTheTipOfTreeChangesNothing) {
  onTreeWithResult();
  ui.answer = 0;
  controller->gotoHome();
  controller->treeBackButtonClicked();
  settle();
  ASSERT_EQ(ui.alerts.size(), 2u);
  EXPECT_EQ(ui.alerts[0].title, "Important Tip");
  EXPECT_EQ(ui.alerts[0].buttons, (std::vector<std::string>{"Cancel", "OK"}));
  EXPECT_EQ(view.tab, "Tree");
  EXPECT_NE(controller->selectedVolume, nullptr);
  EXPECT_EQ(ui.previewsClosed, 0);
}

TEST_F(NavigationTest, OkInTheTipOfTreeGoesHomeWithTheInitialFrame) {
  onTreeWithResult();
  ui.answer = 1;
  controller->gotoHome();
  settle();
  EXPECT_EQ(view.tab, "Main Screen");
  EXPECT_EQ(view.framesRestored, 1);
  EXPECT_EQ(ui.previewsClosed, 1);
  EXPECT_EQ(controller->selectedVolume, nullptr);
}

TEST_F(NavigationTest, TreeBackFromTheDriveListPathRebuildsTheList) {
  onTreeWithResult();
  ui.answer = 1;
  controller->autoStartAfterRawCrash = true;
  const int before = listsBuilt;
  controller->treeBackButtonClicked();
  settle();
  EXPECT_EQ(view.tab, "Drives List");
  EXPECT_EQ(listsBuilt, before + 1);
  EXPECT_EQ(controller->selectedVolume, nullptr);
  EXPECT_FALSE(controller->autoStartAfterRawCrash);
  EXPECT_EQ(view.framesRestored, 1);
}

TEST_F(NavigationTest, TreeBackFromThePartitionPathKeepsItsList) {
  toTreeScanMode();
  controller->selectedVolume->dirRoot = makeRootDir(*controller->selectedVolume->arena, nullptr);
  view.showTab("Tree");
  ui.answer = 1;
  const int before = listsBuilt;
  controller->treeBackButtonClicked();
  settle();
  EXPECT_EQ(view.tab, "PT list");
  EXPECT_EQ(listsBuilt, before);
  EXPECT_EQ(controller->partitionListDictArray.size(), 1u);
  EXPECT_EQ(controller->selectedVolume, nullptr);
  EXPECT_FALSE(view.enabled[WizardControl::kPTListNext]);
}

TEST_F(NavigationTest, QuittingDuringAScanIsRefusedOffTree) {
  view.showTab("Progress");
  controller->scanIsRunning = true;
  controller->terminateApplication();
  EXPECT_FALSE(controller->windowShouldClose());
  ASSERT_EQ(ui.alerts.size(), 2u);
  EXPECT_EQ(ui.alerts[0].title, "Scan running");
  EXPECT_EQ(ui.terminated, 0);

  controller->scanIsRunning = false;
  view.showTab("Signatures");
  controller->terminateApplication();
  EXPECT_EQ(ui.terminated, 1);
  EXPECT_TRUE(controller->windowShouldClose());
}

TEST_F(NavigationTest, QuittingFromTreeWaitsForSavingAndAsksAboutTheSession) {
  onTreeWithResult();
  controller->scanInfoOrSavingNotProcessing = false;
  controller->terminateApplication();
  ASSERT_EQ(ui.alerts.size(), 1u);
  EXPECT_EQ(ui.alerts[0].title, "Process Running");
  EXPECT_EQ(ui.terminated, 0);

  controller->scanInfoOrSavingNotProcessing = true;
  ui.answer = 2;  // "Cancel"
  controller->terminateApplication();
  EXPECT_EQ(ui.alerts.back().title, "Do you want to save recovery session?");
  EXPECT_EQ(ui.terminated, 0);
  ui.answer = 1;  // "No"
  EXPECT_TRUE(controller->windowShouldClose());
  controller->terminateApplication();
  EXPECT_EQ(ui.terminated, 1);
}

TEST_F(NavigationTest, YesQuitsOnlyWhenTheSessionIsWritten) {
  onTreeWithResult();
  std::atomic<bool> saved{false};
  int writes = 0;
  controller->saveScanInfoForQuit = [&] { ++writes; };
  controller->scanInfoSavedForQuit = [&] { return saved.load(); };
  ui.answer = 0;  // "Yes"
  controller->terminateApplication();
  EXPECT_EQ(writes, 1);
  controller->mainThread().runFor(std::chrono::milliseconds(150));  // a few polls of the watch
  EXPECT_EQ(ui.terminated, 0);
  saved = true;
  for (int i = 0; i < 100 && ui.terminated == 0; ++i) controller->mainThread().runFor(std::chrono::milliseconds(20));
  EXPECT_EQ(ui.terminated, 1);
  // Once saved, the question isn't asked again.
  const std::size_t asked = ui.alerts.size();
  EXPECT_TRUE(controller->windowShouldClose());
  EXPECT_EQ(ui.alerts.size(), asked);
}

TEST_F(NavigationTest, OnlyTreeResizesAndOnlyInHeight) {
  controller->initialWindowSize = {900, 600};
  view.showTab("Drives List");
  EXPECT_EQ(controller->windowWillResize({1200, 900}).height, 600);
  EXPECT_FALSE(controller->windowShouldZoom());
  view.showTab("Tree");
  const auto grown = controller->windowWillResize({1200, 900});
  EXPECT_EQ(grown.width, 900);
  EXPECT_EQ(grown.height, 900);
  EXPECT_EQ(controller->windowWillResize({800, 400}).height, 600);
  EXPECT_TRUE(controller->windowShouldZoom());
}

}  // namespace
}  // namespace nua
