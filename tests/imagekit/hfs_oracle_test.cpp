// Healthy HFS+ scenarios read by outside tools: fls must list exactly the manifest's live entries,
// icat must return each file's manifest hash, and fshfsinfo must walk the same hierarchy.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "imagekit/kit_tool_runner.h"
#include "imagekit/manifest.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

struct OracleCase {
  std::string label;
  std::string scenario;
  std::map<std::string, std::string> options;
};

std::ostream& operator<<(std::ostream& out, const OracleCase& c) { return out << c.label; }

// Entries Sleuth Kit reports for HFS+ metadata rather than for user content.
bool isMetadataListing(const std::string& path) {
  static const std::set<std::string> kMetadata = {"$ExtentsFile", "$CatalogFile", "$BadBlockFile",
                                                  "$AllocationFile", "$StartupFile", "$AttributesFile",
                                                  "$OrphanFiles"};
  if (kMetadata.count(path) != 0) return true;
  return path.rfind(std::string("\0\0\0\0HFS+ Private Data", 21), 0) == 0 || path.rfind("^^^^HFS+ Private Data", 0) == 0 ||
         path.rfind(".HFS+ Private Directory Data", 0) == 0;
}

struct Generated {
  std::string image;
  Manifest manifest;
};

Generated generate(const OracleCase& c) {
  const Scenario* scenario = findScenario(c.scenario);
  EXPECT_NE(scenario, nullptr) << c.scenario;
  Generated out;
  out.image = test::scratchDirectory("hfs-oracle-" + c.label) + "/volume.img";
  ScenarioOptions options;
  options.values = c.options;
  std::string error;
  EXPECT_TRUE(scenario != nullptr && scenario->make(out.image, options, out.manifest, error)) << error;
  return out;
}

class HfsOracle : public testing::TestWithParam<OracleCase> {};

TEST_P(HfsOracle, FlsListsExactlyTheLiveEntries) {
  if (!test::toolAvailable("fls")) GTEST_SKIP() << "fls (sleuthkit) not installed";
  const Generated g = generate(GetParam());
  ASSERT_EQ(g.manifest.volumes.size(), 1u);
  const ManifestVolume& volume = g.manifest.volumes[0];
  std::set<std::string> expected;
  for (const ManifestEntry& e : volume.entries) {
    if (!e.deleted && !e.path.empty()) expected.insert((e.folder ? "d/d " : "r/r ") + std::to_string(e.id) + ":\t" + e.path);
  }
  int code = 0;
  const std::string listing = test::runTool(
      {"fls", "-r", "-p", "-b", std::to_string(volume.sectorSize), "-o", std::to_string(volume.startSector), g.image}, code);
  ASSERT_EQ(code, 0) << listing;
  std::set<std::string> listed;
  std::istringstream lines(listing);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos || isMetadataListing(line.substr(tab + 1))) continue;
    listed.insert(line);
  }
  EXPECT_EQ(listed, expected);
}

TEST_P(HfsOracle, IcatReturnsEachFilesContent) {
  if (!test::toolAvailable("icat")) GTEST_SKIP() << "icat (sleuthkit) not installed";
  const Generated g = generate(GetParam());
  const ManifestVolume& volume = g.manifest.volumes.at(0);
  for (const ManifestEntry& e : volume.entries) {
    if (e.deleted || e.folder) continue;
    int code = 0;
    const std::string content = test::runTool({"icat", "-b", std::to_string(volume.sectorSize), "-o",
                                               std::to_string(volume.startSector), g.image, std::to_string(e.id)},
                                              code);
    EXPECT_EQ(sha256Hex(std::as_bytes(std::span(content))), e.sha256) << e.path;
  }
}

TEST_P(HfsOracle, FshfsinfoWalksTheHierarchy) {
  if (!test::toolAvailable("fshfsinfo")) GTEST_SKIP() << "fshfsinfo (libfshfs-utils) not installed";
  const Generated g = generate(GetParam());
  const ManifestVolume& volume = g.manifest.volumes.at(0);
  int code = 0;
  const std::string offset = std::to_string(volume.startSector * volume.sectorSize);
  const std::string hierarchy = test::runTool({"fshfsinfo", "-o", offset, "-H", g.image}, code);
  ASSERT_EQ(code, 0) << hierarchy;
  std::set<std::string> listed;
  std::istringstream lines(hierarchy);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.front() == '/') listed.insert(line);
  }
  for (const ManifestEntry& e : volume.entries) {
    if (!e.deleted) {
      EXPECT_EQ(listed.count("/" + e.path), 1u) << e.path;
    }
  }
}

const OracleCase kCases[] = {
    {"basic", "hfs-basic", {}},
    {"fragmented", "hfs-fragmented", {}},
    {"journal_deleted", "hfs-journal-deleted", {}},
    {"journal_extents", "hfs-journal-extents", {}},
    {"wrapper", "hfs-wrapper", {}},
    {"two_extent_catalog", "hfs-two-extent-catalog", {}},
    {"hfsx", "hfs-basic", {{"hfsx", "1"}}},
    {"journaled", "hfs-basic", {{"journaled", "1"}}},
    {"block512", "hfs-fragmented", {{"block-size", "512"}}},
    {"block65536", "hfs-basic", {{"block-size", "65536"}}},
    {"node8192", "hfs-basic", {{"node-size", "8192"}}},
    {"deep_index", "hfs-fragmented", {{"records-per-leaf", "2"}}},
    {"sector4096", "hfs-basic", {{"sector-size", "4096"}}},
    {"node_slack", "hfs-node-slack", {}},
    {"node_slack_deep", "hfs-node-slack", {{"records-per-leaf", "4"}}},
    {"sector4096_block512", "hfs-journal-deleted", {{"sector-size", "4096"}, {"block-size", "512"}}},
};

INSTANTIATE_TEST_SUITE_P(Scenarios, HfsOracle, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<OracleCase>& param) { return param.param.label; });

}  // namespace
}  // namespace nua::imagekit
