// Which GPT header the partition list comes from: the primary when both its CRCs match, the backup in
// the last sector when the primary is zeroed or its array was changed, and the primary as it stands
// when neither is whole. Checked on kit disks against their manifests and, where installed, sgdisk.
#include "media/gpt_header_choice.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "imagekit/fat_tool_runner.h"
#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "media/partition_reader.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

struct Damage {
  const char* name;
  std::uint32_t sectorSize;
  bool zeroPrimary;
  bool moveFirstEntryInPrimaryArray;  // its first LBA + 8, with the array CRC left as it was
  bool breakBothHeaderCrcs;           // a reserved header byte changed in both copies
  const char* expectedHeader;
};

struct Disk {
  fs::path path;
  imagekit::Manifest manifest;
};

Disk makeGptDisk(const Damage& d) {
  Disk disk;
  disk.path = fs::temp_directory_path() / ("nua-gpt-" + std::to_string(::getpid()) + "-" + d.name + ".img");
  imagekit::ScenarioOptions options;
  options.values["sector-size"] = std::to_string(d.sectorSize);
  if (d.zeroPrimary) options.values["zero-primary-header"] = "1";
  std::string error;
  EXPECT_TRUE(imagekit::findScenario("gpt")->make(disk.path.string(), options, disk.manifest, error)) << error;
  std::fstream file(disk.path, std::ios::in | std::ios::out | std::ios::binary);
  const auto patch = [&file](std::uint64_t at, std::uint8_t value) {
    file.seekp(static_cast<std::streamoff>(at));
    file.put(static_cast<char>(value));
  };
  if (d.moveFirstEntryInPrimaryArray) {
    const std::uint64_t firstLba = 2 * d.sectorSize + 32;  // the primary array starts at LBA 2
    file.seekg(static_cast<std::streamoff>(firstLba));
    const int low = file.get();
    patch(firstLba, static_cast<std::uint8_t>(low + 8));
  }
  if (d.breakBothHeaderCrcs) {
    patch(d.sectorSize + 20, 0x5A);
    patch(fs::file_size(disk.path) - d.sectorSize + 20, 0x5A);
  }
  return disk;
}

// (start, sectors) of every partition the manifest lists, in map order, in `sectorSize` sectors.
std::vector<std::pair<std::uint64_t, std::uint64_t>> manifestPartitions(const imagekit::Manifest& m) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> out;
  for (const auto& e : m.partitions["entries"]) out.emplace_back(e["startSector"], e["sectorCount"]);
  return out;
}

class GptHeaders : public ::testing::TestWithParam<Damage> {};

TEST_P(GptHeaders, ListThePartitionsFromAWholeHeader) {
  const Damage& d = GetParam();
  const Disk disk = makeGptDisk(d);
  MediaReader media;
  media.initWithDictionary(Dict{{"Path", disk.path.string()}, {"Preferred Block Size", d.sectorSize},
                                {"Size", static_cast<std::uint64_t>(fs::file_size(disk.path))}},
                           {});
  PartitionReader reader(media);
  const std::vector<PartitionRow> rows = reader.listAllPartitions();
  EXPECT_EQ(reader.gptHeaderUsed(), d.expectedHeader);
  std::vector<std::pair<std::uint64_t, std::uint64_t>> listed;
  for (const PartitionRow& row : rows) listed.emplace_back(row.volumeStart, row.sizeInSectors);
  EXPECT_EQ(listed, manifestPartitions(disk.manifest));

  // sgdisk, which also falls back to the backup, reads the same starts (it takes an image file as
  // 512-byte sectors).
  if (d.zeroPrimary && d.sectorSize == 512 && !imagekit::findTool("sgdisk").empty()) {
    const imagekit::ToolRun run = imagekit::runTool({"sgdisk", "-p", disk.path.string()});
    for (const auto& [start, sectors] : listed) {
      const std::regex row("\\n\\s+\\d+\\s+" + std::to_string(start) + "\\s+" + std::to_string(start + sectors - 1) + "\\s");
      EXPECT_TRUE(std::regex_search(run.output, row)) << start << "\n" << run.output;
    }
  }
  fs::remove(disk.path);
}

INSTANTIATE_TEST_SUITE_P(
    Damages, GptHeaders,
    ::testing::Values(Damage{"intact", 512, false, false, false, "primary"},
                      Damage{"zeroedPrimary", 512, true, false, false, "backup"},
                      Damage{"zeroedPrimary4096", 4096, true, false, false, "backup"},
                      Damage{"changedPrimaryArray", 512, false, true, false, "backup"},
                      Damage{"bothHeadersDamaged", 512, false, false, true, "primary (CRC mismatch)"}),
    [](const auto& p) { return std::string(p.param.name); });

}  // namespace
}  // namespace nua
