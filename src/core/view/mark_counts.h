// Counts kept beside the records so the Mark column and the marked totals never walk a subtree per
// painted row or per click: marked records below each folder, and the marked bytes and files.
#pragma once

#include <cstdint>
#include <vector>

#include "records/entry.h"

namespace nua {

class MarkCounts {
 public:
  // Rebuilds every count for the tree under root as its lists stand: after each view switch.
  void recount(Entry* root);

  // Records with selected 1 anywhere below dir, through childList as it stands; 0 when its
  // childrenCount is 0. Constant time.
  [[nodiscard]] std::uint32_t childrenSelected(const Entry* dir) const;
  // The count below dir without the childrenCount test.
  [[nodiscard]] std::uint32_t markedBelow(const Entry* dir) const;
  void setMarkedBelow(const Entry* dir, std::uint32_t count);
  void addMarkedBelow(const Entry* dir, std::int64_t delta);

  // Totals of marked files reachable from the root as countMarkedDir walks it.
  [[nodiscard]] std::uint64_t markedData() const { return markedData_; }
  [[nodiscard]] std::uint32_t markedFiles() const { return markedFiles_; }
  // A file's mark went from `was` to `now`: moves its size and count in or out of the totals.
  void fileMarkChanged(const Entry* file, std::uint8_t was, std::uint8_t now);

 private:
  std::vector<std::uint32_t> below_;  // by record identity - 1; records without identity keep none
  std::uint64_t markedData_ = 0;
  std::uint32_t markedFiles_ = 0;
};

}  // namespace nua
