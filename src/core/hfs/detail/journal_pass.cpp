#include "hfs/detail/journal_pass.h"

#include <algorithm>

namespace nua::detail {

JournalSectors journalSectors(const Volume& v) {
  const auto sectorBytes = static_cast<std::uint64_t>(v.u32BytesInSector);
  JournalSectors journal;
  journal.count = sectorBytes != 0 ? v.catalog.journalSize / sectorBytes : 0;
  journal.first = v.HPlusVolStart + (sectorBytes != 0 ? v.catalog.journalStart / sectorBytes : 0);
  const std::uint64_t volumeEnd = v.startSector + v.sizeInSect;
  journal.count = journal.first >= volumeEnd ? 0 : std::min(journal.count, volumeEnd - journal.first);
  return journal;
}

void reportJournalPassStart(ProgressSink& progress, const char* status, std::uint64_t sectors) {
  ScanProgress begins = ScanProgress::withStatus(status);
  begins.bar = ProgressBar::kDeterminate;
  begins.barValue = 0;
  progress.report(begins);
  ScanProgress bar;
  bar.barMaximum = sectors;
  bar.barMinimum = 0;
  progress.report(bar);
  progress.report(ScanProgress{});  // blanks the time left
}

}  // namespace nua::detail
