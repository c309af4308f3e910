// Checks the FAT builder against the outside tools: fsck.fat finds the healthy volumes clean, mdir lists
// exactly the manifest's live entries, and the table helpers and damaged scenarios behave as described.
#include "imagekit/fat_builder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "imagekit/fat_directory.h"
#include "imagekit/fat_scenarios.h"
#include "imagekit/fat_tool_runner.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

bool haveFatTools() {
  for (const char* tool : {"mkfs.fat", "mmd", "mcopy", "mdel", "mdeltree"}) {
    if (findTool(tool).empty()) return false;
  }
  return true;
}

std::string scratchFile(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("nua-fat-test-" + std::to_string(::getpid()) + "-" + name)).string();
}

bool saveVolume(const FatBuild& build, const std::string& path) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(build.volume.data()), static_cast<std::streamsize>(build.volume.size()));
  return out.good();
}

// "path -> size" of every file mdir -/ lists, folders with size -1; dot entries left out.
std::map<std::string, long long> mdirListing(const std::string& image) {
  const ToolRun run = runTool({"mdir", "-/", "-a", "-i", image, "::/"});
  std::map<std::string, long long> listing;
  std::istringstream lines(run.output);
  std::string line;
  std::string folder;
  const std::regex header("^Directory for ::(/.*)$");
  const std::regex row(R"(^(\S+)\s+(\S*)\s+(<DIR>|\d[\d ]*?)\s+\d{4}-\d\d-\d\d\s+\d+:\d\d\s*(.*)$)");
  std::smatch match;
  while (std::getline(lines, line)) {
    if (std::regex_match(line, match, header)) {
      folder = match[1].str() == "/" ? "" : match[1].str();
    } else if (std::regex_match(line, match, row)) {
      const std::string base = match[1].str();
      if (base == "." || base == "..") continue;
      std::string name = match[4].str();
      if (name.empty()) name = match[2].str().empty() ? base : base + "." + match[2].str();
      std::string digits = match[3].str();
      digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
      listing[(folder + "/" + name).substr(1)] = match[3].str() == "<DIR>" ? -1 : std::stoll(digits);
    }
  }
  return listing;
}

class FatBasicVolume : public ::testing::TestWithParam<FatKind> {};

TEST_P(FatBasicVolume, ToolsAgreeWithTheManifest) {
  if (!haveFatTools()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  FatVolumePlan plan = fatBasicGeometry(GetParam(), 7);
  plan.operations = fatBasicOperations(7, plan.sectorsPerCluster * plan.sectorSize);
  FatBuild build;
  std::string error;
  ASSERT_TRUE(buildFatVolume(plan, build, error)) << error;
  EXPECT_EQ(build.manifest.fileSystem, fatKindName(GetParam()));
  const std::string image = scratchFile(build.manifest.fileSystem + ".img");
  ASSERT_TRUE(saveVolume(build, image));

  if (!findTool("fsck.fat").empty()) {
    const ToolRun fsck = runTool({"fsck.fat", "-n", image});
    EXPECT_EQ(fsck.exitCode, 0) << fsck.output;
  }
  std::map<std::string, long long> expected;
  for (const ManifestEntry& entry : build.manifest.entries) {
    if (!entry.deleted) expected[entry.path] = entry.folder ? -1 : static_cast<long long>(entry.size);
  }
  if (!findTool("mdir").empty()) {
    EXPECT_EQ(mdirListing(image), expected);
  }
  std::filesystem::remove(image);
}

TEST_P(FatBasicVolume, DescribesDeletedAndFragmentedEntries) {
  if (!haveFatTools()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  FatVolumePlan plan = fatBasicGeometry(GetParam(), 3);
  plan.operations = fatBasicOperations(3, plan.sectorsPerCluster * plan.sectorSize);
  FatBuild build;
  std::string error;
  ASSERT_TRUE(buildFatVolume(plan, build, error)) << error;
  std::map<std::string, ManifestEntry> byPath;
  for (const ManifestEntry& entry : build.manifest.entries) byPath[entry.path + (entry.deleted ? "#deleted" : "")] = entry;

  const ManifestEntry& fragmented = byPath.at("Fragments/Fragmented live file.bin");
  EXPECT_EQ(fragmented.extents.size(), 2U);
  EXPECT_GT(byPath.at("Many files in one folder").extents.size(), 1U);
  const ManifestEntry& gone = byPath.at("Fragments/Deleted fragmented file.bin#deleted");
  EXPECT_EQ(gone.extents.size(), 2U);
  EXPECT_TRUE(byPath.count("Old holiday pictures#deleted"));
  EXPECT_TRUE(byPath.at("Old holiday pictures/Mountain trail.txt#deleted").deleted);
  const nlohmann::json& notes = build.manifest.extra.at("deletedContent");
  EXPECT_FALSE(notes.at("Documents/Deleted letter to the bank.txt").at("reused").get<bool>());
  EXPECT_TRUE(notes.at("Documents/Deleted letter to the bank.txt").at("contiguous").get<bool>());
  EXPECT_TRUE(notes.at("Documents/Overwritten draft.txt").at("reused").get<bool>());
  EXPECT_FALSE(notes.at("Fragments/Deleted fragmented file.bin").at("contiguous").get<bool>());
  // The unreused deleted file still holds what was written.
  EXPECT_EQ(byPath.at("Documents/Deleted letter to the bank.txt#deleted").sha256,
            sha256Hex(fatSampleContent(3 * 1000 + 3, static_cast<std::size_t>(2.3 * plan.sectorsPerCluster * 512))));
  for (const ManifestEntry& entry : build.manifest.entries) {
    EXPECT_NE(entry.createDate, 0U) << entry.path;
    EXPECT_EQ(entry.foundIn, "directory");
  }
}

TEST_P(FatBasicVolume, SameSeedGivesTheSameBytes) {
  if (!haveFatTools()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  FatVolumePlan plan = fatBasicGeometry(GetParam(), 11);
  plan.operations = fatBasicOperations(11, plan.sectorsPerCluster * plan.sectorSize);
  FatBuild first;
  FatBuild second;
  std::string error;
  ASSERT_TRUE(buildFatVolume(plan, first, error)) << error;
  ASSERT_TRUE(buildFatVolume(plan, second, error)) << error;
  EXPECT_TRUE(first.volume == second.volume);
  EXPECT_EQ(toJson(first.manifest), toJson(second.manifest));
}

INSTANTIATE_TEST_SUITE_P(Kinds, FatBasicVolume, ::testing::Values(FatKind::Fat12, FatKind::Fat16, FatKind::Fat32),
                         [](const auto& kind) { return std::string(fatKindName(kind.param)); });

// A tiny FAT12 geometry built in code, for the table helpers.
std::vector<std::byte> fat12Volume(FatGeometry& geometry) {
  std::vector<std::byte> volume(512 * 64);
  putLe16(volume, 11, 512);
  put8(volume, 13, 1);
  putLe16(volume, 14, 1);
  put8(volume, 16, 2);
  putLe16(volume, 17, 16);
  putLe16(volume, 19, 64);
  putLe16(volume, 22, 1);
  std::string error;
  geometry = parseFatGeometry(volume, error).value();
  return volume;
}

TEST(FatTable, Fat12NeighboursKeepTheirHalves) {
  FatGeometry geometry;
  std::vector<std::byte> volume = fat12Volume(geometry);
  setFatEntry(volume, geometry, 2, 0xABC, 0);
  setFatEntry(volume, geometry, 3, 0x123, 0);
  setFatEntry(volume, geometry, 4, 0xFFF, 0);
  EXPECT_EQ(fatEntry(volume, geometry, 2), 0xABCU);
  EXPECT_EQ(fatEntry(volume, geometry, 3), 0x123U);
  EXPECT_EQ(fatEntry(volume, geometry, 4), 0xFFFU);
  EXPECT_EQ(fatEntry(volume, geometry, 2, 1), 0U);  // the second table is separate
}

TEST(FatTable, ChainWalkStopsAtLoopsAndBadLinks) {
  FatGeometry geometry;
  std::vector<std::byte> volume = fat12Volume(geometry);
  setFatEntry(volume, geometry, 2, 3, 0);
  setFatEntry(volume, geometry, 3, 5, 0);
  setFatEntry(volume, geometry, 5, 3, 0);
  const FatChain loop = walkFatChain(volume, geometry, 2);
  EXPECT_FALSE(loop.complete);
  EXPECT_EQ(loop.clusters, (std::vector<std::uint32_t>{2, 3, 5}));
  EXPECT_EQ(loop.stopReason, "loop at cluster 3");
  setFatEntry(volume, geometry, 5, 0, 0);
  EXPECT_EQ(walkFatChain(volume, geometry, 2).stopReason, "cluster 5 links to 0");
  setFatEntry(volume, geometry, 5, 0xFF8, 0);
  EXPECT_TRUE(walkFatChain(volume, geometry, 2).complete);
  EXPECT_EQ(clusterRuns({2, 3, 5, 6, 7, 4}),
            (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{2, 2}, {5, 3}, {4, 1}}));
}

TEST(FatGeometryParse, RejectsShortAndZeroedBootSectors) {
  std::string error;
  std::vector<std::byte> volume(100);
  EXPECT_FALSE(parseFatGeometry(volume, error).has_value());
  volume.assign(512 * 8, std::byte{0});
  EXPECT_FALSE(parseFatGeometry(volume, error).has_value());
}

// Each damaged scenario, made through the registry, carries its damage in the image bytes.
struct DamageCase {
  const char* scenario;
  bool fsckComplains;
};

class FatDamagedScenario : public ::testing::TestWithParam<DamageCase> {};

TEST_P(FatDamagedScenario, ImageCarriesTheDamage) {
  if (!haveFatTools()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  const Scenario* scenario = findScenario(GetParam().scenario);
  ASSERT_NE(scenario, nullptr);
  const std::string image = scratchFile(std::string(GetParam().scenario) + ".img");
  Manifest manifest;
  std::string error;
  ASSERT_TRUE(scenario->make(image, ScenarioOptions{}, manifest, error)) << error;
  ASSERT_EQ(manifest.volumes.size(), 1U);
  EXPECT_TRUE(manifest.volumes[0].extra.contains("damage"));
  if (!findTool("fsck.fat").empty()) {
    const ToolRun fsck = runTool({"fsck.fat", "-n", image});
    EXPECT_EQ(fsck.exitCode != 0, GetParam().fsckComplains) << fsck.output;
  }
  std::filesystem::remove(image);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FatDamagedScenario,
                         ::testing::Values(DamageCase{"fat-second-fat-differs", true},
                                           DamageCase{"fat-zero-sectors-per-cluster", true},
                                           DamageCase{"fat-dir-loop", true}, DamageCase{"fat-chain-loop", true},
                                           DamageCase{"fat-oversized-boot", true}),
                         [](const auto& damage) {
                           std::string name = damage.param.scenario;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace nua::imagekit
