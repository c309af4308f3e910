// Geometry options and image framing shared by the HFS+ scenarios.
#include "imagekit/hfs_scenario_common.h"

namespace nua::imagekit {

bool applyHfsOptions(const ScenarioOptions& options, HfsVolumeSpec& volumeSpec, std::string& error) {
  std::uint64_t blockSize = 0, sectorSize = 0, nodeSize = 0, extentsNodeSize = 0, perLeaf = 0;
  if (!optionUint(options, "block-size", volumeSpec.blockSize, blockSize, error) ||
      !optionUint(options, "sector-size", volumeSpec.sectorSize, sectorSize, error) ||
      !optionUint(options, "node-size", volumeSpec.catalogNodeSize, nodeSize, error) ||
      !optionUint(options, "extents-node-size", volumeSpec.extentsNodeSize, extentsNodeSize, error) ||
      !optionUint(options, "records-per-leaf", volumeSpec.catalogRecordsPerLeaf, perLeaf, error)) {
    return false;
  }
  if (blockSize > 65536 || sectorSize > 65536 || nodeSize > 65536 || extentsNodeSize > 65536 || perLeaf > 65536) {
    error = "a size option is out of range";
    return false;
  }
  volumeSpec.blockSize = static_cast<std::uint32_t>(blockSize);
  volumeSpec.sectorSize = static_cast<std::uint32_t>(sectorSize);
  volumeSpec.catalogNodeSize = static_cast<std::uint32_t>(nodeSize);
  volumeSpec.extentsNodeSize = static_cast<std::uint32_t>(extentsNodeSize);
  volumeSpec.catalogRecordsPerLeaf = static_cast<std::uint32_t>(perLeaf);
  volumeSpec.hfsx = volumeSpec.hfsx || optionFlag(options, "hfsx");
  volumeSpec.journaled = volumeSpec.journaled || optionFlag(options, "journaled");
  volumeSpec.seed = options.seed;
  return true;
}

bool makeHfsScenarioImage(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                          std::string& error, const HfsScenarioBuild& build, const HfsScenarioDamage& damage,
                          bool wrapped) {
  HfsVolumeSpec volumeSpec;
  volumeSpec.volumeName = "Nua Test";
  if (!applyHfsOptions(options, volumeSpec, error) || !build(volumeSpec, options, error)) return false;
  const std::uint64_t bytes = wrapped ? hfsWrappedVolumeBytes(volumeSpec, error) : hfsVolumeBytes(volumeSpec, error);
  if (bytes == 0) return false;
  ImageWriter out(outPath, bytes);
  if (!out.ok()) {
    error = out.error();
    return false;
  }
  ManifestVolume volume;
  const bool built = wrapped ? buildHfsWrappedVolume(volumeSpec, out, 0, volume, error) : buildHfsVolume(volumeSpec, out, 0, volume, error);
  if (!built || (damage && !damage(out, volume, error))) return false;
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  manifest.seed = options.seed;
  manifest.sectorSize = volumeSpec.sectorSize;
  manifest.imageBytes = bytes;
  manifest.volumes.push_back(std::move(volume));
  return true;
}

}  // namespace nua::imagekit
