// The demo disk: GPT with a journaled HFS+ volume and a FAT32 volume, both holding folders of photos
// (JPEG and PNG made in code), some live and some deleted, for trying the program end to end.
#include "imagekit/demo_scenarios.h"

#include "imagekit/fat_scenarios.h"
#include "imagekit/jpeg_encoder.h"
#include "imagekit/partition_disk.h"
#include "imagekit/partition_map.h"
#include "imagekit/png_encoder.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

constexpr std::uint32_t kSectorSize = 512;
constexpr std::uint64_t kFirstStartSector = 2048;

std::vector<DemoPhoto> hfsPhotos() {
  return {{"/Holidays 2014/IMG_0001.jpg", 800, 600, 14, false},
          {"/Holidays 2014/IMG_0002.jpg", 320, 240, 8, false},
          {"/Holidays 2014/IMG_0003.jpg", 160, 120, 4, true},
          {"/Holidays 2014/Sunset over the bay.jpg", 640, 480, 10, true},
          {"/Birthday/cake.png", 120, 90, 0, false},
          {"/Birthday/Party guests.png", 300, 200, 6, true},
          {"/Birthday/candles.jpg", 480, 360, 8, false}};
}

std::vector<DemoPhoto> fatPhotos() {
  return {{"/DCIM/100NUA/IMG_1001.JPG", 640, 480, 12, false},
          {"/DCIM/100NUA/IMG_1002.JPG", 240, 180, 6, false},
          {"/DCIM/100NUA/IMG_1003.JPG", 800, 600, 10, true},
          {"/DCIM/100NUA/IMG_1004.JPG", 96, 64, 2, false},
          {"/Screenshots/Screen 1.png", 200, 150, 0, false},
          {"/Screenshots/Map of the trail.png", 320, 280, 0, true}};
}

bool isPng(const std::string& path) { return path.size() > 4 && path.substr(path.size() - 4) == ".png"; }

bool makeDemo(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error) {
  const std::uint64_t seed = options.seed;
  DiskVolume hfs;
  hfs.hfs.volumeName = "Family Photos";
  hfs.hfs.journaled = true;
  hfs.hfs.deletedRecordsIn = HfsDeletedPlacement::kJournal;
  hfs.hfs.catalogRecordsPerLeaf = 4;  // several leaves, so deleted records sit in several stale nodes
  hfs.hfs.sectorSize = kSectorSize;
  hfs.hfs.seed = seed;
  std::uint64_t salt = 0;
  for (const DemoPhoto& photo : hfsPhotos()) {
    HfsFileSpec file;
    file.path = photo.path;
    file.content = demoPhotoBytes(photo, seed * 100 + ++salt);
    file.deleted = photo.deleted;
    hfs.hfs.files.push_back(std::move(file));
  }
  if (!sizeHfsVolume(hfs, error)) return false;

  DiskVolume fat;
  FatVolumePlan fatPlan = fatBasicGeometry(FatKind::Fat32, seed);
  fatPlan.label = "PHOTOS";
  fatPlan.operations = {{FatOperation::Kind::MakeFolder, "/DCIM", {}},
                        {FatOperation::Kind::MakeFolder, "/DCIM/100NUA", {}},
                        {FatOperation::Kind::MakeFolder, "/Screenshots", {}}};
  std::vector<std::string> toDelete;
  for (const DemoPhoto& photo : fatPhotos()) {
    fatPlan.operations.push_back({FatOperation::Kind::WriteFile, photo.path, demoPhotoBytes(photo, seed * 100 + ++salt)});
    if (photo.deleted) toDelete.push_back(photo.path);
  }
  for (const std::string& path : toDelete) fatPlan.operations.push_back({FatOperation::Kind::Delete, path, {}});
  fat.isFat = true;
  if (!buildFatVolume(fatPlan, fat.fat, error)) return false;
  fat.bytes = fat.fat.volume.size();

  const std::uint64_t hfsCount = partitionSectors(hfs.bytes, kSectorSize);
  const std::uint64_t fatStart = kFirstStartSector + hfsCount;
  const std::uint64_t fatCount = partitionSectors(fat.bytes, kSectorSize);
  GptLayout layout;
  layout.sectorSize = kSectorSize;
  layout.diskGuid = "6E756120-6465-6D6F-0000-000000000001";
  layout.entries = {{kGptHfsPlusType, "6E756120-6465-6D6F-0000-0000000000A1", kFirstStartSector,
                     kFirstStartSector + hfsCount - 1, u"Family Photos"},
                    {kGptBasicDataType, "6E756120-6465-6D6F-0000-0000000000A2", fatStart, fatStart + fatCount - 1,
                     u"PHOTOS"}};
  layout.totalSectors = fatStart + fatCount + gptFirstUsableLba(kSectorSize);
  ImageWriter out(outPath, layout.totalSectors * kSectorSize);
  writeGpt(layout, out);
  if (!placeVolume(hfs, out, kFirstStartSector, kSectorSize, manifest, error) ||
      !placeVolume(fat, out, fatStart, kSectorSize, manifest, error)) {
    return false;
  }
  manifest.partitions = {{"scheme", "gpt"},
                         {"sectorSize", kSectorSize},
                         {"entries",
                          {partitionJson(1, kGptHfsPlusType, "Family Photos", kFirstStartSector, hfsCount),
                           partitionJson(2, kGptBasicDataType, "PHOTOS", fatStart, fatCount)}}};
  manifest.sectorSize = kSectorSize;
  manifest.imageBytes = out.totalBytes();
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  return true;
}

}  // namespace

std::vector<std::byte> demoPhotoBytes(const DemoPhoto& photo, std::uint64_t seed) {
  const RgbImage image = makePhoto(photo.width, photo.height, seed, photo.grain);
  return isPng(photo.path) ? encodePng(image) : encodeJpeg(image, 85);
}

void registerDemoScenarios() {
  registerScenario({"demo", "GPT disk with a journaled HFS+ volume and a FAT32 volume of photos, some deleted", makeDemo});
}

}  // namespace nua::imagekit
