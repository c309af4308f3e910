// The sector range of a volume's journal and the opening progress of a pass over it, shared by the
// two searches that read the journal sector by sector.
#pragma once

#include <cstdint>

#include "volume/progress_sink.h"
#include "volume/volume.h"

namespace nua::detail {

struct JournalSectors {
  std::uint64_t first = 0;  // device sector of the journal's first byte
  std::uint64_t count = 0;  // whole sectors, cut at the volume's end
};

// The journal info block is read from disk: a journal said to run past the volume is cut at its end.
[[nodiscard]] JournalSectors journalSectors(const Volume& v);

// Shows `status` with an empty determinate bar of `sectors` steps and no time left.
void reportJournalPassStart(ProgressSink& progress, const char* status, std::uint64_t sectors);

}  // namespace nua::detail
