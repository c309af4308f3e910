// The controller's rules around the decision: resumes, texts, control states.
#include "app/wizard_controller.h"
#include "recording_scan_launcher.h"

#include <gtest/gtest.h>

#include <map>

#include "media/media_reader.h"
#include "signature/sig.h"
#include "volume/volume.h"

namespace nua {
namespace {

class FakeView : public NullWizardView {
 public:
  void showTab(const std::string& id) override { screens.push_back(id); }
  void setEnabled(WizardControl c, bool e) override { enabled[c] = e; }
  void setHidden(WizardControl c, bool h) override { hidden[c] = h; }
  void setText(WizardField f, const std::string& t) override { texts[f] = t; }
  std::vector<std::string> screens;
  std::map<WizardControl, bool> enabled, hidden;
  std::map<WizardField, std::string> texts;
};

DriveRow diskRow() {
  return DriveRow::fromDict(Dict{{"WhetherDiskDict", true},
                                 {"Path", "/dev/sdz"},
                                 {"Preferred Block Size", 512},
                                 {"Size", std::uint64_t{2000000000}},
                                 {"device model", "Kingston DT"},
                                 {"device serial", "S123"},
                                 {"device revision", "1.00"}});
}

DriveRow volumeRow(const char* name) {
  return DriveRow::fromDict(Dict{{"WhetherVolume", true}, {"Path", "/dev/sdz1"}, {"Preferred Block Size", 512},
                                 {"Size", std::uint64_t{1536000}}, {"Volume Name", name}, {"Content", "Apple_HFS"},
                                 {"journaled", "Yes"}, {"supportFileSystemRecovery", 1}});
}

std::vector<std::shared_ptr<SigNode>> catalog() {
  auto root = std::make_shared<SigNode>();
  root->fileTypeSigNode = 1;
  root->category = "Images";
  for (const char* ext : {"jpg", "png", "tif"}) {
    auto node = std::make_shared<SigNode>();
    node->fileTypeSigNode = 2;
    node->sig = std::make_shared<Sig>();
    node->sig->extension = ext;
    root->addChild(node);
  }
  return {root};
}

class ControllerTest : public ::testing::Test {
 protected:
  ControllerTest() {
    sources.initialDriveList = [this] { return listing; };
    sources.loadSigData = [](int) { return catalog(); };
    listing.driveDictArray = {diskRow()};
    listing.volumeDictArray = {volumeRow("Photos")};
    listing.volumeDictArrayHFSOnly = listing.volumeDictArray;
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
  }
  FakeView view;
  RecordingUiBridge ui;
  apptest::RecordingScanLauncher launcher;
  MediaSources sources;
  DriveListing listing;
  std::unique_ptr<WizardController> controller;
};

TEST_F(ControllerTest, StatusLineNamesTheVolumeOrTheDiskModel) {
  controller->recoverFilesFast();
  controller->selectDrivesListRow(0);
  controller->nextButtonInDrivesListTabClicked();
  EXPECT_EQ(controller->mainScanStatus, "Searching for deleted files from Photos");

  controller->recoverPhotosAdvanced();
  controller->selectDrivesListRow(0);  // mode 3: the disk comes first
  controller->nextButtonInDrivesListTabClicked();
  controller->selectAllSig();
  controller->sigSelNextClicked();
  EXPECT_EQ(controller->mainScanStatus, "Searching for music, video and photos from Kingston DT S123 1.00");
  EXPECT_EQ(launcher.entry, ScanEntry::kScanForDeletedFilesDisk);
}

TEST_F(ControllerTest, ResumeAddsBeginPositionAndAutoOnlyToSearchModes) {
  controller->recoverFilesAdvanced();
  controller->selectDrivesListRow(0);
  controller->nextButtonInDrivesListTabClicked();
  controller->autoRecBeginSize = 123456;
  for (int mode : {0, 1, 2, 3, 4, 5}) {
    controller->rawSearchMode = mode;
    controller->rawSliderNextClicked(true);
    const bool tail = mode >= 1 && mode <= 4;
    ASSERT_GE(launcher.arguments.size(), 2u);
    const auto* last = std::get_if<std::string>(&launcher.arguments.back());
    EXPECT_EQ(last != nullptr && *last == "auto", tail) << "mode " << mode;
    if (tail) {
      EXPECT_EQ(std::get<std::int64_t>(launcher.arguments[launcher.arguments.size() - 2]), 123456);
    }
  }
}

TEST_F(ControllerTest, ResumeSkipsTheRangeCheckAndKeepsTheVolumeRange) {
  controller->recoverFilesAdvanced();
  controller->selectDrivesListRow(0);
  controller->nextButtonInDrivesListTabClicked();
  controller->selectedVolume->setRawSearchStart(30, 60);
  controller->setSliderValues(70, 20);  // start above end: a fresh start would refuse
  controller->rawSearchMode = 1;
  controller->rawSliderNextClicked(true);
  EXPECT_TRUE(ui.alerts.empty());
  EXPECT_EQ(launcher.count, 1);
  EXPECT_FLOAT_EQ(controller->selectedVolume->startPos, 30);
  EXPECT_FLOAT_EQ(controller->selectedVolume->endPos, 60);
}

TEST_F(ControllerTest, ResumingDoesNotBuildANewVolume) {
  controller->recoverFilesAdvanced();
  controller->selectDrivesListRow(0);
  controller->nextButtonInDrivesListTabClicked();
  const Volume* before = controller->selectedVolume.get();
  controller->autoStartAfterRawCrash = true;
  controller->autoRecSigExtArray = {"png"};
  controller->prepareForScan();
  EXPECT_EQ(controller->selectedVolume.get(), before);
  ASSERT_EQ(controller->sigSelArray.size(), 1u);
  EXPECT_EQ(controller->sigSelArray[0]->sig->extension, "png");
}

TEST_F(ControllerTest, SliderTextsShowPercentAndSizeOfTheRange) {
  controller->recoverFilesAdvanced();
  controller->selectDrivesListRow(0);
  controller->nextButtonInDrivesListTabClicked();
  controller->setSliderValues(25.7f, 100);
  EXPECT_EQ(view.texts[WizardField::kStartSliderText], "25% 394.75 KB");
  EXPECT_EQ(view.texts[WizardField::kEndSliderText], "100% 1.54 MB");
}

TEST_F(ControllerTest, FastPhotoRecoveryHidesTheRawSearchBox) {
  controller->recoverPhotosFast();
  controller->selectDrivesListRow(0);
  controller->nextButtonInDrivesListTabClicked();
  EXPECT_TRUE(view.hidden[WizardControl::kRawSearchBox]);
  controller->setRawSearchBox(true);
  EXPECT_FALSE(controller->rawSearchBoxOn());
  EXPECT_TRUE(controller->selectedVolume->filterTreeForMedia);
}

TEST_F(ControllerTest, CustomFileTypeButtonsEndVisibleButDisabledInPartitionModes) {
  for (int mode = 0; mode < 6; ++mode) {
    switch (mode) {
      case 0: controller->recoverFilesFast(); break;
      case 1: controller->recoverFilesAdvanced(); break;
      case 2: controller->recoverPhotosFast(); break;
      case 3: controller->recoverPhotosAdvanced(); break;
      case 4: controller->recoverPartitionAndDrivesFast(); break;
      default: controller->recoverPartitionAndDrivesAdvanced(); break;
    }
    const bool partitionMode = mode >= 4;
    EXPECT_EQ(view.hidden[WizardControl::kAddFileType], !partitionMode) << mode;
    EXPECT_EQ(view.enabled[WizardControl::kAddFileType], !partitionMode) << mode;
    EXPECT_EQ(view.texts[WizardField::kDrivesListHeading],
              mode == 4 ? "Please select disk to continue..."
                        : mode == 3 ? "Please select disk / volume to continue..." : "Please select volume to continue...");
  }
}

TEST_F(ControllerTest, NextOnTheDriveListNeedsARow) {
  controller->recoverFilesFast();
  controller->nextButtonInDrivesListTabClicked();
  EXPECT_EQ(launcher.count, 0);
  EXPECT_EQ(controller->selectedVolume, nullptr);
  controller->selectDrivesListRow(7);  // past the end: no selection
  controller->nextButtonInDrivesListTabClicked();
  EXPECT_EQ(launcher.count, 0);
}

TEST(StatusFormat, FollowsTheMode) {
  EXPECT_STREQ(statusFormatForScanMode(1), "Searching for deleted files from %@");
  EXPECT_STREQ(statusFormatForScanMode(2), "Searching for music, video and photos from %@");
  EXPECT_STREQ(statusFormatForScanMode(5), "Creating tree from %@");
}

}  // namespace
}  // namespace nua
