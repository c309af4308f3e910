#include "save/detail/live_data_map.h"

#include <algorithm>
#include <unordered_set>

#include "records/entry_ops.h"

namespace nua::detail {

LiveDataMap::LiveDataMap(const Entry* root) {
  if (root == nullptr) return;
  // A deleted-only view swaps a folder's two lists, so both are walked; a folder reached twice is
  // walked once.
  std::vector<const Entry*> pending{root};
  std::unordered_set<const Entry*> walked{root};
  std::size_t steps = 0;
  while (!pending.empty() && steps < kMaxTreeWalkSteps) {
    const Entry* folder = pending.back();
    pending.pop_back();
    for (const std::vector<Entry*>* list : {&folder->childList, &folder->deletedList}) {
      for (const Entry* child : *list) {
        if (child == nullptr || ++steps >= kMaxTreeWalkSteps) continue;
        if (!child->childList.empty() || !child->deletedList.empty()) {
          if (walked.insert(child).second) pending.push_back(child);
          continue;
        }
        if (child->fileType != 2 || child->deleted != 0) continue;
        for (const ExtP& extent : child->dataExt) {
          if (extent.blockCount == 0 || child->sectorsPerBlock == 0) continue;
          const std::uint64_t first =
              child->blockBaseSector + std::uint64_t{extent.startBlock} * child->sectorsPerBlock;
          runs_.push_back({first, first + std::uint64_t{extent.blockCount} * child->sectorsPerBlock, child});
        }
      }
    }
  }
  std::sort(runs_.begin(), runs_.end(), [](const Run& a, const Run& b) { return a.firstSector < b.firstSector; });
  // Cross-linked live files (a damaged table) overlap: merged, the first owner stands for the run.
  std::vector<Run> merged;
  for (const Run& run : runs_) {
    if (!merged.empty() && run.firstSector <= merged.back().endSector && run.owner == merged.back().owner) {
      merged.back().endSector = std::max(merged.back().endSector, run.endSector);
    } else if (!merged.empty() && run.firstSector < merged.back().endSector) {
      if (run.endSector > merged.back().endSector) {
        merged.push_back({merged.back().endSector, run.endSector, run.owner});
      }
    } else {
      merged.push_back(run);
    }
  }
  runs_ = std::move(merged);
}

const Entry* LiveDataMap::ownerOf(std::uint64_t firstSector, std::uint64_t sectorCount) const {
  if (sectorCount == 0) return nullptr;
  const std::uint64_t endSector = firstSector + sectorCount;
  // The first run that ends after firstSector is the only one that can begin before endSector first.
  const auto run = std::upper_bound(runs_.begin(), runs_.end(), firstSector,
                                    [](std::uint64_t sector, const Run& r) { return sector < r.endSector; });
  if (run == runs_.end() || run->firstSector >= endSector) return nullptr;
  return run->owner;
}

}  // namespace nua::detail
