// Byte layout of MBR/EBR records, GUID partition tables and Apple partition maps.
#include "imagekit/partition_map.h"

#include <algorithm>

#include "imagekit/partition_crc32.h"

namespace nua::imagekit {

namespace {

constexpr std::size_t kGptHeaderSize = 92;
// The CHS fields are past any real geometry on these disks; 0xFE 0xFF 0xFF means "use the LBA".
constexpr std::array<std::uint8_t, 3> kChsBeyond = {0xFE, 0xFF, 0xFF};

void putChsBeyond(MutableByteSpan entry, std::size_t offset) {
  for (std::size_t i = 0; i < kChsBeyond.size(); ++i) put8(entry, offset + i, kChsBeyond[i]);
}

void putText(MutableByteSpan bytes, std::size_t offset, std::size_t width, const std::string& text) {
  for (std::size_t i = 0; i < width && i < text.size(); ++i) put8(bytes, offset + i, static_cast<std::uint8_t>(text[i]));
}

std::vector<std::byte> gptArray(const GptLayout& layout) {
  std::vector<std::byte> array(std::size_t{kGptEntryCount} * kGptEntrySize);
  for (std::size_t i = 0; i < layout.entries.size() && i < kGptEntryCount; ++i) {
    const GptEntry& entry = layout.entries[i];
    if (entry.typeGuid.empty()) continue;
    const MutableByteSpan slot = MutableByteSpan(array).subspan(i * kGptEntrySize, kGptEntrySize);
    const Guid type = guidFromText(entry.typeGuid);
    const Guid unique = guidFromText(entry.uniqueGuid);
    for (std::size_t k = 0; k < 16; ++k) {
      put8(slot, k, type[k]);
      put8(slot, 16 + k, unique[k]);
    }
    putLe64(slot, 32, entry.firstLba);
    putLe64(slot, 40, entry.lastLba);
    for (std::size_t k = 0; k < entry.name.size() && k < 36; ++k) putLe16(slot, 56 + 2 * k, static_cast<std::uint16_t>(entry.name[k]));
  }
  return array;
}

std::vector<std::byte> gptHeader(const GptLayout& layout, std::uint64_t thisLba, std::uint64_t otherLba,
                                 std::uint64_t arrayLba, std::uint32_t arrayCrc) {
  std::vector<std::byte> sector(layout.sectorSize);
  putText(sector, 0, 8, "EFI PART");
  putLe32(sector, 8, 0x00010000U);
  putLe32(sector, 12, kGptHeaderSize);
  putLe64(sector, 24, thisLba);
  putLe64(sector, 32, otherLba);
  putLe64(sector, 40, gptFirstUsableLba(layout.sectorSize));
  putLe64(sector, 48, gptLastUsableLba(layout.sectorSize, layout.totalSectors));
  const Guid disk = guidFromText(layout.diskGuid);
  for (std::size_t k = 0; k < 16; ++k) put8(sector, 56 + k, disk[k]);
  putLe64(sector, 72, arrayLba);
  putLe32(sector, 80, kGptEntryCount);
  putLe32(sector, 84, kGptEntrySize);
  putLe32(sector, 88, arrayCrc);
  putLe32(sector, 16, crc32(ByteSpan(sector).first(kGptHeaderSize)));
  return sector;
}

std::uint64_t arraySectors(std::uint32_t sectorSize) {
  return (std::uint64_t{kGptEntryCount} * kGptEntrySize + sectorSize - 1) / sectorSize;
}

}  // namespace

void putMbrRecord(MutableByteSpan sector, const std::vector<MbrEntry>& entries) {
  const MutableByteSpan record = sector.first(kMbrRecordSize);
  std::fill(record.begin() + kMbrEntriesOffset, record.end(), std::byte{0});
  for (std::size_t i = 0; i < entries.size() && i < 4; ++i) {
    const MbrEntry& entry = entries[i];
    if (entry.type == 0) continue;
    const MutableByteSpan slot = record.subspan(kMbrEntriesOffset + i * kMbrEntrySize, kMbrEntrySize);
    put8(slot, 0, entry.bootable ? 0x80 : 0x00);
    putChsBeyond(slot, 1);
    put8(slot, 4, entry.type);
    putChsBeyond(slot, 5);
    putLe32(slot, 8, entry.relativeSector);
    putLe32(slot, 12, entry.sectorCount);
  }
  put8(record, 510, 0x55);
  put8(record, 511, 0xAA);
}

Guid guidFromText(const std::string& text) {
  Guid guid{};
  std::string digits;
  for (const char c : text) {
    if (c != '-') digits.push_back(c);
  }
  if (digits.size() != 32) return guid;
  std::array<std::uint8_t, 16> raw{};
  for (std::size_t i = 0; i < 16; ++i) {
    const std::string pair = digits.substr(2 * i, 2);
    if (pair.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return Guid{};
    raw[i] = static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16));
  }
  // The first three groups are stored little-endian.
  constexpr std::array<std::size_t, 16> kOrder = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  for (std::size_t i = 0; i < 16; ++i) guid[i] = raw[kOrder[i]];
  return guid;
}

std::uint64_t gptFirstUsableLba(std::uint32_t sectorSize) { return 2 + arraySectors(sectorSize); }

std::uint64_t gptLastUsableLba(std::uint32_t sectorSize, std::uint64_t totalSectors) {
  return totalSectors - 2 - arraySectors(sectorSize);
}

void writeGpt(const GptLayout& layout, ImageWriter& out) {
  const std::uint64_t sector = layout.sectorSize;
  const std::uint64_t lastLba = layout.totalSectors - 1;
  const std::uint64_t backupArrayLba = lastLba - arraySectors(layout.sectorSize);
  if (layout.protectiveMbr) {
    std::vector<std::byte> mbr(layout.sectorSize);
    const std::uint64_t covered = std::min<std::uint64_t>(layout.totalSectors - 1, 0xFFFFFFFFU);
    putMbrRecord(mbr, {MbrEntry{0xEE, 1, static_cast<std::uint32_t>(covered), false}});
    put8(mbr, kMbrEntriesOffset + 1, 0x00);  // the protective entry starts at CHS 0/0/2
    put8(mbr, kMbrEntriesOffset + 2, 0x02);
    put8(mbr, kMbrEntriesOffset + 3, 0x00);
    out.write(0, mbr);
  }
  const std::vector<std::byte> array = gptArray(layout);
  const std::uint32_t arrayCrc = crc32(array);
  out.write(sector, gptHeader(layout, 1, lastLba, 2, arrayCrc));
  out.write(2 * sector, array);
  out.write(backupArrayLba * sector, array);
  out.write(lastLba * sector, gptHeader(layout, lastLba, 1, backupArrayLba, arrayCrc));
}

void writeApm(const ApmLayout& layout, ImageWriter& out) {
  std::vector<std::byte> block(layout.blockSize);
  putText(block, 0, 2, "ER");
  putBe16(block, 2, static_cast<std::uint16_t>(layout.blockSize));
  putBe32(block, 4, layout.totalBlocks);
  out.write(0, block);
  const auto mapBlocks = static_cast<std::uint32_t>(layout.entries.size());
  for (std::uint32_t i = 0; i < mapBlocks; ++i) {
    const ApmEntry& entry = layout.entries[i];
    std::fill(block.begin(), block.end(), std::byte{0});
    putText(block, 0, 2, "PM");
    putBe32(block, 4, mapBlocks);
    putBe32(block, 8, entry.startBlock);
    putBe32(block, 12, entry.blockCount);
    putText(block, 16, 31, entry.name);
    putText(block, 48, 31, entry.type);
    putBe32(block, 84, entry.blockCount);  // pmDataCnt: the whole partition holds data
    // pmPartStatus: valid, allocated, in use, readable, writable; free space is only valid.
    putBe32(block, 88, entry.type == "Apple_Free" ? 0x00000001U : 0x00000037U);
    out.write(std::uint64_t{i + 1} * layout.blockSize, block);
  }
}

}  // namespace nua::imagekit
