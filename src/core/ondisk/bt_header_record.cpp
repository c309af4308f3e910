#include "ondisk/bt_header_record.h"

namespace nua {

Parsed<BTHeaderRecord> parseBTHeaderRecord(ByteSpan b) {
  if (b.size() < kBTHeaderRecordSize)
    return Parsed<BTHeaderRecord>::failure(parseReason("B-tree header record", "record", 0, "cut short before 0x6a"));
  BTHeaderRecord h;
  h.treeDepth = be16(b, 0);
  h.rootNode = be32(b, 2);
  h.leafRecords = be32(b, 6);
  h.firstLeafNode = be32(b, 10);
  h.lastLeafNode = be32(b, 14);
  h.nodeSize = be16(b, 18);
  h.maxKeyLength = be16(b, 20);
  h.totalNodes = be32(b, 22);
  h.freeNodes = be32(b, 26);
  return Parsed<BTHeaderRecord>::success(h);
}

}  // namespace nua
