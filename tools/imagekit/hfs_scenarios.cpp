// The HFS+ scenarios of the image kit: healthy volumes in several geometries, deleted entries left in
// the journal or in free space, and volumes with one structure damaged on purpose.
#include <functional>

#include "base/bytes.h"
#include "imagekit/hfs_scenario_common.h"
#include "imagekit/hfs_writer.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

std::vector<std::byte> textBytes(const std::string& text) {
  std::vector<std::byte> bytes;
  for (char c : text) bytes.push_back(static_cast<std::byte>(c));
  return bytes;
}

HfsFileSpec folderAt(const std::string& path, bool deleted = false) {
  HfsFileSpec volumeSpec;
  volumeSpec.path = path;
  volumeSpec.folder = true;
  volumeSpec.deleted = deleted;
  return volumeSpec;
}

HfsFileSpec textAt(const std::string& path, const std::string& text, bool deleted = false) {
  HfsFileSpec volumeSpec;
  volumeSpec.path = path;
  volumeSpec.content = textBytes(text);
  volumeSpec.deleted = deleted;
  return volumeSpec;
}

HfsFileSpec patternAt(const std::string& path, std::uint64_t bytes, bool deleted = false, std::uint32_t fragments = 1) {
  HfsFileSpec volumeSpec;
  volumeSpec.path = path;
  volumeSpec.patternBytes = bytes;
  volumeSpec.deleted = deleted;
  volumeSpec.fragments = fragments;
  return volumeSpec;
}

// Nested folders three deep, files of zero, one and many blocks, and a non-ASCII name.
std::vector<HfsFileSpec> basicFiles(std::uint32_t blockSize) {
  return {
      folderAt("/Documents"),
      textAt("/Documents/Projects/Archive/notes.txt", "Archived notes, three folders down.\n"),
      patternAt("/Documents/Projects/plan.txt", 3000),
      patternAt("/Documents/empty.txt", 0),
      patternAt("/Documents/one-block.bin", blockSize),
      folderAt("/Music"),
      patternAt("/Photos/holiday.jpg", std::uint64_t{blockSize} * 12 + 77),
      textAt("/Stra\xC3\x9F" "e-\xE6\x97\xA5\xE6\x9C\xAC.txt", "Non-ASCII name.\n"),
      textAt("/readme.txt", "Nua test volume.\n"),
  };
}

bool makeBasic(HfsVolumeSpec& volumeSpec, const ScenarioOptions&, std::string&) {
  volumeSpec.files = basicFiles(volumeSpec.blockSize);
  return true;
}

bool makeFragmented(HfsVolumeSpec& volumeSpec, const ScenarioOptions&, std::string&) {
  volumeSpec.files = basicFiles(volumeSpec.blockSize);
  // 88 extents: eight in the catalog record, ten overflow records split over two leaves of six.
  volumeSpec.files.push_back(patternAt("/Fragmented/pieces.bin", std::uint64_t{volumeSpec.blockSize} * 100, false, 88));
  if (volumeSpec.extentsRecordsPerLeaf == 0) volumeSpec.extentsRecordsPerLeaf = 6;
  return true;
}

bool makeJournalDeleted(HfsVolumeSpec& volumeSpec, const ScenarioOptions&, std::string&) {
  volumeSpec.journaled = true;
  volumeSpec.deletedRecordsIn = HfsDeletedPlacement::kJournal;
  if (volumeSpec.catalogRecordsPerLeaf == 0) volumeSpec.catalogRecordsPerLeaf = 4;
  volumeSpec.files = {
      textAt("/Docs/keep.txt", "Still here.\n"),
      patternAt("/Docs/removed.txt", 5000, true),
      patternAt("/Docs/report.pdf", std::uint64_t{volumeSpec.blockSize} * 3),
      folderAt("/Old", true),
      textAt("/Old/gone-1.txt", "Deleted with its folder.\n", true),
      patternAt("/Old/gone-2.bin", std::uint64_t{volumeSpec.blockSize} * 4 + 9, true),
      folderAt("/Old/Inner", true),
      patternAt("/Old/Inner/gone-3.txt", 700, true),
      patternAt("/photo.jpg", 9000),
  };
  return true;
}

bool makeJournalExtents(HfsVolumeSpec& volumeSpec, const ScenarioOptions&, std::string&) {
  volumeSpec.journaled = true;
  volumeSpec.deletedRecordsIn = HfsDeletedPlacement::kJournal;
  volumeSpec.files = {
      textAt("/Data/alive.txt", "Alive.\n"),
      patternAt("/Data/split.bin", std::uint64_t{volumeSpec.blockSize} * 30, true, 24),
      patternAt("/notes.txt", 1234),
  };
  return true;
}

bool makeReformatted(HfsVolumeSpec& volumeSpec, const ScenarioOptions&, std::string&) {
  volumeSpec.deletedRecordsIn = HfsDeletedPlacement::kFreeSpace;
  if (volumeSpec.catalogRecordsPerLeaf == 0) volumeSpec.catalogRecordsPerLeaf = 6;
  volumeSpec.files = basicFiles(volumeSpec.blockSize);
  for (HfsFileSpec& file : volumeSpec.files) file.deleted = true;
  return true;
}

bool makeTwoExtentCatalog(HfsVolumeSpec& volumeSpec, const ScenarioOptions&, std::string&) {
  volumeSpec.files = basicFiles(volumeSpec.blockSize);
  volumeSpec.catalogExtentCount = 2;
  if (volumeSpec.catalogRecordsPerLeaf == 0) volumeSpec.catalogRecordsPerLeaf = 4;
  return true;
}

bool zeroPrimaryHeader(ImageWriter& out, const ManifestVolume& volume, std::string&) {
  const std::vector<std::byte> zeros(512);
  out.write(volume.extra.at("volumeByteOffset").get<std::uint64_t>() + 1024, zeros);
  return true;
}

std::uint64_t catalogNodeByte(const ManifestVolume& volume, std::uint32_t node) {
  const auto& catalog = volume.extra.at("catalogFile");
  const std::uint64_t nodeSize = catalog.at("nodeSize").get<std::uint64_t>();
  std::uint64_t forkByte = node * nodeSize;
  for (const auto& extent : catalog.at("extents")) {
    const std::uint64_t length = extent.at(1).get<std::uint64_t>() * volume.blockSize;
    if (forkByte < length) {
      return volume.extra.at("volumeByteOffset").get<std::uint64_t>() + extent.at(0).get<std::uint64_t>() * volume.blockSize +
             forkByte;
    }
    forkByte -= length;
  }
  return 0;
}

bool zeroCatalogHeader(ImageWriter& out, const ManifestVolume& volume, std::string&) {
  const std::vector<std::byte> zeros(volume.extra.at("catalogFile").at("nodeSize").get<std::size_t>());
  out.write(catalogNodeByte(volume, 0), zeros);
  return true;
}

bool loopLastLeaf(ImageWriter& out, const ManifestVolume& volume, std::string& error) {
  const auto& catalog = volume.extra.at("catalogFile");
  const auto first = catalog.at("firstLeafNode").get<std::uint32_t>();
  const auto last = catalog.at("lastLeafNode").get<std::uint32_t>();
  if (last <= first + 1) {
    error = "the loop needs at least three leaves";
    return false;
  }
  // The last leaf links forward to the second, so a walk that trusts fLink never ends.
  std::array<std::byte, 4> link{};
  putBe32(link, 0, first + 1);
  out.write(catalogNodeByte(volume, last), link);
  return true;
}

void addScenario(const std::string& name, const std::string& description, HfsScenarioBuild build,
                 HfsScenarioDamage damage = nullptr, bool wrapped = false) {
  registerScenario({name, description, [=](const std::string& outPath, const ScenarioOptions& options,
                                           Manifest& manifest, std::string& error) {
                      return makeHfsScenarioImage(outPath, options, manifest, error, build, damage, wrapped);
                    }});
}

}  // namespace

void registerHfsScenarios() {
  addScenario("hfs-basic", "HFS+ with nested folders, 0/1/many-block files and a non-ASCII name", makeBasic);
  addScenario("hfs-fragmented", "HFS+ with an 88-extent file whose overflow records fill two leaves", makeFragmented);
  addScenario("hfs-journal-deleted", "journaled HFS+; deleted files and folders in stale journal nodes",
              makeJournalDeleted);
  addScenario("hfs-journal-extents", "journaled HFS+; a deleted fragmented file with its extents node in the journal",
              makeJournalExtents);
  addScenario("hfs-wrapper", "HFS+ embedded in an HFS wrapper", makeBasic, nullptr, true);
  addScenario("hfs-damaged-header", "HFS+ with the primary volume header zeroed", makeBasic, zeroPrimaryHeader);
  addScenario("hfs-damaged-catalog", "HFS+ with the catalog header node zeroed", makeBasic, zeroCatalogHeader);
  addScenario("hfs-flink-loop", "HFS+ whose last catalog leaf links back to an earlier leaf", makeTwoExtentCatalog,
              loopLastLeaf);
  addScenario("hfs-reformatted", "empty HFS+ over old catalog leaves left in free space", makeReformatted);
  addScenario("hfs-two-extent-catalog", "HFS+ whose catalog file has two extents", makeTwoExtentCatalog);
  registerHfsManyScenario();
  registerHfsSlackScenarios();
}

}  // namespace nua::imagekit
