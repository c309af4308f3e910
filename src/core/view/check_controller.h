// CheckController: one change of a mark, on a record, its descendants and its ancestors. With
// MarkCounts it keeps the counts of marked records and the marked totals up to date as it goes.
#pragma once

#include <cstdint>
#include <vector>

#include "records/entry.h"
#include "view/mark_counts.h"

namespace nua {

class CheckController {
 public:
  // flag 1 marks, 0 unmarks, any other value changes nothing. counts may be null.
  CheckController(Entry* hdir, std::uint8_t flag, MarkCounts* counts = nullptr)
      : hdir_(hdir), flag_(flag), counts_(counts) {}

  void run() { setSelected(); }
  // Marking sets the record, all its ancestors and (when its childrenCount is not 0) all below it.
  // Unmarking clears the record and all below it, then each ancestor that has no marked record left
  // below it; the walk up goes on to the top. Parent chains that loop stop at their first repeat.
  void setSelected();
  // Sets `selected` on up to `length` records of list and, where a record's childrenCount is not 0,
  // on everything below it through its childList as it stands.
  void markAllChildrenDirArray(const std::vector<Entry*>& list, std::uint32_t length, std::uint8_t value);

  [[nodiscard]] Entry* hdir() const { return hdir_; }
  [[nodiscard]] std::uint8_t flag() const { return flag_; }

 private:
  // Sets one record's mark and returns the change in marked records (-1, 0 or 1).
  std::int64_t mark(Entry* dir, std::uint8_t value);

  Entry* hdir_;
  std::uint8_t flag_;
  MarkCounts* counts_;
};

}  // namespace nua
