#include "ondisk/exfat_directory_entry.h"

#include <algorithm>

namespace nua {
namespace {

constexpr const char* kSetStructure = "exFAT entry set";

ExfatTimestamp timestampAt(ByteSpan entry, std::size_t packedAt, std::size_t tenMsAt, std::size_t offsetAt) {
  return ExfatTimestamp{le32(entry, packedAt), tenMsAt != 0 ? u8(entry, tenMsAt) : std::uint8_t{0},
                        u8(entry, offsetAt)};
}

}  // namespace

Parsed<ExfatClusterTableEntry> parseExfatClusterTableEntry(ByteSpan bytes) {
  using Result = Parsed<ExfatClusterTableEntry>;
  if (bytes.size() < kExfatDirectoryEntrySize)
    return Result::failure(parseReason("exFAT table entry", "entry", bytes.size(), "truncated"));
  const std::uint8_t type = u8(bytes, 0);
  if (type != kExfatAllocationBitmap && type != kExfatUpcaseTable)
    return Result::failure(parseReason("exFAT table entry", "EntryType", 0, "is neither bitmap nor up-case table"));
  ExfatClusterTableEntry e;
  e.entryType = type;
  e.bitmapFlags = u8(bytes, 1);
  e.tableChecksum = le32(bytes, 4);
  e.firstCluster = le32(bytes, 20);
  e.dataLength = le64(bytes, 24);
  return Result::success(e);
}

Parsed<std::u16string> parseExfatVolumeLabel(ByteSpan bytes) {
  using Result = Parsed<std::u16string>;
  if (bytes.size() < kExfatDirectoryEntrySize)
    return Result::failure(parseReason("exFAT volume label", "entry", bytes.size(), "truncated"));
  if (u8(bytes, 0) != kExfatVolumeLabel)
    return Result::failure(parseReason("exFAT volume label", "EntryType", 0, "is not a volume label"));
  const std::uint8_t count = u8(bytes, 1);
  if (count > 11) return Result::failure(parseReason("exFAT volume label", "CharacterCount", 1, "above 11"));
  std::u16string label;
  for (std::size_t i = 0; i < count; ++i) label.push_back(static_cast<char16_t>(le16(bytes, 2 + 2 * i)));
  return Result::success(label);
}

std::uint16_t exfatEntrySetChecksum(ByteSpan bytes, std::size_t entryCount, bool asInUse) {
  std::uint16_t checksum = 0;
  const std::size_t length = std::min(bytes.size(), entryCount * kExfatDirectoryEntrySize);
  for (std::size_t i = 0; i < length; ++i) {
    if (i == 2 || i == 3) continue;
    std::uint8_t value = u8(bytes, i);
    if (asInUse && i % kExfatDirectoryEntrySize == 0) value = static_cast<std::uint8_t>(value | kExfatInUse);
    checksum = static_cast<std::uint16_t>((checksum % 2U != 0 ? 0x8000U : 0U) + checksum / 2U + value);
  }
  return checksum;
}

Parsed<ExfatEntrySet> parseExfatEntrySet(ByteSpan bytes) {
  using Result = Parsed<ExfatEntrySet>;
  if (bytes.size() < kExfatDirectoryEntrySize)
    return Result::failure(parseReason(kSetStructure, "file entry", bytes.size(), "truncated"));
  const std::uint8_t type = u8(bytes, 0);
  if ((type | kExfatInUse) != kExfatFile) return Result::failure(parseReason(kSetStructure, "EntryType", 0, "is not a file entry"));
  ExfatEntrySet set;
  set.deleted = (type & kExfatInUse) == 0;
  set.secondaryCount = u8(bytes, 1);
  // One stream extension and 1 to 17 name entries.
  if (set.secondaryCount < 2 || set.secondaryCount > 18)
    return Result::failure(parseReason(kSetStructure, "SecondaryCount", 1, "out of range"));
  if (!fits(bytes.size(), 0, set.entryCount() * kExfatDirectoryEntrySize))
    return Result::failure(parseReason(kSetStructure, "secondary entries", bytes.size(), "truncated"));
  const std::uint8_t inUse = set.deleted ? 0 : kExfatInUse;
  const auto typeAt = [&](std::size_t index) { return u8(bytes, index * kExfatDirectoryEntrySize); };
  const auto wantType = [&](std::uint8_t liveType) { return static_cast<std::uint8_t>((liveType & 0x7FU) | inUse); };
  set.setChecksum = le16(bytes, 2);
  set.fileAttributes = le16(bytes, 4);
  set.create = timestampAt(bytes, 8, 20, 22);
  set.lastModified = timestampAt(bytes, 12, 21, 23);
  set.lastAccessed = timestampAt(bytes, 16, 0, 24);

  if (typeAt(1) != wantType(kExfatStreamExtension))
    return Result::failure(parseReason(kSetStructure, "stream extension", kExfatDirectoryEntrySize, "missing"));
  const ByteSpan stream = bytes.subspan(kExfatDirectoryEntrySize, kExfatDirectoryEntrySize);
  set.generalSecondaryFlags = u8(stream, 1);
  const std::uint8_t nameLength = u8(stream, 3);
  set.validDataLength = le64(stream, 8);
  set.firstCluster = le32(stream, 20);
  set.dataLength = le64(stream, 24);
  const std::size_t nameEntries = (std::size_t{nameLength} + kExfatNameUnitsPerEntry - 1) / kExfatNameUnitsPerEntry;
  if (nameLength == 0 || nameEntries + 1 > set.secondaryCount)
    return Result::failure(parseReason(kSetStructure, "NameLength", kExfatDirectoryEntrySize + 3, "does not fit the set"));
  for (std::size_t n = 0; n < nameEntries; ++n) {
    const std::size_t index = 2 + n;
    if (typeAt(index) != wantType(kExfatFileName))
      return Result::failure(parseReason(kSetStructure, "file name entry", index * kExfatDirectoryEntrySize, "missing"));
    for (std::size_t unit = 0; unit < kExfatNameUnitsPerEntry && set.name.size() < nameLength; ++unit)
      set.name.push_back(static_cast<char16_t>(le16(bytes, index * kExfatDirectoryEntrySize + 2 + 2 * unit)));
  }
  set.checksumMatches = exfatEntrySetChecksum(bytes, set.entryCount(), true) == set.setChecksum;
  return Result::success(set);
}

}  // namespace nua
