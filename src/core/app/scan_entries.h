// The file-system halves of the scan thread entries: `startMakingTree` and `scanForDeletedFiles`
// (scan_run.h) pick one of these by the volume's content. Each runs on the scan thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "app/scan_launcher.h"
#include "volume/volume.h"

namespace nua {

// The tree of an HFS+ volume: the catalog walk, or the advanced scan when `treeScanMode` is 1.
void startMakingTreeHFS(Volume& volume);
// The tree of a FAT volume: the root record and the directory walk.
void startMakingTreeFAT(Volume& volume);
// The tree of an exFAT volume: the root record and the walk of its entry sets.
void startMakingTreeExFAT(Volume& volume);

// The deleted-file scans with their argument arrays as the wizard built them. Each ends by sending
// "Tree Complete" itself.
void scanForDeletedFilesHFS(Volume& volume, const ScanArguments& arguments);
void scanForDeletedFilesFAT(Volume& volume, const ScanArguments& arguments);
void scanForDeletedFilesExFAT(Volume& volume, const ScanArguments& arguments);

// Elements of an argument array, read without trusting its length or types.
[[nodiscard]] inline const std::string* scanArgumentString(const ScanArguments& arguments, std::size_t index) {
  if (index >= arguments.size()) return nullptr;
  return std::get_if<std::string>(&arguments[index]);
}

[[nodiscard]] inline std::optional<std::int64_t> scanArgumentNumber(const ScanArguments& arguments,
                                                                    std::size_t index) {
  if (index >= arguments.size()) return std::nullopt;
  const auto* number = std::get_if<std::int64_t>(&arguments[index]);
  if (number == nullptr) return std::nullopt;
  return *number;
}

}  // namespace nua
