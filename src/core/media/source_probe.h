// A first look at a device or image: its size, sector size and what its first sectors hold, for the
// command line's description of a source before any scan.
#pragma once

#include <string>

#include "base/dict.h"

namespace nua {

// Keys: "Path", "Size", "Preferred Block Size", "Block Device" (bool), and "Layout" with one of
// "MBR", "GPT", "Apple partition map", "HFS+", "HFSX", "HFS wrapper", "FAT", "exFAT", "unknown". A source that
// cannot be opened gives "Error" with the reason instead.
[[nodiscard]] Dict describeSource(const std::string& path, std::uint32_t sectorSizeOverride = 0);

}  // namespace nua
