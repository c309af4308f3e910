#include "ondisk/hfs_extent_key.h"

namespace nua {

Parsed<HFSPlusExtentKey> parseHFSPlusExtentKey(ByteSpan b) {
  if (b.size() < kExtentKeySize)
    return Parsed<HFSPlusExtentKey>::failure(parseReason("extent key", "record", 0, "cut short before 0xc"));
  HFSPlusExtentKey k;
  k.keyLength = be16(b, 0);
  k.forkType = u8(b, 2);
  k.fileID = be32(b, 4);
  k.startBlock = be32(b, 8);
  return Parsed<HFSPlusExtentKey>::success(k);
}

}  // namespace nua
