// HFS+ volumes without a journal whose entries were deleted the way a driver deletes: the records stay
// in the catalog's node slack and freed nodes, fragmented files' extents in the overflow file's.
#include "imagekit/hfs_driver_delete.h"
#include "imagekit/hfs_scenario_common.h"

namespace nua::imagekit {
namespace {

HfsFileSpec fileAt(const std::string& path, std::uint64_t bytes, std::uint32_t fragments = 1) {
  HfsFileSpec file;
  file.path = path;
  file.patternBytes = bytes;
  file.fragments = fragments;
  return file;
}

HfsFileSpec folderAt(const std::string& path) {
  HfsFileSpec folder;
  folder.path = path;
  folder.folder = true;
  return folder;
}

bool makeNodeSlack(HfsVolumeSpec& volumeSpec, const ScenarioOptions&, std::string&) {
  const std::uint64_t block = volumeSpec.blockSize;
  volumeSpec.journaled = false;
  if (volumeSpec.catalogRecordsPerLeaf == 0) volumeSpec.catalogRecordsPerLeaf = 6;
  volumeSpec.files = {
      folderAt("/Docs"),
      fileAt("/Docs/alpha.txt", 1500),
      fileAt("/Docs/beta.bin", block * 3),
      fileAt("/Docs/zeta.bin", block * 5 + 100),
      fileAt("/Docs/zz-last.bin", block * 4),
      folderAt("/Old"),
      fileAt("/Old/a1.txt", 700),
      fileAt("/Old/a2.bin", block * 2 + 9),
      fileAt("/Old/a3.txt", 1800),
      fileAt("/Old/a4.txt", 90),
      fileAt("/Old/a5.bin", block + 1),
      fileAt("/Old/a6.txt", 2222),
      fileAt("/Old/a7.txt", 333),
      folderAt("/Media"),
      fileAt("/Media/keep.mov", block * 12 + 5, 12),
      fileAt("/new.bin", block * 2 + 40),
      fileAt("/readme.txt", 321),
      // Made last, so its record and thread are the catalog's last keys and survive its deletion.
      folderAt("/Video"),
      fileAt("/Video/take2.mov", block * 24 + 300, 24),
  };
  return true;
}

bool deleteNodeSlackEntries(ImageWriter& out, ManifestVolume& volume, std::string& error) {
  DriverDeletion deletion;
  // Removed from the end of their folders first, so most records survive whole; /Docs/alpha.txt goes
  // last and is moved over by the records after it, as happens to most deleted records.
  deletion.paths = {"/Docs/zz-last.bin", "/Docs/zeta.bin", "/Old/a7.txt", "/Old/a6.txt", "/Old/a5.bin",
                    "/Old/a4.txt",        "/Old/a3.txt",    "/Old/a2.bin", "/Old/a1.txt", "/Old",
                    "/Video/take2.mov",   "/Docs/alpha.txt"};
  deletion.reuses = {{"/Docs/zeta.bin", "/new.bin"}};
  return deleteLikeDriver(out, volume, deletion, error);
}

}  // namespace

void registerHfsSlackScenarios() {
  registerScenario({"hfs-node-slack",
                    "HFS+ without a journal; files and a folder deleted as a driver does (records moved over, an "
                    "emptied node freed, overflow extents left behind), one file's blocks reused",
                    [](const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                       std::string& error) {
                      return makeHfsScenarioImage(outPath, options, manifest, error, makeNodeSlack,
                                                  deleteNodeSlackEntries, false);
                    }});
}

}  // namespace nua::imagekit
