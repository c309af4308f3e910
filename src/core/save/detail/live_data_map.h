// Where the live files of a result keep their data, so that saving can tell when a deleted file's
// blocks have been handed to a live file since (a FAT cluster reused, an HFS+ block reallocated): its
// bytes there are that file's, not its own.
#pragma once

#include <cstdint>
#include <vector>

#include "records/entry.h"

namespace nua::detail {

class LiveDataMap {
 public:
  // Collects the sectors (from the volume's start) of every live file below root, through both
  // childList and deletedList, so any view of the tree gives the same map. Bounded like every walk.
  explicit LiveDataMap(const Entry* root);

  // The live file holding any of the sectors [firstSector, firstSector + sectorCount), or nullptr.
  [[nodiscard]] const Entry* ownerOf(std::uint64_t firstSector, std::uint64_t sectorCount) const;

 private:
  struct Run {
    std::uint64_t firstSector;
    std::uint64_t endSector;  // one past the last
    const Entry* owner;
  };
  std::vector<Run> runs_;  // sorted by firstSector and not overlapping
};

}  // namespace nua::detail
