// Every row of the wizard's decision table, run headless through the controller.
#include "app/wizard_plan.h"

#include <gtest/gtest.h>

namespace nua {
namespace {

struct Row {
  const char* name;
  WizardPlanRequest request;
  std::vector<std::string> screens;
  int rawSearchMode;
  std::string entry;
  std::string args;  // rendered as JSON
};

WizardPlanRequest req(int mode, int target, bool supported = true, bool next = true, bool box = false,
                      bool advanced = false) {
  WizardPlanRequest r;
  r.scanMode = mode;
  r.volumeScanType = target;
  r.fileSystemRecovery = supported;
  r.signaturesNext = next;
  r.rawBox = box;
  r.advancedTreeScan = advanced;
  return r;
}

class DecisionTable : public ::testing::TestWithParam<Row> {};

TEST_P(DecisionTable, ChoosesScreensModeEntryAndArguments) {
  const Row& row = GetParam();
  const WizardPlanResult result = runWizardPlan(row.request);
  EXPECT_EQ(result.screens, row.screens);
  EXPECT_EQ(result.rawSearchMode, row.rawSearchMode);
  EXPECT_EQ(result.entry, row.entry);
  EXPECT_EQ(toJson(DictValue(result.args)), row.args);
  EXPECT_TRUE(result.alerts.empty());
}

const std::vector<std::string> kSig{"Signatures", "Progress"};
const std::vector<std::string> kSigRaw{"Signatures", "Raw slider", "Progress"};

INSTANTIATE_TEST_SUITE_P(
    Rows, DecisionTable,
    ::testing::Values(
        Row{"FastFilesJournaled", req(0, 2), {"Progress"}, 0, "scanForDeletedFiles", "[1, 0]"},
        Row{"FastFilesUnsupported", req(0, 2, false), kSig, 2, "scanForDeletedFiles", "[0, 1, \"sigSelArray\", 0]"},
        Row{"FastFilesUnsupportedBox", req(0, 2, false, true, true), kSigRaw, 2, "scanForDeletedFiles",
            "[0, 1, \"sigSelArray\", 0]"},
        Row{"AdvancedFilesSkip", req(1, 2, true, false), kSig, 0, "scanForDeletedFiles", "[1, 0]"},
        Row{"AdvancedFilesNext", req(1, 2), kSig, 1, "scanForDeletedFiles", "[1, 1, \"sigSelArray\", 0]"},
        Row{"AdvancedFilesNextBox", req(1, 2, true, true, true), kSigRaw, 1, "scanForDeletedFiles",
            "[1, 1, \"sigSelArray\", 0]"},
        Row{"AdvancedFilesUnsupported", req(1, 2, false), kSig, 2, "scanForDeletedFiles",
            "[0, 1, \"sigSelArray\", 0]"},
        Row{"FastPhotosSkip", req(2, 2, true, false), kSig, 0, "scanForDeletedFiles", "[1, 0]"},
        Row{"FastPhotosNext", req(2, 2), kSig, 1, "scanForDeletedFiles", "[1, 1, \"sigSelArray\", 1]"},
        // The raw-search box is never offered in a fast photo recovery.
        Row{"FastPhotosNextBoxIgnored", req(2, 2, true, true, true), kSig, 1, "scanForDeletedFiles",
            "[1, 1, \"sigSelArray\", 1]"},
        Row{"FastPhotosUnsupported", req(2, 2, false), kSig, 2, "scanForDeletedFiles", "[0, 1, \"sigSelArray\", 1]"},
        Row{"AdvancedPhotosVolume", req(3, 2), kSig, 1, "scanForDeletedFiles", "[1, 1, \"sigSelArray\", 1]"},
        Row{"AdvancedPhotosVolumeBox", req(3, 2, true, true, true), kSigRaw, 1, "scanForDeletedFiles",
            "[1, 1, \"sigSelArray\", 1]"},
        Row{"AdvancedPhotosUnsupported", req(3, 2, false), kSig, 2, "scanForDeletedFiles",
            "[0, 1, \"sigSelArray\", 1]"},
        Row{"AdvancedPhotosDisk", req(3, 3), kSig, 3, "scanForDeletedFilesDisk", "[\"sigSelArray\", 1]"},
        Row{"AdvancedPhotosDiskBox", req(3, 3, true, true, true), kSigRaw, 3, "scanForDeletedFilesDisk",
            "[\"sigSelArray\", 1]"},
        Row{"PartitionStandardNext", req(4, 0), {"PT list", "Tree scan mode", "Signatures", "Progress"}, 4,
            "startMakingTree", "[\"Normal Scan\", 1, \"sigSelArray\"]"},
        Row{"PartitionAdvancedNextBox", req(4, 0, true, true, true, true),
            {"PT list", "Tree scan mode", "Signatures", "Raw slider", "Progress"}, 4, "startMakingTree",
            "[\"Advanced Scan\", 1, \"sigSelArray\"]"},
        Row{"PartitionSkip", req(4, 0, true, false), {"PT list", "Tree scan mode", "Signatures", "Progress"}, 5,
            "startMakingTree", "[\"Normal Scan\", 0]"},
        // Skip with the box on shows "Raw slider" and starts at once.
        Row{"PartitionSkipBox", req(4, 0, true, false, true),
            {"PT list", "Tree scan mode", "Signatures", "Raw slider", "Progress"}, 5, "startMakingTree",
            "[\"Normal Scan\", 0]"},
        Row{"LostVolumeNext", req(4, 1),
            {"PT list", "PT scan prog", "PT scan list", "Tree scan mode", "Signatures", "Progress"}, 4,
            "startMakingTree", "[\"Normal Scan\", 1, \"sigSelArray\"]"},
        Row{"LostVolumeSkip", req(4, 1, true, false, false, true),
            {"PT list", "PT scan prog", "PT scan list", "Tree scan mode", "Signatures", "Progress"}, 5,
            "startMakingTree", "[\"Advanced Scan\", 0]"},
        Row{"FormattedNext", req(5, 2), kSig, 4, "startMakingTree", "[\"Advanced Scan\", 1, \"sigSelArray\"]"},
        Row{"FormattedNextBox", req(5, 2, true, true, true), kSigRaw, 4, "startMakingTree",
            "[\"Advanced Scan\", 1, \"sigSelArray\"]"},
        Row{"FormattedSkip", req(5, 2, true, false), kSig, 5, "startMakingTree", "[\"Advanced Scan\", 0]"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(WizardPlan, EqualSlidersRefuseToStart) {
  WizardPlanRequest r = req(1, 2, true, true, true);
  r.rangeStart = 50;
  r.rangeEnd = 50;
  const WizardPlanResult result = runWizardPlan(r);
  EXPECT_FALSE(result.scanStarts());
  ASSERT_EQ(result.alerts.size(), 1u);
  EXPECT_EQ(result.alerts[0].title, "! Can not continue");
  EXPECT_EQ(result.alerts[0].text,
            "The start position should be less than end position. Please set them accordingly.");
  EXPECT_EQ(result.screens.back(), "Raw slider");
}

TEST(WizardPlan, TargetsAModeDoesNotListGiveNoScan) {
  EXPECT_FALSE(runWizardPlan(req(0, 3)).scanStarts());   // fast file recovery lists volumes only
  EXPECT_FALSE(runWizardPlan(req(4, 2)).scanStarts());   // partition recovery lists disks only
  WizardPlanRequest fat = req(5, 2);
  fat.content = "FAT32";                                  // formatted recovery lists HFS+ volumes only
  EXPECT_FALSE(runWizardPlan(fat).scanStarts());
}

TEST(WizardPlan, CorruptVolumeIsRefusedOnTheDriveList) {
  WizardPlanRequest r = req(0, 2);
  r.content = "-";
  const WizardPlanResult result = runWizardPlan(r);
  EXPECT_FALSE(result.scanStarts());
  ASSERT_EQ(result.alerts.size(), 1u);
  EXPECT_EQ(result.alerts[0].title, "Information");
  EXPECT_EQ(result.alerts[0].text, "Can not process this volume as it has some corruption");
}

TEST(WizardPlan, PartitionOfOtherContentStaysOnPartitionList) {
  WizardPlanRequest r = req(4, 0);
  r.content = "Windows_NTFS";
  const WizardPlanResult result = runWizardPlan(r);
  EXPECT_FALSE(result.scanStarts());
  EXPECT_EQ(result.screens, std::vector<std::string>{"PT list"});
}

TEST(WizardPlan, FatPartitionGoesStraightToSignatures) {
  WizardPlanRequest r = req(4, 0, true, false);
  r.content = "FAT32";
  const WizardPlanResult result = runWizardPlan(r);
  EXPECT_EQ(result.screens, (std::vector<std::string>{"PT list", "Signatures", "Progress"}));
  EXPECT_EQ(result.entry, "startMakingTree");
  EXPECT_EQ(toJson(DictValue(result.args)), "[\"Normal Scan\", 0]");
}

}  // namespace
}  // namespace nua
