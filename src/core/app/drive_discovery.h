// The drive list of this machine and of the images the user names, the partition list of a chosen
// disk, and the dictionary a scan of an image or device row starts from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/media_sources.h"
#include "base/dict.h"
#include "media/media_reader.h"

namespace nua {

struct DiscoveryOptions {
  std::string systemRoot = "/";     // where sys/, run/udev and proc/ are read
  std::vector<std::string> images;  // image files (or devices) that join the lists
  std::string iconRoot = "/usr/share/icons/hicolor";
};

// `initialDriveList`: the lists from the system's block devices and mounts plus the named images.
[[nodiscard]] DriveListing discoverDrives(const DiscoveryOptions& options);

// A drive's HFS+ partitions, named from their catalogs.
[[nodiscard]] std::vector<PartitionRow> partitionsOfDrive(MediaReader& drive);

// The sources the wizard uses for the lists; `loadSigData` is left to the caller.
[[nodiscard]] MediaSources discoveryMediaSources(DiscoveryOptions options);

// What a scan of TARGET (an image file or device) starts from: with `partitionRow` >= 0 that row of
// its partition list (with "Preferred Block Size" and "Size" as the wizard adds them), with
// `volumeRow` >= 0 that row of its volumes, else the whole disk. Empty with `error` set when the
// target cannot be read or the row does not exist.
[[nodiscard]] Dict scanTargetDict(const std::string& target, int partitionRow, int volumeRow, std::string& error);

}  // namespace nua
