// The "Signatures" screen's catalog: loading with the user's retries, marks, counts, find, and the
// add, remove and size edits written back to the user's data files.
#include "signature/signature_catalog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace nua {
namespace {

class SignatureCatalogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    // A parameterised case's name holds a "/", which would leave a folder above the case's own.
    std::string name = info->name();
    std::replace(name.begin(), name.end(), '/', '-');
    userDir = std::filesystem::temp_directory_path() / ("nua-sigcat-" + name + "-" + std::to_string(::getpid()));
    std::filesystem::remove_all(userDir);
  }
  void TearDown() override { std::filesystem::remove_all(userDir); }

  SignatureCatalog& open(int scanMode, bool shipped = true) {
    store.emplace(SigDataPaths{userDir, shipped ? std::vector<std::filesystem::path>{NUA_TEST_SIG_DATA_DIR}
                                                : std::vector<std::filesystem::path>{}});
    catalog.emplace(*store, ui);
    catalog->scanMode = scanMode;
    catalog->prepareForSignatureSearch();
    return *catalog;
  }
  std::shared_ptr<SigNode> category(const std::string& name) {
    for (auto& node : catalog->sigRootArray) {
      if (node->category == name) return node;
    }
    return nullptr;
  }
  std::shared_ptr<SigNode> leaf(const std::string& extension) {
    for (auto& node : catalog->sigRootArray) {
      for (auto& child : *node->children) {
        if (child->sig->extension == extension) return child;
      }
    }
    return nullptr;
  }
  void writeGarbage(const std::string& name) {
    std::filesystem::create_directories(userDir);
    std::ofstream(userDir / (name + ".dat"), std::ios::binary) << "not a catalog";
  }

  std::filesystem::path userDir;
  RecordingUiBridge ui;
  std::optional<SigDataStore> store;
  std::optional<SignatureCatalog> catalog;
};

TEST_F(SignatureCatalogTest, LoadsTheModesFileAndCopiesItForTheUser) {
  auto& c = open(0);
  ASSERT_FALSE(c.sigRootArray.empty()) << c.lastLoadReason;
  EXPECT_TRUE(std::filesystem::exists(userDir / "Sig_FR.dat"));
  auto images = category("Images");
  ASSERT_TRUE(images);
  EXPECT_TRUE(images->containsPreInstalledChildren);
  EXPECT_EQ((*images->children)[0]->parent, images.get());
  EXPECT_TRUE(c.buttons.selectAll && c.buttons.addFileType && c.buttons.sigSelNext);
  EXPECT_FALSE(c.buttons.loadFileTypes);
  EXPECT_EQ(c.findFTStatusText, "All unmarked");
  EXPECT_EQ(c.counts.marked, 0);
  EXPECT_EQ(c.counts.categoriesText, "Total Categories: " + std::to_string(c.sigRootArray.size()));
}

TEST_F(SignatureCatalogTest, MissingFilesLeaveTheCatalogEmptyWithTheRetryTexts) {
  auto& c = open(2, false);
  EXPECT_TRUE(c.sigRootArray.empty());
  EXPECT_EQ(c.emptySigNode.category, "No file types shown here? Click on \"Load File Types\" button");
  EXPECT_FALSE(c.buttons.selectAll || c.buttons.removeFileType || c.buttons.addFileType || c.buttons.sigSelNext);
  EXPECT_TRUE(c.buttons.loadFileTypes);
  EXPECT_EQ(c.counts.totalText, "Total Signatures: 0");
  EXPECT_EQ(c.speedBarMarkedWidth(200.0f), 0.0f);
  c.reloadSigData();
  EXPECT_EQ(c.emptySigNode.category,
            "Still no file types showing here. Click on \"Load File Types\" button to reload backup.");
  c.reloadSigData();
  EXPECT_EQ(c.emptySigNode.category, "Still no file types showing here. Contact support.");
}

TEST_F(SignatureCatalogTest, CorruptMainFileWaitsForTheSecondClickToLoadTheBackup) {
  writeGarbage("Sig_PR");
  auto& c = open(2);
  EXPECT_TRUE(c.sigRootArray.empty());  // no automatic fallback
  EXPECT_FALSE(c.lastLoadReason.empty());
  c.reloadSigData();
  EXPECT_TRUE(c.sigRootArray.empty());
  c.reloadSigData();
  ASSERT_FALSE(c.sigRootArray.empty());
  EXPECT_FALSE(c.buttons.loadFileTypes);
  EXPECT_TRUE(c.buttons.selectAll);
}

TEST_F(SignatureCatalogTest, UnknownScanModePicksNoFile) {
  auto& c = open(6);
  EXPECT_TRUE(c.sigRootArray.empty());
}

TEST_F(SignatureCatalogTest, MarkingDocumentsMarksImagesButUnmarkingDoesNot) {
  auto& c = open(0);
  auto documents = category("Documents");
  auto images = category("Images");
  c.markClicked(*documents, 1);
  EXPECT_EQ(SignatureCatalog::markColumnValue(*images), 1);
  EXPECT_TRUE(c.nextButtonSigTab);
  c.markClicked(*documents, 0);
  EXPECT_EQ(SignatureCatalog::markColumnValue(*documents), 0);
  EXPECT_EQ(SignatureCatalog::markColumnValue(*images), 1);
  c.deselectAllSig();
  c.markClicked(*leaf("pdf"), 1);  // another document row leaves images alone
  EXPECT_EQ(SignatureCatalog::markColumnValue(*images), 0);
  c.markClicked(*leaf("rtf"), 1);
  EXPECT_EQ(SignatureCatalog::markColumnValue(*images), 1);
  EXPECT_EQ(SignatureCatalog::markColumnValue(*documents), -1);
  EXPECT_EQ(c.sigSelArray.size(), images->children->size() + 2);
  EXPECT_EQ(c.sigSelArray.front()->sig->category, "Images");  // catalog order
}

TEST_F(SignatureCatalogTest, CountsAndSelectAll) {
  auto& c = open(4);
  c.selectAllSig();
  EXPECT_EQ(c.findFTStatusText, "All marked");
  EXPECT_EQ(c.counts.unmarked, 0);
  EXPECT_EQ(c.speedBarMarkedWidth(100.0f), 100.0f);
  EXPECT_TRUE(c.sigSelArray.empty());  // select all leaves the gathering to leaving the screen
  c.gatherSigSelArray();
  EXPECT_EQ(static_cast<std::int32_t>(c.sigSelArray.size()), c.counts.marked);
  c.markClicked(*leaf("jpg"), 0);
  char expected[64];
  std::snprintf(expected, sizeof expected, "Marked: %d, Unmarked: 1", c.counts.marked);
  EXPECT_EQ(c.counts.markedText, expected);
}

TEST_F(SignatureCatalogTest, FindMarksEveryMatchAndSelectsTheFirst) {
  auto& c = open(0);
  c.findFileTypes("MP3");
  EXPECT_EQ(c.findFTStatusText, "1 entry found and marked");
  EXPECT_EQ(c.selectedFoundRow, leaf("mp3").get());
  EXPECT_EQ(leaf("mp3")->selected, 1);
  c.findFileTypes("archives");  // a category name finds all of its file types
  EXPECT_EQ(c.findFTStatusText, std::to_string(category("Archives")->children->size()) + " entries found and marked");
  EXPECT_EQ(c.stepperFTMaximum, static_cast<std::int64_t>(category("Archives")->children->size()) - 1);
  c.stepperFTClicked(1.7);
  EXPECT_EQ(c.selectedFoundRow, (*category("Archives")->children)[1].get());
  c.findFileTypes("no such type");
  EXPECT_EQ(c.findFTStatusText, "No entry found");
  EXPECT_FALSE(c.stepperFTEnabled);
}

TEST_F(SignatureCatalogTest, SizeEditRewritesTheMainFile) {
  auto& c = open(0);
  c.setUserSize(*leaf("jpg"), 77);
  EXPECT_FALSE(c.lastSaveFailed);
  EXPECT_EQ(SignatureCatalog::sizeColumnValue(*leaf("jpg")), 77u);
  EXPECT_EQ(SignatureCatalog::sizeColumnValue(*category("Images")), 0u);
  c.loadSigData();
  EXPECT_EQ(leaf("jpg")->sig->userSize, 77u);
}

NewSigFields goodFields() { return {"Images", "My Type", "myt", "de ad be ef", "512", "25"}; }

struct AddCase {
  const char* name;
  NewSigFields fields;
  const char* message;
};

class SignatureCatalogAdd : public SignatureCatalogTest, public ::testing::WithParamInterface<AddCase> {};

TEST_P(SignatureCatalogAdd, FirstFailingValidationShowsItsAlert) {
  auto& c = open(0);
  const std::size_t before = category("Images")->children->size();
  EXPECT_FALSE(c.addNewSigOKClicked(GetParam().fields));
  ASSERT_EQ(ui.alerts.size(), 1u);
  EXPECT_EQ(ui.alerts[0], (Alert{"!Error", GetParam().message, {"OK"}}));
  EXPECT_EQ(category("Images")->children->size(), before);
}

NewSigFields with(void (*change)(NewSigFields&)) {
  NewSigFields f = goodFields();
  change(f);
  return f;
}

INSTANTIATE_TEST_SUITE_P(
    InOrder, SignatureCatalogAdd,
    ::testing::Values(
        AddCase{"Category", with([](NewSigFields& f) { f = NewSigFields{}; }), "Category cannot be nil"},
        AddCase{"Name", with([](NewSigFields& f) { f.software.clear(); f.extension.clear(); }), "File Type Name cannot be nil"},
        AddCase{"Extension", with([](NewSigFields& f) { f.extension.clear(); f.header.clear(); }), "Extension cannot be nil"},
        AddCase{"Header", with([](NewSigFields& f) { f.header.clear(); f.offset.clear(); }), "Signature cannot be nil"},
        AddCase{"Offset", with([](NewSigFields& f) { f.offset.clear(); f.size.clear(); }), "Offset cannot be nil"},
        AddCase{"SizeMissing", with([](NewSigFields& f) { f.size.clear(); f.extension = ".x"; }),
                "Maximum File Size to recover has to be in range of 1 to 50000."},
        AddCase{"SizeAboveRange", with([](NewSigFields& f) { f.size = "50001"; }),
                "Maximum File Size to recover has to be in range of 1 to 50000."},
        AddCase{"SizeZero", with([](NewSigFields& f) { f.size = "0"; f.extension = ".x"; }),
                "Maximum File Size to recover cannot be nil"},
        AddCase{"Dot", with([](NewSigFields& f) { f.extension = ".myt"; f.header = "zz"; }),
                "Please remove dot \".\" from the beginning of the extension"},
        AddCase{"NotHex", with([](NewSigFields& f) { f.header = "de ad zz"; }), "Please enter correct signature: A-F, a-f, 0-9"},
        AddCase{"Odd", with([](NewSigFields& f) { f.header = "dea"; }), "Incorrect signature: enter even number of characters"},
        AddCase{"NineBytes", with([](NewSigFields& f) { f.header = "01 02 03 04 05 06 07 08 09"; }),
                "Incorrect signature: enter only a maximum of 8 bytes"},
        AddCase{"OffsetNotNumeric", with([](NewSigFields& f) { f.offset = "12a"; }), "Please enter numeric value in offset"},
        AddCase{"Offset1025", with([](NewSigFields& f) { f.offset = "1025"; }), "Offset cannot be more then 1024"},
        AddCase{"SameName", with([](NewSigFields& f) { f.software = "JPEG Image"; }),
                "File Type \"JPEG Image\" under category \"Images\" already exists. Please enter different names"},
        AddCase{"SamePair", with([](NewSigFields& f) { f.header = "FF D8 FF"; f.offset = "0"; f.category = "Mine"; }),
                "This signature/offset pair already exists in file type \"JPEG Image\" under category \"Images\"."}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_F(SignatureCatalogTest, AddedRowsAreWrittenToMainAndBackupAndRemovalToMainOnly) {
  auto& c = open(0);
  const std::size_t categories = c.sigRootArray.size();
  const std::size_t imagesAt = static_cast<std::size_t>(
      std::find(c.sigRootArray.begin(), c.sigRootArray.end(), category("Images")) - c.sigRootArray.begin());
  NewSigFields blanks = goodFields();
  blanks.offset = "1024";
  ASSERT_TRUE(c.addNewSigOKClicked(blanks));
  NewSigFields fresh{"Mine", "Eight Bytes", "eig", "0102030405060708", "7", "3"};
  ASSERT_TRUE(c.addNewSigOKClicked(fresh));
  EXPECT_TRUE(ui.alerts.empty());
  EXPECT_FALSE(c.lastSaveFailed);
  ASSERT_EQ(c.sigRootArray.size(), categories + 1);
  EXPECT_EQ(c.sigRootArray.back()->category, "Mine");  // a new category goes last
  EXPECT_EQ(c.sigRootArray[imagesAt]->category, "Images");  // an existing one keeps its place

  // The same header typed without blanks and in upper case is the same signature.
  NewSigFields again{"Other", "Again", "aga", "DEADBEEF", "1024", "1"};
  EXPECT_FALSE(c.addNewSigOKClicked(again));
  EXPECT_EQ(ui.alerts.back().text, "This signature/offset pair already exists in file type \"My Type\" under category \"Images\".");

  c.loadSigData();  // reload from the user's main file
  auto mine = category("Mine");
  ASSERT_TRUE(mine);
  const Sig& added = *(*mine->children)[0]->sig;
  EXPECT_FALSE(added.preInstalled);
  EXPECT_FALSE(mine->containsPreInstalledChildren);
  EXPECT_EQ(added.header, 0x0102030405060708u);
  EXPECT_EQ(added.headerLength, 8);
  EXPECT_EQ(added.offset, 7);
  EXPECT_EQ(added.userSize, 3u);
  EXPECT_EQ(added.typeOfFile, 0u);
  const Sig& typed = *category("Images")->children->back()->sig;
  EXPECT_EQ(typed.header, 0xDEADBEEFu);
  EXPECT_EQ(typed.offset, 1024);

  EXPECT_FALSE(SignatureCatalog::canRemove(leaf("jpg").get()));
  EXPECT_FALSE(SignatureCatalog::canRemove(mine.get()));
  SigNode* row = (*mine->children)[0].get();
  ASSERT_TRUE(SignatureCatalog::canRemove(row));
  c.removeFileType(row);
  EXPECT_TRUE(mine->children->empty());
  c.removeFileType(mine.get());
  EXPECT_FALSE(category("Mine"));
  c.loadSigData();
  EXPECT_FALSE(category("Mine"));
  c.sigDataLoadCount = 2;  // the backup still has what was added
  c.loadSigData();
  EXPECT_TRUE(category("Mine"));
}

TEST_F(SignatureCatalogTest, ResumeRebuildsTheSelectionFromSavedExtensions) {
  auto& c = open(0);
  c.rebuildSigSelArray({"mp3", "tif", "nothing"});
  ASSERT_EQ(c.sigSelArray.size(), 3u);  // both TIFF rows, then MP3, in catalog order
  EXPECT_EQ(c.sigSelArray[0]->sig->extension, "tif");
  EXPECT_EQ(c.sigSelArray[1]->sig->extension, "tif");
  EXPECT_EQ(c.sigSelArray[2]->sig->extension, "mp3");
}

TEST(SignatureCatalogText, HeaderHelpers) {
  EXPECT_TRUE(stringIsHex(""));
  EXPECT_TRUE(stringIsHex("09afAF"));
  EXPECT_FALSE(stringIsHex("0g"));
  EXPECT_TRUE(stringIsNumeric(""));
  EXPECT_FALSE(stringIsNumeric("1a"));
  EXPECT_EQ(getHeaderFromString("4944"), 18756u);
  EXPECT_EQ(getHeaderFromString("f"), 0u);
  EXPECT_EQ(getHeaderFromString("ffd8ff"), 0xFFD8FFu);
}

}  // namespace
}  // namespace nua
