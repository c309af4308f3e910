// The dispatch by typeOfFile: the MP3 filter, the InDesign book extension, types without a check, and
// the size a table find is registered with.
#include "formats/format_dispatch.h"

#include <gtest/gtest.h>

#include "formats/format_size.h"
#include "format_test_support.h"

namespace nua::formats {
namespace {

using test::Bytes;
using test::placeFile;

struct FilterCase {
  std::uint16_t firstTwoBytes;
  bool checkRuns;
};

class Mp3Filter : public ::testing::TestWithParam<FilterCase> {};

// A sector whose first two bytes are neither a frame sync, "ID" nor "RI" is turned down without the
// check running, and the flag stays clear so the loop can offer the sector to the other rows.
TEST_P(Mp3Filter, OnlySyncId3OrRiffReachTheCheck) {
  auto placed = placeFile(Bytes(4 * test::kSectorBytes).data());
  FormatRow row = test::rowOfType(16, "mp3");
  bool skippedOnce = false;
  const bool found = runCheckForSig(placed.source, placed.context, row, GetParam().firstTwoBytes, skippedOnce, placed.sector);
  EXPECT_FALSE(found);  // zeros are no MP3 either way
  EXPECT_EQ(skippedOnce, GetParam().checkRuns);
}

INSTANTIATE_TEST_SUITE_P(Headers, Mp3Filter,
                         ::testing::Values(FilterCase{0x0000, false}, FilterCase{0xFFDF, false},
                                           FilterCase{0x4945, false}, FilterCase{0xFFE0, true},
                                           FilterCase{0xFFFB, true}, FilterCase{0x4944, true},
                                           FilterCase{0x5249, true}));

TEST(FormatDispatch, BookExtensionTurnsBackIntoDocumentOnTheNextCall) {
  auto placed = placeFile(Bytes(test::kSectorBytes).data());
  FormatRow row = test::rowOfType(0, "indb");
  bool skippedOnce = false;
  EXPECT_TRUE(runCheckForSig(placed.source, placed.context, row, 0, skippedOnce, placed.sector));
  EXPECT_EQ(row.extension, "indd");
}

TEST(FormatDispatch, TypesWithoutACheckAcceptTheFindAsItStands) {
  for (const std::uint32_t type : {0u, 1u, 7u, 22u, 29u, 48u, 1000u}) {
    EXPECT_FALSE(formatCheckForType(type).has_value()) << type;
    auto placed = placeFile(Bytes(test::kSectorBytes).data());
    FormatRow row = test::rowOfType(type, "xyz");
    bool skippedOnce = false;
    EXPECT_TRUE(runCheckForSig(placed.source, placed.context, row, 0, skippedOnce, placed.sector)) << type;
    EXPECT_EQ(row.foundSize, 0u);
  }
  for (std::uint32_t type = 2; type <= 47; ++type) {
    const bool gap = type == 7 || type == 22 || type == 29;
    EXPECT_EQ(formatCheckForType(type).has_value(), !gap) << type;
  }
}

TEST(FormatDispatch, RunsTheCheckTheTypeNamesAndCopiesTheVerdictToACatalogRow) {
  struct CatalogRow {  // the catalog's field names, as Sig has them
    std::uint32_t typeOfFile = 2;
    std::string extension = "bmp";
    std::uint64_t userSize = 0;
    std::uint32_t defaultSize = 0;
    std::uint64_t foundSize = 0;
    std::uint64_t skipSize = 0;
    bool skipFileSize = false;
  } sig;
  auto placed = placeFile(Bytes().text(0, "BM").le32(2, 1234).resize(1234).data());
  bool skippedOnce = false;
  EXPECT_TRUE(runCheckForSigRow(placed.source, placed.context, sig, 0x424D, skippedOnce, placed.sector));
  EXPECT_EQ(sig.foundSize, 1234u);
  EXPECT_FALSE(sig.skipFileSize);
}

TEST(FormatDispatch, AContextThatDisagreesWithTheSourceOnSectorSizeIsTurnedDown) {
  auto placed = placeFile(Bytes().text(0, "BM").le32(2, 1234).resize(1234).data());
  placed.context.bytesPerSector = 4096;
  FormatRow row = test::rowOfType(2, "bmp");
  bool skippedOnce = false;
  EXPECT_FALSE(runCheckForSig(placed.source, placed.context, row, 0x424D, skippedOnce, placed.sector));
}

struct SizeRuleCase {
  const char* name;
  std::uint64_t foundSize;
  std::uint64_t userSize;
  std::uint32_t defaultSize;
  std::uint64_t expectedBytes;
  std::uint64_t expectedSectors;
};

class TableFindSizeRule : public ::testing::TestWithParam<SizeRuleCase> {};

TEST_P(TableFindSizeRule, FoundSizeBelowTheDeviceElseTheRowsMaximum) {
  const auto& c = GetParam();
  FormatRow row;
  row.foundSize = c.foundSize;
  row.userSize = c.userSize;
  row.defaultSize = c.defaultSize;
  const auto size = tableFindSize(row, 512, 1ull << 30);
  EXPECT_EQ(size.sizeBytes, c.expectedBytes);
  EXPECT_EQ(size.sectorCount, c.expectedSectors);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TableFindSizeRule,
    ::testing::Values(SizeRuleCase{"found", 1000, 5, 6, 1000, 2},
                      SizeRuleCase{"found at the device size", 1ull << 30, 5, 6, 5ull << 20, 10240},
                      SizeRuleCase{"none found, user size wins", 0, 5, 6, 5ull << 20, 10240},
                      SizeRuleCase{"default size", 0, 0, 6, 6ull << 20, 12288},
                      SizeRuleCase{"default size narrowed to 32 bits", 0, 0, 4097, 1ull << 20, 2048},
                      SizeRuleCase{"nothing at all", 0, 0, 0, 0, 0}),
    [](const auto& paramInfo) {
      std::string name = paramInfo.param.name;
      for (char& ch : name) if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
      return name;
    });

}  // namespace
}  // namespace nua::formats
