// The UDIF trailer, block table and property list parsers: a good decode, every truncation failing
// cleanly, and each validated field out of range.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "container/udif_block_table.h"
#include "container/udif_resource_list.h"
#include "container/udif_trailer.h"

namespace nua {
namespace {

std::vector<std::byte> goodTrailer() {
  std::vector<std::byte> t(kUdifTrailerSize);
  putBe32(t, 0, kUdifTrailerSignature);
  putBe32(t, 4, 4);
  putBe32(t, 8, 512);
  putBe64(t, 32, 5000);
  putBe32(t, 60, 1);
  putBe64(t, 216, 5000);
  putBe64(t, 224, 700);
  putBe64(t, 492, 8192);
  return t;
}

TEST(UdifTrailerTest, DecodesTheFieldsAtTheirOffsets) {
  const auto parsed = parseUdifTrailer(goodTrailer());
  ASSERT_TRUE(std::holds_alternative<UdifTrailer>(parsed));
  const auto& t = std::get<UdifTrailer>(parsed);
  EXPECT_EQ(t.dataForkLength, 5000u);
  EXPECT_EQ(t.xmlOffset, 5000u);
  EXPECT_EQ(t.xmlLength, 700u);
  EXPECT_EQ(t.segmentCount, 1u);
  EXPECT_EQ(t.sectorCount, 8192u);
}

TEST(UdifTrailerTest, EveryTruncationAndBadSignatureOrHeaderSizeFails) {
  const auto good = goodTrailer();
  for (std::size_t length = 0; length < good.size(); ++length)
    EXPECT_TRUE(std::holds_alternative<UdifProblem>(parseUdifTrailer(std::span(good).first(length)))) << length;
  for (const std::size_t offset : {std::size_t{0}, std::size_t{8}}) {
    auto bad = good;
    putBe32(bad, offset, 0x12345678);
    EXPECT_TRUE(std::holds_alternative<UdifProblem>(parseUdifTrailer(bad))) << offset;
  }
}

struct Chunk {
  std::uint32_t type;
  std::uint64_t sector, count, offset, length;
};

std::vector<std::byte> table(std::uint64_t firstSector, std::uint64_t sectors, std::uint64_t dataOffset,
                             const std::vector<Chunk>& chunks) {
  std::vector<std::byte> t(kUdifBlockTableHeaderSize + chunks.size() * kUdifChunkSize);
  putBe32(t, 0, kUdifBlockTableSignature);
  putBe64(t, 8, firstSector);
  putBe64(t, 16, sectors);
  putBe64(t, 24, dataOffset);
  putBe32(t, 200, static_cast<std::uint32_t>(chunks.size()));
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const std::size_t at = kUdifBlockTableHeaderSize + i * kUdifChunkSize;
    putBe32(t, at, chunks[i].type);
    putBe64(t, at + 8, chunks[i].sector);
    putBe64(t, at + 16, chunks[i].count);
    putBe64(t, at + 24, chunks[i].offset);
    putBe64(t, at + 32, chunks[i].length);
  }
  return t;
}

TEST(UdifBlockTableTest, ChunksBecomeAbsoluteAndCommentsAndTheTerminatorEndTheList) {
  const auto bytes = table(100, 30, 1000,
                           {{0x80000005, 0, 20, 0, 77}, {0x7ffffffe, 0, 0, 0, 0}, {0, 20, 10, 77, 0},
                            {0xffffffff, 30, 0, 0, 0}, {1, 0, 30, 0, 15360}});
  const auto parsed = parseUdifBlockTable(bytes, 5000);
  ASSERT_TRUE(std::holds_alternative<UdifBlockTable>(parsed));
  const auto& chunks = std::get<UdifBlockTable>(parsed).chunks;
  ASSERT_EQ(chunks.size(), 2u) << "the comment is skipped and nothing after the terminator is read";
  EXPECT_EQ(chunks[0].sectorNumber, 100u);
  EXPECT_EQ(chunks[0].compressedOffset, 6000u);
  EXPECT_EQ(chunks[1].sectorNumber, 120u);
  EXPECT_EQ(chunks[1].compressedOffset, 6077u);
}

TEST(UdifBlockTableTest, EveryTruncationFailsCleanly) {
  const auto good = table(0, 20, 0, {{1, 0, 10, 0, 5120}, {1, 10, 10, 5120, 5120}});
  for (std::size_t length = 0; length < good.size(); ++length)
    EXPECT_TRUE(std::holds_alternative<UdifProblem>(parseUdifBlockTable(std::span(good).first(length), 0))) << length;
}

TEST(UdifBlockTableTest, FieldsOutOfRangeAreProblems) {
  const struct {
    const char* what;
    std::vector<std::byte> bytes;
  } cases[] = {
      {"chunk past the table's sectors", table(0, 10, 0, {{1, 5, 6, 0, 3072}})},
      {"chunk starting past the table", table(0, 10, 0, {{1, 11, 0, 0, 0}})},
      {"offset sum overflows", table(0, 10, 0, {{1, 0, 10, UINT64_MAX - 4, 5120}})},
      {"table sectors overflow", table(UINT64_MAX - 1, 10, 0, {})},
  };
  for (const auto& c : cases) EXPECT_TRUE(std::holds_alternative<UdifProblem>(parseUdifBlockTable(c.bytes, 0))) << c.what;
  auto lying = table(0, 10, 0, {{1, 0, 10, 0, 5120}});
  putBe32(lying, 200, 1000);
  EXPECT_TRUE(std::holds_alternative<UdifProblem>(parseUdifBlockTable(lying, 0))) << "chunk count past the bytes";
}

TEST(UdifResourceListTest, DecodesEachBlkxDataInOrder) {
  const std::string list =
      "<plist><dict><key>resource-fork</key><dict><key>blkx</key><array>"
      "<dict><key>Data</key><data>\n\tbWlz\n\taA==\n</data><key>Name</key><string>a</string></dict>"
      "<dict><key>Data</key><data>AAEC</data></dict></array></dict></dict></plist>";
  const auto parsed = parseUdifBlockTableList(list);
  ASSERT_TRUE(std::holds_alternative<std::vector<std::vector<std::byte>>>(parsed));
  const auto& tables = std::get<std::vector<std::vector<std::byte>>>(parsed);
  ASSERT_EQ(tables.size(), 2u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(tables[0].data()), tables[0].size()), "mish");
  EXPECT_EQ(tables[1], (std::vector<std::byte>{std::byte{0}, std::byte{1}, std::byte{2}}));
}

TEST(UdifResourceListTest, MissingOrDamagedListsAreProblems) {
  for (const char* list : {"<plist></plist>", "<key>blkx</key><array><key>Data</key><data>AAEC",
                           "<key>blkx</key><array></array>", "<key>blkx</key><array><key>Data</key><data>A*B</data></array>",
                           "<key>blkx</key><array><key>Data</key>"}) {
    EXPECT_TRUE(std::holds_alternative<UdifProblem>(parseUdifBlockTableList(list))) << list;
  }
}

// Random and mutated bytes: the parsers only have to return.
TEST(UdifParsersRobustnessTest, RandomAndMutatedInputsReturn) {
  std::mt19937 random(2027);
  const auto goodTable = table(0, 20, 0, {{0x80000005, 0, 10, 0, 100}, {1, 10, 10, 100, 5120}});
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::byte> bytes = round % 2 ? goodTrailer() : goodTable;
    for (int flips = 1 + static_cast<int>(random() % 8); flips > 0; --flips)
      bytes[random() % bytes.size()] = static_cast<std::byte>(random());
    bytes.resize(random() % (bytes.size() + 1));
    (void)parseUdifTrailer(bytes);
    (void)parseUdifBlockTable(bytes, random());
    (void)parseUdifBlockTableList(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
}

}  // namespace
}  // namespace nua
