// A typed scan request starts the same scan as a person's clicks through the wizard: the same
// rawSearchMode, tree scan and way back, and the same tree from a real kit image.
#include "app/scan_request.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <functional>
#include <tuple>

#include "app/drive_discovery.h"
#include "app/scan_run.h"
#include "app/thread_scan_launcher.h"
#include "app/wizard_controller.h"
#include "imagekit/scenario.h"

namespace nua {
namespace {

// The images of this process, removed when it ends.
struct ImageFolder {
  std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("nua-scan-request-" + std::to_string(::getpid()));
  ~ImageFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

std::string kitImage(const std::string& scenario) {
  static const ImageFolder images;
  const std::filesystem::path& folder = images.path;
  std::filesystem::create_directories(folder);
  const std::string path = (folder / (scenario + ".img")).string();
  imagekit::Manifest manifest;
  std::string error;
  const imagekit::Scenario* found = imagekit::findScenario(scenario);
  if (found == nullptr || !found->make(path, {}, manifest, error)) return "";
  return path;
}

// Each entry below the root as "path size deleted", parents first, children in order of arrival.
void describeTree(const Entry* entry, const std::string& parent, std::string& out) {
  const std::u16string units(entry->fileName.units ? entry->fileName.units : u"", entry->fileName.length);
  std::string name;
  for (char16_t unit : units) name += unit < 0x80 ? static_cast<char>(unit) : '?';
  const std::string path = parent + "/" + name;
  out += path + " " + std::to_string(entry->fileSize) + (entry->deleted ? " deleted" : "") + "\n";
  for (const Entry* child : entry->childList) describeTree(child, path, out);
}

struct Outcome {
  std::string tree;
  std::int32_t rawSearchMode = -1;
  std::int32_t treeScanMode = -1;
  std::int32_t cameFrom = -2;
  std::string note;
  std::string error;
};

// Runs a scan of `path` to its end, started either by clicks or by a request.
Outcome runScan(const std::string& path, const std::function<void(WizardController&)>& clicks,
                const ScanRequest* request) {
  NullWizardView view;
  RecordingUiBridge ui;
  ThreadScanLauncher launcher(ui, nullptr);
  launcher.setEntry(ScanEntry::kStartMakingTree, startMakingTree);
  launcher.setEntry(ScanEntry::kScanForDeletedFiles, scanForDeletedFiles);
  DiscoveryOptions discovery;
  discovery.images = {path};
  WizardController controller(view, ui, launcher, discoveryMediaSources(discovery));
  Outcome outcome;
  if (request != nullptr) {
    outcome.error = controller.runScanRequest(*request).error;
  } else {
    clicks(controller);
  }
  const std::shared_ptr<Volume> volume = controller.selectedVolume;
  for (int i = 0; i < 1200 && controller.scanIsRunning; ++i) controller.mainThread().runFor(std::chrono::milliseconds(50));
  launcher.join();
  controller.mainThread().runPending();
  if (volume && volume->dirRoot) describeTree(volume->dirRoot, "", outcome.tree);
  outcome.rawSearchMode = controller.rawSearchMode;
  outcome.treeScanMode = controller.treeScanMode;
  outcome.cameFrom = controller.isPTListOrPTScanListChosen;
  outcome.note = controller.completionNote();
  return outcome;
}

void expectSame(const Outcome& clicked, const Outcome& requested) {
  EXPECT_EQ(requested.error, "");
  EXPECT_EQ(requested.tree, clicked.tree);
  EXPECT_EQ(requested.rawSearchMode, clicked.rawSearchMode);
  EXPECT_EQ(requested.treeScanMode, clicked.treeScanMode);
  EXPECT_EQ(requested.cameFrom, clicked.cameFrom);
  EXPECT_EQ(requested.note, clicked.note);
}

int volumeRowOf(WizardController& controller, const std::string& path) {
  const std::vector<DriveRow> rows = controller.drivesListRows();
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (rows[i].path == path && rows[i].isVolume) return static_cast<int>(i);
  return -1;
}

TEST(ScanRequestTest, HfsPartitionAdvancedScanMatchesTheClicks) {
  const std::string path = kitImage("gpt");
  ASSERT_FALSE(path.empty());
  const Outcome clicked = runScan(path, [&](WizardController& c) {
    c.recoverPartitionAndDrives();
    c.recoverPartitionAndDrivesFast();
    const std::vector<DriveRow> rows = c.drivesListRows();
    for (std::size_t i = 0; i < rows.size(); ++i)
      if (rows[i].path == path) c.selectDrivesListRow(static_cast<int>(i));
    c.nextButtonInDrivesListTabClicked();
    c.selectPTListRow(0);
    c.ptListNextClicked();
    c.treeScanModeAdvScanClicked();
    c.skipButtonSigTabClicked();
  }, nullptr);
  ScanRequest request;
  request.targetPath = path;
  request.rowKind = ScanTargetRow::kPartition;
  request.scanMode = 4;
  request.treeScanMode = 1;
  const Outcome requested = runScan(path, {}, &request);
  ASSERT_NE(clicked.tree, "");
  EXPECT_EQ(clicked.rawSearchMode, 5);
  EXPECT_EQ(clicked.cameFrom, 0);
  expectSame(clicked, requested);
}

TEST(ScanRequestTest, FatVolumeDeletedFileScanMatchesTheClicks) {
  const std::string path = kitImage("fat32-basic");
  ASSERT_FALSE(path.empty());
  const Outcome clicked = runScan(path, [&](WizardController& c) {
    c.recoverFiles();
    c.recoverFilesFast();
    c.selectDrivesListRow(volumeRowOf(c, path));
    c.nextButtonInDrivesListTabClicked();
  }, nullptr);
  ScanRequest request;
  request.targetPath = path;
  request.rowKind = ScanTargetRow::kVolume;
  request.scanMode = *scanModeNamed("files");
  const Outcome requested = runScan(path, {}, &request);
  ASSERT_NE(clicked.tree.find("deleted"), std::string::npos);
  EXPECT_EQ(clicked.rawSearchMode, 0);
  expectSame(clicked, requested);
}

TEST(ScanRequestTest, FormattedVolumeMatchesTheClicksAndIsAlwaysAdvanced) {
  const std::string path = kitImage("hfs-reformatted");
  ASSERT_FALSE(path.empty());
  const Outcome clicked = runScan(path, [&](WizardController& c) {
    c.recoverPartitionAndDrives();
    c.recoverPartitionAndDrivesAdvanced();
    c.selectDrivesListRow(volumeRowOf(c, path));
    c.nextButtonInDrivesListTabClicked();
    c.skipButtonSigTabClicked();
  }, nullptr);
  ScanRequest request;
  request.targetPath = path;
  request.rowKind = ScanTargetRow::kVolume;
  request.scanMode = *scanModeNamed("formatted");
  request.treeScanMode = 0;  // not asked on this path: the scan is advanced all the same
  const Outcome requested = runScan(path, {}, &request);
  ASSERT_NE(clicked.tree, "");
  EXPECT_EQ(clicked.treeScanMode, 1);
  expectSame(clicked, requested);
}

TEST(ScanRequestTest, AnswersTheWizardWouldNotAcceptStartNothing) {
  const std::string path = kitImage("fat32-basic");
  ASSERT_FALSE(path.empty());
  struct Case {
    ScanTargetRow rowKind;
    int row;
    std::int32_t scanMode;
    float rangeStart;
    std::string error;
  };
  const Case cases[] = {
      {ScanTargetRow::kPartition, 0, 4, 0.0f, path + " has 0 HFS+ partitions; there is no row 0"},
      {ScanTargetRow::kVolume, 0, 3, 0.0f, "this volume needs a signature search, which --signatures skip leaves out"},
      {ScanTargetRow::kVolume, 0, 0, 10.0f, "this scan offers no range; it covers the whole target"},
      {ScanTargetRow::kLostVolume, 0, 4, 0.0f, "the search found 0 lost volumes on " + path + "; there is no row 0"},
  };
  for (const Case& c : cases) {
    ScanRequest request;
    request.targetPath = path;
    request.rowKind = c.rowKind;
    request.row = c.row;
    request.scanMode = c.scanMode;
    request.rangeStart = c.rangeStart;
    const Outcome outcome = runScan(path, {}, &request);
    EXPECT_EQ(outcome.error, c.error);
    EXPECT_EQ(outcome.tree, "");
  }
}

// The file system answer reaches the decision: a volume taken as one without a usable file system
// needs the signature search in the fast file goal, and one without a journal can't be scanned by it.
TEST(ScanRequestTest, FileSystemAnswerOverridesWhatTheVolumeReports) {
  for (const auto& [scenario, fileSystemRecovery, error] :
       {std::tuple{"hfs-journal-deleted", false, std::string("this volume needs a signature search, which "
                                                            "--signatures skip leaves out")},
        std::tuple{"hfs-basic", true, std::string("supports no file system recovery")}}) {
    const std::string path = kitImage(scenario);
    ASSERT_FALSE(path.empty());
    ScanRequest request;
    request.targetPath = path;
    request.rowKind = ScanTargetRow::kVolume;
    request.scanMode = 0;
    request.fileSystemRecovery = fileSystemRecovery;
    const Outcome outcome = runScan(path, {}, &request);
    EXPECT_NE(outcome.error.find(error), std::string::npos) << scenario << ": " << outcome.error;
    EXPECT_EQ(outcome.tree, "");
  }
}

}  // namespace
}  // namespace nua
