#include "ondisk/master_directory_block.h"

namespace nua {

Parsed<MasterDirectoryBlock> parseMasterDirectoryBlock(ByteSpan b) {
  if (b.size() < kMasterDirectoryBlockSize)
    return Parsed<MasterDirectoryBlock>::failure(
        parseReason("master directory block", "record", 0, "cut short before 0xa2"));
  MasterDirectoryBlock m;
  m.drSigWord = be16(b, 0);
  m.drAlBlkSiz = be32(b, 20);
  m.drAlBlSt = be16(b, 28);
  const std::size_t nameLength = u8(b, 36) < 27 ? u8(b, 36) : 27;
  for (std::size_t i = 0; i < nameLength && u8(b, 37 + i) != 0; ++i) m.drVN.push_back(static_cast<char>(u8(b, 37 + i)));
  m.drEmbedSigWord = be16(b, 124);
  m.xdrStABN = be16(b, 126);
  m.xdrNumABlks = be16(b, 128);
  return Parsed<MasterDirectoryBlock>::success(m);
}

}  // namespace nua
