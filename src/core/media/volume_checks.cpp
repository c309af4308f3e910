#include "media/volume_checks.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <vector>

#include "base/bytes.h"
#include "media/fat_boot_peek.h"
#include "media/read_volume.h"
#include "ondisk/master_directory_block.h"
#include "ondisk/volume_information_block.h"

namespace nua {
namespace {

std::uint32_t sectorSizeOf(const Dict& entry) {
  const std::uint64_t size = entry.uint64("Preferred Block Size");
  return size >= 512 && size <= 65536 ? static_cast<std::uint32_t>(size) : 512;
}

// Reads `count` sectors at `sector` of the entry's volume into a fresh buffer; empty when unreadable.
std::vector<std::byte> readSectors(const Dict& entry, std::uint64_t sector, std::uint32_t count) {
  const std::uint32_t sectorSize = sectorSizeOf(entry);
  std::vector<std::byte> buffer(static_cast<std::size_t>(sectorSize) * count, std::byte{0});
  const std::uint64_t base = entry.uint64("Volume Start");
  if (!readSaveSectorQuietly(base + sector, count, sectorSize, buffer, entry.string("Path"))) return {};
  return buffer;
}

std::string hfsContent(std::uint16_t signature) {
  if (signature == kSignatureHX) return "Apple_HFSX";
  if (signature == kSignatureHPlus) return "Apple_HFS";
  return "-";
}

// When the volume's first sectors hold no HFS+ or wrapper header at byte 1024, the alternate header
// (1024 bytes before the volume's end, "Size" bytes from its start) put in its place; the first
// sectors as read otherwise. So a volume that lost only its primary header is judged by its copy.
std::vector<std::byte> withAlternateHeader(const Dict& entry, std::vector<std::byte> head) {
  if (!fits(head.size(), 1024, 512) || isHfsVolumeSignature(be16(head, 1024))) return head;
  const std::uint32_t sectorSize = sectorSizeOf(entry);
  const std::uint64_t at = alternateHeaderByte(entry.uint64("Size"));
  if (at == 0) return head;
  const std::size_t within = static_cast<std::size_t>(at % sectorSize);
  const auto sectors = static_cast<std::uint32_t>((within + 512 + sectorSize - 1) / sectorSize);
  const std::vector<std::byte> tail = readSectors(entry, at / sectorSize, sectors);
  if (!fits(tail.size(), within, 512) || !isHfsVolumeSignature(be16(tail, within))) return head;
  std::copy_n(tail.begin() + static_cast<std::ptrdiff_t>(within), 512, head.begin() + 1024);
  return head;
}

}  // namespace

std::optional<Dict> checkForJournal(const Dict& entry) {
  const std::uint32_t sectorSize = sectorSizeOf(entry);
  std::vector<std::byte> head = readSectors(entry, 0, 8);
  if (head.empty()) return std::nullopt;
  head = withAlternateHeader(entry, std::move(head));
  Dict result{{"HFSVolumeStart", std::uint64_t{0}}};
  std::size_t headerOffset = 1024;
  const auto at = [&head](std::size_t offset) { return ByteSpan(head).subspan(std::min(offset, head.size())); };
  if (const auto mdb = parseMasterDirectoryBlock(at(1024)); mdb && mdb->drSigWord == kSignatureBD) {
    const std::uint64_t start = std::uint64_t{mdb->xdrStABN} * mdb->drAlBlkSiz / sectorSize + mdb->drAlBlSt;
    result.set("HFSVolumeStart", start);
    head = readSectors(entry, start, 8);
    if (head.empty()) return std::nullopt;
    headerOffset = 2 * static_cast<std::size_t>(sectorSize);
  }
  const auto header = parseVolumeInformationBlock(at(headerOffset));
  if (!header) return std::nullopt;
  result.set("Content", hfsContent(header->signature));
  const bool journaled = (header->attributes & kVolumeJournaledAttribute) != 0;
  result.set("journaled", journaled ? "Yes" : "No");
  result.set("supportFileSystemRecovery", journaled ? 1 : 0);
  return result;
}

bool isVolumeFAT(const Dict& entry) {
  const std::vector<std::byte> head = readSectors(entry, 0, 4);
  if (head.size() < 85) return false;
  if (isExfatBootSector(readSectors(entry, 0, 13), sectorSizeOf(entry))) return true;
  return std::memcmp(head.data() + 54, "FAT", 3) == 0 || std::memcmp(head.data() + 82, "FAT", 3) == 0;
}

std::string fatFileSystemDetermination(const Dict& entry) {
  const std::vector<std::byte> head = readSectors(entry, 0, 4);
  if (isExfatBootSector(readSectors(entry, 0, 13), sectorSizeOf(entry))) return "exFAT";
  const auto boot = parseFatBootSector(head);
  return boot ? fatTypeOf(*boot, entry.uint64("Size")) : "-";
}

bool isFATWithoutPartitionMap(const Dict& drive) {
  const std::uint32_t sectorSize = sectorSizeOf(drive);
  std::vector<std::byte> head(4096, std::byte{0});
  if (!readSaveSectorQuietly(0, 4096 / sectorSize ? 4096 / sectorSize : 1, sectorSize, head, drive.string("Path")))
    return false;
  const auto boot = parseFatBootSector(head);
  if (!boot) return false;
  const bool jump = boot->jump == 0xE9 || (boot->jump == 0xEB && boot->jumpOperand == 0x90);
  if (!jump || boot->signature != kFatBootSignature || boot->bytesPerSector == 0 || boot->bytesPerSector % 512 != 0 ||
      !(boot->sectorsPerCluster == 1 || boot->sectorsPerCluster % 2 == 0) || boot->fatCount != 2)
    return false;
  // The first FAT begins with the media descriptor; a damaged first copy may be told by the second.
  std::vector<std::byte> fat(sectorSize, std::byte{0});
  for (std::uint64_t sector : {std::uint64_t{boot->reservedSectors}, std::uint64_t{boot->reservedSectors} + boot->fatSize16}) {
    const std::uint64_t byteOffset = sector * boot->bytesPerSector;
    if (readSaveSectorQuietly(byteOffset / sectorSize, 1, sectorSize, fat, drive.string("Path")) &&
        u8(fat, byteOffset % sectorSize) == boot->mediaDescriptor)
      return true;
  }
  return false;
}

std::string DeviceVolumeProbe::bundlePath(const std::string& bundleIdentifier) {
  if (bundleIdentifier.rfind("org.freedesktop", 0) != 0) return "nil";
  std::error_code error;
  return std::filesystem::is_directory(iconRoot_, error) ? iconRoot_ : std::string("nil");
}

}  // namespace nua
