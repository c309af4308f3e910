// Partition lists of the image kit's disks against their manifests, and of small disks built in code
// for the cases the kit does not write.
#include "media/partition_reader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <fstream>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "media_test_bytes.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing::Bytes;

fs::path tempPath(const std::string& name) {
  return fs::temp_directory_path() / ("nua-pt-" + std::to_string(::getpid()) + "-" + name);
}

struct Listed {
  std::vector<PartitionRow> rows;
  imagekit::Manifest manifest;
  std::string chainStop;
};

// Writes the scenario and lists its partitions through a MediaReader of the given sector size.
Listed listScenario(const std::string& scenario, std::uint32_t sectorSize, const std::string& sectorOption = "") {
  Listed listed;
  const imagekit::Scenario* s = imagekit::findScenario(scenario);
  if (!s) return listed;
  imagekit::ScenarioOptions options;
  if (!sectorOption.empty()) options.values["sector-size"] = sectorOption;
  const fs::path image = tempPath(scenario + sectorOption + ".img");
  std::string error;
  EXPECT_TRUE(s->make(image.string(), options, listed.manifest, error)) << error;
  MediaReader media;
  media.initWithDictionary(Dict{{"Path", image.string()}, {"Preferred Block Size", sectorSize},
                                {"Size", static_cast<std::uint64_t>(fs::file_size(image))}},
                           {});
  PartitionReader reader(media);
  reader.initialize(listed.rows);
  listed.chainStop = reader.chainStopReason();
  fs::remove(image);
  return listed;
}

// The HFS+ volumes of a manifest as (name, start in `sectorSize` sectors).
// A GPT list ends at its first empty slot, so volumes of later slots are not expected.
std::vector<std::pair<std::string, std::uint64_t>> hfsVolumes(const imagekit::Manifest& m, std::uint32_t sectorSize) {
  std::uint64_t firstGap = UINT64_MAX;
  if (m.partitions.is_object() && m.partitions.contains("emptySlots"))
    for (const auto& slot : m.partitions["emptySlots"]) firstGap = std::min<std::uint64_t>(firstGap, slot.get<std::uint64_t>());
  std::vector<std::uint64_t> pastGap;
  if (m.partitions.is_object() && m.partitions.contains("entries"))
    for (const auto& e : m.partitions["entries"])
      if (e.value("index", 0ull) > firstGap) pastGap.push_back(e.value("startSector", 0ull));
  std::vector<std::pair<std::string, std::uint64_t>> out;
  for (const auto& v : m.volumes) {
    if (v.fileSystem != "HFS+" && v.fileSystem != "HFSX") continue;
    if (std::find(pastGap.begin(), pastGap.end(), v.startSector) != pastGap.end()) continue;
    out.emplace_back(v.name, v.startSector * v.sectorSize / sectorSize);
  }
  return out;
}

std::vector<std::pair<std::string, std::uint64_t>> rowsOf(const std::vector<PartitionRow>& rows) {
  std::vector<std::pair<std::string, std::uint64_t>> out;
  for (const PartitionRow& r : rows) out.emplace_back(r.volumeName, r.volumeStart);
  return out;
}

struct KitCase {
  const char* scenario;
  const char* sectorOption;
  std::uint32_t readSectorSize;
};

class KitDisks : public ::testing::TestWithParam<KitCase> {};

TEST_P(KitDisks, ListTheHfsPartitionsOfTheManifestWithTheirRootNames) {
  const KitCase& c = GetParam();
  if (!imagekit::findScenario(c.scenario)) GTEST_SKIP() << c.scenario << " is not in the kit";
  const Listed listed = listScenario(c.scenario, c.readSectorSize, c.sectorOption);
  EXPECT_EQ(rowsOf(listed.rows), hfsVolumes(listed.manifest, c.readSectorSize));
  for (const PartitionRow& row : listed.rows) {
    EXPECT_EQ(row.content, "Apple_HFS");
    EXPECT_EQ(row.scanType, PartitionScanType::kPartitionMap);
    EXPECT_GT(row.sizeInSectors, 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, KitDisks,
                         ::testing::Values(KitCase{"mbr-ebr", "", 512}, KitCase{"apm", "", 512},
                                           KitCase{"apm-2048", "", 512}, KitCase{"hybrid", "", 512},
                                           KitCase{"gpt", "4096", 4096},
                                           KitCase{"gpt", "4096", 512}, KitCase{"apm", "4096", 4096}),
                         [](const auto& p) {
                           std::string name = std::string(p.param.scenario) + p.param.sectorOption + "_" +
                                              std::to_string(p.param.readSectorSize);
                           for (char& ch : name) if (ch == '-') ch = '_';
                           return name;
                         });

TEST(KitDisk, GptListEndsAtTheFirstEmptySlot) {
  if (!imagekit::findScenario("gpt")) GTEST_SKIP();
  const Listed listed = listScenario("gpt", 512);
  // The manifest's HFS+ partitions before the gap; the FAT entry after it is not an HFS+ row anyway.
  ASSERT_EQ(listed.rows.size(), 2u);
  EXPECT_EQ(listed.rows[1].volumeName, "Backup");  // the root's name wins over the label
}

TEST(KitDisk, AWrappedVolumeWithoutAMapIsOnePartitionAtSectorZeroNamedByItsEmbeddedRoot) {
  if (!imagekit::findScenario("hfs-wrapper")) GTEST_SKIP();
  const Listed listed = listScenario("hfs-wrapper", 512);
  ASSERT_EQ(listed.rows.size(), 1u);
  ASSERT_EQ(listed.manifest.volumes.size(), 1u);
  EXPECT_EQ(listed.rows[0].volumeStart, 0u);  // the wrapper; the embedded volume is found inside it
  EXPECT_EQ(listed.rows[0].volumeName, listed.manifest.volumes[0].name);
}

TEST(KitDisk, SelfReferencingEbrTerminates) {
  if (!imagekit::findScenario("mbr-ebr-self-loop")) GTEST_SKIP();
  const Listed listed = listScenario("mbr-ebr-self-loop", 512);
  EXPECT_NE(listed.chainStop.find("loop at table sector"), std::string::npos) << listed.chainStop;
  EXPECT_FALSE(listed.rows.empty());
}

// A 64-sector disk with a protective MBR and a GPT header of the given entry size.
fs::path gptDisk(std::uint32_t entrySize) {
  Bytes disk(64 * 512, std::byte{0});
  put8(disk, 450, 0xEE);
  put8(disk, 510, 0x55);
  put8(disk, 511, 0xAA);
  testing::putText(disk, 512, "EFI PART");
  putLe64(disk, 512 + 72, 2);
  putLe32(disk, 512 + 80, 4);
  putLe32(disk, 512 + 84, entrySize);
  const std::uint8_t type[16] = {0x00, 0x53, 0x46, 0x48, 0x00, 0x00, 0xAA, 0x11,
                                 0xAA, 0x11, 0x00, 0x30, 0x65, 0x43, 0xEC, 0xAC};
  for (std::size_t i = 0; i < 16; ++i) put8(disk, 1024 + i, type[i]);
  putLe64(disk, 1024 + 32, 34);
  putLe64(disk, 1024 + 40, 63);
  testing::putText(disk, 1024 + 56, "N");
  const fs::path path = tempPath("gpt" + std::to_string(entrySize) + ".img");
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(disk.data()), static_cast<std::streamsize>(disk.size()));
  return path;
}

std::vector<PartitionRow> listFile(const fs::path& path) {
  MediaReader media;
  media.initWithDictionary(Dict{{"Path", path.string()}, {"Preferred Block Size", 512},
                                {"Size", static_cast<std::uint64_t>(fs::file_size(path))}},
                           {});
  std::vector<PartitionRow> rows;
  PartitionReader(media).initialize(rows);
  return rows;
}

TEST(PartitionReader, GptEntrySizesThatCannotBeWalkedGiveNoList) {
  for (std::uint32_t size : {0u, 64u, 1024u}) {
    const fs::path path = gptDisk(size);
    EXPECT_TRUE(listFile(path).empty()) << size;
    fs::remove(path);
  }
  const fs::path good = gptDisk(128);
  const auto rows = listFile(good);
  fs::remove(good);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].volumeName, "N");  // no trailing NULs
  EXPECT_EQ(rows[0].sizeInSectors, 30u);
}

TEST(PartitionReader, TwoUnreadableHfsPartitionsAreNumberedInOrder) {
  Bytes disk(64 * 512, std::byte{0});
  put8(disk, 510, 0x55);
  put8(disk, 511, 0xAA);
  for (std::size_t slot = 0; slot < 2; ++slot) {
    put8(disk, 446 + 16 * slot + 4, 0xAF);
    putLe32(disk, 446 + 16 * slot + 8, static_cast<std::uint32_t>(8 + 16 * slot));
    putLe32(disk, 446 + 16 * slot + 12, 16);
  }
  const fs::path path = tempPath("two-af.img");
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(disk.data()), static_cast<std::streamsize>(disk.size()));
  const auto rows = listFile(path);
  fs::remove(path);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].volumeName, "Untitled 1");
  EXPECT_EQ(rows[1].volumeName, "Untitled 2");
  EXPECT_EQ(rows[1].volumeStart, 24u);
}

TEST(PartitionReader, MutatedMapsNeverHang) {
  if (!imagekit::findScenario("mbr-ebr")) GTEST_SKIP();
  const fs::path image = tempPath("mutated.img");
  imagekit::Manifest manifest;
  std::string error;
  ASSERT_TRUE(imagekit::findScenario("gpt")->make(image.string(), {}, manifest, error)) << error;
  std::vector<char> bytes(64 * 512);
  std::ifstream(image, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    std::vector<char> mutated = bytes;
    for (int i = 0; i < 8; ++i) mutated[random() % 2048] = static_cast<char>(random());
    std::fstream(image, std::ios::binary | std::ios::in | std::ios::out).write(mutated.data(), static_cast<std::streamsize>(mutated.size()));
    (void)listFile(image);
  }
  fs::remove(image);
}

}  // namespace
}  // namespace nua
