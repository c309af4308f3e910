// Checks the partition-map writers: CRCs and GUID byte order in code, then every partition scenario
// read back by sfdisk, sgdisk and Sleuth Kit's mmls against its manifest.
#include "imagekit/partition_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <tuple>

#include "imagekit/fat_tool_runner.h"
#include "imagekit/partition_crc32.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

std::vector<std::byte> textBytes(const std::string& text) {
  std::vector<std::byte> bytes;
  for (const char c : text) bytes.push_back(static_cast<std::byte>(c));
  return bytes;
}

TEST(PartitionCrc32, MatchesTheCheckValue) {
  EXPECT_EQ(crc32(textBytes("123456789")), 0xCBF43926U);
  EXPECT_EQ(crc32(textBytes("6789"), crc32(textBytes("12345"))), 0xCBF43926U);
}

TEST(PartitionGuid, StoresTheFirstThreeGroupsLittleEndian) {
  const Guid hfs = guidFromText(kGptHfsPlusType);
  const Guid expected = {0x00, 0x53, 0x46, 0x48, 0x00, 0x00, 0xAA, 0x11, 0xAA, 0x11, 0x00, 0x30, 0x65, 0x43, 0xEC, 0xAC};
  EXPECT_EQ(hfs, expected);
  EXPECT_EQ(guidFromText("not a guid"), Guid{});
  EXPECT_EQ(guidFromText("48465300-0000-11AA-AA11-00306543ECAZ"), Guid{});
}

TEST(PartitionGpt, HeadersAndArraysCarryValidCrcs) {
  GptLayout layout;
  layout.totalSectors = 4096;
  layout.diskGuid = "01234567-89AB-CDEF-0123-456789ABCDEF";
  layout.entries = {{kGptHfsPlusType, "11111111-2222-3333-4444-555555555555", 2048, 3071, u"Macintosh HD"},
                    {},
                    {kGptHfsPlusType, "11111111-2222-3333-4444-555555555556", 3072, 4000, u"After"}};
  ImageWriter out = ImageWriter::inMemory(layout.totalSectors * 512);
  writeGpt(layout, out);
  const std::vector<std::byte>& disk = out.bytes();
  const ByteSpan all(disk);
  EXPECT_EQ(u8(all, 450), 0xEE);
  EXPECT_EQ(le16(all, 510), 0xAA55);
  for (const std::uint64_t headerLba : {std::uint64_t{1}, layout.totalSectors - 1}) {
    const ByteSpan header = all.subspan(headerLba * 512, 512);
    std::vector<std::byte> copy(header.begin(), header.begin() + 92);
    putLe32(copy, 16, 0);
    EXPECT_EQ(le32(header, 16), crc32(copy)) << "header at " << headerLba;
    EXPECT_EQ(le64(header, 24), headerLba);
    const ByteSpan array = all.subspan(le64(header, 72) * 512, kGptEntryCount * kGptEntrySize);
    EXPECT_EQ(le32(header, 88), crc32(array));
    EXPECT_EQ(le64(array, 128 * 2 + 32), 3072U);
    EXPECT_EQ(le16(array, 56), u'M');
    EXPECT_TRUE(std::all_of(array.begin() + 128, array.begin() + 256, [](std::byte b) { return b == std::byte{0}; }));
  }
}

TEST(PartitionApm, WritesDescriptorAndEntriesPerBlock) {
  ApmLayout layout;
  layout.blockSize = 2048;
  layout.totalBlocks = 64;
  layout.entries = {{"Apple", "Apple_partition_map", 1, 63}, {"Disc", "Apple_HFS", 16, 40}};
  ImageWriter out = ImageWriter::inMemory(64 * 2048);
  writeApm(layout, out);
  const ByteSpan all(out.bytes());
  EXPECT_EQ(be16(all, 0), 0x4552);  // "ER"
  EXPECT_EQ(be16(all, 2), 2048);
  EXPECT_EQ(be16(all, 2 * 2048), 0x504D);  // "PM" in map block 2
  EXPECT_EQ(be32(all, 2 * 2048 + 4), 2U);
  EXPECT_EQ(be32(all, 2 * 2048 + 8), 16U);
  EXPECT_EQ(be32(all, 2 * 2048 + 12), 40U);
  EXPECT_EQ(u8(all, 2 * 2048 + 48), 'A');
}

struct MadeImage {
  std::string path;
  Manifest manifest;
};

MadeImage makeScenario(const std::string& name, ScenarioOptions options = {}) {
  MadeImage made;
  made.path = (std::filesystem::temp_directory_path() /
               ("nua-part-test-" + std::to_string(::getpid()) + "-" + name + ".img")).string();
  const Scenario* scenario = findScenario(name);
  std::string error;
  if (scenario == nullptr || !scenario->make(made.path, options, made.manifest, error)) {
    ADD_FAILURE() << name << ": " << error;
  }
  return made;
}

bool haveBuildTools() { return !findTool("mkfs.fat").empty() && !findTool("mcopy").empty(); }

// (start, length, description) of every partition row of mmls, in its order.
std::vector<std::tuple<std::uint64_t, std::uint64_t, std::string>> mmlsRows(const std::string& image, std::uint32_t blockSize) {
  const ToolRun run = runTool({"mmls", "-b", std::to_string(blockSize), image});
  std::vector<std::tuple<std::uint64_t, std::uint64_t, std::string>> rows;
  std::istringstream lines(run.output);
  std::string line;
  const std::regex row(R"(^\d+:\s+(\d+|\d+:\d+)\s+(\d+)\s+(\d+)\s+(\d+)\s+(.*)$)");
  std::smatch match;
  while (std::getline(lines, line)) {
    if (std::regex_match(line, match, row)) rows.emplace_back(std::stoull(match[2]), std::stoull(match[4]), match[5].str());
  }
  return rows;
}

std::set<std::pair<std::uint64_t, std::uint64_t>> manifestSpans(const Manifest& manifest, bool withExtended) {
  std::set<std::pair<std::uint64_t, std::uint64_t>> spans;
  for (const auto& entry : manifest.partitions.at("entries")) {
    if (!withExtended && entry.value("extended", false)) continue;
    spans.emplace(entry.at("startSector").get<std::uint64_t>(), entry.at("sectorCount").get<std::uint64_t>());
  }
  return spans;
}

TEST(PartitionScenario, MbrChainReadsBackThroughSfdiskAndMmls) {
  if (!haveBuildTools()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  const MadeImage made = makeScenario("mbr-ebr");
  EXPECT_EQ(made.manifest.partitions.at("scheme"), "mbr");
  EXPECT_EQ(made.manifest.volumes.size(), 5U);
  if (!findTool("sfdisk").empty()) {
    const ToolRun dump = runTool({"sfdisk", "--dump", made.path});
    ASSERT_EQ(dump.exitCode, 0) << dump.output;
    std::set<std::pair<std::uint64_t, std::uint64_t>> listed;
    const std::regex row(R"(start=\s*(\d+), size=\s*(\d+), type=(\w+))");
    for (std::sregex_iterator it(dump.output.begin(), dump.output.end(), row), end; it != end; ++it) {
      listed.emplace(std::stoull((*it)[1]), std::stoull((*it)[2]));
    }
    auto expected = manifestSpans(made.manifest, false);
    const nlohmann::json& extended = made.manifest.partitions["entries"][2];  // sfdisk lists the container too
    expected.emplace(extended.at("startSector").get<std::uint64_t>(), extended.at("sectorCount").get<std::uint64_t>());
    EXPECT_EQ(listed, expected);
  }
  if (!findTool("mmls").empty()) {
    const auto rows = mmlsRows(made.path, 512);
    std::size_t hfsRows = 0;
    for (const auto& [start, length, text] : rows) hfsRows += text.find("(0xaf)") != std::string::npos ? 1 : 0;
    EXPECT_EQ(hfsRows, 3U);
  }
  std::filesystem::remove(made.path);
}

TEST(PartitionScenario, SelfLoopingEbrEndsTheChain) {
  if (!haveBuildTools()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  const MadeImage made = makeScenario("mbr-ebr-self-loop");
  const std::uint64_t loopSector = made.manifest.partitions.at("selfLoopTableSector");
  const std::uint64_t extStart = made.manifest.partitions["entries"][2]["startSector"];
  std::ifstream in(made.path, std::ios::binary);
  std::vector<char> sector(512);
  in.seekg(static_cast<std::streamoff>(loopSector * 512));
  in.read(sector.data(), 512);
  const ByteSpan record(reinterpret_cast<const std::byte*>(sector.data()), sector.size());
  EXPECT_EQ(u8(record, 446 + 16 + 4), 0x85);
  EXPECT_EQ(le32(record, 446 + 16 + 8) + extStart, loopSector);
  EXPECT_TRUE(made.manifest.volumes.back().extra.value("unreachable", false));
  if (!findTool("mmls").empty()) {
    std::size_t logicals = 0;
    for (const auto& row : mmlsRows(made.path, 512)) logicals += std::get<0>(row) > extStart && std::get<2>(row).find("Extended") == std::string::npos && std::get<2>(row).find("Unallocated") == std::string::npos ? 1 : 0;
    EXPECT_EQ(logicals, 2U);
  }
  std::filesystem::remove(made.path);
}

class GptScenario : public ::testing::TestWithParam<std::tuple<std::string, std::uint32_t>> {};

TEST_P(GptScenario, ToolsListTheManifestPartitions) {
  if (!haveBuildTools()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  const auto [name, sectorSize] = GetParam();
  ScenarioOptions options;
  options.values["sector-size"] = std::to_string(sectorSize);
  const MadeImage made = makeScenario(name, options);
  EXPECT_EQ(made.manifest.partitions.at("sectorSize"), sectorSize);
  if (sectorSize == 512 && !findTool("sgdisk").empty()) {
    const ToolRun verify = runTool({"sgdisk", "-v", made.path});
    EXPECT_NE(verify.output.find("No problems found"), std::string::npos) << verify.output;
    const ToolRun print = runTool({"sgdisk", "-p", made.path});
    for (const auto& entry : made.manifest.partitions.at("entries")) {
      EXPECT_NE(print.output.find(entry.at("name").get<std::string>()), std::string::npos) << print.output;
    }
  }
  if (!findTool("mmls").empty()) {
    std::set<std::pair<std::uint64_t, std::uint64_t>> listed;
    for (const auto& [start, length, text] : mmlsRows(made.path, sectorSize)) {
      if (text.find("Unallocated") == std::string::npos && text.find("Safety") == std::string::npos &&
          text.find("GPT") == std::string::npos && text.find("Partition Table") == std::string::npos &&
          text.find("0xee") == std::string::npos) {
        listed.emplace(start, length);
      }
    }
    EXPECT_EQ(listed, manifestSpans(made.manifest, true));
  }
  std::filesystem::remove(made.path);
}

INSTANTIATE_TEST_SUITE_P(Layouts, GptScenario,
                         ::testing::Values(std::make_tuple("gpt", 512U), std::make_tuple("gpt", 4096U),
                                           std::make_tuple("hybrid", 512U)),
                         [](const auto& layout) {
                           return std::get<0>(layout.param) + "_" + std::to_string(std::get<1>(layout.param));
                         });

class ApmScenario : public ::testing::TestWithParam<std::tuple<std::string, std::uint32_t>> {};

TEST_P(ApmScenario, MmlsListsTheMapEntries) {
  const auto [name, sectorSize] = GetParam();
  ScenarioOptions options;
  options.values["sector-size"] = std::to_string(sectorSize);
  const MadeImage made = makeScenario(name, options);
  const std::uint32_t mapBlock = made.manifest.partitions.at("mapBlockSize");
  EXPECT_EQ(made.manifest.volumes.size(), 2U);
  if (findTool("mmls").empty()) GTEST_SKIP() << "mmls missing";
  std::vector<std::pair<std::string, std::uint64_t>> listed;
  for (const auto& [start, length, text] : mmlsRows(made.path, mapBlock)) {
    if (text.rfind("Apple_", 0) == 0) listed.emplace_back(text, start);
  }
  std::vector<std::pair<std::string, std::uint64_t>> expected;
  for (const auto& entry : made.manifest.partitions.at("entries")) {
    expected.emplace_back(entry.at("type").get<std::string>(), entry.at("startBlock").get<std::uint64_t>());
  }
  EXPECT_EQ(listed, expected);
  std::filesystem::remove(made.path);
}

INSTANTIATE_TEST_SUITE_P(Layouts, ApmScenario,
                         ::testing::Values(std::make_tuple("apm", 512U), std::make_tuple("apm", 4096U),
                                           std::make_tuple("apm-2048", 512U)),
                         [](const auto& layout) {
                           std::string text = std::get<0>(layout.param) + "_" + std::to_string(std::get<1>(layout.param));
                           std::replace(text.begin(), text.end(), '-', '_');
                           return text;
                         });

}  // namespace
}  // namespace nua::imagekit
