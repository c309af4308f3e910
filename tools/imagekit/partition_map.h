// Writers for the three partition schemes the kit puts around its volumes: MBR with extended (EBR)
// chains, GUID partition tables with their protective MBR and backup, and Apple partition maps.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "imagekit/image_file.h"

namespace nua::imagekit {

// MBR/EBR record, little-endian: 446 bytes of boot code, four 16-byte entries, 0x55 0xAA at 510.
// Entry: 0 u8 status (0x80 bootable), 1..3 CHS first, 4 u8 type, 5..7 CHS last, 8 u32 relative sector,
// 12 u32 sector count.
constexpr std::size_t kMbrRecordSize = 512;
constexpr std::size_t kMbrEntriesOffset = 446;
constexpr std::size_t kMbrEntrySize = 16;

struct MbrEntry {
  std::uint8_t type = 0;  // 0 leaves the slot empty
  std::uint32_t relativeSector = 0;  // as stored: from the disk, the table or the first extended partition
  std::uint32_t sectorCount = 0;
  bool bootable = false;
};

// Fills the first 512 bytes of `sector` with a record holding up to four entries (the rest stay empty).
void putMbrRecord(MutableByteSpan sector, const std::vector<MbrEntry>& entries);

// GPT header (LBA 1 and the last LBA), little-endian: 0 "EFI PART", 8 u32 revision 0x00010000,
// 12 u32 header size 92, 16 u32 header CRC32, 24 u64 this LBA, 32 u64 other header's LBA,
// 40 u64 first usable LBA, 48 u64 last usable LBA, 56 16-byte disk GUID, 72 u64 entry array LBA,
// 80 u32 entry count, 84 u32 entry size 128, 88 u32 entry array CRC32.
// Entry: 0 type GUID, 16 unique GUID, 32 u64 first LBA, 40 u64 last LBA, 48 u64 attributes,
// 56 36 UTF-16LE units of name.
constexpr std::uint32_t kGptEntryCount = 128;
constexpr std::uint32_t kGptEntrySize = 128;

using Guid = std::array<std::uint8_t, 16>;  // in on-disk order

// "48465300-0000-11AA-AA11-00306543ECAC" to its on-disk bytes: the first three groups little-endian,
// the last two as written. A malformed string gives all zeros.
[[nodiscard]] Guid guidFromText(const std::string& text);

constexpr const char* kGptHfsPlusType = "48465300-0000-11AA-AA11-00306543ECAC";
constexpr const char* kGptBasicDataType = "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7";

struct GptEntry {
  std::string typeGuid;  // empty leaves the slot empty
  std::string uniqueGuid;
  std::uint64_t firstLba = 0;
  std::uint64_t lastLba = 0;
  std::u16string name;
};

struct GptLayout {
  std::uint32_t sectorSize = 512;
  std::uint64_t totalSectors = 0;
  std::string diskGuid;
  std::vector<GptEntry> entries;  // slot i of the array; empty slots allowed anywhere
  bool protectiveMbr = true;  // false leaves sector 0 for a hybrid MBR the caller writes
};

// First and last LBA that partitions may use with a 128-entry array.
[[nodiscard]] std::uint64_t gptFirstUsableLba(std::uint32_t sectorSize);
[[nodiscard]] std::uint64_t gptLastUsableLba(std::uint32_t sectorSize, std::uint64_t totalSectors);

// Writes the protective MBR (unless asked not to), primary header and array, backup array and header,
// all CRCs filled in.
void writeGpt(const GptLayout& layout, ImageWriter& out);

// Apple partition map, big-endian. Driver descriptor (block 0): 0 "ER", 2 u16 sbBlkSize,
// 4 u32 sbBlkCount. Map entry (blocks 1..n): 0 "PM", 4 u32 pmMapBlkCnt, 8 u32 pmPyPartStart,
// 12 u32 pmPartBlkCnt, 16 char[32] pmPartName, 48 char[32] pmParType, 80 u32 pmLgDataStart,
// 84 u32 pmDataCnt, 88 u32 pmPartStatus. Starts and counts are in map blocks.
struct ApmEntry {
  std::string name;
  std::string type;  // "Apple_partition_map", "Apple_HFS", "Apple_HFSX", "Apple_Free", ...
  std::uint32_t startBlock = 0;
  std::uint32_t blockCount = 0;
};

struct ApmLayout {
  std::uint32_t blockSize = 512;  // bytes per map block: 512, 2048 on install discs, or 4096
  std::uint32_t totalBlocks = 0;
  std::vector<ApmEntry> entries;  // entry i goes to block i + 1; the map entry itself comes first
};

void writeApm(const ApmLayout& layout, ImageWriter& out);

}  // namespace nua::imagekit
