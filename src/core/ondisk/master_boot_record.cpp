#include "ondisk/master_boot_record.h"

namespace nua {

Parsed<MasterBootRecord> parseMasterBootRecord(ByteSpan bytes) {
  if (bytes.size() < kMasterBootRecordSize)
    return Parsed<MasterBootRecord>::failure(
        parseReason("master boot record", "signature", 510, "past the end of the sector"));
  MasterBootRecord record;
  for (std::size_t i = 0; i < record.entries.size(); ++i) {
    const std::size_t at = kMbrEntriesOffset + i * kMbrEntrySize;
    record.entries[i].systemId = u8(bytes, at + 4);
    record.entries[i].relativeSector = le32(bytes, at + 8);
    record.entries[i].numberOfSectors = le32(bytes, at + 12);
  }
  record.signature = le16(bytes, 510);
  return Parsed<MasterBootRecord>::success(record);
}

}  // namespace nua
