#include "media/fat_boot_peek.h"

namespace nua::peek {

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
  s.totalSectors32 = le32(b, 32);
  s.fatSize32 = le32(b, 36);
  s.signature = le16(b, 510);
  return Parsed<FatBootSector>::success(s);
}

const char* fatTypeOf(const FatBootSector& boot) {
  if (boot.bytesPerSector == 0 || boot.sectorsPerCluster == 0) return "-";
  const std::uint32_t rootSectors = (boot.bytesPerSector + boot.rootEntries * 32u - 1u) / boot.bytesPerSector;
  const std::uint32_t total = boot.totalSectors16 != 0 ? boot.totalSectors16 : boot.totalSectors32;
  const std::uint32_t fatSize = boot.fatSize16 != 0 ? boot.fatSize16 : boot.fatSize32;
  // Unsigned 32-bit arithmetic throughout, wrapping as the counted formula does.
  const std::uint32_t count =
      (total - (std::uint32_t{boot.fatCount} + boot.reservedSectors) - fatSize - rootSectors) / boot.sectorsPerCluster;
  if (count < 4085) return "FAT12";
  if (count < 65525) return "FAT16";
  return "FAT32";
}

}  // namespace nua::peek
