// Random and mutated bytes through the dispatch under every type: each check must return, within the
// source, whatever the bytes say. Runs under the sanitizers in CI.
#include <gtest/gtest.h>

#include <random>

#include "format_test_support.h"
#include "formats/format_dispatch.h"
#include "formats/image_probe.h"

namespace nua::formats {
namespace {

using test::Bytes;

// Seeds of real headers that the mutations start from, so the walks get past their first tests.
std::vector<Bytes> seeds() {
  std::vector<Bytes> s;
  s.push_back(Bytes().u8(0, 0xFF).u8(1, 0xD8).u8(2, 0xFF).u8(3, 0xC0).be16(4, 17).be16(7, 64).be16(9, 64)
                  .u8(21, 0xFF).u8(22, 0xDA).be16(23, 12).u8(300, 0xFF).u8(301, 0xD9));
  s.push_back(Bytes().text(0, "\x89PNG\r\n\x1a\n").be32(8, 13).text(12, "IHDR").be32(16, 9).be32(20, 9).u8(24, 8));
  s.push_back(Bytes().text(0, "GIF89a").u8(10, 0x80).u8(19, 0x2C).u8(29, 0x81));
  s.push_back(Bytes().text(0, "II*").le32(4, 8).le16(8, 3).le16(10, 273).le16(12, 3).le32(14, 2).le16(22, 279));
  s.push_back(Bytes().text(0, "MM").u8(3, '*').be32(4, 8).be16(8, 2).be16(10, 330).be16(12, 4).be32(14, 40).text(600, "SONY NIKON"));
  s.push_back(Bytes().text(0, "PK\3\4").text(400, "PK\5\6").text(900, "\n\n%EOF"));
  s.push_back(Bytes().text(0, "Rar!\x1A\x07").u8(9, 0x73).le16(12, 13).u8(22, 0x74).u8(24, 0x80).le16(25, 40));
  s.push_back(Bytes().be64(0, 0xD0CF11E0A1B11AE1ULL).le32(48, 0).text(1024, "R\0o\0o\0t\0"));
  s.push_back(Bytes().text(0, "{\\rtf1 {{\\NeXTGraphic a.png \\width20 \\height20}}} {\\NeXTGraphic b.gif \\width"));
  s.push_back(Bytes().u8(8, 0xBD).u8(9, 0x31).u8(10, 0xEF).u8(11, 0xE7).u8(12, 0xFE).u8(13, 0x74).u8(14, 0xB7).u8(15, 0x1D)
                  .text(16, "DOCUMENT").u8(24, 2).be32(280, 1).u8(4096 + 8, 0xBD));
  s.push_back(Bytes().text(0, "ID3").be32(6, 20).be32(30, 0xFFFB9000).be32(447, 0xFFFB9000));
  s.push_back(Bytes().text(0, "RIFF").text(8, "WAVE").text(12, "fmt ").le32(16, 16).le16(20, 85).text(36, "data"));
  s.push_back(Bytes().be32(0, 0x000001BA).be32(2048, 0x000001BA).be32(4096, 0x000001BA));
  s.push_back(Bytes().be32(0, 0x000001B3).be16(4, 0x0A00).be32(100, 0x00000100).be32(700, 0x000001B7));
  s.push_back(Bytes().be32(0, 24).text(4, "ftyp").text(8, "M4A ").be32(24, 100).text(28, "moov"));
  s.push_back(Bytes().text(0, "MThd").be32(4, 6).text(14, "MTrk").be32(18, 0xFFFFFFF0));
  return s;
}

TEST(FormatRobustness, RandomAndMutatedBytesUnderEveryTypeReturn) {
  std::mt19937_64 random(20261123);
  const auto seedFiles = seeds();
  for (int round = 0; round < 1500; ++round) {
    Bytes file;
    if (round % 3 == 0) {
      file.resize(512 * (1 + random() % 12));
      for (auto& b : file.data()) b = static_cast<std::byte>(random());
    } else {
      file = seedFiles[random() % seedFiles.size()];
      file.resize(std::max<std::size_t>(file.size(), 512 * (1 + random() % 10)));
      const int flips = 1 + static_cast<int>(random() % 12);
      for (int i = 0; i < flips; ++i) file.data()[random() % file.size()] = static_cast<std::byte>(random());
    }
    // Truncated at the device end: the file fills the source to its last sector.
    auto placed = test::placeFile(file.data(), random() % 3, random() % 4);
    (void)probeImage(file.data());
    for (std::uint32_t type = 0; type <= 48; ++type) {
      FormatRow row = test::rowOfType(type, type == 47 ? "indb" : "x");
      row.defaultSize = static_cast<std::uint32_t>(random() % 3);
      bool skippedOnce = false;
      const std::uint16_t firstTwo = be16(placed.source.bytes(), placed.sector * 512);
      (void)runCheckForSig(placed.source, placed.context, row, firstTwo, skippedOnce, placed.sector);
      // The jump never passes the size (RTF uses skipSize for its picture count instead).
      if (type != 25) {
        EXPECT_LE(row.skipSize, row.foundSize / 512) << "type " << type;
      }
    }
  }
}

TEST(FormatRobustness, TheStopFlagEndsTheLongWalks) {
  std::atomic<bool> stop{false};
  auto placed = test::placeFile(Bytes(4096).data());
  placed.context.stopFlag = &stop;
  FormatRow row = test::rowOfType(31);
  bool skippedOnce = false;
  // Without a mark the packet walk runs to its limit; stopped, it reports where it was.
  ASSERT_TRUE(runCheckForSig(placed.source, placed.context, row, 0, skippedOnce, placed.sector));
  EXPECT_EQ(row.foundSize, 5000000064u);
  stop = true;
  for (std::uint32_t type = 2; type <= 47; ++type) {
    FormatRow stopped = test::rowOfType(type);
    (void)runCheckForSig(placed.source, placed.context, stopped, 0xFFFB, skippedOnce, placed.sector);
    if (type == 31) {
      EXPECT_EQ(stopped.foundSize, 0u);
    }
  }
}

}  // namespace
}  // namespace nua::formats

namespace nua::formats {
namespace {

struct GarbageCase {
  const char* name;
  std::uint32_t typeOfFile;
  test::Bytes header;
};

void PrintTo(const GarbageCase& c, std::ostream* os) { *os << c.name; }

class HeaderFollowedByGarbage : public ::testing::TestWithParam<GarbageCase> {};

// A header match followed by random bytes is no file for the checks that can say no.
TEST_P(HeaderFollowedByGarbage, IsTurnedDown) {
  const auto& c = GetParam();
  std::mt19937_64 random(7);
  for (int trial = 0; trial < 20; ++trial) {
    test::Bytes file(16 * 512);
    for (auto& b : file.data()) b = static_cast<std::byte>(random());
    for (std::size_t i = 0; i < c.header.size(); ++i) file.data()[i] = c.header.data()[i];
    if (c.typeOfFile == 47) {  // the second master page carries the mark too, the walk the garbage
      for (std::size_t i = 0; i < c.header.size(); ++i) file.data()[4096 + i] = c.header.data()[i];
    }
    auto placed = test::placeFile(file.data());
    FormatRow row = test::rowOfType(c.typeOfFile);
    bool skippedOnce = false;
    const std::uint16_t firstTwo = be16(file.data(), 0);
    EXPECT_FALSE(runCheckForSig(placed.source, placed.context, row, firstTwo, skippedOnce, placed.sector))
        << c.name << " trial " << trial;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Families, HeaderFollowedByGarbage,
    ::testing::Values(
        GarbageCase{"png", 6, test::Bytes().text(0, "\x89PNG\r\n\x1a\n")},
        GarbageCase{"tiff", 5, test::Bytes().text(0, "II*").u8(3, 0).le32(4, 8).le16(8, 0xFFFF)},
        GarbageCase{"rar", 23, test::Bytes().text(0, "Rar!\x1A\x07").u8(6, 0).u8(9, 0x73).le16(12, 13).u8(22, 0)},
        GarbageCase{"mp3", 16, test::Bytes().be32(0, 0xFFFB9000).u8(417, 0)},
        GarbageCase{"compound_document", 30, test::Bytes().be64(0, 0xD0CF11E0A1B11AE1ULL).le32(48, 3).le32(2048, 0x12345678)},
        GarbageCase{"indesign", 47, test::Bytes().be64(0, 0x0606EDF5D81D46E5ULL).be64(8, 0xBD31EFE7FE74B71DULL)
                                        .text(16, "DOCUMENT").u8(24, 1).le32(264, 1).le32(280, 1)},
        GarbageCase{"outlook_record", 36, test::Bytes().text(0, "MSCF").be32(4, 77)},
        GarbageCase{"aiff", 28, test::Bytes().text(0, "FORX")},
        GarbageCase{"wav", 13, test::Bytes().text(0, "RIFF").le32(4, 100).text(8, "WAVX")}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

}  // namespace
}  // namespace nua::formats
