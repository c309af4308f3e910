#include "media/partition_reader.h"

#include <algorithm>
#include <cstdio>

#include "base/bytes.h"
#include "base/text.h"
#include "media/gpt_header_choice.h"
#include "media/image_geometry.h"
#include "media/linux_media_source.h"
#include "media/mbr_chain.h"
#include "ondisk/guid_partition_table_entry.h"
#include "ondisk/guid_partition_table_header.h"
#include "ondisk/master_boot_record.h"
#include "ondisk/master_directory_block.h"
#include "ondisk/partition_map.h"

namespace nua {
namespace {

constexpr std::uint8_t kHfsPlusSystemId = 175;  // 0xAF
constexpr std::size_t kHeadBytes = 8192;        // enough for a map entry in 4096-byte blocks
// Upper bounds on what a damaged map may ask to be read, far above any real table.
constexpr std::uint32_t kMaxGptEntries = 65536;
constexpr std::uint32_t kMaxApmEntries = 65536;

bool bootSignature(ByteSpan head) { return u8(head, 510) == 0x55 && u8(head, 511) == 0xAA; }

// The block size of an Apple map: the driver descriptor's when it names one whose block 1 holds a
// map entry (install discs use 2048), else the first of the usual sizes that does. 0 when none does.
std::uint32_t apmBlockSize(ByteSpan head, std::uint32_t sectorSize) {
  std::vector<std::uint32_t> candidates;
  if (const auto ddr = parseDriverDescriptor(head); ddr && ddr->signature == kDriverDescriptorSignature)
    candidates.push_back(ddr->blockSize);
  for (std::uint32_t size : {sectorSize, 512u, 2048u, 4096u}) candidates.push_back(size);
  for (std::uint32_t size : candidates) {
    if (size < 512 || size > 4096 || size % 512 != 0 || !fits(head.size(), size, kPartitionMapSize)) continue;
    if (be16(head, size) == kPartitionMapSignature) return size;
  }
  return 0;
}

}  // namespace

bool PartitionReader::readBytes(std::uint64_t byteOffset, std::span<std::byte> out) {
  const auto sectorSize = static_cast<std::uint64_t>(media_.u32BytesInSector);
  if (sectorSize == 0 || out.empty()) return false;
  const std::uint64_t first = byteOffset / sectorSize;
  const std::uint64_t skip = byteOffset % sectorSize;
  const std::uint64_t count = (skip + out.size() + sectorSize - 1) / sectorSize;
  if (count > 4096) return false;
  std::vector<std::byte> buffer(count * sectorSize, std::byte{0});
  if (!media_.readSector(first, static_cast<std::int32_t>(count), buffer)) return false;
  std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(skip), out.size(), out.begin());
  return true;
}

PartitionRow PartitionReader::partitionRow(std::uint64_t start, std::uint64_t size, const std::string& name) const {
  PartitionRow row;
  row.volumeStart = start;
  row.sizeInSectors = size;
  row.volumeName = name;
  row.path = media_.path;
  row.model = media_.model;
  row.serial = media_.serial;
  row.revision = media_.revision;
  return row;
}

void PartitionReader::initialize(std::vector<PartitionRow>& partitions) {
  media_.volumePMArray.clear();
  std::vector<std::byte> head(kHeadBytes, std::byte{0});
  if (!readBytes(0, head)) return;
  // A FAT volume written straight onto the disk has no map: boot code (as Windows writes it) fills
  // the place of the table, and its bytes are no partitions.
  if (beginsWithFatVolume(head, [this](std::uint64_t byteOffset, std::span<std::byte> out) {
        return readBytes(byteOffset, out);
      })) {
    return;
  }
  // A disk with both a boot signature and an Apple map counts as MBR; the GPT test wants the
  // protective entry and the signature together.
  if (u8(head, 450) == 0xEE && bootSignature(head)) {
    readAndInterpretGPT();
    if (!allTypes_) getVolumeNamesGPT();
  } else if (bootSignature(head)) {
    readAndInterpretMBR();
    if (!allTypes_) getVolumeNamesGPT();
  } else if (apmBlockSize(head, static_cast<std::uint32_t>(media_.u32BytesInSector)) != 0) {
    readAndInterpretPM();
    if (!allTypes_) getVolumeNamesPM();
  } else {
    bareVolume();
  }
  for (const PartitionRow& row : media_.volumePMArray) partitions.push_back(row);
}

std::vector<PartitionRow> PartitionReader::listAllPartitions() {
  allTypes_ = true;
  std::vector<PartitionRow> all;
  initialize(all);
  allTypes_ = false;
  media_.volumePMArray.clear();
  return all;
}

void PartitionReader::bareVolume() {
  if (allTypes_) return;
  std::vector<std::byte> mdb(kMasterDirectoryBlockSize, std::byte{0});
  if (!readBytes(1024, mdb)) return;
  if (!isHfsVolumeSignature(be16(mdb, 0)) && !hasAlternateHfsHeader()) return;
  // A volume image without a map is its own one partition, so that partition recovery reaches it.
  media_.volumePMArray.push_back(partitionRow(0, media_.sizeInSect, "Untitled 1"));
  getVolumeNamesPM();
}

bool PartitionReader::hasAlternateHfsHeader() {
  const std::uint64_t at = alternateHeaderByte(media_.sizeInSect * static_cast<std::uint64_t>(media_.u32BytesInSector));
  std::vector<std::byte> header(2, std::byte{0});
  return at != 0 && readBytes(at, header) && isHfsVolumeSignature(be16(header, 0));
}

void PartitionReader::readAndInterpretMBR() {
  const auto sectorSize = static_cast<std::uint32_t>(media_.u32BytesInSector);
  const MbrChain chain = walkMbrChain(sectorSize, [this](std::uint64_t sector, std::span<std::byte> buffer) {
    return media_.readSector(sector, 1, buffer);
  });
  chainStopReason_ = chain.stopReason;
  int number = 0;
  for (const MbrChainEntry& entry : chain.entries) {
    const std::uint8_t systemId = entry.systemId;
    if (allTypes_ && !isExtendedSystemId(systemId)) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "0x%x", systemId);
      PartitionRow row = partitionRow(entry.relativeSector, entry.numberOfSectors,
                                      formatText("Untitled %@", {std::to_string(++number)}));
      row.content = contentForPartitionType("dos", hex);
      media_.volumePMArray.push_back(row);
      continue;
    }
    if (systemId != kHfsPlusSystemId) continue;
    media_.volumePMArray.push_back(partitionRow(entry.relativeSector, entry.numberOfSectors,
                                                formatText("Untitled %@", {std::to_string(++number)})));
  }
}

void PartitionReader::readAndInterpretGPT() {
  const auto sectorSize = static_cast<std::uint64_t>(media_.u32BytesInSector);
  // The header sits in LBA 1 of the disk's own sector size; an image of a 4096-byte-sector disk read
  // with 512-byte sectors has it at byte 4096, and its LBAs count 4096-byte sectors. A primary whose
  // CRCs don't match gives way to the backup in the disk's last sector.
  const auto choice = chooseGptHeader(
      [this](std::uint64_t byteOffset, std::span<std::byte> out) { return readBytes(byteOffset, out); },
      media_.sizeInBytes, static_cast<std::uint32_t>(sectorSize));
  gptHeaderUsed_ = choice ? choice->which : std::string();
  if (!choice) return;
  const std::uint64_t lbaSize = choice->lbaSize;
  const GUIDPartitionTableHeader& h = choice->header;
  const std::uint64_t perSector = lbaSize / h.sizeOfPartitionEntry;
  const std::uint32_t count = std::min(h.numberOfPartitionEntries, kMaxGptEntries);
  std::vector<std::byte> raw(kGUIDPartitionTableEntrySize, std::byte{0});
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t lba = h.partitionEntryLba + i / perSector;
    if (lba > UINT64_MAX / lbaSize) return;
    if (!readBytes(lba * lbaSize + (i % perSector) * h.sizeOfPartitionEntry, raw)) return;
    const auto entry = parseGUIDPartitionTableEntry(raw);
    if (!entry) return;
    // The partition list ends at the first empty entry, not at the stated count; the list of every
    // partition goes on past a gap, so that a volume behind it is still offered.
    if (entry->typeHigh == 0) {
      if (allTypes_) continue;
      return;
    }
    const bool hfsPlus = entry->typeHigh == kGptHfsPlusTypeHigh && entry->typeLow == kGptHfsPlusTypeLow;
    if (!hfsPlus && !allTypes_) continue;
    const std::uint64_t size = entry->lastLba >= entry->firstLba ? entry->lastLba + 1 - entry->firstLba : 0;
    PartitionRow row =
        partitionRow(entry->firstLba * lbaSize / sectorSize, size * lbaSize / sectorSize, toUtf8(entry->name));
    if (allTypes_) row.content = gptTypeText(raw);
    media_.volumePMArray.push_back(row);
  }
}

void PartitionReader::readAndInterpretPM() {
  const auto sectorSize = static_cast<std::uint64_t>(media_.u32BytesInSector);
  std::vector<std::byte> head(kHeadBytes, std::byte{0});
  if (!readBytes(0, head)) return;
  const std::uint64_t blockBytes = apmBlockSize(head, static_cast<std::uint32_t>(sectorSize));
  if (blockBytes == 0) return;
  const auto first = parsePartitionMap(std::span<const std::byte>(head).subspan(blockBytes, kPartitionMapSize));
  if (!first || first->signature != kPartitionMapSignature || first->mapEntries < 2) return;
  const std::uint32_t count = std::min(first->mapEntries, kMaxApmEntries);
  std::vector<std::byte> raw(kPartitionMapSize, std::byte{0});
  // Entry n lies in map block n + 1; the map's own entry in block 1 is never a partition.
  for (std::uint32_t n = 1; n < count; ++n) {
    // A count from disk can claim more blocks than the disk has; past its end there is no entry.
    if (media_.sizeInSect != 0 && (n + 1) * blockBytes >= media_.sizeInSect * sectorSize) return;
    if (!readBytes((n + 1) * blockBytes, raw)) return;
    const auto entry = parsePartitionMap(raw);
    if (!entry || entry->signature != kPartitionMapSignature) continue;
    const bool hfsPlus = entry->type == "Apple_HFS" || entry->type == "Apple_HFSX";
    if (!hfsPlus && !allTypes_) continue;
    PartitionRow row = partitionRow(std::uint64_t{entry->startSector} * blockBytes / sectorSize,
                                    std::uint64_t{entry->sizeInSectors} * blockBytes / sectorSize, entry->name);
    if (allTypes_) row.content = entry->type;
    media_.volumePMArray.push_back(row);
  }
}

}  // namespace nua
