// Registration of finds in the tree: the file-check route's fixed folders, the signature route's
// extension folders and found paths, RTFD packages, sizes, extents, ancestor counts and write order.
#include "signature/carved_entry_registrar.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "filecheck/jpg_file_check.h"
#include "filecheck/png_file_check.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

class OrderWriter final : public CarvedRecordWriter {
 public:
  void writeEntry(const Entry& entry) override { written.push_back(&entry); }
  void synchronise() override { ++syncs; }
  std::vector<const Entry*> written;
  int syncs = 0;
};

std::string nameOf(const Entry* e) { return toUtf8(EntryArena::fileNameOfDir(e).value_or(u"")); }

std::vector<std::string> childNames(const Entry* folder) {
  std::vector<std::string> names;
  for (const Entry* child : folder->childList) names.push_back(nameOf(child));
  return names;
}

class Registration : public testing::Test {
 protected:
  EntryArena arena;
  Entry* root = makeRootDir(arena, nullptr);
  std::uint32_t maxFileID = kFirstFreeFileID;
  OrderWriter writer;
  CarvedEntryRegistrar registrar{CarvedRegistrarSetup{&arena, root, &maxFileID, &writer, 512, 1ULL << 30, false}};
  MemorySectorSource source{std::vector<std::byte>(4096), 512};
  FileCheckScanState state;
  FormatContext context;

  // Every written record comes after its parent, when the parent is written at all.
  void expectParentsWrittenFirst() const {
    for (std::size_t i = 0; i < writer.written.size(); ++i) {
      const Entry* parent = writer.written[i]->parent;
      if (parent == root) continue;
      const auto at = std::find(writer.written.begin(), writer.written.end(), parent);
      EXPECT_LT(at - writer.written.begin(), static_cast<std::ptrdiff_t>(i)) << nameOf(writer.written[i]);
    }
  }
};

TEST_F(Registration, FileCheckFindsGoIntoTheirFormatFoldersNumberedInOrder) {
  JpgFileCheck jpg(source, state);
  PngFileCheck png(source, state);
  registrar.addFileCheckFind({2100, 100}, jpg, 5000);
  registrar.addFileCheckFind({2200, 200}, png, 700);
  registrar.addFileCheckFind({2300, 300}, jpg, 1025);
  registrar.addRawJpgFind({2400, 400}, 37, 4096);

  EXPECT_EQ(childNames(root), (std::vector<std::string>{"JPG Files", "PNG Files", "RAW Jpg Files"}));
  const Entry* jpgFolder = root->childList[0];
  EXPECT_EQ(childNames(jpgFolder), (std::vector<std::string>{"file1.jpg", "file2.jpg"}));
  EXPECT_EQ(jpgFolder->fileSize, 6025U);
  EXPECT_EQ(jpgFolder->fileCount, 2U);
  const Entry* second = jpgFolder->childList[1];
  ASSERT_EQ(second->dataExt.size(), 1U);
  EXPECT_EQ(second->dataExt[0].startBlock, 300U);
  EXPECT_EQ(second->dataExt[0].blockCount, 3U);  // 1025 bytes round up to 3 sectors
  EXPECT_EQ(second->deleted, 1);
  EXPECT_EQ(toUtf8(*EntryArena::pathNameOfDir(second)), "JPG Files/Root");
  const Entry* rawJpg = root->childList[2]->childList[0];
  EXPECT_EQ(nameOf(rawJpg), "file - Raw Jpg1.jpg");
  EXPECT_EQ(rawJpg->extraBytesToMove, 37U);
  // The preview lies inside a RAW file already counted, so the root's size leaves it out.
  EXPECT_EQ(root->fileSize, 6725U);
  EXPECT_EQ(root->fileCount, 4U);
  EXPECT_EQ(root->childrenCount, 7U);
  EXPECT_EQ(registrar.counters().folderCount, 3U);
  EXPECT_EQ(registrar.counters().fileCount, 4U);
  EXPECT_EQ(writer.syncs, 4);
  expectParentsWrittenFirst();
}

TEST_F(Registration, SignatureFindsGoIntoExtensionFoldersOrTheFoundPathAndAncestorsAddTheirSizes) {
  Sig jpg;
  jpg.extension = "jpg";
  jpg.defaultSize = 20;
  jpg.foundSize = 3000;
  registrar.addSignatureFind({10, 10}, jpg, context);
  jpg.foundSize = 0;  // no size from the check: the row's maximum
  registrar.addSignatureFind({20, 20}, jpg, context);
  jpg.foundSize = 2ULL << 30;  // past the device: not believed
  jpg.userSize = 2;
  registrar.addSignatureFind({30, 30}, jpg, context);
  Sig message;
  message.extension = "olk14Message";
  message.foundSize = 800;
  context.foundParentPath = "Outlook/Inbox";
  context.foundName = "Lunch";
  registrar.addSignatureFind({40, 40}, message, context);
  registrar.addSignatureFind({50, 50}, message, context);

  ASSERT_EQ(childNames(root), (std::vector<std::string>{"jpg files", "Outlook"}));
  const Entry* jpgFolder = root->childList[0];
  EXPECT_EQ(childNames(jpgFolder), (std::vector<std::string>{"File1.jpg", "File2.jpg", "File3.jpg"}));
  EXPECT_EQ(jpgFolder->childList[1]->fileSize, 20ULL << 20);
  EXPECT_EQ(jpgFolder->childList[2]->fileSize, 2ULL << 20);
  const Entry* inbox = root->childList[1]->childList.at(0);
  EXPECT_EQ(nameOf(inbox), "Inbox");
  EXPECT_EQ(childNames(inbox), (std::vector<std::string>{"Lunch.olk14Message", "Lunch.olk14Message"}));
  EXPECT_EQ(inbox->fileSize, 1600U);
  EXPECT_EQ(root->childList[1]->fileSize, 1600U);
  EXPECT_EQ(root->fileSize, 3000U + (20ULL << 20) + (2ULL << 20) + 1600U);
  EXPECT_EQ(root->fileCount, 5U);
  EXPECT_EQ(root->childrenCount, 8U);  // 3 folders and 5 files
  expectParentsWrittenFirst();
}

TEST_F(Registration, AnRtfWithASkipBecomesAnRtfdPackageAwaitingItsPictures) {
  Sig rtf;
  rtf.extension = "rtf";
  rtf.foundSize = 900;
  rtf.skipSize = 2;
  registrar.addSignatureFind({77, 77}, rtf, context);
  const Entry* folder = root->childList.at(0);
  EXPECT_EQ(nameOf(folder), "rtf files");
  const Entry* package = folder->childList.at(0);
  EXPECT_EQ(nameOf(package), "File1.rtfd");
  EXPECT_EQ(childNames(package), std::vector<std::string>{"TXT.rtf"});
  EXPECT_EQ(context.rtfd.wrapperBlockNumber, 77U);
  EXPECT_EQ(context.rtfd.parentFolderId, package->fileID);
  EXPECT_EQ(root->fileSize, 900U);
  expectParentsWrittenFirst();
}

}  // namespace
}  // namespace nua

namespace nua {
namespace {

// Extents count in 32 bits: a find past 2^32 sectors must still start exactly at its own sector.
TEST_F(Registration, FindsPastTwoTerabytesKeepTheirTrueSector) {
  JpgFileCheck jpg(source, state);
  const std::uint64_t far = (1ULL << 33) + 5;
  registrar.addFileCheckFind({far, far}, jpg, 70000);
  registrar.addFileCheckFind({4000, 4000}, jpg, 700);
  const Entry* folder = root->childList.front();
  ASSERT_EQ(folder->childList.size(), 2U);
  const Entry* high = folder->childList[0];
  ASSERT_EQ(high->dataExt.size(), 1U);
  const std::uint64_t firstSector =
      high->blockBaseSector + std::uint64_t{high->dataExt[0].startBlock} * high->sectorsPerBlock;
  EXPECT_EQ(firstSector, far);
  EXPECT_GE(std::uint64_t{high->dataExt[0].blockCount} * high->sectorsPerBlock * 512, 70000U);
  const Entry* low = folder->childList[1];
  EXPECT_EQ(low->sectorsPerBlock, 1);
  EXPECT_EQ(low->blockBaseSector, 0U);
  EXPECT_EQ(low->dataExt[0].startBlock, 4000U);
}

}  // namespace
}  // namespace nua
