// Checks the demo's photo files and the demo disk: JPEG and PNG structure in code, decoding by djpeg or
// ImageMagick where installed, and the disk's partitions and FAT volume read back by outside tools.
#include "imagekit/demo_photo.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "base/bytes.h"
#include "imagekit/demo_scenarios.h"
#include "imagekit/fat_tool_runner.h"
#include "imagekit/jpeg_encoder.h"
#include "imagekit/partition_crc32.h"
#include "imagekit/png_encoder.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

std::string scratchPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("nua-demo-test-" + std::to_string(::getpid()) + "-" + name)).string();
}

void save(const std::string& path, const std::vector<std::byte>& bytes) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::uint8_t> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Mean absolute difference between the source pixels and a binary PPM (P6, maxval 255) of the same size.
double ppmDifference(const RgbImage& image, const std::vector<std::uint8_t>& ppm) {
  const std::string text(ppm.begin(), ppm.end());
  std::smatch match;
  if (!std::regex_search(text, match, std::regex(R"(^P6\s+(\d+)\s+(\d+)\s+255\s)"))) return 1e9;
  if (std::stoul(match[1]) != image.width || std::stoul(match[2]) != image.height) return 1e9;
  const std::size_t start = static_cast<std::size_t>(match.length(0));
  if (ppm.size() - start < image.pixels.size()) return 1e9;
  double sum = 0;
  for (std::size_t i = 0; i < image.pixels.size(); ++i) sum += std::abs(int{ppm[start + i]} - int{image.pixels[i]});
  return sum / static_cast<double>(image.pixels.size());
}

TEST(DemoJpeg, HasTheBaselineMarkersAndDecodes) {
  const RgbImage image = makePhoto(100, 75, 3, 6);  // sizes not a multiple of 8 exercise the edge blocks
  const std::vector<std::byte> jpeg = encodeJpeg(image, 85);
  const ByteSpan bytes(jpeg);
  ASSERT_GT(jpeg.size(), 1000U);
  EXPECT_EQ(be16(bytes, 0), 0xFFD8);
  EXPECT_EQ(be16(bytes, 2), 0xFFE0);
  EXPECT_EQ(be16(bytes, jpeg.size() - 2), 0xFFD9);
  EXPECT_TRUE(encodeJpeg(RgbImage{}, 85).empty());
  const std::string path = scratchPath("photo.jpg");
  save(path, jpeg);
  if (!findTool("djpeg").empty()) {
    const std::string ppm = path + ".ppm";
    const ToolRun run = runTool({"djpeg", "-ppm", "-outfile", ppm, path});
    EXPECT_EQ(run.exitCode, 0) << run.output;
    EXPECT_TRUE(run.output.empty()) << run.output;  // djpeg warns about corrupt data on stderr
    EXPECT_LT(ppmDifference(image, readFile(ppm)), 8.0);
    std::filesystem::remove(ppm);
  }
  if (!findTool("identify").empty()) {
    const ToolRun run = runTool({"identify", path});
    EXPECT_NE(run.output.find("JPEG 100x75"), std::string::npos) << run.output;
  }
  std::filesystem::remove(path);
}

TEST(DemoPng, ChunksCarryValidCrcsAndStoredBlocksHoldTheRows) {
  const RgbImage image = makePhoto(181, 130, 4, 0);  // 181 * 3 + 1 bytes a row: several stored blocks
  const std::vector<std::byte> png = encodePng(image);
  const ByteSpan bytes(png);
  ASSERT_GT(png.size(), 8U);
  EXPECT_EQ(be32(bytes, 0), 0x89504E47U);
  std::vector<std::byte> zlib;
  std::vector<std::string> types;
  for (std::size_t at = 8; at + 12 <= png.size();) {
    const std::uint32_t length = be32(bytes, at);
    ASSERT_TRUE(fits(png.size(), at + 8, length + 4));
    types.emplace_back(reinterpret_cast<const char*>(png.data() + at + 4), 4);
    EXPECT_EQ(be32(bytes, at + 8 + length), crc32(bytes.subspan(at + 4, length + 4))) << types.back();
    if (types.back() == "IDAT") zlib.insert(zlib.end(), png.begin() + static_cast<std::ptrdiff_t>(at + 8), png.begin() + static_cast<std::ptrdiff_t>(at + 8 + length));
    at += 12 + length;
  }
  EXPECT_EQ(types, (std::vector<std::string>{"IHDR", "IDAT", "IEND"}));
  std::vector<std::uint8_t> raw;
  const ByteSpan stream(zlib);
  std::size_t at = 2;
  for (int block = 0; block < 100 && at + 5 <= zlib.size(); ++block) {
    const bool last = u8(stream, at) == 1;
    const std::uint16_t length = le16(stream, at + 1);
    EXPECT_EQ(static_cast<std::uint16_t>(~length), le16(stream, at + 3));
    for (std::size_t i = 0; i < length; ++i) raw.push_back(u8(stream, at + 5 + i));
    at += 5 + length;
    if (last) break;
  }
  ASSERT_EQ(raw.size(), (181U * 3 + 1) * 130);
  EXPECT_EQ(raw[0], 0);
  EXPECT_TRUE(std::equal(image.pixels.begin(), image.pixels.begin() + 181 * 3, raw.begin() + 1));
  if (!findTool("identify").empty()) {
    const std::string path = scratchPath("photo.png");
    save(path, png);
    const ToolRun run = runTool({"identify", path});
    EXPECT_NE(run.output.find("PNG 181x130"), std::string::npos) << run.output;
    std::filesystem::remove(path);
  }
}

TEST(DemoDisk, HoldsBothVolumesOfPhotosAsTheManifestSays) {
  if (findTool("mkfs.fat").empty() || findTool("mcopy").empty()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  const Scenario* demo = findScenario("demo");
  ASSERT_NE(demo, nullptr);
  const std::string image = scratchPath("demo.img");
  Manifest manifest;
  std::string error;
  ASSERT_TRUE(demo->make(image, ScenarioOptions{}, manifest, error)) << error;
  EXPECT_LE(manifest.imageBytes, 64U * 1024 * 1024);
  ASSERT_EQ(manifest.volumes.size(), 2U);
  EXPECT_EQ(manifest.volumes[0].fileSystem, "HFS+");
  EXPECT_EQ(manifest.volumes[1].fileSystem, "FAT32");
  std::size_t deleted = 0, live = 0;
  for (const ManifestVolume& volume : manifest.volumes) {
    for (const ManifestEntry& entry : volume.entries) {
      if (entry.folder) continue;
      (entry.deleted ? deleted : live) += 1;
      EXPECT_GE(entry.size, 2000U) << entry.path;
      EXPECT_LE(entry.size, 320000U) << entry.path;
    }
  }
  EXPECT_GE(deleted, 4U);
  EXPECT_GE(live, 6U);

  // Every live FAT photo copied out by mtools hashes as the manifest says and starts like its format.
  const ManifestVolume& fat = manifest.volumes[1];
  const std::string volumeArg = image + "@@" + std::to_string(fat.startSector * 512);
  for (const ManifestEntry& entry : fat.entries) {
    if (entry.folder || entry.deleted) continue;
    const std::string copy = scratchPath("copy.bin");
    const ToolRun run = runTool({"mcopy", "-n", "-i", volumeArg, "::/" + entry.path, copy});
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const std::vector<std::uint8_t> bytes = readFile(copy);
    std::vector<std::byte> asBytes(bytes.size());
    std::transform(bytes.begin(), bytes.end(), asBytes.begin(), [](std::uint8_t b) { return std::byte{b}; });
    EXPECT_EQ(sha256Hex(asBytes), entry.sha256) << entry.path;
    ASSERT_GE(bytes.size(), 4U);
    const bool jpeg = bytes[0] == 0xFF && bytes[1] == 0xD8;
    const bool png = bytes[0] == 0x89 && bytes[1] == 'P';
    EXPECT_TRUE(jpeg || png) << entry.path;
    std::filesystem::remove(copy);
  }
  if (!findTool("mmls").empty()) {
    const ToolRun run = runTool({"mmls", image});
    EXPECT_NE(run.output.find("Family Photos"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("PHOTOS"), std::string::npos) << run.output;
  }
  if (!findTool("fls").empty()) {
    // Sleuth Kit reads the HFS+ catalog: every live photo is listed, no deleted one is live there.
    const ManifestVolume& hfs = manifest.volumes[0];
    const ToolRun run = runTool({"fls", "-r", "-p", "-o", std::to_string(hfs.startSector), image});
    for (const ManifestEntry& entry : hfs.entries) {
      if (entry.folder || entry.path.empty()) continue;
      EXPECT_EQ(run.output.find(entry.path) != std::string::npos, !entry.deleted) << entry.path << "\n" << run.output;
    }
  }
  std::filesystem::remove(image);
}

}  // namespace
}  // namespace nua::imagekit
