// The file-system halves of the scan thread entries: `startMakingTree` and `scanForDeletedFiles`
// (scan_run.h) pick one of these by the volume's content. Each runs on the scan thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "app/scan_launcher.h"
#include "app/scan_progress.h"
#include "volume/progress_sink.h"
#include "volume/volume.h"

namespace nua {

// The tree of an HFS+ volume: the catalog walk, or the advanced scan when `treeScanMode` is 1.
void startMakingTreeHFS(Volume& volume, ProgressSink& progress);
// The tree of a FAT volume: the root record and the directory walk.
void startMakingTreeFAT(Volume& volume, ProgressSink& progress);
// The tree of an exFAT volume: the root record and the walk of its entry sets.
void startMakingTreeExFAT(Volume& volume, ProgressSink& progress);

// The deleted-file scans with their argument arrays as the wizard built them. Each returns the update
// that completes it ("Tree Completed ..." with the tree), which the runner sends once its tick is stopped.
[[nodiscard]] ScanProgress scanForDeletedFilesHFS(Volume& volume, const ScanArguments& arguments,
                                                  ScanRunSink& progress);
[[nodiscard]] ScanProgress scanForDeletedFilesFAT(Volume& volume, const ScanArguments& arguments,
                                                  ScanRunSink& progress);
[[nodiscard]] ScanProgress scanForDeletedFilesExFAT(Volume& volume, const ScanArguments& arguments,
                                                    ScanRunSink& progress);

// The last update of a deleted-file scan: "Tree Completed ..." with the tree, and the bar's animation
// as the scan leaves it.
[[nodiscard]] inline ScanProgress treeCompleted(std::optional<ProgressAnimation> animation) {
  ScanProgress last = ScanProgress::withStatus(progress_text::kTreeCompleted);
  last.treeComplete = true;
  last.animation = animation;
  return last;
}

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
