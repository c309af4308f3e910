// Shared plumbing of the HFS+ scenarios: geometry options, image creation and the manifest frame.
#pragma once

#include <functional>
#include <string>

#include "imagekit/hfs_writer.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

// Fills the volume volumeSpec's files and scenario-specific knobs after the common options are applied.
using HfsScenarioBuild = std::function<bool(HfsVolumeSpec&, const ScenarioOptions&, std::string& error)>;
// Damages or edits the written volume on purpose; an edit that changes what a reader should find
// (a deletion) updates the manifest too.
using HfsScenarioDamage = std::function<bool(ImageWriter&, ManifestVolume&, std::string& error)>;

// Reads --block-size, --sector-size, --node-size, --extents-node-size, --records-per-leaf, --hfsx,
// --journaled and the seed into `volumeSpec`; false with `error` on a malformed value.
[[nodiscard]] bool applyHfsOptions(const ScenarioOptions& options, HfsVolumeSpec& volumeSpec, std::string& error);

// Builds the volume (wrapped in HFS when asked) into a new image at outPath and fills the manifest.
[[nodiscard]] bool makeHfsScenarioImage(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest,
                                        std::string& error, const HfsScenarioBuild& build,
                                        const HfsScenarioDamage& damage, bool wrapped);

// hfs-many lives in its own file because it streams its catalog.
void registerHfsManyScenario();
// Driver-style deletions without a journal: records in node slack and freed nodes.
void registerHfsSlackScenarios();

}  // namespace nua::imagekit
