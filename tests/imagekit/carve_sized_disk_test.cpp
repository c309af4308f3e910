// The benchmark carve disk at a small size: the image has the size asked for and no unwritten
// sector, every planted file lies at its manifest sector with its hash, and a second make with the
// same seed writes the same bytes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

constexpr std::uint64_t kSizeMiB = 8;

std::vector<std::byte> readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(chars.size());
  std::transform(chars.begin(), chars.end(), bytes.begin(), [](char c) { return static_cast<std::byte>(c); });
  return bytes;
}

class CarveSizedDisk : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() / ("nua-carve-sized-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  bool make(const std::string& name, const std::string& sizeMiB, Manifest& manifest, std::string& error) {
    ScenarioOptions options;
    options.seed = 3;
    options.values["size-mib"] = sizeMiB;
    return findScenario("carve-disk")->make((folder_ / name).string(), options, manifest, error);
  }

  std::filesystem::path folder_;
};

TEST_F(CarveSizedDisk, PlantsEveryFileAtItsSectorBetweenFiller) {
  Manifest manifest;
  std::string error;
  ASSERT_TRUE(make("a.img", std::to_string(kSizeMiB), manifest, error)) << error;
  const std::vector<std::byte> image = readAll((folder_ / "a.img").string());
  ASSERT_EQ(image.size(), kSizeMiB * 1024 * 1024);
  EXPECT_EQ(manifest.imageBytes, image.size());
  const nlohmann::json& planted = manifest.extra["planted"];
  // Files may hold zero sectors of their own (AVI padding); the filler between them never does.
  std::vector<bool> inFile(image.size() / 512);
  for (const nlohmann::json& p : planted) {
    const std::uint64_t first = p["startSector"];
    const std::uint64_t sectors = (p["lengthBytes"].get<std::uint64_t>() + 511) / 512;
    for (std::uint64_t s = first; s < first + sectors && s < inFile.size(); ++s) inFile[s] = true;
  }
  for (std::size_t at = 0; at < image.size(); at += 512) {
    const auto sector = std::span(image).subspan(at, 512);
    if (inFile[at / 512]) continue;
    ASSERT_FALSE(std::all_of(sector.begin(), sector.end(), [](std::byte b) { return b == std::byte{0}; }))
        << "sector " << at / 512 << " was never written";
  }
  ASSERT_GE(planted.size(), 20U);
  std::uint64_t previousEnd = 0;
  std::size_t decoys = 0;
  for (const nlohmann::json& p : planted) {
    const std::uint64_t start = p["startSector"].get<std::uint64_t>() * 512;
    const std::uint64_t length = p["lengthBytes"];
    ASSERT_GE(start, previousEnd) << p["name"];
    ASSERT_LE(length, image.size() - start) << p["name"];
    // A file in two pieces has filler inside its span.
    if (p["state"] != "fragmented") {
      EXPECT_EQ(sha256Hex(std::span(image).subspan(start, length)), p["sha256"]) << p["name"];
    }
    previousEnd = start + length;
    if (p["state"] == "decoy") ++decoys;
  }
  EXPECT_GE(decoys, 1U);

  Manifest again;
  ASSERT_TRUE(make("b.img", std::to_string(kSizeMiB), again, error)) << error;
  EXPECT_EQ(again.extra["planted"], planted);
  EXPECT_TRUE(readAll((folder_ / "b.img").string()) == image);
}

TEST_F(CarveSizedDisk, RefusesASizeTooSmallForOneRound) {
  Manifest manifest;
  std::string error;
  EXPECT_FALSE(make("small.img", "1", manifest, error));
  EXPECT_NE(error.find("size-mib"), std::string::npos) << error;
  EXPECT_FALSE(make("words.img", "big", manifest, error));
}

}  // namespace
}  // namespace nua::imagekit
