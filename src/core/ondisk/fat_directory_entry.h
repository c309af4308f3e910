// One 32-byte FAT directory slot: a short (8.3) entry, or a long-name slot that stands in front of one.
// Little-endian.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Short entry layout: 0 u8[8] base name, space padded (first byte 0x00 ends the directory, 0xE5 marks
// a deleted entry, 0x05 stands for a leading 0xE5); 8 u8[3] extension; 11 u8 attributes; 12 u8 case
// flags (0x08 base, 0x10 extension in lower case); 14 u16 creation time; 16 u16 creation date; 20 u16
// first cluster, high half; 22 u16 last write time; 24 u16 last write date; 26 u16 first cluster, low
// half; 28 u32 file size.
constexpr std::size_t kFatDirectoryEntrySize = 32;

constexpr std::uint8_t kFatEndOfDirectory = 0x00;
constexpr std::uint8_t kFatDeletedMark = 0xE5;
constexpr std::uint8_t kFatAttrReadOnly = 0x01;
constexpr std::uint8_t kFatAttrSystem = 0x04;
constexpr std::uint8_t kFatAttrVolumeLabel = 0x08;
constexpr std::uint8_t kFatAttrDirectory = 0x10;
constexpr std::uint8_t kFatAttrLongName = 0x0F;

struct FatDirectoryEntry {
  std::array<std::uint8_t, 8> baseName{};
  std::array<std::uint8_t, 3> extension{};
  std::uint8_t attributes = 0;
  std::uint8_t caseFlags = 0;
  std::uint16_t createTime = 0;
  std::uint16_t createDate = 0;
  std::uint16_t firstClusterHigh = 0;
  std::uint16_t writeTime = 0;
  std::uint16_t writeDate = 0;
  std::uint16_t firstClusterLow = 0;
  std::uint32_t fileSize = 0;

  [[nodiscard]] std::uint32_t firstCluster() const {
    return std::uint32_t{firstClusterHigh} * 0x10000U + firstClusterLow;
  }
  [[nodiscard]] bool isDeleted() const { return baseName[0] == kFatDeletedMark; }
};
[[nodiscard]] Parsed<FatDirectoryEntry> parseFatDirectoryEntry(ByteSpan bytes);

// What a slot stands for, by its attribute byte. Read-only, hidden and archive bits make no
// difference; a volume label or a slot with reserved bits (0x40, 0x80) is no entry.
enum class FatEntryKind { kLongNameSlot, kSystem, kNoEntry, kFolder, kFile };
[[nodiscard]] FatEntryKind fatEntryKindOf(std::uint8_t attributes);

// The 8.3 name as "NAME.EXT", or "NAME" without an extension, padding dropped and the case flags
// applied. A deleted entry's first letter is gone: it shows as a space. Bytes that are not valid UTF-8
// are taken one character each (Latin-1), so a name never goes missing.
[[nodiscard]] std::string shortNameText(const FatDirectoryEntry& entry);

// The checksum that long-name slots carry of the 11 bytes of their short name.
[[nodiscard]] std::uint8_t shortNameChecksum(const std::array<std::uint8_t, 8>& baseName,
                                             const std::array<std::uint8_t, 3>& extension);

}  // namespace nua
