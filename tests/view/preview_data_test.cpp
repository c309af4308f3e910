// Gathering an entry's bytes for a preview: the size limit, the soft stop past it, failures, the tail
// of the last block, and the first block as text.
#include "view/preview_data.h"

#include <gtest/gtest.h>

#include <cstring>

namespace nua {
namespace {

constexpr std::uint32_t kSector = 512;
constexpr std::uint8_t kSectorsPerBlock = 8;
constexpr std::uint64_t kBlock = kSector * kSectorsPerBlock;
constexpr std::uint64_t kVolumeStart = 3;

std::byte byteAt(std::uint64_t offset) { return static_cast<std::byte>((offset * 131 + (offset >> 9)) & 0xFF); }

// A source of made-up bytes with a read that can be set to fail; counts the reads.
struct FakeSource {
  std::uint64_t failAtSector = UINT64_MAX;
  int reads = 0;
  PreviewSource source() {
    return {[this](std::uint64_t sector, std::int32_t count, std::span<std::byte> buffer) {
              ++reads;
              if (sector <= failAtSector && failAtSector < sector + static_cast<std::uint64_t>(count)) return false;
              const std::uint64_t start = sector * kSector;
              for (std::size_t i = 0; i < static_cast<std::size_t>(count) * kSector; ++i) buffer[i] = byteAt(start + i);
              return true;
            },
            kSector, kVolumeStart};
  }
};

PreviewEntry entryOf(std::uint64_t fileSize, std::vector<ExtP> extents) {
  return {fileSize, 16, kSectorsPerBlock, std::move(extents)};
}

std::uint64_t offsetOfBlock(const PreviewEntry& entry, std::uint64_t block) {
  return (kVolumeStart + entry.blockBaseSector + block * kSectorsPerBlock) * kSector;
}

// The bytes the extents hold, in order, as the gathering should deliver them (first `bytes`).
bool holdsExtentBytes(const std::vector<std::byte>& data, const PreviewEntry& entry) {
  std::size_t at = 0;
  for (const ExtP& extent : entry.dataExt) {
    const std::uint64_t base = offsetOfBlock(entry, extent.startBlock);
    for (std::uint64_t i = 0; i < extent.blockCount * kBlock && at < data.size(); ++i, ++at) {
      if (data[at] != byteAt(base + i)) return false;
    }
  }
  return at == data.size();
}

struct GatherCase {
  const char* name;
  std::uint64_t fileSize;
  std::vector<ExtP> extents;
  PreviewGatherOutcome outcome;
  std::uint64_t bytes;
};

class PreviewGatherTest : public ::testing::TestWithParam<GatherCase> {};

TEST_P(PreviewGatherTest, ReadsTheExtentsUpToTheirEndOrTheSoftStop) {
  const GatherCase& c = GetParam();
  FakeSource fake;
  std::atomic<bool> abort{false};
  const PreviewEntry entry = entryOf(c.fileSize, c.extents);
  const PreviewGatherResult result = getPreviewData(entry, fake.source(), abort);
  EXPECT_EQ(result.outcome, c.outcome);
  EXPECT_EQ(result.data.size(), c.bytes);
  // Past the limit the rest of an extent follows its first chunks with a gap: only sizes are compared.
  if (c.outcome == PreviewGatherOutcome::kLoaded && c.bytes < kPreviewSizeLimit) {
    EXPECT_TRUE(holdsExtentBytes(result.data, entry));
  }
}

constexpr std::uint64_t kChunk = 8 * kBlock;
constexpr std::uint64_t kChunksToPassTheLimit = 50000000 / kChunk + 1;  // 1526 chunks: 50,003,968 bytes

INSTANTIATE_TEST_SUITE_P(
    Cases, PreviewGatherTest,
    ::testing::Values(
        GatherCase{"NoExtentsIsEmptyAndLoaded", 5000, {}, PreviewGatherOutcome::kLoaded, 0},
        GatherCase{"NineBlocksAreAChunkAndATail", 8 * kBlock + 100, {{40, 9}}, PreviewGatherOutcome::kLoaded,
                   8 * kBlock + 100},
        GatherCase{"EightBlocksGoOneByOne", 7 * kBlock + 1, {{40, 8}}, PreviewGatherOutcome::kLoaded, 7 * kBlock + 1},
        GatherCase{"TwoExtentsThreeAndFive", 7 * kBlock + 5, {{100, 3}, {7, 5}}, PreviewGatherOutcome::kLoaded,
                   7 * kBlock + 5},
        // A tail past the last block (extents shorter than the size) takes the block, nothing beyond it.
        GatherCase{"TailLongerThanTheBlockTakesTheBlock", 5 * kBlock, {{1, 2}}, PreviewGatherOutcome::kLoaded,
                   2 * kBlock},
        GatherCase{"TailBelowOneAborts", 100, {{1, 2}}, PreviewGatherOutcome::kAborted, kBlock},
        GatherCase{"JustBelowTheLimit", 49999999, {{1000, (49999999 + kBlock - 1) / kBlock}},
                   PreviewGatherOutcome::kLoaded, 49999999},
        // Past the limit the chunks of the extent stop; its rest of 4 blocks is still read, then the end.
        GatherCase{"SoftStopReadsTheRestOfTheExtent", 10000, {{0, 12300}, {20000, 16}}, PreviewGatherOutcome::kLoaded,
                   kChunksToPassTheLimit * kChunk + 4 * kBlock},
        // No rest: the next extent reads one more chunk, the last extent one block with its tail.
        GatherCase{"SoftStopWithoutRestPassesOn", 12320 * kBlock + 100, {{0, 12304}, {20000, 16}, {30000, 1}},
                   PreviewGatherOutcome::kLoaded, (kChunksToPassTheLimit + 1) * kChunk + 100},
        // In the block-by-block end of the last extent the reading ends after one block.
        GatherCase{"SoftStopInTheLastExtentEndsAtOnce", 12300 * kBlock, {{0, 12300}}, PreviewGatherOutcome::kLoaded,
                   kChunksToPassTheLimit * kChunk + kBlock}),
    [](const ::testing::TestParamInfo<GatherCase>& param) { return std::string(param.param.name); });

TEST(PreviewGatherFailureTest, AReadFailureGivesNoData) {
  FakeSource fake;
  const PreviewEntry entry = entryOf(20 * kBlock, {{10, 20}});
  fake.failAtSector = kVolumeStart + entry.blockBaseSector + 12 * kSectorsPerBlock;
  std::atomic<bool> abort{false};
  const PreviewGatherResult result = getPreviewData(entry, fake.source(), abort);
  EXPECT_EQ(result.outcome, PreviewGatherOutcome::kReadFailed);
  EXPECT_TRUE(result.data.empty());
  EXPECT_EQ(fake.reads, 1);  // the first chunk held the bad sector: nothing further was read
}

TEST(PreviewGatherFailureTest, ABlockWithoutSectorsOrAnAbortStopsBeforeReading) {
  FakeSource fake;
  std::atomic<bool> abort{false};
  PreviewEntry entry = entryOf(kBlock, {{1, 1}});
  entry.sectorsPerBlock = 0;
  EXPECT_EQ(getPreviewData(entry, fake.source(), abort).outcome, PreviewGatherOutcome::kAborted);
  EXPECT_TRUE(abort);
  entry.sectorsPerBlock = kSectorsPerBlock;
  EXPECT_EQ(getPreviewData(entry, fake.source(), abort).outcome, PreviewGatherOutcome::kAborted);
  EXPECT_EQ(fake.reads, 0);
}

std::vector<std::byte> bytesOf(std::string_view text) {
  std::vector<std::byte> bytes(text.size());
  std::memcpy(bytes.data(), text.data(), text.size());
  return bytes;
}

TEST(PreviewTextTest, PrintableBytesStayOthersAreDotsCutAtTheSizeAndBeforeTheLastByte) {
  EXPECT_EQ(previewTextOfBlock(bytesOf("ab\x01\x7f\x80~ Z"), 100), "ab...~ ");
  EXPECT_EQ(previewTextOfBlock(bytesOf("hello world"), 5), "hello");
  EXPECT_EQ(previewTextOfBlock(bytesOf("tab\there"), 0), "");
  EXPECT_EQ(previewTextOfBlock({}, 10), "");
}

TEST(PreviewTextTest, OnlyTheFirstBlockOfTheFirstExtentIsShown) {
  FakeSource fake;
  const PreviewEntry entry = entryOf(3 * kBlock, {{5, 3}});
  const std::optional<std::string> text = previewTextData(entry, fake.source());
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text->size(), kBlock - 1);
  const std::uint64_t base = offsetOfBlock(entry, 5);
  for (std::size_t i = 0; i < text->size(); ++i) {
    const auto c = static_cast<unsigned char>(byteAt(base + i));
    ASSERT_EQ((*text)[i], c < 32 || c > 126 ? '.' : static_cast<char>(c)) << i;
  }
  EXPECT_FALSE(previewTextData(entryOf(10, {}), fake.source()).has_value());
  fake.failAtSector = kVolumeStart + entry.blockBaseSector + 5 * kSectorsPerBlock;
  EXPECT_FALSE(previewTextData(entry, fake.source()).has_value());
}

}  // namespace
}  // namespace nua
