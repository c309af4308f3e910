// The FAT scenarios of other formatters and disks, read by outside tools: fsck.fat finds the bare
// volumes clean, fls lists exactly the manifest's live entries and icat returns each live file's
// digest; the Windows-style boot sector carries what Windows writes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "base/bytes.h"
#include "imagekit/fat_tool_runner.h"
#include "imagekit/manifest.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

struct OracleCase {
  const char* tag;
  const char* scenario;
  std::map<std::string, std::string> options;
};

struct Made {
  std::string path;
  Manifest manifest;
  std::vector<std::byte> head;  // the first sector of the volume
};

Made make(const OracleCase& c) {
  Made made;
  made.path = (std::filesystem::temp_directory_path() /
               ("nua-fatgeo-" + std::to_string(::getpid()) + "-" + c.tag + ".img")).string();
  ScenarioOptions options;
  options.values = c.options;
  std::string error;
  EXPECT_TRUE(findScenario(c.scenario)->make(made.path, options, made.manifest, error)) << error;
  const ManifestVolume& volume = made.manifest.volumes.at(0);
  std::ifstream in(made.path, std::ios::binary);
  in.seekg(static_cast<std::streamoff>(volume.startSector * volume.sectorSize));
  made.head.resize(512);
  in.read(reinterpret_cast<char*>(made.head.data()), 512);
  return made;
}

class FatGeometryOracle : public ::testing::TestWithParam<OracleCase> {};

TEST_P(FatGeometryOracle, OutsideToolsReadWhatTheManifestSays) {
  const OracleCase& c = GetParam();
  const Made made = make(c);
  const ManifestVolume& volume = made.manifest.volumes.at(0);
  EXPECT_EQ(le16(made.head, 11), volume.sectorSize);
  if (volume.startSector == 0 && !findTool("fsck.fat").empty()) {
    const ToolRun fsck = runTool({"fsck.fat", "-n", made.path});
    EXPECT_EQ(fsck.exitCode, 0) << fsck.output;
  }
  if (findTool("fls").empty() || findTool("icat").empty()) {
    std::filesystem::remove(made.path);
    GTEST_SKIP() << "fls or icat (sleuthkit) not installed";
  }
  const std::vector<std::string> where = {"-f", "fat", "-o", std::to_string(volume.startSector), "-b",
                                          std::to_string(volume.sectorSize)};
  std::vector<std::string> fls = {"fls", "-r", "-p"};
  fls.insert(fls.end(), where.begin(), where.end());
  fls.push_back(made.path);
  const ToolRun listing = runTool(fls);
  ASSERT_EQ(listing.exitCode, 0) << listing.output;
  std::map<std::string, std::string> liveInodes;  // path -> inode, live entries only
  const std::regex row(R"(^([rd])/[rd] (\* )?(\d+):\t(.*)$)");
  std::istringstream lines(listing.output);
  for (std::string line; std::getline(lines, line);) {
    std::smatch m;
    if (!std::regex_match(line, m, row) || m[2].matched || m[4].str().find("(Volume Label Entry)") != std::string::npos)
      continue;
    liveInodes[m[4].str()] = m[3].str();
  }
  std::size_t files = 0;
  for (const ManifestEntry& e : volume.entries) {
    if (e.deleted || e.path.empty()) continue;
    const auto found = liveInodes.find(e.path);
    ASSERT_NE(found, liveInodes.end()) << e.path;
    const std::string inode = found->second;
    liveInodes.erase(found);
    if (e.folder) continue;
    std::vector<std::string> icat = {"icat"};
    icat.insert(icat.end(), where.begin(), where.end());
    icat.insert(icat.end(), {made.path, inode});
    const ToolRun content = runTool(icat);
    EXPECT_EQ(sha256Hex(std::as_bytes(std::span<const char>(content.output))), e.sha256) << e.path;
    ++files;
  }
  EXPECT_TRUE(liveInodes.empty()) << liveInodes.begin()->first << " is not in the manifest";
  EXPECT_GE(files, 30u);
  std::filesystem::remove(made.path);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FatGeometryOracle,
                         ::testing::Values(OracleCase{"windows16", "fat-windows-boot", {}},
                                           OracleCase{"windows12", "fat-windows-boot", {{"fat", "12"}}},
                                           OracleCase{"fat16max", "fat16-max-clusters", {}},
                                           OracleCase{"bare4k16", "fat-4k-sectors", {}},
                                           OracleCase{"bare4k12", "fat-4k-sectors", {{"fat", "12"}}},
                                           OracleCase{"mbr4k", "mbr-4k-fat", {}}),
                         [](const auto& p) { return std::string(p.param.tag); });

TEST(FatWindowsBoot, BootSectorIsAsWindowsWritesIt) {
  for (const char* bits : {"12", "16"}) {
    const Made made = make({"windows", "fat-windows-boot", {{"fat", bits}}});
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(made.head.data()) + 3, 8), "MSDOS5.0");
    EXPECT_EQ(le32(made.head, 28), 63u) << "hidden sectors";
    EXPECT_EQ(u8(made.head, 21), std::string(bits) == "12" ? 0xF0 : 0xF8) << "media descriptor";
    // Boot code fills the place of a partition table: at least one of its four type bytes is set.
    bool typeSet = false;
    for (std::size_t entry = 0; entry < 4; ++entry) typeSet = typeSet || u8(made.head, 446 + 16 * entry + 4) != 0;
    EXPECT_TRUE(typeSet);
    EXPECT_EQ(made.manifest.volumes.at(0).fileSystem, std::string("FAT") + bits);
    std::filesystem::remove(made.path);
  }
}

TEST(Fat16MaxClusters, HoldsJustUnder65525Clusters) {
  const Made made = make({"max", "fat16-max-clusters", {}});
  EXPECT_EQ(made.manifest.volumes.at(0).fileSystem, "FAT16");
  EXPECT_EQ(made.manifest.volumes.at(0).extra.at("clusterCount").get<std::uint32_t>(), 65439u);
  std::filesystem::remove(made.path);
}

}  // namespace
}  // namespace nua::imagekit
