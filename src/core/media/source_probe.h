// A first look at a device or image: its size, sector size and what its first sectors hold, for the
// command line's description of a source before any scan.
#pragma once

#include <string>

#include "base/dict.h"

namespace nua {

// Keys: "Path", "Size", "Preferred Block Size", "Block Device" (bool), and "Layout" with one of
// "MBR", "GPT", "Apple partition map", "HFS+", "HFSX", "HFS wrapper", "FAT", "exFAT", "unknown". A
// source that cannot be opened gives "Error" with the reason instead. "Container" names the kind ("raw",
// "split raw", "E01", "UDIF"); an E01 set adds "Case Number", "Examiner Name", "Acquiry Date" and
// "Stored MD5" where it holds them.
[[nodiscard]] Dict describeSource(const std::string& path, std::uint32_t sectorSizeOverride = 0);

// Reads the whole media of an E01 set and compares its MD5 with the stored one: "MD5 Check" is
// "matches", "does not match", "no MD5 stored" or "media cannot be read"; "Computed MD5" when read.
[[nodiscard]] Dict verifyStoredDigest(const std::string& path);

}  // namespace nua
