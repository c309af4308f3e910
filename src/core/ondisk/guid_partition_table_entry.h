// One GPT partition entry, 128 bytes, little-endian apart from the type GUID, which is kept as the
// two big-endian halves the HFS+ type is compared with.
#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// Layout: 0 16-byte type GUID; 16 16-byte unique GUID; 32 u64 first LBA; 40 u64 last LBA;
// 48 u64 attributes; 56 36 UTF-16LE units of name.
constexpr std::size_t kGUIDPartitionTableEntrySize = 128;
constexpr std::size_t kGptNameUnits = 36;
// 48465300-0000-11AA-AA11-00306543ECAC as its on-disk bytes read big-endian in two halves.
constexpr std::uint64_t kGptHfsPlusTypeHigh = 0x005346480000AA11;
constexpr std::uint64_t kGptHfsPlusTypeLow = 0xAA1100306543ECAC;

struct GUIDPartitionTableEntry {
  std::uint64_t typeHigh = 0;
  std::uint64_t typeLow = 0;
  std::uint64_t firstLba = 0;
  std::uint64_t lastLba = 0;
  std::u16string name;  // without trailing NUL units
};

[[nodiscard]] Parsed<GUIDPartitionTableEntry> parseGUIDPartitionTableEntry(ByteSpan bytes);

// The type GUID as text in the usual mixed-endian form, upper case: "48465300-0000-11AA-AA11-00306543ECAC".
[[nodiscard]] std::string gptTypeText(ByteSpan typeGuidBytes);

}  // namespace nua
