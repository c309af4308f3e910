#include "ondisk/fat_boot_sector.h"

namespace nua {

Parsed<FatBootSector> parseFatBootSector(ByteSpan b) {
  if (b.size() < kFatBootSectorSize)
    return Parsed<FatBootSector>::failure(parseReason("FAT boot sector", "signature", 510, "past the end"));
  FatBootSector s;
  s.jump = u8(b, 0);
  s.jumpOperand = u8(b, 2);
  s.bytesPerSector = le16(b, 11);
  s.sectorsPerCluster = u8(b, 13);
  s.reservedSectors = le16(b, 14);
  s.fatCount = u8(b, 16);
  s.rootEntries = le16(b, 17);
  s.totalSectors16 = le16(b, 19);
  s.mediaDescriptor = u8(b, 21);
  s.fatSize16 = le16(b, 22);
  s.hiddenSectors = le32(b, 28);
  s.totalSectors32 = le32(b, 32);
  s.fatSize32 = le32(b, 36);
  s.signature = le16(b, 510);
  return Parsed<FatBootSector>::success(s);
}

}  // namespace nua
