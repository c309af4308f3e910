// The mounts of this process as /proc/self/mountinfo lists them: which device number each file system
// reports, its type and the device it was mounted from.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nua::detail {

struct Mount {
  std::uint64_t deviceNumber = 0;  // as stat's st_dev reports it for files on this mount
  std::string mountPoint;
  std::string fileSystemType;  // "ext4", "vfat", "fuseblk", ...
  std::string source;          // "/dev/sdb1", "tmpfs", ...
};

// Parses the text of a mountinfo file; lines that do not parse are skipped.
[[nodiscard]] std::vector<Mount> parseMountInfo(std::string_view text);
// The mounts of this process now; empty when /proc is not there.
[[nodiscard]] std::vector<Mount> currentMounts();
// The first mount whose device number is deviceNumber.
[[nodiscard]] std::optional<Mount> mountOfDevice(const std::vector<Mount>& mounts, std::uint64_t deviceNumber);

}  // namespace nua::detail
