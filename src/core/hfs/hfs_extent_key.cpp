#include "hfs/hfs_extent_key.h"

namespace nua {

Parsed<HFSPlusExtentKey_> parseHFSPlusExtentKey(ByteSpan b) {
  if (b.size() < kExtentKeySize)
    return Parsed<HFSPlusExtentKey_>::failure(parseReason("extent key", "record", 0, "cut short before 0xc"));
  HFSPlusExtentKey_ k;
  k.keyLength = be16(b, 0);
  k.forkType = u8(b, 2);
  k.fileID = be32(b, 4);
  k.startBlock = be32(b, 8);
  return Parsed<HFSPlusExtentKey_>::success(k);
}

}  // namespace nua
