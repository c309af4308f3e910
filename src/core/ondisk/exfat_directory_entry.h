// The 32-byte exFAT directory entries this engine reads: the allocation bitmap, up-case table and
// volume label entries of the root, and the file entry set (file, stream extension, file names) that
// describes every file and folder. Little-endian.
#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

constexpr std::size_t kExfatDirectoryEntrySize = 32;

// EntryType byte 0: bits 0-4 TypeCode, bit 5 TypeImportance, bit 6 TypeCategory, bit 7 InUse. A
// deleted entry keeps its type with InUse cleared; 0x00 ends the directory.
constexpr std::uint8_t kExfatEndOfDirectory = 0x00;
constexpr std::uint8_t kExfatInUse = 0x80;
constexpr std::uint8_t kExfatAllocationBitmap = 0x81;
constexpr std::uint8_t kExfatUpcaseTable = 0x82;
constexpr std::uint8_t kExfatVolumeLabel = 0x83;
constexpr std::uint8_t kExfatFile = 0x85;
constexpr std::uint8_t kExfatStreamExtension = 0xC0;
constexpr std::uint8_t kExfatFileName = 0xC1;

constexpr std::uint16_t kExfatAttrDirectory = 0x10;
// GeneralSecondaryFlags: bit 0 AllocationPossible, bit 1 NoFatChain (the clusters are contiguous).
constexpr std::uint8_t kExfatNoFatChain = 0x02;
constexpr std::size_t kExfatNameUnitsPerEntry = 15;
constexpr std::size_t kExfatMaxNameUnits = 255;

// Allocation bitmap and up-case table entries share a layout: 1 u8 BitmapFlags (bitmap: bit 0 says
// which FAT it belongs to); 4 u32 TableChecksum (up-case only); 20 u32 FirstCluster; 24 u64 DataLength.
struct ExfatClusterTableEntry {
  std::uint8_t entryType = 0;
  std::uint8_t bitmapFlags = 0;
  std::uint32_t tableChecksum = 0;
  std::uint32_t firstCluster = 0;
  std::uint64_t dataLength = 0;
};
[[nodiscard]] Parsed<ExfatClusterTableEntry> parseExfatClusterTableEntry(ByteSpan bytes);

// Volume label entry: 1 u8 CharacterCount (at most 11); 2 u16[11] VolumeLabel.
[[nodiscard]] Parsed<std::u16string> parseExfatVolumeLabel(ByteSpan bytes);

// One timestamp as kept: the packed local date and time (bits 0-4 seconds / 2, 5-10 minute, 11-15
// hour, 16-20 day, 21-24 month, 25-31 year since 1980), the 10 ms part (0-199) and the UTC offset
// byte (bit 7 valid, bits 0-6 a signed count of 15 minutes).
struct ExfatTimestamp {
  std::uint32_t packed = 0;
  std::uint8_t tenMilliseconds = 0;
  std::uint8_t utcOffset = 0;
};

// A whole entry set, its three kinds of entry decoded. File entry: 1 u8 SecondaryCount; 2 u16
// SetChecksum; 4 u16 FileAttributes; 8 u32 CreateTimestamp; 12 u32 LastModifiedTimestamp; 16 u32
// LastAccessedTimestamp; 20 u8 Create10msIncrement; 21 u8 LastModified10msIncrement; 22-24 u8 UTC
// offsets. Stream extension: 1 u8 GeneralSecondaryFlags; 3 u8 NameLength; 4 u16 NameHash; 8 u64
// ValidDataLength; 20 u32 FirstCluster; 24 u64 DataLength. File name: 2 u16[15] FileName.
struct ExfatEntrySet {
  bool deleted = false;           // the file entry's InUse bit is clear
  bool checksumMatches = false;   // SetChecksum over the set with every InUse bit taken as set
  std::uint8_t secondaryCount = 0;
  std::uint16_t setChecksum = 0;
  std::uint16_t fileAttributes = 0;
  ExfatTimestamp create;
  ExfatTimestamp lastModified;
  ExfatTimestamp lastAccessed;
  std::uint8_t generalSecondaryFlags = 0;
  std::uint64_t validDataLength = 0;
  std::uint32_t firstCluster = 0;
  std::uint64_t dataLength = 0;
  std::u16string name;

  [[nodiscard]] bool isFolder() const { return (fileAttributes & kExfatAttrDirectory) != 0; }
  [[nodiscard]] bool noFatChain() const { return (generalSecondaryFlags & kExfatNoFatChain) != 0; }
  // Entries the set takes up, the file entry included.
  [[nodiscard]] std::size_t entryCount() const { return std::size_t{secondaryCount} + 1U; }
};

// Decodes the set that begins with the file entry at the span's start. A live set needs its
// secondaries live, a deleted one its secondaries deleted; it needs a stream extension next and
// enough name entries for NameLength (at most 255 units). Fails when the span ends inside the set or
// an entry is of the wrong type; a wrong checksum is reported in the set, not as a failure, so a
// damaged entry still shows its file.
[[nodiscard]] Parsed<ExfatEntrySet> parseExfatEntrySet(ByteSpan bytes);

// SetChecksum of `entryCount` entries at the span's start, skipping bytes 2-3 of the first. When
// `asInUse`, each entry's type byte counts with its InUse bit set, as it was when the set was written.
[[nodiscard]] std::uint16_t exfatEntrySetChecksum(ByteSpan bytes, std::size_t entryCount, bool asInUse);

}  // namespace nua
