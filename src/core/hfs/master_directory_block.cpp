#include "hfs/master_directory_block.h"

namespace nua {

Parsed<MasterDirectoryBlock> parseMasterDirectoryBlock(ByteSpan b) {
  if (b.size() < kMasterDirectoryBlockSize)
    return Parsed<MasterDirectoryBlock>::failure(
        parseReason("master directory block", "record", 0, "cut short before 0xa2"));
  MasterDirectoryBlock m;
  m.drSigWord = be16(b, 0);
  m.drAlBlkSiz = be32(b, 20);
  m.drAlBlSt = be16(b, 28);
  m.drEmbedSigWord = be16(b, 124);
  m.xdrStABN = be16(b, 126);
  m.xdrNumABlks = be16(b, 128);
  return Parsed<MasterDirectoryBlock>::success(m);
}

}  // namespace nua
