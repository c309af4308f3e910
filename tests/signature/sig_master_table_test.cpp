// The master table of file types: its syntax, and the authored rows checked against the first bytes
// of each format as its public definition gives them, the rules the checks impose on order, and
// the coverage of every check and file check class.
#include "signature/sig_master_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "signature/sig_data_store.h"

namespace nua {
namespace {

std::string readText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

const SigMasterTable& shippedTable() {
  static const SigMasterTable table = parseSigMasterTable(readText(NUA_TEST_SIG_MASTER));
  return table;
}

std::vector<std::shared_ptr<SigNode>> leavesOf(const SigRootArray& root) {
  std::vector<std::shared_ptr<SigNode>> leaves;
  for (const auto& category : root) {
    for (const auto& leaf : category->children.value_or(std::vector<std::shared_ptr<SigNode>>{})) leaves.push_back(leaf);
  }
  return leaves;
}

struct SyntaxCase {
  const char* name;
  const char* line;
  const char* reasonPart;
};

class SigMasterTableSyntax : public ::testing::TestWithParam<SyntaxCase> {};

TEST_P(SigMasterTableSyntax, MalformedLinesAreNamed) {
  const auto table = parseSigMasterTable(std::string("# comment\n\n") + GetParam().line + "\n");
  ASSERT_FALSE(table.ok());
  EXPECT_TRUE(table.rows.empty());
  EXPECT_NE(table.reason.find("line 3"), std::string::npos) << table.reason;
  EXPECT_NE(table.reason.find(GetParam().reasonPart), std::string::npos) << table.reason;
}

INSTANTIATE_TEST_SUITE_P(
    Lines, SigMasterTableSyntax,
    ::testing::Values(SyntaxCase{"FewFields", "Images | JPEG | jpg | 0", "10 fields"},
                      SyntaxCase{"Offset", "Images | JPEG | jpg | 1025 | FF | 20 | 3 | 1 | 1 | d", "offset"},
                      SyntaxCase{"OddHex", "Images | JPEG | jpg | 0 | FF D | 20 | 3 | 1 | 1 | d", "header"},
                      SyntaxCase{"NineBytes", "Images | JPEG | jpg | 0 | 01 02 03 04 05 06 07 08 09 | 20 | 3 | 1 | 1 | d", "header"},
                      SyntaxCase{"Size", "Images | JPEG | jpg | 0 | FF | 0 | 3 | 1 | 1 | d", "default size"},
                      SyntaxCase{"Type", "Images | JPEG | jpg | 0 | FF | 20 | x | 1 | 1 | d", "typeOfFile"},
                      SyntaxCase{"Nowhere", "Images | JPEG | jpg | 0 | FF | 20 | - | - | - | d", "none of the three"},
                      SyntaxCase{"NoDefinition", "Images | JPEG | jpg | 0 | FF | 20 | 3 | 1 | 1 | ", "definition"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(SigMasterTable, BuildsCategoriesInOrderWithPreInstalledRows) {
  const auto table = parseSigMasterTable(
      "B | Two | two | 4 | 61 62 | 5 | 0 | - | 9 | d\n"
      "A | One | one | 0 | 49 44 | 7 | 16 | 1 | - | \"#!\" quoted\n"
      "B | Three | thr | 0 | 01 | 9 | 2 | 2 | 2 | d\n");
  ASSERT_TRUE(table.ok()) << table.reason;
  const auto fr = buildSigRootArray(table, SigDataFile::kFR);
  ASSERT_EQ(fr.size(), 2u);
  EXPECT_EQ(fr[0]->category, "B");
  ASSERT_EQ(fr[0]->children->size(), 2u);
  const Sig& one = *(*fr[1]->children)[0]->sig;
  EXPECT_EQ(one.header, 18756u);
  EXPECT_EQ(one.headerLength, 2);
  EXPECT_EQ(one.categoryID, 2);
  EXPECT_TRUE(one.preInstalled);
  EXPECT_EQ((*fr[1]->children)[0]->parent, fr[1].get());
  EXPECT_EQ(buildSigRootArray(table, SigDataFile::kPR).size(), 2u);
  EXPECT_EQ(buildSigRootArray(table, SigDataFile::kAL)[0]->children->size(), 2u);
}

// First bytes of a file of each format, written down from the format's definition.
const std::map<std::string, std::vector<std::uint8_t>>& samples() {
  static const std::map<std::string, std::vector<std::uint8_t>> bytes = {
      {"JPEG Image", {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0x00}},
      {"PNG Image", {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 0x0D, 'I', 'H', 'D', 'R'}},
      {"GIF Image", {'G', 'I', 'F', '8', '9', 'a', 0x01, 0x00}},
      {"Windows Bitmap Image", {'B', 'M', 0x46, 0, 0, 0, 0, 0, 0, 0, 0x36, 0, 0, 0}},
      {"TIFF Image (Intel byte order)", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"TIFF Image (Motorola byte order)", {'M', 'M', 0x00, 0x2A, 0, 0, 0, 0x08}},
      {"Photoshop Image", {'8', 'B', 'P', 'S', 0x00, 0x01, 0, 0, 0, 0, 0, 0}},
      {"Apple Icon Image", {'i', 'c', 'n', 's', 0x00, 0x00, 0x10, 0x00}},
      {"Canon CR2 RAW", {'I', 'I', 0x2A, 0x00, 0x10, 0, 0, 0, 'C', 'R', 0x02, 0x00}},
      {"Nikon NEF RAW", {'M', 'M', 0x00, 0x2A, 0, 0, 0, 0x08}},
      {"Nikon NEF RAW (Intel byte order)", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"Sony ARW RAW", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"Sony SR2 RAW", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"Minolta MRW RAW", {0x00, 'M', 'R', 'M', 0x00, 0x01, 0x2C, 0x00}},
      {"Olympus ORF RAW", {'I', 'I', 'R', 'O', 0x08, 0, 0, 0}},
      {"Olympus ORF RAW (RS)", {'I', 'I', 'R', 'S', 0x08, 0, 0, 0}},
      {"Kodak KDC RAW", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"Kodak K25 RAW", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"Kodak DCR RAW", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"Pentax PEF RAW", {'M', 'M', 0x00, 0x2A, 0, 0, 0, 0x08}},
      {"Adobe DNG RAW", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"Canon CRW RAW", {'I', 'I', 0x1A, 0x00, 0x00, 0x00, 'H', 'E', 'A', 'P', 'C', 'C', 'D', 'R', 0x02, 0x00}},
      {"Fujifilm RAF RAW", {'F', 'U', 'J', 'I', 'F', 'I', 'L', 'M', 'C', 'C', 'D', '-', 'R', 'A', 'W', ' '}},
      {"Sigma X3F RAW", {'F', 'O', 'V', 'b', 0x00, 0x00, 0x02, 0x00}},
      {"Panasonic RAW", {'I', 'I', 0x55, 0x00, 0x18, 0, 0, 0}},
      {"Leica RAW", {'I', 'I', 0x55, 0x00, 0x18, 0, 0, 0}},
      {"Hasselblad 3FR RAW", {'I', 'I', 0x2A, 0x00, 0x08, 0, 0, 0}},
      {"WAV Audio", {'R', 'I', 'F', 'F', 0x24, 0x08, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' '}},
      {"MP3 Audio", {'I', 'D', '3', 0x03, 0x00, 0x00, 0, 0, 0x02, 0x01}},
      {"AIFF Audio", {'F', 'O', 'R', 'M', 0, 0, 0x10, 0x2E, 'A', 'I', 'F', 'F', 'C', 'O', 'M', 'M'}},
      {"AIFF-C Audio", {'F', 'O', 'R', 'M', 0, 0, 0x10, 0x2E, 'A', 'I', 'F', 'C', 'F', 'V', 'E', 'R'}},
      {"MIDI Audio", {'M', 'T', 'h', 'd', 0, 0, 0, 0x06, 0x00, 0x01, 0x00, 0x02}},
      {"AMR Audio", {'#', '!', 'A', 'M', 'R', 0x0A, 0x3C}},
      {"RealAudio", {'.', 'r', 'a', 0xFD, 0x00, 0x04}},
      {"M4A Audio", {0, 0, 0, 0x20, 'f', 't', 'y', 'p', 'M', '4', 'A', ' ', 0, 0, 0, 0}},
      {"M4B Audiobook", {0, 0, 0, 0x20, 'f', 't', 'y', 'p', 'M', '4', 'B', ' ', 0, 0, 0, 0}},
      {"AVI Video", {'R', 'I', 'F', 'F', 0x00, 0x10, 0, 0, 'A', 'V', 'I', ' ', 'L', 'I', 'S', 'T'}},
      {"MPEG Video", {0x00, 0x00, 0x01, 0xBA, 0x44, 0x00, 0x04, 0x00}},
      {"MPEG Video Stream", {0x00, 0x00, 0x01, 0xB3, 0x16, 0x00, 0xF0, 0x13}},
      {"MPEG-4 Video", {0, 0, 0, 0x18, 'f', 't', 'y', 'p', 'm', 'p', '4', '2', 0, 0, 0, 0}},
      {"3GPP Video", {0, 0, 0, 0x14, 'f', 't', 'y', 'p', '3', 'g', 'p', '4', 0, 0, 0x02, 0}},
      {"3GPP2 Video", {0, 0, 0, 0x14, 'f', 't', 'y', 'p', '3', 'g', '2', 'a', 0, 0, 0, 0}},
      {"M4V Video", {0, 0, 0, 0x1C, 'f', 't', 'y', 'p', 'M', '4', 'V', ' ', 0, 0, 0, 0x01}},
      {"QuickTime Movie", {0, 0, 0, 0x14, 'f', 't', 'y', 'p', 'q', 't', ' ', ' ', 0x20, 0x05, 0x03, 0}},
      {"QuickTime Movie (moov first)", {0, 0, 0x10, 0x00, 'm', 'o', 'o', 'v', 0, 0, 0, 0x6C, 'm', 'v', 'h', 'd'}},
      {"QuickTime Movie (mdat first)", {0, 0x10, 0, 0, 'm', 'd', 'a', 't'}},
      {"QuickTime Movie (wide first)", {0, 0, 0, 0x08, 'w', 'i', 'd', 'e', 0, 0x10, 0, 0, 'm', 'd', 'a', 't'}},
      {"QuickTime Movie (pnot first)", {0, 0, 0, 0x14, 'p', 'n', 'o', 't', 0, 0, 0, 0}},
      {"RealMedia Video", {'.', 'R', 'M', 'F', 0, 0, 0, 0x12, 0, 0x01}},
      {"AVCHD Video", {0, 0, 0, 0, 0x47, 0x40, 0x00, 0x10, 0x00, 0x00, 0xB0, 0x11}},
      {"PDF Document", {'%', 'P', 'D', 'F', '-', '1', '.', '4', 0x0A}},
      {"Rich Text Document", {'{', '\\', 'r', 't', 'f', '1', '\\', 'a', 'n', 's', 'i'}},
      {"Microsoft Office Document", {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1, 0, 0}},
      {"Adobe InDesign Document",
       {0x06, 0x06, 0xED, 0xF5, 0xD8, 0x1D, 0x46, 0xE5, 0xBD, 0x31, 0xEF, 0xE7, 0xFE, 0x74, 0xB7, 0x1D}},
      {"ZIP Archive", {'P', 'K', 0x03, 0x04, 0x14, 0x00, 0x00, 0x00}},
      {"RAR Archive", {'R', 'a', 'r', '!', 0x1A, 0x07, 0x00, 0xCF, 0x90, 0x73}},
  };
  return bytes;
}

TEST(SigMasterTable, ShippedTableParses) {
  ASSERT_TRUE(shippedTable().ok()) << shippedTable().reason;
  EXPECT_GT(shippedTable().rows.size(), 50u);
}

TEST(SigMasterTable, EveryRowsHeaderStandsAtItsOffsetInASampleOfItsFormat) {
  for (const auto& row : shippedTable().rows) {
    const auto sample = samples().find(row.software);
    ASSERT_NE(sample, samples().end()) << "no sample bytes for \"" << row.software << "\" (line " << row.line << ")";
    const auto& bytes = sample->second;
    ASSERT_LE(row.offset + row.headerBytes.size(), bytes.size()) << row.software;
    EXPECT_TRUE(std::equal(row.headerBytes.begin(), row.headerBytes.end(), bytes.begin() + row.offset))
        << row.software << " (line " << row.line << ")";
  }
}

// Checks that can turn a find down; a row after one whose check always accepts is never tried.
bool checkCanAnswerFalse(std::uint32_t typeOfFile) {
  static const std::set<std::uint32_t> canFail = {2, 3, 5, 6, 8, 9, 10, 13, 16, 17, 20, 23, 25, 28, 30, 47};
  return canFail.count(typeOfFile) != 0 || (typeOfFile >= 32 && typeOfFile <= 46);
}

class SigDataFileRows : public ::testing::TestWithParam<SigDataFile> {
 protected:
  SigRootArray root = buildSigRootArray(shippedTable(), GetParam());
  std::vector<std::shared_ptr<SigNode>> leaves = leavesOf(root);

  [[nodiscard]] std::ptrdiff_t firstIndex(const std::string& extension) const {
    const auto it = std::find_if(leaves.begin(), leaves.end(), [&](const auto& l) { return l->sig->extension == extension; });
    return it == leaves.end() ? -1 : it - leaves.begin();
  }
};

TEST_P(SigDataFileRows, SharedHeadersPutTheChecksThatCanSayNoFirst) {
  // Rows meet in the scan's tables in catalog order: same offset, length and header form one entry.
  std::map<std::tuple<std::uint16_t, std::uint8_t, std::uint64_t>, std::vector<const Sig*>> groups;
  for (const auto& leaf : leaves) {
    if (leaf->sig->typeOfFile == 1) continue;  // served by a file check class, not by the tables
    groups[{leaf->sig->offset, leaf->sig->headerLength, leaf->sig->header}].push_back(leaf->sig.get());
  }
  for (const auto& [key, rows] : groups) {
    for (std::size_t i = 0; i + 1 < rows.size(); ++i) {
      EXPECT_TRUE(checkCanAnswerFalse(rows[i]->typeOfFile))
          << "\"" << rows[i]->software << "\" always accepts, so \"" << rows[i + 1]->software << "\" is never tried";
    }
  }
  EXPECT_LT(firstIndex("wav"), firstIndex("avi"));
  EXPECT_LT(firstIndex("mp4"), firstIndex("3gp"));
  EXPECT_LT(firstIndex("mp4"), firstIndex("mov"));
}

TEST_P(SigDataFileRows, FieldsStayInsideTheirLimitsAndNamesAreUnique) {
  std::set<std::pair<std::string, std::string>> names;
  for (const auto& leaf : leaves) {
    const Sig& s = *leaf->sig;
    EXPECT_LE(s.offset, 1024);
    EXPECT_GE(s.headerLength, 1);
    EXPECT_LE(s.headerLength, 8);
    EXPECT_GT(s.defaultSize, 0u);
    EXPECT_LT(static_cast<std::uint64_t>(s.defaultSize) << 20, 1ull << 32) << s.software;  // narrowed to 32 bits
    EXPECT_EQ(s.extension, [&] { std::string e = s.extension; for (auto& c : e) c = static_cast<char>(std::tolower(c)); return e; }());
    EXPECT_TRUE(names.insert({s.category, s.software}).second) << s.software;
  }
}

TEST_P(SigDataFileRows, TheMp3RowIsTheTwoBytesID) {
  const auto index = firstIndex("mp3");
  ASSERT_GE(index, 0);
  const Sig& mp3 = *leaves[static_cast<std::size_t>(index)]->sig;
  EXPECT_EQ(mp3.offset, 0);
  EXPECT_EQ(mp3.headerLength, 2);
  EXPECT_EQ(mp3.header, 18756u);
  EXPECT_EQ(mp3.typeOfFile, GetParam() == SigDataFile::kFR ? 16u : 1u);
}

TEST_P(SigDataFileRows, GeneratedFilesHoldExactlyTheTable) {
  const std::string name = kSigDataFileNames[static_cast<std::size_t>(GetParam())];
  for (const std::string& file : {name, name + "_backup"}) {
    SigDataStore store(SigDataPaths{NUA_TEST_SIG_DATA_DIR, {}});
    const auto loaded = store.read(file);
    ASSERT_TRUE(loaded.ok()) << file << ": " << loaded.reason;
    EXPECT_EQ(encodeSigRootArray(*loaded.root), encodeSigRootArray(root)) << file;
  }
}

INSTANTIATE_TEST_SUITE_P(AllThree, SigDataFileRows,
                         ::testing::Values(SigDataFile::kFR, SigDataFile::kPR, SigDataFile::kAL),
                         [](const auto& p) { return std::string(kSigDataFileNames[static_cast<std::size_t>(p.param)]); });

std::set<std::uint32_t> typesIn(SigDataFile file) {
  std::set<std::uint32_t> types;
  for (const auto& leaf : leavesOf(buildSigRootArray(shippedTable(), file))) types.insert(leaf->sig->typeOfFile);
  return types;
}

TEST(SigMasterTable, FileRecoveryCarriesEverySignatureCheckWithAKnownHeader) {
  // 32 to 46 (Outlook 2011 records) have no published header and are left out.
  const std::set<std::uint32_t> expected = {2,  3,  4,  5,  6,  8,  9,  10, 11, 12, 13, 14, 15, 16,
                                            17, 18, 19, 20, 21, 23, 24, 25, 26, 27, 28, 30, 31, 47};
  EXPECT_EQ(typesIn(SigDataFile::kFR), expected);
  const auto all = typesIn(SigDataFile::kAL);
  for (std::uint32_t t : {1u, 20u, 21u, 23u, 24u, 25u, 30u, 31u, 47u}) EXPECT_TRUE(all.count(t)) << t;
  EXPECT_EQ(typesIn(SigDataFile::kPR), (std::set<std::uint32_t>{1, 20, 31}));
}

TEST(SigMasterTable, PhotoAndAllDriveFilesCarryEveryFileCheckClass) {
  const std::vector<std::string> classes = {"mpg", "mrw", "amr", "ra",  "rm",  "psd", "bmp", "raf", "x3f", "aif",
                                            "gif", "mp3", "arw", "sr2", "kdc", "k25", "dcr", "pef", "dng", "cr2",
                                            "nef", "tif", "orf", "3fr", "crw", "mid", "avi", "wav", "png", "jpg",
                                            "mov", "mp4", "m4a", "m4b", "m4v", "3gp", "3g2"};
  for (SigDataFile file : {SigDataFile::kPR, SigDataFile::kAL}) {
    const auto leaves = leavesOf(buildSigRootArray(shippedTable(), file));
    const auto has = [&](const std::string& ext, const std::string& prefix) {
      return std::any_of(leaves.begin(), leaves.end(), [&](const auto& l) {
        return l->sig->typeOfFile == 1 && l->sig->extension == ext && l->sig->software.rfind(prefix, 0) == 0;
      });
    };
    for (const auto& ext : classes) EXPECT_TRUE(has(ext, "")) << ext;
    EXPECT_TRUE(has("raw", "Panasonic"));
    EXPECT_TRUE(has("raw", "Leica"));
  }
}

}  // namespace
}  // namespace nua
