// Manifest JSON round trip, the streaming manifest writer and the content hash.
#include "imagekit/manifest.h"

#include <gtest/gtest.h>

#include <fstream>

#include "imagekit/kit_tool_runner.h"

namespace nua::imagekit {
namespace {

Manifest sampleManifest() {
  Manifest manifest;
  manifest.scenario = "sample";
  manifest.seed = 7;
  manifest.sectorSize = 4096;
  manifest.imageBytes = 1 << 20;
  ManifestVolume volume;
  volume.fileSystem = "HFS+";
  volume.name = "Vol";
  volume.startSector = 40;
  volume.sectorCount = 200;
  volume.sectorSize = 4096;
  volume.blockSize = 4096;
  volume.extra["k"] = 3;
  ManifestEntry entry;
  entry.path = "A/b.txt";
  entry.name = "b.txt";
  entry.id = 17;
  entry.size = 5;
  entry.deleted = true;
  entry.foundIn = "journal";
  entry.extents = {{10, 2}, {20, 1}};
  entry.sha256 = "ab";
  entry.createDate = 1;
  entry.modDate = 2;
  entry.parentId = 16;
  volume.entries.push_back(entry);
  manifest.volumes.push_back(volume);
  manifest.partitions.push_back({{"type", "gpt"}});
  return manifest;
}

TEST(ManifestJson, RoundTripKeepsEveryField) {
  const Manifest back = manifestFromJson(toJson(sampleManifest()));
  EXPECT_EQ(toJson(back), toJson(sampleManifest()));
  ASSERT_EQ(back.volumes.size(), 1u);
  ASSERT_EQ(back.volumes[0].entries.size(), 1u);
  EXPECT_EQ(back.volumes[0].entries[0].extents[1], (std::pair<std::uint64_t, std::uint64_t>{20, 1}));
}

TEST(ManifestJson, StreamedFileParsesLikeTheTree) {
  const std::string path = test::scratchDirectory("manifest") + "/m.json";
  std::string error;
  ASSERT_TRUE(writeManifestFile(path, sampleManifest(), error)) << error;
  std::ifstream in(path);
  EXPECT_EQ(nlohmann::json::parse(in), toJson(sampleManifest()));
}

TEST(ManifestHash, KnownDigests) {
  EXPECT_EQ(sha256Hex({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  const std::array<std::byte, 3> abc{std::byte{'a'}, std::byte{'b'}, std::byte{'c'}};
  EXPECT_EQ(sha256Hex(abc), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace nua::imagekit
