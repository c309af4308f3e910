// Disk images the user names, and disks with nothing mounted, as entries of the drive and volume
// lists: a drive when the source carries a partition map (each HFS+ or FAT partition also a volume,
// as if mounted), and a drive holding one volume when the source begins with a file system.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/dict.h"

namespace nua {

// The merged entries for an image file or device: its drive dictionary first (unless `volumesOnly`),
// then one volume dictionary per partition with "Volume Start" set, in map order. A source that
// cannot be opened gives nothing. `sectorSizeOverride` 0 takes the device's own, or for an image
// 512 unless a GPT sits at byte 4096.
[[nodiscard]] std::vector<Dict> imageMediaEntries(const std::string& path, std::uint32_t sectorSizeOverride = 0,
                                                  bool volumesOnly = false);

}  // namespace nua
