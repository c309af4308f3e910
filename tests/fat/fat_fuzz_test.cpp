// Randomly corrupted copies of small mtools-made volumes (boot sector, tables, directory slots): the
// type decision, the check and the walk must return on every one, with a bounded tree.
#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "fat_test_support.h"
#include "imagekit/fat_tool_runner.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

std::string makeSmallVolume(int bits) {
  const std::string image = (testing::imageFolder() / ("fuzz-fat" + std::to_string(bits) + ".img")).string();
  fs::remove(image);
  const std::string size = bits == 32 ? "34000" : (bits == 16 ? "4200" : "360");
  std::string error;
  if (!imagekit::runToolChecked({"mkfs.fat", "-C", "-F", std::to_string(bits), "-s", "1", image, size}, error))
    return "";
  const fs::path source = testing::imageFolder() / "fuzz-source.bin";
  std::ofstream(source, std::ios::binary) << std::string(1800, 'x');
  const std::vector<std::vector<std::string>> steps = {
      {"mmd", "-i", image, "::/A folder with a long name"},
      {"mmd", "-i", image, "::/A folder with a long name/Inner"},
      {"mcopy", "-i", image, source.string(), "::/A folder with a long name/first file.txt"},
      {"mcopy", "-i", image, source.string(), "::/A folder with a long name/Inner/SECOND.TXT"},
      {"mcopy", "-i", image, source.string(), "::/third file in the root.bin"},
      {"mcopy", "-i", image, source.string(), "::/GONE.BIN"},
      {"mdel", "-i", image, "::/GONE.BIN"}};
  for (const auto& step : steps)
    if (!imagekit::runToolChecked(step, error)) return "";
  return image;
}

struct Region {
  std::uint64_t start = 0;
  std::uint64_t length = 0;
};

class FuzzVolume : public ::testing::TestWithParam<int> {};

TEST_P(FuzzVolume, EveryCorruptedCopyIsWalkedToAnEnd) {
  if (imagekit::findTool("mkfs.fat").empty() || imagekit::findTool("mcopy").empty())
    GTEST_SKIP() << "mkfs.fat or mtools missing";
  const int bits = GetParam();
  const std::string image = makeSmallVolume(bits);
  ASSERT_FALSE(image.empty());
  const std::uint64_t sectors = fs::file_size(image) / 512;

  // Where the structures lie, from a clean walk.
  auto clean = testing::walkFat(image, 0, sectors);
  ASSERT_EQ(clean.answer, 1);
  const Volume& cv = *clean.volume;
  const std::uint64_t dataStart = cv.fat.u64SaveVolumeStart * 512;
  const std::vector<Region> regions = {
      {0, 512},                                                // boot sector
      {std::uint64_t{cv.fat.u16ReservedSectorCount} * 512, 1024},  // the first table's head
      {std::uint64_t{cv.fat.u32RootDirectoryStart} * 512, 2048},   // root directory
      {dataStart, 16 * 1024}};                                 // folders and file data
  std::fstream file(image, std::ios::in | std::ios::out | std::ios::binary);
  ASSERT_TRUE(file.good());
  static constexpr std::uint8_t kSpecial[] = {0x00, 0xFF, 0xE5, 0x0F, 0x10, 0x20, '.', 0x05, 0x08, 0xF8};

  std::mt19937 random(static_cast<std::uint32_t>(1000 + bits));
  for (int round = 0; round < 200; ++round) {
    std::vector<std::pair<std::uint64_t, char>> saved;
    const int mutations = 1 + static_cast<int>(random() % 8);
    for (int m = 0; m < mutations; ++m) {
      const Region& region = regions[random() % regions.size()];
      const std::uint64_t offset = region.start + random() % region.length;
      char old = 0;
      file.seekg(static_cast<std::streamoff>(offset));
      file.get(old);
      saved.emplace_back(offset, old);
      const auto value =
          static_cast<char>(random() % 2 == 0 ? kSpecial[random() % std::size(kSpecial)] : random() % 256);
      file.seekp(static_cast<std::streamoff>(offset));
      file.put(value);
    }
    file.flush();
    auto walked = testing::walkFat(image, 0, sectors);
    EXPECT_LT(walked.volume->counters.entryCount, 200000u) << "round " << round;
    for (auto it = saved.rbegin(); it != saved.rend(); ++it) {
      file.seekp(static_cast<std::streamoff>(it->first));
      file.put(it->second);
    }
    file.flush();
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, FuzzVolume, ::testing::Values(12, 16, 32));

}  // namespace
}  // namespace nua
