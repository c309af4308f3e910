// Encoders for the on-disk HFS+ structures the image kit writes: volume header, fork data, catalog and
// extents-overflow keys and records, journal info block and journal header. Every field goes through
// the byte helpers at its offset; nothing here does I/O.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"

namespace nua::imagekit::hfs {

constexpr std::size_t kVolumeHeaderOffset = 1024;  // from the volume start; the alternate is at end - 1024
constexpr std::size_t kVolumeHeaderSize = 512;
constexpr std::uint16_t kSignatureHfsPlus = 0x482B;  // 'H+'
constexpr std::uint16_t kSignatureHfsx = 0x4858;     // 'HX'
constexpr std::uint16_t kSignatureHfs = 0x4244;      // 'BD', the wrapper's master directory block
constexpr std::uint32_t kAttributeUnmounted = 0x0100;
constexpr std::uint32_t kAttributeJournaled = 0x2000;
constexpr std::uint32_t kRootFolderId = 2;
constexpr std::uint32_t kRootParentId = 1;
constexpr std::uint32_t kExtentsFileId = 3;
constexpr std::uint32_t kCatalogFileId = 4;
constexpr std::uint32_t kAllocationFileId = 6;
constexpr std::uint32_t kFirstUserId = 16;
constexpr std::size_t kForkDataSize = 80;
constexpr std::uint32_t kAttributesNodeSize = 4096;
constexpr std::uint16_t kAttributesMaxKeyLength = 266;
constexpr std::size_t kExtentsPerRecord = 8;

// Catalog record types and sizes.
constexpr std::uint16_t kFolderRecord = 1;
constexpr std::uint16_t kFileRecord = 2;
constexpr std::uint16_t kFolderThreadRecord = 3;
constexpr std::uint16_t kFileThreadRecord = 4;
constexpr std::size_t kFolderRecordSize = 88;
constexpr std::size_t kFileRecordSize = 248;
constexpr std::size_t kExtentsKeySize = 12;     // keyLength(2) forkType(1) pad(1) fileID(4) startBlock(4)
constexpr std::size_t kExtentsRecordSize = 64;  // eight extent descriptors

constexpr std::uint32_t kJournalMagic = 0x4a4e4c78;
constexpr std::uint32_t kJournalEndian = 0x12345678;
constexpr std::size_t kJournalHeaderSize = 44;
constexpr std::size_t kJournalInfoBlockSize = 180;

struct Extent {
  std::uint32_t startBlock = 0;
  std::uint32_t blockCount = 0;
};

struct Fork {
  std::uint64_t logicalSize = 0;
  std::uint32_t clumpSize = 0;
  std::uint32_t totalBlocks = 0;
  std::array<Extent, kExtentsPerRecord> extents{};
};

struct Dates {
  std::uint32_t create = 0;
  std::uint32_t contentMod = 0;
  std::uint32_t attributeMod = 0;
  std::uint32_t access = 0;
  std::uint32_t backup = 0;
};

struct VolumeHeader {
  bool hfsx = false;
  std::uint32_t attributes = kAttributeUnmounted;
  std::uint32_t journalInfoBlock = 0;
  Dates dates;
  std::uint32_t fileCount = 0;
  std::uint32_t folderCount = 0;  // not counting the root folder
  std::uint32_t blockSize = 0;
  std::uint32_t totalBlocks = 0;
  std::uint32_t freeBlocks = 0;
  std::uint32_t nextAllocation = 0;
  std::uint32_t nextCatalogId = kFirstUserId;
  Fork allocationFile, extentsFile, catalogFile, attributesFile;
};

void putFork(MutableByteSpan bytes, std::size_t offset, const Fork& fork);
[[nodiscard]] std::array<std::byte, kVolumeHeaderSize> encodeVolumeHeader(const VolumeHeader& header);

// A catalog key: keyLength(2) parentID(4) name length(2) UTF-16 big-endian name.
[[nodiscard]] std::vector<std::byte> catalogKey(std::uint32_t parentId, std::u16string_view name);
[[nodiscard]] constexpr std::size_t catalogKeySize(std::size_t nameUnits) { return 8 + 2 * nameUnits; }
[[nodiscard]] std::vector<std::byte> folderRecord(std::uint32_t folderId, std::uint32_t valence, const Dates& dates);
[[nodiscard]] std::vector<std::byte> fileRecord(std::uint32_t fileId, const Dates& dates, const Fork& dataFork);
[[nodiscard]] std::vector<std::byte> threadRecord(std::uint16_t type, std::uint32_t parentId, std::u16string_view name);
[[nodiscard]] constexpr std::size_t threadRecordSize(std::size_t nameUnits) { return 10 + 2 * nameUnits; }

[[nodiscard]] std::vector<std::byte> extentsKey(std::uint32_t fileId, std::uint32_t startBlock);
[[nodiscard]] std::vector<std::byte> extentsRecord(const std::array<Extent, kExtentsPerRecord>& extents);

// Orders catalog keys: parent ID, then name, binary for HFSX and with ASCII case folded for HFS+.
[[nodiscard]] int compareCatalogNames(std::u16string_view a, std::u16string_view b, bool binary);

// The journal's own checksum over a header with its checksum field zero.
[[nodiscard]] std::uint32_t journalChecksum(ByteSpan bytes);

struct JournalHeader {
  bool littleEndian = true;
  std::uint64_t start = 0, end = 0, size = 0;
  std::uint32_t blockListHeaderSize = 4096;
  std::uint32_t headerSize = 512;
};
[[nodiscard]] std::array<std::byte, kJournalHeaderSize> encodeJournalHeader(const JournalHeader& header);
[[nodiscard]] std::array<std::byte, kJournalInfoBlockSize> encodeJournalInfoBlock(std::uint64_t journalByteOffset,
                                                                                  std::uint64_t journalBytes);

}  // namespace nua::imagekit::hfs
