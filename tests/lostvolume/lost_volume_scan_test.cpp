// The lost-volume search over the image kit's disks, some patched in place: the order of its reports,
// the rows and volumes it offers for damaged and tricky headers, and the header test field by field.
#include "lostvolume/lost_volume_scan.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "base/bytes.h"
#include "imagekit/manifest.h"
#include "imagekit/scenario.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

// Records what the search reports; an offered position stays pending, as if no tick ever came.
class RecordingSearchSink final : public VolumeSearchSink {
 public:
  void report(const VolumeSearchProgress& update) override { updates.push_back(update); }
  [[nodiscard]] bool sweepOfferPending() const override { return !offers.empty(); }
  void offerSweepPosition(const VolumeSearchProgress& position) override { offers.push_back(position); }
  std::vector<VolumeSearchProgress> updates;
  std::vector<VolumeSearchProgress> offers;
};

struct Disk {
  fs::path path;
  imagekit::Manifest manifest;
  ~Disk() { fs::remove(path); }
};

std::unique_ptr<Disk> makeDisk(const std::string& scenario) {
  auto disk = std::make_unique<Disk>();
  disk->path = fs::temp_directory_path() / ("nua-lv-" + std::to_string(::getpid()) + "-" + scenario + ".img");
  const imagekit::Scenario* s = imagekit::findScenario(scenario);
  EXPECT_NE(s, nullptr) << scenario;
  std::string error;
  if (s != nullptr) {
    EXPECT_TRUE(s->make(disk->path.string(), {}, disk->manifest, error)) << error;
  }
  return disk;
}

void patch(const fs::path& path, std::uint64_t byteOffset, std::span<const std::byte> bytes) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(byteOffset));
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::byte> readBytes(const fs::path& path, std::uint64_t byteOffset, std::size_t length) {
  std::vector<std::byte> bytes(length);
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(byteOffset));
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(length));
  return bytes;
}

void patchBe32(const fs::path& path, std::uint64_t byteOffset, std::uint32_t value) {
  std::array<std::byte, 4> bytes{};
  putBe32(bytes, 0, value);
  patch(path, byteOffset, bytes);
}

struct Found {
  std::vector<PartitionRow> list;  // the found volumes
  std::vector<Dict> rows;  // volumeScanFoundArray
};

Found search(const fs::path& image, std::uint32_t sectorSize, VolumeSearchSink& progress = VolumeSearchSink::none(),
             bool abortFirst = false) {
  MediaReader media;
  media.initWithDictionary(Dict{{"Path", image.string()}, {"Preferred Block Size", sectorSize},
                                {"Size", static_cast<std::uint64_t>(fs::file_size(image))}},
                           {});
  media.abortVolumeScan = abortFirst;
  Found found;
  LostVolumeScan(media, progress).initializeForVolumeThoroughScan(found.list, found.rows);
  return found;
}

std::size_t rowsAt(const Found& f, std::uint64_t sector) {
  const std::string text = "Volume Found @ Sector: " + std::to_string(sector);
  return static_cast<std::size_t>(std::count_if(f.rows.begin(), f.rows.end(),
                                                [&](const Dict& r) { return r.string("Found Column") == text; }));
}

const PartitionRow* volumeAt(const Found& f, std::uint64_t start) {
  for (const PartitionRow& d : f.list)
    if (d.volumeStart == start) return &d;
  return nullptr;
}

// Byte offset of a catalog node of a kit volume, from its manifest (one-extent catalogs).
std::uint64_t catalogNodeByte(const imagekit::ManifestVolume& v, std::uint64_t node) {
  const auto& catalog = v.extra.at("catalogFile");
  const auto firstBlock = catalog.at("extents").at(0).at(0).get<std::uint64_t>();
  return v.startSector * v.sectorSize + firstBlock * v.blockSize + node * catalog.at("nodeSize").get<std::uint64_t>();
}

TEST(LostVolumeScan, ReportsInTheOrderTheProgressScreenNeeds) {
  const auto disk = makeDisk("lost-two-volumes");
  RecordingSearchSink sink;
  const Found found = search(disk->path, 512, sink);
  const auto& u = sink.updates;
  ASSERT_GE(u.size(), 4u);
  EXPECT_EQ(u[0].barMaximum, fs::file_size(disk->path) / (512 * 63));
  EXPECT_EQ(u[1].barValue, 0u);
  EXPECT_EQ(u[2].timeRemaining, std::string());
  // The sweep offered its first position and, as no tick came to take it, no other.
  ASSERT_EQ(sink.offers.size(), 1u);
  EXPECT_EQ(sink.offers[0].barValue, 1u);
  // Each check runs between the validity bar's start and stop, its time left shown meanwhile; each
  // find follows its check's stop with the row just added.
  std::size_t finds = 0;
  bool inCheck = false;
  for (std::size_t i = 3; i < u.size(); ++i) {
    if (u[i].validityAnimation == ProgressAnimation::kStart) inCheck = true;
    if (u[i].validityAnimation == ProgressAnimation::kStop) inCheck = false;
    EXPECT_EQ(u[i].checking, inCheck) << i;
    if (!u[i].foundRow) continue;
    ASSERT_LT(finds, found.rows.size());
    EXPECT_EQ(*u[i].foundRow, found.rows[finds]);
    EXPECT_EQ(u[i - 1].validityAnimation, ProgressAnimation::kStop);
    ++finds;
  }
  EXPECT_EQ(finds, found.rows.size());
  EXPECT_FALSE(found.list.empty());
}

TEST(LostVolumeScan, AbortedSearchFindsNothingAndReportsNoSweep) {
  const auto disk = makeDisk("lost-two-volumes");
  RecordingSearchSink sink;
  const Found found = search(disk->path, 512, sink, true);
  EXPECT_TRUE(found.rows.empty());
  EXPECT_TRUE(found.list.empty());
  EXPECT_EQ(sink.updates.size(), 3u);  // the bar set up, nothing swept
  EXPECT_TRUE(sink.offers.empty());
}

TEST(LostVolumeScan, FirstLeafOfAnotherParentGivesARowButNoVolume) {
  const auto disk = makeDisk("lost-clone");
  const auto& v = disk->manifest.volumes.front();
  const auto firstLeaf = v.extra.at("catalogFile").at("firstLeafNode").get<std::uint64_t>();
  patchBe32(disk->path, catalogNodeByte(v, firstLeaf) + 14 + 2, 16);  // the first key's parentID
  const Found found = search(disk->path, 512);
  EXPECT_EQ(rowsAt(found, v.startSector), 1u);
  EXPECT_EQ(volumeAt(found, v.startSector), nullptr);
}

TEST(LostVolumeScan, AlternateHeaderWithAnotherDateLeadsToTheSameStartOnce) {
  const auto disk = makeDisk("lost-two-volumes");
  const auto& v = disk->manifest.volumes.front();
  const std::uint64_t alternateByte = (v.startSector + v.sectorCount) * 512 - 1024;
  patchBe32(disk->path, alternateByte + 16, 0x12345678);  // createDate: no longer a copy
  const Found found = search(disk->path, 512);
  EXPECT_EQ(rowsAt(found, v.startSector), 1u);
  EXPECT_EQ(std::count_if(found.list.begin(), found.list.end(),
                          [&](const PartitionRow& d) { return d.volumeStart == v.startSector; }),
            1);
  const PartitionRow* volume = volumeAt(found, v.startSector);
  ASSERT_NE(volume, nullptr);
  EXPECT_EQ(volume->volumeName, v.name);
  EXPECT_EQ(volume->alternateHeaderSector, 0u);  // the primary was met first
}

TEST(LostVolumeScan, VolumeRunningPastTheDiskEndIsNotTestedAsPrimary) {
  const auto disk = makeDisk("lost-clone");
  const auto& v = disk->manifest.volumes.front();
  fs::resize_file(disk->path, (v.startSector + v.sectorCount / 2) * 512);
  const Found found = search(disk->path, 512);
  EXPECT_EQ(rowsAt(found, v.startSector), 0u);
  EXPECT_EQ(volumeAt(found, v.startSector), nullptr);
}

TEST(LostVolumeScan, ValidityIsTheShareOfLeafRecordsTheChainReaches) {
  const auto disk = makeDisk("lost-clone");
  const auto& v = disk->manifest.volumes.front();
  const auto& catalog = v.extra.at("catalogFile");
  const auto records = catalog.at("leafRecords").get<std::uint32_t>();
  ASSERT_GT(records, 0u);
  // The header node claims three times the records, and the last leaf links back to the first: the
  // walk ends at the repeat with a third of the records.
  patchBe32(disk->path, catalogNodeByte(v, 0) + 14 + 6, records * 3);
  const auto firstLeaf = catalog.at("firstLeafNode").get<std::uint32_t>();
  const auto lastLeaf = catalog.at("lastLeafNode").get<std::uint64_t>();
  patchBe32(disk->path, catalogNodeByte(v, lastLeaf), firstLeaf);
  const Found found = search(disk->path, 512);
  const PartitionRow* volume = volumeAt(found, v.startSector);
  ASSERT_NE(volume, nullptr);
  EXPECT_EQ(volume->volumeValidity, 33u);
  EXPECT_EQ(volume->volumeName, v.name);
}

TEST(LostVolumeScan, LargeSectorDiskVolumeIsFoundAtItsStart) {
  // The header lies 1024 bytes into the volume's first 4096-byte sector, not at a sector's start.
  const auto disk = makeDisk("lost-4k-sectors");
  const auto& v = disk->manifest.volumes.front();
  const Found found = search(disk->path, 4096);
  EXPECT_EQ(rowsAt(found, v.startSector), 1u);
  ASSERT_NE(volumeAt(found, v.startSector), nullptr);
  EXPECT_EQ(volumeAt(found, v.startSector)->sizeInSectors, v.sectorCount);
}

// Random disks with real headers planted at random sectors, their numbers then scrambled: the search
// must end, and every volume it offers must lie on the disk.
TEST(LostVolumeScan, ScrambledHeadersOverRandomBytesEndCleanly) {
  const auto disk = makeDisk("lost-clone");
  const auto& v = disk->manifest.volumes.front();
  const auto header = readBytes(disk->path, v.startSector * 512 + 1024, 512);
  const fs::path noise = disk->path.string() + ".noise";
  std::mt19937_64 random(2024);
  constexpr std::uint64_t kSectors = 4096;
  for (int round = 0; round < 12; ++round) {
    std::vector<std::byte> bytes(kSectors * 512);
    for (auto& b : bytes) b = static_cast<std::byte>(random() & 0xFF);
    for (int planted = 0; planted < 6; ++planted) {
      std::vector<std::byte> copy = header;
      // Scramble a few of the fields the check follows: forks, block size, total blocks.
      for (int k = 0; k < 4; ++k) {
        const std::size_t offsets[] = {40, 44, 192 + 12, 192 + 16, 192 + 20, 272 + 12, 272 + 16, 272 + 20};
        putBe32(copy, offsets[random() % 8], static_cast<std::uint32_t>(random() % (k == 0 ? 5000 : 1u << 31)));
      }
      putBe32(copy, 16, static_cast<std::uint32_t>(random()));  // a new creation date, so each is checked
      const std::uint64_t sector = 2 + random() % (kSectors - 4);
      std::copy(copy.begin(), copy.end(), bytes.begin() + static_cast<std::ptrdiff_t>(sector * 512));
    }
    {
      std::ofstream out(noise, std::ios::binary | std::ios::trunc);
      out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    const Found found = search(noise, 512);
    for (const PartitionRow& d : found.list) EXPECT_LT(d.volumeStart, kSectors);
  }
  fs::remove(noise);
}

// ---- The header test, field by field, on a real header. ----

struct HeaderMutation {
  const char* name;
  void (*apply)(VolumeInformationBlock&);
  bool passes;
};

class VerifyVIB : public testing::TestWithParam<HeaderMutation> {};

TEST_P(VerifyVIB, EachFieldTheTestNeeds) {
  const auto disk = makeDisk("lost-clone");
  const auto& v = disk->manifest.volumes.front();
  const auto bytes = readBytes(disk->path, v.startSector * 512 + 1024, kVolumeInformationBlockSize);
  const auto header = parseVolumeInformationBlock(bytes);
  ASSERT_TRUE(header.ok());
  MediaReader media;
  media.u32BytesInSector = 512;
  LostVolumeScan scan(media, VolumeSearchSink::none());
  VolumeInformationBlock changed = *header;
  GetParam().apply(changed);
  EXPECT_EQ(scan.verifyVIB(changed), GetParam().passes) << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, VerifyVIB,
    testing::Values(
        HeaderMutation{"untouched", [](VolumeInformationBlock&) {}, true},
        HeaderMutation{"block 1024", [](VolumeInformationBlock& h) { h.blockSize = 1024; }, true},
        HeaderMutation{"block 8192", [](VolumeInformationBlock& h) { h.blockSize = 8192; }, true},
        HeaderMutation{"block 512", [](VolumeInformationBlock& h) { h.blockSize = 512; }, false},
        HeaderMutation{"block 1536", [](VolumeInformationBlock& h) { h.blockSize = 1536; }, false},
        HeaderMutation{"block 16384", [](VolumeInformationBlock& h) { h.blockSize = 16384; }, false},
        HeaderMutation{"block 0", [](VolumeInformationBlock& h) { h.blockSize = 0; }, false},
        HeaderMutation{"block 1000", [](VolumeInformationBlock& h) { h.blockSize = 1000; }, false},
        HeaderMutation{"catalog size", [](VolumeInformationBlock& h) { h.catalogFile.logicalSize = 0; }, false},
        HeaderMutation{"catalog clump", [](VolumeInformationBlock& h) { h.catalogFile.clumpSize = 0; }, false},
        HeaderMutation{"catalog blocks", [](VolumeInformationBlock& h) { h.catalogFile.totalBlocks = 0; }, false},
        HeaderMutation{"catalog start", [](VolumeInformationBlock& h) { h.catalogFile.extents[0].startBlock = 0; },
                       false},
        HeaderMutation{"catalog count", [](VolumeInformationBlock& h) { h.catalogFile.extents[0].blockCount = 0; },
                       false},
        HeaderMutation{"extents size", [](VolumeInformationBlock& h) { h.extentsFile.logicalSize = 0; }, false},
        HeaderMutation{"extents clump", [](VolumeInformationBlock& h) { h.extentsFile.clumpSize = 0; }, false},
        HeaderMutation{"extents blocks", [](VolumeInformationBlock& h) { h.extentsFile.totalBlocks = 0; }, false},
        HeaderMutation{"extents start", [](VolumeInformationBlock& h) { h.extentsFile.extents[0].startBlock = 0; },
                       false},
        HeaderMutation{"extents count", [](VolumeInformationBlock& h) { h.extentsFile.extents[0].blockCount = 0; },
                       false},
        HeaderMutation{"create date", [](VolumeInformationBlock& h) { h.createDate = 0; }, false},
        HeaderMutation{"modify date", [](VolumeInformationBlock& h) { h.modifyDate = 0; }, false},
        HeaderMutation{"data clump", [](VolumeInformationBlock& h) { h.dataClumpSize = 0; }, false},
        HeaderMutation{"file count", [](VolumeInformationBlock& h) { h.fileCount = 0; }, false},
        HeaderMutation{"folder count", [](VolumeInformationBlock& h) { h.folderCount = 0; }, false},
        HeaderMutation{"signature", [](VolumeInformationBlock& h) { h.signature = 0; }, false},
        HeaderMutation{"total blocks", [](VolumeInformationBlock& h) { h.totalBlocks = 0; }, false},
        HeaderMutation{"backup date", [](VolumeInformationBlock& h) { h.backupDate = 0; }, true},
        HeaderMutation{"free blocks", [](VolumeInformationBlock& h) { h.freeBlocks = 0; }, true}),
    [](const testing::TestParamInfo<HeaderMutation>& param) {
      std::string name = param.param.name;
      std::replace(name.begin(), name.end(), ' ', '_');
      return name;
    });

}  // namespace
}  // namespace nua
