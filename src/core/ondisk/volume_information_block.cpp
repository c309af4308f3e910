#include "ondisk/volume_information_block.h"

namespace nua {

Parsed<VolumeInformationBlock> parseVolumeInformationBlock(ByteSpan b) {
  if (b.size() < kVolumeInformationBlockSize)
    return Parsed<VolumeInformationBlock>::failure(
        parseReason("volume header", "record", 0, "cut short before 0x200"));
  VolumeInformationBlock v;
  v.signature = be16(b, 0);
  v.version = be16(b, 2);
  v.attributes = be32(b, 4);
  v.lastMountedVersion = be32(b, 8);
  v.journalInfoBlock = be32(b, 12);
  v.createDate = be32(b, 16);
  v.modifyDate = be32(b, 20);
  v.backupDate = be32(b, 24);
  v.checkedDate = be32(b, 28);
  v.fileCount = be32(b, 32);
  v.folderCount = be32(b, 36);
  v.blockSize = be32(b, 40);
  v.totalBlocks = be32(b, 44);
  v.freeBlocks = be32(b, 48);
  v.nextAllocation = be32(b, 52);
  v.rsrcClumpSize = be32(b, 56);
  v.dataClumpSize = be32(b, 60);
  v.nextCatalogID = be32(b, 64);
  v.writeCount = be32(b, 68);
  v.encodingsBitmap = be64(b, 72);
  for (std::size_t i = 0; i < v.finderInfo.size(); ++i) v.finderInfo[i] = be32(b, 80 + 4 * i);
  v.allocationFile = readForkData(b, 112);
  v.extentsFile = readForkData(b, 192);
  v.catalogFile = readForkData(b, 272);
  v.attributesFile = readForkData(b, 352);
  v.startupFile = readForkData(b, 432);
  return Parsed<VolumeInformationBlock>::success(v);
}

}  // namespace nua
