// Geometry options and image framing shared by the HFS+ scenarios.
#include "imagekit/hfs_scenario_common.h"

namespace nua::imagekit {

bool applyHfsOptions(const ScenarioOptions& options, HfsVolumeSpec& spec, std::string& error) {
  std::uint64_t blockSize = 0, sectorSize = 0, nodeSize = 0, extentsNodeSize = 0, perLeaf = 0;
  if (!optionUint(options, "block-size", spec.blockSize, blockSize, error) ||
      !optionUint(options, "sector-size", spec.sectorSize, sectorSize, error) ||
      !optionUint(options, "node-size", spec.catalogNodeSize, nodeSize, error) ||
      !optionUint(options, "extents-node-size", spec.extentsNodeSize, extentsNodeSize, error) ||
      !optionUint(options, "records-per-leaf", spec.catalogRecordsPerLeaf, perLeaf, error)) {
    return false;
  }
  if (blockSize > 65536 || sectorSize > 65536 || nodeSize > 65536 || extentsNodeSize > 65536 || perLeaf > 65536) {
    error = "a size option is out of range";
    return false;
  }
  spec.blockSize = static_cast<std::uint32_t>(blockSize);
  spec.sectorSize = static_cast<std::uint32_t>(sectorSize);
  spec.catalogNodeSize = static_cast<std::uint32_t>(nodeSize);
  spec.extentsNodeSize = static_cast<std::uint32_t>(extentsNodeSize);
  spec.catalogRecordsPerLeaf = static_cast<std::uint32_t>(perLeaf);
  spec.hfsx = spec.hfsx || optionFlag(options, "hfsx");
  spec.journaled = spec.journaled || optionFlag(options, "journaled");
  spec.seed = options.seed;
  return true;
}

bool makeHfsScenarioImage(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                          std::string& error, const HfsScenarioBuild& build, const HfsScenarioDamage& damage,
                          bool wrapped) {
  HfsVolumeSpec spec;
  spec.volumeName = "Nua Test";
  if (!applyHfsOptions(options, spec, error) || !build(spec, options, error)) return false;
  const std::uint64_t bytes = wrapped ? hfsWrappedVolumeBytes(spec, error) : hfsVolumeBytes(spec, error);
  if (bytes == 0) return false;
  ImageWriter out(outPath, bytes);
  if (!out.ok()) {
    error = out.error();
    return false;
  }
  ManifestVolume volume;
  const bool built = wrapped ? buildHfsWrappedVolume(spec, out, 0, volume, error) : buildHfsVolume(spec, out, 0, volume, error);
  if (!built || (damage && !damage(out, volume, error))) return false;
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  manifest.seed = options.seed;
  manifest.sectorSize = spec.sectorSize;
  manifest.imageBytes = bytes;
  manifest.volumes.push_back(std::move(volume));
  return true;
}

}  // namespace nua::imagekit
