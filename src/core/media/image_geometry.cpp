#include "media/image_geometry.h"

#include <cstring>
#include <vector>

#include "media/fat_boot_peek.h"
#include "ondisk/master_boot_record.h"
#include "ondisk/volume_information_block.h"

namespace nua {
namespace {

constexpr std::uint32_t kSmallSector = 512;
constexpr std::uint32_t kLargeSector = 4096;

bool hasText(ByteSpan bytes, std::size_t offset, const char* text) {
  const std::size_t length = std::strlen(text);
  return fits(bytes.size(), offset, length) && std::memcmp(bytes.data() + offset, text, length) == 0;
}

// Whether a volume that a partition entry points at begins at `byteOffset`: a FAT boot sector whose
// own sector size is `sectorSize`, or an HFS+ (or wrapper) header 1024 bytes in.
bool volumeBeginsAt(std::uint64_t byteOffset, std::uint32_t sectorSize, const ByteReader& read) {
  std::vector<std::byte> head(2048, std::byte{0});
  if (!read(byteOffset, head)) return false;
  if (const auto boot = parseFatBootSector(head); boot && isFatBootSector(*boot))
    return boot->bytesPerSector == sectorSize;
  const std::uint16_t signature = be16(head, 1024);
  return isHfsPlusSignature(signature) || signature == kSignatureBD;
}

}  // namespace

bool beginsWithFatVolume(ByteSpan head, const ByteReader& read) {
  const auto boot = parseFatBootSector(head);
  if (!boot || !isFatBootSector(*boot)) return false;
  std::byte firstTableByte{0};
  if (!read(firstFatByteOffset(*boot), std::span<std::byte>(&firstTableByte, 1))) return false;
  return static_cast<std::uint8_t>(firstTableByte) == boot->mediaDescriptor;
}

std::uint32_t imageSectorSize(ByteSpan head, std::uint64_t sizeBytes, const ByteReader& read) {
  if (hasText(head, kSmallSector, "EFI PART")) return kSmallSector;
  if (hasText(head, kLargeSector, "EFI PART")) return kLargeSector;
  if (beginsWithFatVolume(head, read)) return parseFatBootSector(head)->bytesPerSector;
  const auto mbr = parseMasterBootRecord(head);
  if (!mbr || mbr->signature != kMbrSignature) return kSmallSector;
  if (mbr->entries[0].systemId == 0xEE) {
    // A protective MBR whose primary GPT header is gone: the backup in the last sector tells the size.
    std::vector<std::byte> signature(8, std::byte{0});
    if (sizeBytes >= 2 * kLargeSector && read(sizeBytes - kLargeSector, signature) && hasText(signature, 0, "EFI PART"))
      return kLargeSector;
    return kSmallSector;
  }
  // The table doesn't say its unit: the first partition whose start holds a volume in one of the two
  // units decides. Extended entries point at further tables, not at volumes.
  for (const MbrPartitionEntry& entry : mbr->entries) {
    if (entry.systemId == 0 || isExtendedSystemId(entry.systemId) || entry.relativeSector == 0) continue;
    if (volumeBeginsAt(std::uint64_t{entry.relativeSector} * kSmallSector, kSmallSector, read)) return kSmallSector;
    if (volumeBeginsAt(std::uint64_t{entry.relativeSector} * kLargeSector, kLargeSector, read)) return kLargeSector;
  }
  return kSmallSector;
}

}  // namespace nua
