// What the first sectors of a source say about its layout.
#include "media/source_probe.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "base/bytes.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

struct Case {
  const char* name;
  std::size_t offset;
  std::vector<std::uint8_t> bytes;
  std::uint32_t sectorSize;
  const char* layout;
};

class Layouts : public ::testing::TestWithParam<Case> {};

TEST_P(Layouts, AreToldFromTheFirstSectors) {
  const Case& c = GetParam();
  std::vector<char> image(16384, 0);
  for (std::size_t i = 0; i < c.bytes.size(); ++i) image[c.offset + i] = static_cast<char>(c.bytes[i]);
  if (std::string(c.layout) == "MBR" || std::string(c.layout) == "GPT" || std::string(c.layout) == "FAT" ||
      std::string(c.layout) == "exFAT") {
    // The boot signature closes the sector the text is in.
    const std::size_t sectorEnd = c.offset / 512 * 512 + 510;
    image[sectorEnd] = 0x55;
    image[sectorEnd + 1] = static_cast<char>(0xAA);
  }
  const fs::path path = fs::temp_directory_path() / ("nua-probe-" + std::to_string(::getpid()) + c.name);
  std::ofstream(path, std::ios::binary).write(image.data(), static_cast<std::streamsize>(image.size()));
  const Dict d = describeSource(path, c.sectorSize);
  fs::remove(path);
  EXPECT_EQ(d.string("Layout"), c.layout);
  EXPECT_EQ(d.uint64("Size"), 16384u);
  EXPECT_FALSE(d.boolean("Block Device"));
}

INSTANTIATE_TEST_SUITE_P(
    Sources, Layouts,
    ::testing::Values(Case{"gpt", 512, {'E', 'F', 'I', ' ', 'P', 'A', 'R', 'T'}, 512, "GPT"},
                      Case{"gpt4k", 4096, {'E', 'F', 'I', ' ', 'P', 'A', 'R', 'T'}, 4096, "GPT"},
                      Case{"hfsplus", 1024, {'H', '+', 0, 4}, 512, "HFS+"},
                      Case{"hfsx", 1024, {'H', 'X', 0, 5}, 512, "HFSX"},
                      Case{"wrapper", 1024, {'B', 'D'}, 512, "HFS wrapper"},
                      Case{"fat32", 82, {'F', 'A', 'T', '3', '2'}, 512, "FAT"},
                      Case{"exfat", 3, {'E', 'X', 'F', 'A', 'T', ' ', ' ', ' '}, 512, "exFAT"},
                      Case{"exfatBackup", 12 * 512 + 3, {'E', 'X', 'F', 'A', 'T', ' ', ' ', ' '}, 512, "exFAT"},
                      Case{"mbr", 446, {0x80}, 512, "MBR"},
                      Case{"empty", 0, {}, 512, "unknown"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(SourceProbe, NamesWhyASourceCannotBeOpened) {
  const Dict d = describeSource("/nonexistent/nua/disk.img");
  EXPECT_EQ(d.string("Error"), "No such file or directory");
}

}  // namespace
}  // namespace nua
