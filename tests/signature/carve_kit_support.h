// Shared pieces of the searches over the kit's "carve-" images: the image and its manifest made once
// per test program, the shipped catalog's rows for a goal, a search run into a fresh tree as the scan
// runs it, and a save of that tree through the real saver.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "carve_manifest_check.h"
#include "filecheck/file_check_list.h"
#include "imagekit/scenario.h"
#include "records/entry_ops.h"
#include "save/recover_to_folder.h"
#include "signature/carved_entry_registrar.h"
#include "signature/free_space_maps.h"
#include "signature/scan_test_support.h"
#include "signature/sig_master_table.h"

namespace nua::carvetest {

namespace fs = std::filesystem;

struct KitImage {
  fs::path path;
  std::vector<std::byte> bytes;
  imagekit::Manifest manifest;
  std::vector<PlantedFile> planted;
};

// The scenario's image, made on first use and removed when the program ends.
inline const KitImage& kitImage(const std::string& scenario) {
  static std::map<std::string, std::unique_ptr<KitImage>> made;
  static const fs::path folder = [] {
    const fs::path f = fs::temp_directory_path() / ("nua-carve-kit-" + std::to_string(::getpid()));
    fs::create_directories(f);
    std::atexit([] { fs::remove_all(fs::temp_directory_path() / ("nua-carve-kit-" + std::to_string(::getpid()))); });
    return f;
  }();
  auto& image = made[scenario];
  if (!image) {
    image = std::make_unique<KitImage>();
    image->path = folder / (scenario + ".img");
    std::string error;
    EXPECT_TRUE(imagekit::findScenario(scenario)->make(image->path.string(), {}, image->manifest, error)) << error;
    image->bytes = scantest::readFileBytes(image->path);
    image->planted = plantedFiles(image->manifest.extra);
  }
  return *image;
}

// Every row of one of the shipped catalogs, marked, split as the search setup splits them: rows of
// typeOfFile 1 select their file check; the others go into the signature tables.
struct CatalogSelection {
  std::vector<Sig> tableRows;
  std::set<std::string> fileCheckFormats;
};

inline CatalogSelection markEveryRow(SigDataFile file) {
  std::ifstream in(NUA_TEST_SIG_MASTER);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const SigMasterTable table = parseSigMasterTable(text);
  EXPECT_TRUE(table.ok()) << table.reason;
  // The catalog's extensions where the check list's format words differ.
  const std::map<std::string, std::string> words = {{"tif", "tiff"}, {"3fr", "threeFr"}, {"3gp", "threeGp"},
                                                    {"3g2", "threeGTwo"}};
  CatalogSelection selection;
  for (const auto& category : buildSigRootArray(table, file)) {
    for (const auto& node : category->children.value_or(std::vector<std::shared_ptr<SigNode>>{})) {
      const Sig& sig = *node->sig;
      if (sig.typeOfFile != 1) {
        selection.tableRows.push_back(sig);
      } else if (sig.extension == "raw") {
        selection.fileCheckFormats.insert(sig.software.rfind("Leica", 0) == 0 ? "leica" : "rawPanasonic");
      } else {
        selection.fileCheckFormats.insert(words.count(sig.extension) != 0 ? words.at(sig.extension) : sig.extension);
      }
    }
  }
  return selection;
}

// The geometry of the image's first volume, or the whole disk when it has none.
inline SignatureScanGeometry geometryOf(const KitImage& image) {
  SignatureScanGeometry g;
  if (image.manifest.volumes.empty()) {
    g.sizeInSectors = image.bytes.size() / 512;
    g.totalBlocks = g.sizeInSectors;
    return g;
  }
  const imagekit::ManifestVolume& volume = image.manifest.volumes[0];
  g.volumeStartSector = volume.startSector;
  g.sizeInSectors = volume.sectorCount;
  if (volume.fileSystem.rfind("FAT", 0) == 0) {
    const ByteSpan boot(image.bytes.data(), 512);
    const std::uint32_t spc = u8(boot, 13);
    const std::uint64_t reserved = le16(boot, 14);
    g.sizeInSectors = le32(boot, 32);
    g.blockSize = spc;
    g.totalBlocks = g.sizeInSectors / spc;
    g.sectorsPerCluster = spc;
    g.firstDataSector = reserved + u8(boot, 16) * std::uint64_t{le32(boot, 36)};
    g.blocksStartSector = g.firstDataSector;
    return g;
  }
  const ByteSpan header(image.bytes.data() + volume.startSector * 512 + 1024, 512);
  g.blockSize = be32(header, 0x28) / 512;
  g.totalBlocks = be32(header, 0x2C);
  return g;
}

inline std::unique_ptr<FreeSpaceMap> freeSpaceOf(const KitImage& image, const SignatureScanGeometry& g, SectorSource& source) {
  const imagekit::ManifestVolume& volume = image.manifest.volumes.at(0);
  if (volume.fileSystem.rfind("FAT", 0) == 0) {
    const ByteSpan boot(image.bytes.data(), 512);
    return std::make_unique<FatTableFreeSpace>(source, le16(boot, 14), 32,
                                               (g.sizeInSectors - g.firstDataSector) / g.sectorsPerCluster);
  }
  const ByteSpan header(image.bytes.data() + volume.startSector * 512 + 1024, 512);
  std::vector<AllocationFileExtent> extents;
  for (std::size_t k = 0; k < 8; ++k) {
    const std::uint32_t count = be32(header, 0x80 + 8 * k + 4);
    if (count != 0) extents.push_back({be32(header, 0x80 + 8 * k), count});
  }
  return std::make_unique<HfsAllocationFreeSpace>(source, volume.startSector, g.blockSize, extents);
}

// One search over a kit image into a fresh tree, with every row of the goal's catalog marked: the
// plain loops take Sig_FR, the combined ones Sig_PR.
struct CarveRun {
  std::shared_ptr<EntryArena> arena = std::make_shared<EntryArena>();
  Entry* root = makeRootDir(*arena, nullptr);
  std::uint32_t maxFileID = kFirstFreeFileID;
  SignatureScanResult result;
  std::uint64_t volumeStartSector = 0;

  [[nodiscard]] std::vector<CarvedFile> files() const { return carvedFilesOfTree(root, volumeStartSector); }
};

struct CarveRequest {
  SignatureScanLoop loop = SignatureScanLoop::kDiskSectors;
  SignatureScanGeometry geometry;
  FreeSpaceMap* freeSpace = nullptr;
  const KnownFileStarts* knownFiles = nullptr;
  ResumePositionSink* resume = nullptr;
  std::uint64_t resumeUnit = 0;  // 0: a fresh search
};

// The request for `loop` over `image`; a free-space search gets its map, kept in `freeSpace`.
inline CarveRequest requestFor(const KitImage& image, SignatureScanLoop loop, bool freeSpaceOnly, SectorSource& source,
                               std::unique_ptr<FreeSpaceMap>& freeSpace) {
  CarveRequest request;
  request.loop = loop;
  request.geometry = geometryOf(image);
  if (freeSpaceOnly) {
    freeSpace = freeSpaceOf(image, request.geometry, source);
    request.freeSpace = freeSpace.get();
  }
  return request;
}

inline std::unique_ptr<CarveRun> runCarve(const KitImage& image, const CarveRequest& request) {
  auto run = std::make_unique<CarveRun>();
  run->volumeStartSector = request.geometry.volumeStartSector;
  MemorySectorSource source(image.bytes, 512);
  const bool combined = traitsOf(request.loop).combined;
  CatalogSelection selection = markEveryRow(combined ? SigDataFile::kPR : SigDataFile::kFR);
  std::vector<const Sig*> rows;
  for (const Sig& sig : selection.tableRows) rows.push_back(&sig);
  SignatureTables tables;
  tables.populate(rows);
  FileCheckScanState state;
  FileCheckList checks = FileCheckList::build(combined ? selection.fileCheckFormats : std::set<std::string>{}, source, state);
  FormatContext context;
  context.deviceEndSector = source.sectorCount();
  CarvedEntryRegistrar registrar(
      CarvedRegistrarSetup{run->arena.get(), run->root, &run->maxFileID, nullptr, 512, image.bytes.size(), false});
  SignatureScanSetup setup;
  setup.loop = request.loop;
  setup.geometry = request.geometry;
  setup.source = &source;
  setup.tables = &tables;
  setup.context = &context;
  setup.fileChecks = combined ? FileCheckStage{&checks, &state} : FileCheckStage{};
  setup.freeSpace = request.freeSpace;
  setup.knownFiles = request.knownFiles;
  setup.finds = &registrar;
  setup.resume = request.resume;
  run->result = runSignatureScan(setup, request.resumeUnit);
  return run;
}

// Saves every file of the run's tree from the image with the real saver; gives the bytes of each
// saved file by "folder/name".
inline std::map<std::string, std::vector<std::byte>> saveCarvedTree(const KitImage& image, CarveRun& run) {
  char pattern[] = "/tmp/nua-carve-save-XXXXXX";
  EXPECT_NE(::mkdtemp(pattern), nullptr);
  const fs::path out = pattern;
  Volume volume;
  volume.path = image.path.string();
  volume.HPlusVolStart = run.volumeStartSector;
  volume.sizeInSect = image.bytes.size() / 512;
  volume.arena = run.arena;
  volume.dirRoot = run.root;
  SilentUiBridge ui;
  const RecoverResult result = recoverToFolder(volume, {out.string(), {"all"}, false, false}, ui, nullptr);
  EXPECT_TRUE(result.saved) << result.message;
  std::map<std::string, std::vector<std::byte>> saved;
  for (const auto& item : fs::recursive_directory_iterator(out)) {
    if (!item.is_regular_file()) continue;
    saved[item.path().parent_path().filename().string() + "/" + item.path().filename().string()] =
        scantest::readFileBytes(item.path());
  }
  fs::remove_all(out);
  return saved;
}

}  // namespace nua::carvetest
