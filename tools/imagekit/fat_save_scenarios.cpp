// FAT volumes that test saving rather than scanning: a deleted file whose clusters a larger live file
// took over, and an image cut short in the middle of its data.
#include <algorithm>

#include "imagekit/fat_scenarios.h"
#include "imagekit/image_file.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

namespace {

bool writeImage(const FatBuild& build, const std::string& outPath, Manifest& manifest, std::string& error) {
  ImageWriter out(outPath, build.volume.size());
  writeFatVolume(build, out, 0);
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  manifest.sectorSize = build.geometry.bytesPerSector;
  manifest.imageBytes = build.volume.size();
  manifest.volumes.push_back(build.manifest);
  return true;
}

// "Old report.txt" (2.5 clusters) is deleted after "Keeper.txt" was written behind it; "New video.bin"
// (6 clusters) then gets the freed clusters first and continues behind Keeper.txt. The deleted entry's
// first cluster, and its chain in the table, are now the video's.
bool makeReusedFirstCluster(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                            std::string& error) {
  FatVolumePlan plan = fatBasicGeometry(FatKind::Fat16, options.seed);
  const std::size_t cluster = std::size_t{plan.sectorsPerCluster} * plan.sectorSize;
  const auto bytes = [&](std::uint64_t salt, std::size_t length) { return fatSampleContent(options.seed * 1000 + salt, length); };
  plan.operations = {
      {FatOperation::Kind::WriteFile, "/Old report.txt", bytes(1, cluster * 5 / 2)},
      {FatOperation::Kind::WriteFile, "/Keeper.txt", bytes(2, cluster)},
      {FatOperation::Kind::Delete, "/Old report.txt", {}},
      {FatOperation::Kind::WriteFile, "/New video.bin", bytes(3, cluster * 6)},
  };
  FatBuild build;
  if (!buildFatVolume(plan, build, error)) return false;
  const ManifestEntry* old = nullptr;
  const ManifestEntry* video = nullptr;
  for (const ManifestEntry& entry : build.manifest.entries) {
    if (entry.path == "Old report.txt" && entry.deleted) old = &entry;
    if (entry.path == "New video.bin" && !entry.deleted) video = &entry;
  }
  if (old == nullptr || video == nullptr || old->id != video->id) {
    error = "reused first cluster: mtools did not hand the freed clusters to the new file";
    return false;
  }
  build.manifest.extra["reusedFirstCluster"] = {{"deleted", old->path}, {"liveOwner", video->path},
                                                {"cluster", old->id}};
  return writeImage(build, outPath, manifest, error);
}

// The basic FAT16 volume, cut one sector into the last cluster a live file uses.
bool makeTruncatedImage(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                        std::string& error) {
  FatVolumePlan plan = fatBasicGeometry(FatKind::Fat16, options.seed);
  plan.operations = fatBasicOperations(options.seed, plan.sectorsPerCluster * plan.sectorSize);
  FatBuild build;
  if (!buildFatVolume(plan, build, error)) return false;
  const FatGeometry& geometry = build.geometry;
  std::uint64_t lastCluster = 0;
  for (const ManifestEntry& entry : build.manifest.entries) {
    for (const auto& [start, count] : entry.extents) {
      if (!entry.folder && !entry.deleted && count != 0) lastCluster = std::max(lastCluster, start + count - 1);
    }
  }
  if (lastCluster < 2) {
    error = "truncated image: no file data to cut";
    return false;
  }
  const std::uint64_t cutByte = geometry.clusterByteOffset(static_cast<std::uint32_t>(lastCluster)) + geometry.bytesPerSector;
  nlohmann::json cutFiles = nlohmann::json::array();
  for (const ManifestEntry& entry : build.manifest.entries) {
    if (entry.folder || entry.deleted) continue;
    std::uint64_t sizeLeft = entry.size;
    for (const auto& [start, count] : entry.extents) {
      const std::uint64_t inExtent = std::min<std::uint64_t>(sizeLeft, count * geometry.clusterBytes());
      if (inExtent != 0 && geometry.clusterByteOffset(static_cast<std::uint32_t>(start)) + inExtent > cutByte) {
        cutFiles.push_back(entry.path);
        break;
      }
      sizeLeft -= inExtent;
    }
  }
  build.volume.resize(cutByte);
  build.manifest.extra["truncated"] = {{"imageBytes", cutByte}, {"volumeBytes", std::uint64_t{plan.sizeKiB} * 1024},
                                       {"cutLiveFiles", cutFiles}};
  return writeImage(build, outPath, manifest, error);
}

}  // namespace

void registerFatSaveScenarios() {
  registerScenario({"fat-reused-first-cluster",
                    "FAT16 volume with a deleted file whose first cluster now starts a larger live file",
                    makeReusedFirstCluster});
  registerScenario({"fat-truncated-image", "FAT16 volume image cut one sector into the last cluster a live file uses",
                    makeTruncatedImage});
}

}  // namespace nua::imagekit
