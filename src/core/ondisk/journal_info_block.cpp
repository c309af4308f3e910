#include "ondisk/journal_info_block.h"

namespace nua {

Parsed<JournalInfoBlock> parseJournalInfoBlock(ByteSpan b) {
  if (b.size() < kJournalInfoBlockSize)
    return Parsed<JournalInfoBlock>::failure(parseReason("journal info block", "record", 0, "cut short before 0xb4"));
  JournalInfoBlock j;
  j.flags = be32(b, 0);
  j.offset = be64(b, 36);
  j.size = be64(b, 44);
  return Parsed<JournalInfoBlock>::success(j);
}

}  // namespace nua
