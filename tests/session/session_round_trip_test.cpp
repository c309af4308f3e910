// Kit images scanned through the controller, saved as sessions and opened again by a second
// controller: every entry, the views' totals and the saved files' SHA-256 must come back the same;
// and the alerts of the open flow.
#include <openssl/evp.h>

#include <gtest/gtest.h>

#include "app/drive_discovery.h"
#include "app/wizard_controller.h"
#include "app/thread_scan_launcher.h"
#include "base/text.h"
#include "imagekit/scenario.h"
#include "session_test_files.h"
#include "save/recover_to_folder.h"
#include "view/tree_view_state.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing_session::readAll;
using testing_session::scratch;
using testing_session::writeAll;

class TabView : public NullWizardView {
 public:
  void showTab(const std::string& identifier) override { tab = identifier; }
  [[nodiscard]] std::string selectedTabIdentifier() const override { return tab; }
  std::string tab = "Main Screen";
};

// One controller with its image listed as the only drive, as the desktop program would list it.
struct Desk {
  explicit Desk(const std::string& image) {
    sources.initialDriveList = [image] {
      DriveListing listing;
      listing.driveDictArray.push_back(DriveRow::fromDict(
          Dict{{"Path", image}, {"Size", static_cast<std::uint64_t>(fs::file_size(image))},
               {"Preferred Block Size", 512}}));
      return listing;
    };
    sources.partitionsOfDrive = [image](MediaReader&) {
      return std::vector<PartitionRow>{PartitionRow::fromDict(
          Dict{{"Volume Scan Type", 0}, {"Path", image}, {"Volume Start", 0},
               {"Volume Size In Sectors", fs::file_size(image) / 512}, {"Content", "Apple_HFS"},
               {"Volume Name", "Nua Test"}})};
    };
    launcher.setEntry(ScanEntry::kStartMakingTree, startMakingTree);
    launcher.setEntry(ScanEntry::kScanForDeletedFiles, scanForDeletedFiles);
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
  }
  // The lists as discovery builds them with the image named: its volumes are rows of "Recover Files".
  Desk(const std::string& image, bool discovered) {
    DiscoveryOptions options;
    if (discovered) options.images = {image};
    sources = discoveryMediaSources(options);
    launcher.setEntry(ScanEntry::kStartMakingTree, startMakingTree);
    launcher.setEntry(ScanEntry::kScanForDeletedFiles, scanForDeletedFiles);
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
  }
  // "Recover Files", fast: the deleted-file scan of the image's first volume.
  void scanFiles(const std::string& image) {
    controller->recoverFiles();
    controller->recoverFilesFast();
    const std::vector<DriveRow> rows = controller->drivesListRows();
    int row = -1;
    for (std::size_t i = 0; i < rows.size() && row < 0; ++i)
      if (rows[i].path == image && rows[i].isVolume) row = static_cast<int>(i);
    ASSERT_GE(row, 0);
    controller->selectDrivesListRow(row);
    controller->nextButtonInDrivesListTabClicked();
    if (!controller->scanIsRunning && view.tab == "Signatures") controller->skipButtonSigTabClicked();
    wait();
  }
  void wait() {
    for (int i = 0; i < 1200 && controller->scanIsRunning; ++i) controller->mainThread().runFor(std::chrono::milliseconds(50));
    launcher.join();
    controller->mainThread().runPending();
  }
  ~Desk() {
    launcher.join();
    controller.reset();
  }
  void scan(bool advanced) {
    controller->recoverPartitionAndDrives();
    controller->recoverPartitionAndDrivesFast();
    controller->selectDrivesListRow(0);
    controller->nextButtonInDrivesListTabClicked();
    controller->selectPTListRow(0);
    controller->ptListNextClicked();
    if (advanced) controller->treeScanModeAdvScanClicked();
    else controller->treeScanModeStdScanClicked();
    controller->skipButtonSigTabClicked();
    wait();
  }
  void open(const std::string& path) {
    ASSERT_TRUE(controller->open());
    controller->open(path);
    controller->joinScanInfoThread();
    controller->mainThread().runPending();
  }
  [[nodiscard]] Entry* root() const { return controller->selectedVolume ? controller->selectedVolume->dirRoot : nullptr; }

  TabView view;
  RecordingUiBridge ui;
  ThreadScanLauncher launcher{ui, nullptr};
  MediaSources sources;
  std::unique_ptr<WizardController> controller;
};

std::string kitImage(const std::string& scenario) {
  const std::string path = (scratch() / (scenario + ".img")).string();
  imagekit::Manifest manifest;
  std::string error;
  const imagekit::Scenario* found = imagekit::findScenario(scenario);
  if (found == nullptr || !found->make(path, {}, manifest, error)) return "";
  return path;
}

std::string text(const NameBlock& name) { return name.length == 0 ? "" : toUtf8(std::u16string_view(name.units, name.length)); }

// The two trees side by side, in list order.
void expectSameTree(const Entry* scanned, const Entry* opened) {
  std::vector<std::pair<const Entry*, const Entry*>> pending{{scanned, opened}};
  std::size_t entries = 0;
  while (!pending.empty()) {
    auto [a, b] = pending.back();
    pending.pop_back();
    ++entries;
    const std::string where = text(a->fileName);
    EXPECT_EQ(text(a->fileName), text(b->fileName));
    EXPECT_EQ(a->fileType, b->fileType) << where;
    // A folder's path is made anew from its parent's; it equals the scan's where the scan set one.
    if (a->fileType == 1 && b->parent != nullptr) {
      EXPECT_EQ(text(b->pathName), text(b->parent->pathName) + "/" + text(b->parent->fileName)) << where;
      if (a->pathName.length != 0) {
        EXPECT_EQ(text(a->pathName), text(b->pathName)) << where;
      }
    }
    EXPECT_EQ(a->fileID, b->fileID) << where;
    EXPECT_EQ(a->parentID, b->parentID) << where;
    EXPECT_EQ(a->fileSize, b->fileSize) << where;
    EXPECT_EQ(a->fileCount, b->fileCount) << where;
    EXPECT_EQ(a->childrenCount, b->childrenCount) << where;
    EXPECT_EQ(a->createDate, b->createDate) << where;
    EXPECT_EQ(a->modDate, b->modDate) << where;
    EXPECT_EQ(a->deleted, b->deleted) << where;
    EXPECT_EQ(a->complete, b->complete) << where;
    EXPECT_EQ(a->selected, b->selected) << where;
    EXPECT_EQ(a->isFATEntry, b->isFATEntry) << where;
    EXPECT_EQ(a->sectorsPerBlock, b->sectorsPerBlock) << where;
    EXPECT_EQ(a->blockBaseSector, b->blockBaseSector) << where;
    EXPECT_EQ(a->deletedListCount(), b->deletedListCount()) << where;
    ASSERT_EQ(a->dataExtCount(), b->dataExtCount()) << where;
    for (std::size_t i = 0; i < a->dataExt.size(); ++i) {
      EXPECT_EQ(a->dataExt[i].startBlock, b->dataExt[i].startBlock) << where;
      EXPECT_EQ(a->dataExt[i].blockCount, b->dataExt[i].blockCount) << where;
    }
    ASSERT_EQ(a->childListCount(), b->childListCount()) << where;
    for (std::size_t i = 0; i < a->childList.size(); ++i) pending.push_back({a->childList[i], b->childList[i]});
  }
  EXPECT_GT(entries, 1u);
}

std::vector<std::string> viewTotals(Volume& volume) {
  TreeViewState view(volume.arena, volume.dirRoot);
  std::vector<std::string> totals;
  for (bool types : {false, true})
    for (bool deleted : {false, true}) {
      view.showView(types, deleted);
      totals.push_back(view.textFieldTotalData() + " / " + view.textFieldMarkedData());
    }
  return totals;
}

std::map<std::string, std::string> savedHashes(Volume& volume, const fs::path& folder) {
  SilentUiBridge ui;
  const RecoverResult result = recoverToFolder(volume, {folder.string(), {"all"}, false, false}, ui, nullptr);
  EXPECT_TRUE(result.saved) << result.message;
  std::map<std::string, std::string> hashes;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    const std::string bytes = readAll(entry.path());
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
    hashes[fs::relative(entry.path(), folder).string()] = std::string(reinterpret_cast<char*>(digest), length);
  }
  return hashes;
}

struct RoundTrip {
  const char* scenario;
  bool advanced;
  bool files = false;  // "Recover Files" on a volume row instead of the partition list
};

class SessionRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(SessionRoundTrip, EntriesViewsAndSavedFilesComeBackTheSame) {
  const std::string image = kitImage(GetParam().scenario);
  ASSERT_FALSE(image.empty());
  const std::string name = std::string(GetParam().scenario) + (GetParam().advanced ? "-adv" : "");
  const bool files = GetParam().files;
  Desk scanned = files ? Desk(image, true) : Desk(image);
  if (files) scanned.scanFiles(image);
  else scanned.scan(GetParam().advanced);
  ASSERT_NE(scanned.root(), nullptr);
  {
    // A few marks, as a user would set them before saving the session.
    TreeViewState view(scanned.controller->selectedVolume->arena, scanned.root());
    Entry* first = scanned.root()->childList.front();
    view.setMark(first, true);
  }
  const std::string session = (scratch() / (name + ".nvs")).string();
  scanned.controller->save(session);
  scanned.controller->joinScanInfoThread();
  scanned.controller->mainThread().runPending();
  ASSERT_TRUE(scanned.controller->scanInfoSaved());
  EXPECT_EQ(scanned.ui.alerts.back().title, "Recovery Session File Saved");
  // The shortcut named is the one the program answers to on Linux.
  EXPECT_NE(scanned.ui.alerts.back().text.find("Open Recovery Session or Press (Ctrl+O) OR"), std::string::npos);

  // The second program names no image: the session finds its own.
  Desk opened = files ? Desk(image, false) : Desk(image);
  opened.open(session);
  ASSERT_NE(opened.root(), nullptr);
  EXPECT_EQ(opened.view.tab, "Tree");
  EXPECT_EQ(opened.ui.alerts.back(), (Alert{"Recovery Session Opened", "From File: " + session, {"OK"}}));
  EXPECT_FALSE(opened.controller->driveNotConnected);
  EXPECT_FALSE(opened.controller->volumeNotConnected);
  EXPECT_TRUE(opened.controller->scanInfoSaved());
  EXPECT_EQ(opened.controller->progressScreen().treeTotal, scanned.controller->progressScreen().treeTotal);
  EXPECT_EQ(opened.controller->sessionScreen().textFieldTreeStatus, "Recovery Session Opened");
  expectSameTree(scanned.root(), opened.root());
  Volume& a = *scanned.controller->selectedVolume;
  Volume& b = *opened.controller->selectedVolume;
  EXPECT_EQ(b.volumeScanType, a.volumeScanType);
  EXPECT_EQ(b.counters.entryCount, a.counters.entryCount);
  EXPECT_EQ(viewTotals(a), viewTotals(b));
  EXPECT_EQ(savedHashes(a, scratch() / (name + "-scan")), savedHashes(b, scratch() / (name + "-open")));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, SessionRoundTrip,
                         ::testing::Values(RoundTrip{"hfs-basic", false}, RoundTrip{"hfs-fragmented", false},
                                           RoundTrip{"hfs-basic", true}, RoundTrip{"hfs-journal-deleted", false, true},
                                           RoundTrip{"fat32-basic", false, true}),
                         [](const ::testing::TestParamInfo<RoundTrip>& param) {
                           std::string n = std::string(param.param.scenario) + (param.param.advanced ? "_advanced" : "");
                           for (char& c : n) if (c == '-') c = '_';
                           return n;
                         });

TEST(SessionOpenTest, AlertsForTheWrongScreenAnIncompleteFileAndAChangedDrive) {
  const std::string image = kitImage("hfs-basic");
  ASSERT_FALSE(image.empty());
  Desk scanned(image);
  scanned.scan(false);
  const std::string session = (scratch() / "alerts.nvs").string();
  scanned.controller->save(session);
  scanned.controller->joinScanInfoThread();

  Desk wrongScreen(image);
  wrongScreen.view.tab = "Drives List";
  EXPECT_FALSE(wrongScreen.controller->open());
  EXPECT_EQ(wrongScreen.ui.alerts.back().title, "! Can not open recovery session file now");
  wrongScreen.controller->openScanInfoFile(session);
  EXPECT_EQ(wrongScreen.ui.alerts.size(), 2u);
  wrongScreen.controller->openScanInfoFile(image);  // not an "nvs": nothing at all
  EXPECT_EQ(wrongScreen.ui.alerts.size(), 2u);

  const fs::path cut = scratch() / "cut.nvs";
  const std::string bytes = readAll(session);
  writeAll(cut, bytes.substr(0, bytes.size() - 3));
  Desk damaged(image);
  damaged.open(cut.string());
  EXPECT_EQ(damaged.root(), nullptr);
  EXPECT_EQ(damaged.view.tab, "Main Screen");
  EXPECT_EQ(damaged.ui.alerts.back().title, "! Error");

  std::string image2 = readAll(image);
  image2[100] = static_cast<char>(image2[100] ^ 0x5A);  // the first sectors no longer match
  writeAll(image, image2);
  Desk changed(image);
  changed.open(session);
  ASSERT_NE(changed.root(), nullptr);  // the session stays open, without its drive
  EXPECT_TRUE(changed.controller->driveNotConnected);
  ASSERT_GE(changed.ui.alerts.size(), 2u);
  EXPECT_EQ(changed.ui.alerts[changed.ui.alerts.size() - 2].title, "Drive Not Connected");
}

}  // namespace
}  // namespace nua
