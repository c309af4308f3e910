// A bare disk of a chosen size for the photo search benchmark: copies and variants of the carve
// samples spread over the whole image with text-like filler between, and the manifest listing each.
#pragma once

#include <cstdint>
#include <string>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {

// Smallest size accepted, so that at least one round of samples fits.
inline constexpr std::uint64_t kSizedCarveDiskMinMiB = 4;

// Writes `sizeMiB` MiB to `outPath`, streaming (the image is never held in memory). The same seed and
// size always give the same bytes.
[[nodiscard]] bool makeSizedCarveDisk(const std::string& outPath, std::uint64_t sizeMiB,
                                      const ScenarioOptions& options, Manifest& manifest, std::string& error);

}  // namespace nua::imagekit
