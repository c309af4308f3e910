// "Signatures" beyond marking, through the controller: the size column's text written to the user's
// file, and custom file types added and removed with the selection the scan takes following.
#include "app/signature_screen.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "app/wizard_controller.h"
#include "signature/sig.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

class NoLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry, std::shared_ptr<Volume>, ScanArguments) override {}
  void detachVolumeScan(std::shared_ptr<MediaReader>) override {}
};

class SignatureScreenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    userDir = fs::temp_directory_path() / (std::string("nua-sigscreen-") + info->name());
    fs::remove_all(userDir);
    MediaSources sources;
    sources.initialDriveList = [] {
      DriveListing listing;
      listing.volumeDictArray = {DriveRow::fromDict(
          Dict{{"WhetherVolume", true}, {"Path", "/dev/sdz1"}, {"Preferred Block Size", 512},
               {"Size", std::uint64_t{1536000}}, {"Volume Name", "Photos"}, {"Content", "Apple_HFS"},
               {"journaled", "Yes"}, {"supportFileSystemRecovery", 1}})};
      return listing;
    };
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
    screen().useDataFiles(SigDataPaths{userDir, {NUA_TEST_SIG_DATA_DIR}});
  }
  void TearDown() override {
    controller.reset();
    fs::remove_all(userDir);
  }
  SignatureScreen& screen() { return controller->signatureScreen(); }
  // "Recover Files", advanced, the volume: the screen comes up with the catalog of "Sig_FR".
  void enterSignatures() {
    controller->recoverFilesAdvanced();
    controller->selectDrivesListRow(0);
    controller->nextButtonInDrivesListTabClicked();
  }
  SigNode* leaf(const std::string& extension) {
    for (const auto& category : controller->sigRootArray)
      for (const auto& child : *category->children)
        if (child->sig->extension == extension) return child.get();
    return nullptr;
  }
  SigRootArray readUserFile(const std::string& name) {
    SigDataStore store(SigDataPaths{userDir, {}});
    auto read = store.read(name);
    return read.ok() ? *read.root : SigRootArray{};
  }

  fs::path userDir;
  NullWizardView view;
  RecordingUiBridge ui;
  NoLauncher launcher;
  std::unique_ptr<WizardController> controller;
};

TEST_F(SignatureScreenTest, SizeEditsAreWrittenToTheMainFile) {
  EXPECT_EQ(parseUserSize("4294967295"), std::optional<std::uint32_t>(4294967295u));
  for (const char* refused : {"", "4294967296", "12a", "-1", "99999999999999999999"})
    EXPECT_FALSE(parseUserSize(refused).has_value()) << refused;

  enterSignatures();
  SigNode* jpg = leaf("jpg");
  ASSERT_NE(jpg, nullptr);
  const std::uint64_t before = SignatureCatalog::sizeColumnValue(*jpg);
  EXPECT_FALSE(screen().setUserSize(*jpg, "lots"));
  EXPECT_EQ(SignatureCatalog::sizeColumnValue(*jpg), before);
  EXPECT_TRUE(screen().setUserSize(*jpg, "123"));
  EXPECT_EQ(SignatureCatalog::sizeColumnValue(*jpg), 123u);
  bool written = false;
  for (const auto& category : readUserFile("Sig_FR"))
    for (const auto& child : *category->children)
      if (child->sig->extension == "jpg") written = child->sig->userSize == 123;
  EXPECT_TRUE(written);
}

TEST_F(SignatureScreenTest, AddedAndRemovedTypesReachTheControllerAndBothFiles) {
  enterSignatures();
  const std::size_t categories = controller->sigRootArray.size();
  // A header and offset the shipped catalog has no row for; blanks and case as a person types them.
  const NewSigFields fields{"Mine", "My Movie", "mcm", "fe ED 01 02 03", "7", "20"};
  EXPECT_FALSE(screen().addNewSigOKClicked(NewSigFields{"Mine", "", "mcm", "feed010203", "7", "20"}));
  ASSERT_FALSE(ui.alerts.empty());
  EXPECT_EQ(ui.alerts.back().text, "File Type Name cannot be nil");
  ASSERT_TRUE(screen().addNewSigOKClicked(fields)) << (ui.alerts.empty() ? "" : ui.alerts.back().text);
  ASSERT_EQ(controller->sigRootArray.size(), categories + 1);
  SigNode* added = leaf("mcm");
  ASSERT_NE(added, nullptr);
  EXPECT_EQ(added->sig->header, 0xfeed010203u);
  EXPECT_EQ(readUserFile("Sig_FR").size(), categories + 1);
  EXPECT_EQ(readUserFile("Sig_FR_backup").size(), categories + 1);

  // A pre-installed row can't be removed; the custom one can, and the scan's list loses it.
  EXPECT_FALSE(screen().canRemove(leaf("jpg")));
  EXPECT_FALSE(screen().canRemove(nullptr));
  screen().markClicked(*added, true);
  EXPECT_EQ(controller->sigSelArray.size(), 1u);
  ASSERT_TRUE(screen().canRemove(added));
  screen().removeFileType(added);
  EXPECT_EQ(leaf("mcm"), nullptr);
  EXPECT_TRUE(controller->sigSelArray.empty());
  // Its category stays, empty, and can go now too; the backup keeps the row.
  SigNode* mine = controller->sigRootArray.back().get();
  ASSERT_TRUE(screen().canRemove(mine));
  screen().removeFileType(mine);
  EXPECT_EQ(controller->sigRootArray.size(), categories);
  EXPECT_EQ(readUserFile("Sig_FR").size(), categories);
  EXPECT_EQ(readUserFile("Sig_FR_backup").size(), categories + 1);
}

}  // namespace
}  // namespace nua
