// Document and archive checks: ZIP and PDF from Debian tools, RAR, compound documents, RTF with RTFD
// pictures, InDesign and the Outlook records from built bytes.
#include <gtest/gtest.h>

#include "format_test_support.h"
#include "formats/format_checks.h"
#include "formats/rtf_check.h"

namespace nua::formats {
namespace {

using test::Bytes;
using test::runOn;

FormatRow rowWithMaximum(std::uint32_t type, std::uint32_t defaultMiB) {
  FormatRow row = test::rowOfType(type);
  row.defaultSize = defaultMiB;
  return row;
}

class ZipMadeByZip : public ::testing::TestWithParam<bool> {};

// The end-of-central-directory record ends the archive, its comment included.
TEST_P(ZipMadeByZip, SizeIsTheFilesLengthWithOrWithoutComment) {
  if (!test::haveTool("command -v zip")) GTEST_SKIP() << "zip is not installed";
  const bool comment = GetParam();
  const std::string command = std::string("head -c 30000 /dev/urandom > r.bin && seq 1 5000 > t.txt && zip -q a.zip r.bin t.txt") +
                              (comment ? " && echo 'a comment for the archive' | zip -qz a.zip" : "");
  const auto file = test::makeWithTool(comment ? "zip_comment" : "zip_plain", command, "a.zip");
  ASSERT_TRUE(file.has_value());
  const auto outcome = runOn(*file, checkZipFile, rowWithMaximum(21, 10));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, file->size());
  EXPECT_TRUE(outcome.row.skipFileSize);
}

INSTANTIATE_TEST_SUITE_P(Comments, ZipMadeByZip, ::testing::Values(false, true),
                         [](const auto& paramInfo) { return paramInfo.param ? "WithComment" : "WithoutComment"; });

TEST(ZipCheck, RowWithoutMaximumSearchesOnly63SectorsAndKeepsSize0WithoutJump) {
  Bytes b;
  b.text(0, "PK\3\4").text(70 * 512, "PK\5\6").le16(70 * 512 + 20, 0);
  const auto outcome = runOn(b.data(), checkZipFile, test::rowOfType(21));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 0u);
  EXPECT_FALSE(outcome.row.skipFileSize);
  // With a maximum of 1 MiB the search reaches 1024 + 63 sectors and finds the mark.
  const auto found = runOn(b.data(), checkZipFile, rowWithMaximum(21, 1));
  EXPECT_EQ(found.row.foundSize, 70u * 512 + 22);
}

TEST(ZipCheck, MarkNotFoundGivesTheMaximumCutToTheDeviceEnd) {
  Bytes b;
  b.text(0, "PK\3\4").resize(4096);
  auto placed = test::placeFile(b.data(), 3, 100);  // 8 + 100 sectors after the file's start
  const auto outcome = test::runOn(placed, checkZipFile, rowWithMaximum(21, 1));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 512u * (placed.context.deviceEndSector - placed.sector));
}

TEST(PdfCheck, TheFirstEofAfterALineEndEndsTheDocument) {
  Bytes b;
  b.text(0, "%PDF-1.4\n").text(3000, "x %EOF").text(5000, "\n\n%EOF\n").text(9000, "\r\n%EOF");
  const auto outcome = runOn(b.data(), checkPdfFile, rowWithMaximum(24, 1));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 5002u + 4);  // "x %EOF" has no line end two bytes before
  EXPECT_TRUE(outcome.row.skipFileSize);
}

TEST(PdfCheck, IncrementallyUpdatedFileEndsAtItsFirstEof) {
  if (!test::haveTool("command -v qpdf") || !test::haveTool("command -v gs")) GTEST_SKIP() << "qpdf or ghostscript is not installed";
  const auto file = test::makeWithTool(
      "pdf_incremental",
      "printf '%%!PS\\n/Helvetica findfont 20 scalefont setfont 72 700 moveto (Nua) show showpage\\n' > a.ps && "
      "gs -q -sDEVICE=pdfwrite -o a0.pdf a.ps && cp a0.pdf a.pdf && "
      "printf '1 0 obj\\n<< >>\\nendobj\\nxref\\n0 1\\n0000000000 65535 f \\ntrailer\\n<< /Size 1 >>\\nstartxref\\n0\\n%%%%EOF\\n' >> a.pdf && "
      "qpdf --check a0.pdf",
      "a.pdf");
  ASSERT_TRUE(file.has_value());
  std::string text(file->size(), '\0');
  for (std::size_t i = 0; i < file->size(); ++i) text[i] = static_cast<char>((*file)[i]);
  std::size_t first = text.find("%EOF");
  while (first != std::string::npos && !(first >= 2 && (text[first - 2] == '\n' || text[first - 2] == '\r'))) {
    first = text.find("%EOF", first + 1);
  }
  ASSERT_NE(first, std::string::npos);
  ASSERT_LT(first + 4, file->size() - 10) << "the appended update must follow the first %EOF";
  const auto outcome = runOn(*file, checkPdfFile, rowWithMaximum(24, 10));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, first + 4);
}

Bytes rar4(bool endOfArchive) {
  Bytes b;
  b.text(0, "Rar!\x1A\x07").u8(6, 0);
  // main head at 7: crc, type 0x73, flags, size 13
  b.le16(7, 0).u8(9, 0x73).le16(10, 0).le16(12, 13);
  // file head at 20: type 0x74, flags with 0x8000 (added size), size 40, packed size 1000
  b.le16(20, 0).u8(22, 0x74).le16(23, 0x8000).le16(25, 40).le32(27, 1000);
  const std::size_t end = 20 + 40 + 1000;
  if (endOfArchive) b.le16(end, 0).u8(end + 2, 0x7B).le16(end + 3, 0).le16(end + 5, 7);
  b.resize(end + 7);
  return b;
}

TEST(RarCheck, HeadsAreSummedToTheEndOfArchive) {
  const auto outcome = runOn(rar4(true).data(), checkRarFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 20u + 40 + 1000 + 7);
  EXPECT_TRUE(outcome.row.skipFileSize);
}

TEST(RarCheck, AHeadTypeOutOfRangeInTheWalkIsFalse) {
  EXPECT_FALSE(runOn(rar4(false).data(), checkRarFile).found);  // zeros after the file head
}

TEST(RarCheck, Rar5GivesSize7) {
  Bytes b;
  b.text(0, "Rar!\x1A\x07\x01").u8(7, 0).le32(8, 0x0A0B0C0D);  // byte 9 is part of the header CRC
  const auto outcome = runOn(b.data(), checkRarFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 7u);
}

TEST(RarCheck, AHeadWithAddedSizeThatAddsNothingEndsTheWalk) {
  Bytes b = rar4(false);
  b.le16(20, 0).u8(22, 0x74).le16(23, 0x8000).le16(25, 0).le32(27, 0);
  const auto outcome = runOn(b.data(), checkRarFile);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 20u);
}

void utf16Name(Bytes& b, std::size_t at, const std::string& name) {
  for (std::size_t i = 0; i < name.size(); ++i) b.le16(at + 2 * i, static_cast<std::uint8_t>(name[i]));
}

// A compound file header with the directory at compound sector `dir` and `fat` FAT sectors.
Bytes compoundDocument(std::uint32_t dir, std::uint32_t fat, const std::string& secondEntry) {
  Bytes b;
  b.be64(0, 0xD0CF11E0A1B11AE1ULL).le32(44, fat).le32(48, dir);
  const std::size_t directory = 512 * (std::size_t{dir} + 1);
  utf16Name(b, directory, "Root Entry");
  utf16Name(b, directory + 128, secondEntry);
  b.resize(directory + 512);
  return b;
}

TEST(CompoundDocumentCheck, EntryNamesGiveTheApplicationAndTheFatGivesTheSize) {
  const struct { const char* entry; const char* extension; } cases[] = {
      {"WordDocument", "doc"}, {"Workbook", "xls"}, {"PowerPoint Document", "ppt"}};
  for (const auto& c : cases) {
    const auto outcome = runOn(compoundDocument(5, 2, c.entry).data(), checkCompoundDocumentFile, test::rowOfType(30, "doc"));
    ASSERT_TRUE(outcome.found) << c.entry;
    EXPECT_EQ(outcome.row.extension, c.extension);
    EXPECT_EQ(outcome.row.foundSize, (2u * 128 + 1) * 512);
    EXPECT_FALSE(outcome.row.skipFileSize);
  }
}

TEST(CompoundDocumentCheck, RootEntryElsewhereIsFalse) {
  auto b = compoundDocument(5, 2, "Workbook");
  b.le32(48, 4);
  EXPECT_FALSE(runOn(b.data(), checkCompoundDocumentFile, test::rowOfType(30)).found);
}

TEST(RtfCheck, PicturesOfAnRtfdAreListedAndTheTextEndsAtItsLastBrace) {
  const std::string text =
      "{\\rtf1\\ansi{\\fonttbl\\f0\\fswiss Helvetica;}\n"
      "{{\\NeXTGraphic photo.jpg \\width2400 \\height1200 \\noorient}\xac}\n"
      "{{\\NeXTGraphic clip.mov \\width200 \\height100}\xac}\n"
      "{{\\nextgraphic scan.TIFF \\width1440 \\height720}\xac}\n"
      "}trailing";
  auto placed = test::placeFile(Bytes().text(0, text).data());
  const auto outcome = test::runOn(placed, checkRtfFile, test::rowOfType(25, "rtf"));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, text.rfind('}') + 1);
  EXPECT_EQ(outcome.row.skipSize, 2u);
  EXPECT_FALSE(outcome.row.skipFileSize);
  ASSERT_EQ(placed.context.rtfd.graphics.size(), 2u);
  EXPECT_EQ(placed.context.rtfd.graphics[0].fileName, "photo.jpg");
  EXPECT_EQ(placed.context.rtfd.graphics[0].width, 120);
  EXPECT_EQ(placed.context.rtfd.graphics[0].height, 60);
  EXPECT_EQ(placed.context.rtfd.graphics[1].fileName, "scan.TIFF");
  EXPECT_TRUE(placed.context.rtfd.lookForRtfAttachments);
}

TEST(RtfCheck, TextWithoutPicturesOrOnlyUnsupportedOnesIsAPlainFile) {
  auto placed = test::placeFile(Bytes().text(0, "{\\rtf1 {{\\NeXTGraphic a.mov \\width20 \\height20}}}").data());
  placed.context.rtfd.graphics.push_back(RtfGraphic{"old.png", 1, 1});
  const auto outcome = test::runOn(placed, checkRtfFile, test::rowOfType(25, "rtf"));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.skipSize, 0u);
  EXPECT_TRUE(placed.context.rtfd.graphics.empty());
  EXPECT_FALSE(runOn(Bytes(512).data(), checkRtfFile).found) << "an empty text";
}

TEST(RtfCheck, DuplicateNamesGoExceptNearTheEnd) {
  const auto names = [](const std::string& text) {
    std::vector<std::string> out;
    for (const auto& g : rtfGraphicsInText(text)) out.push_back(g.fileName);
    return out;
  };
  const std::string a = "{\\NeXTGraphic a.png \\width20 \\height20}";
  const std::string b = "{\\NeXTGraphic b.png \\width20 \\height20}";
  const std::string c = "{\\NeXTGraphic c.png \\width20 \\height20}";
  const std::string d = "{\\NeXTGraphic d.png \\width20 \\height20}";
  EXPECT_EQ(names(a + a), (std::vector<std::string>{"a.png"}));
  EXPECT_EQ(names(a + b + b + c + b), (std::vector<std::string>{"a.png", "b.png", "c.png"}));
  // "c.png" at index 2 looks only below 5 - 2 + 1 = 4: its twin at index 4 stays.
  EXPECT_EQ(names(a + b + c + d + c), (std::vector<std::string>{"a.png", "b.png", "c.png", "d.png", "c.png"}));
  EXPECT_EQ(names("{\\NeXTGraphic my\\\\photo.gif \\width40 \\height60}"), (std::vector<std::string>{"myphoto.gif"}));
}

constexpr std::uint8_t kMasterMark[8] = {0xBD, 0x31, 0xEF, 0xE7, 0xFE, 0x74, 0xB7, 0x1D};

Bytes inDesign(const std::string& type, std::uint32_t pages1, std::uint32_t seq1, std::uint32_t pages2, std::uint32_t seq2) {
  Bytes b;
  for (const std::size_t at : {std::size_t{0}, std::size_t{4096}}) {
    for (std::size_t i = 0; i < 8; ++i) b.u8(at + 8 + i, kMasterMark[i]);
    b.text(at + 16, type).u8(at + 24, 1);
  }
  b.le32(264, seq1).le32(280, pages1).le32(4096 + 264, seq2).le32(4096 + 280, pages2);
  return b;
}

TEST(InDesignCheck, NewerMasterPageGivesThePagesAndTrailersFollow) {
  Bytes b = inDesign("DOCUMENT", 3, 7, 4, 8);
  const std::size_t e = 4 * 4096;
  b.be64(e, 0xDE39397951884B6CULL).be64(e + 8, 0x8E63EEF8AEE0DD38ULL).le32(e + 32, 100);
  b.be64(e + 136, 0xFDCEDB70F7864B4FULL).be64(e + 144, 0xA4D3C728B3417106ULL).le32(e + 168, 0);
  const auto outcome = runOn(b.data(), checkInDesignFile, test::rowOfType(47, "indd"));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 5u * 4096);  // 16384 + 136 + 36, rounded up
  EXPECT_EQ(outcome.row.extension, "indd");
}

TEST(InDesignCheck, BookTakesTheBookExtensionAndWalksNoTrailers) {
  const auto outcome = runOn(inDesign("BOOKBOOK", 2, 5, 1, 5).data(), checkInDesignFile, test::rowOfType(47, "indd"));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.extension, "indb");
  EXPECT_EQ(outcome.row.foundSize, 2u * 4096);
}

TEST(InDesignCheck, MismatchedMasterPagesOrAStrangeTrailerAreFalse) {
  Bytes b = inDesign("DOCUMENT", 1, 1, 1, 1);
  b.text(4096 + 16, "BOOKBOOK");
  EXPECT_FALSE(runOn(b.data(), checkInDesignFile).found);
  Bytes t = inDesign("DOCUMENT", 1, 1, 1, 1);
  t.be64(4096, 0x1234);
  EXPECT_FALSE(runOn(t.data(), checkInDesignFile).found);
}

TEST(OutlookRecordCheck, RecordNumberPlacesTheFindAndOnlyAZeroLengthFieldPasses) {
  Bytes b;
  b.text(0, "MSCF").be32(4, 0).be32(16, 1234567);
  auto placed = test::placeFile(b.data());
  const auto outcome = test::runOn(placed, checkOutlookRecordFile, test::rowOfType(36));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 20u);
  EXPECT_EQ(placed.context.foundName, "x05_1234567");
  EXPECT_EQ(placed.context.foundParentPath, "Office 2011 Identities/Main Identity/Data Records/Folders/0T/0B/1M/234K");

  auto small = test::placeFile(Bytes().be32(16, 4321).data());
  ASSERT_TRUE(test::runOn(small, checkOutlookRecordFile, test::rowOfType(39)).found);
  EXPECT_EQ(small.context.foundParentPath, "Office 2011 Identities/Main Identity/Data Records/Messages/0T/0B/0M/4K");

  EXPECT_FALSE(runOn(Bytes().be32(4, 300).data(), checkOutlookRecordFile, test::rowOfType(36)).found);
}

}  // namespace
}  // namespace nua::formats
