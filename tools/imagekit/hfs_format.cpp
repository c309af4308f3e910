// Field-by-field encoders of the HFS+ structures the image kit writes.
#include "imagekit/hfs_format.h"

#include <algorithm>

namespace nua::imagekit::hfs {

namespace {
constexpr std::uint32_t kLastMountedHfsPlus = 0x31302E30;  // '10.0'
constexpr std::uint32_t kLastMountedJournaled = 0x4846534A;  // 'HFSJ'
constexpr std::uint16_t kThreadExistsFlag = 0x0002;
constexpr std::uint16_t kFolderMode = 0040755;
constexpr std::uint16_t kFileMode = 0100644;
constexpr std::uint32_t kOwnerId = 501;
constexpr std::uint32_t kGroupId = 20;
constexpr std::uint32_t kJournalInFileSystem = 1;

void putDates(MutableByteSpan bytes, std::size_t offset, const Dates& dates) {
  putBe32(bytes, offset, dates.create);
  putBe32(bytes, offset + 4, dates.contentMod);
  putBe32(bytes, offset + 8, dates.attributeMod);
  putBe32(bytes, offset + 12, dates.access);
  putBe32(bytes, offset + 16, dates.backup);
}

void putPermissions(MutableByteSpan bytes, std::size_t offset, std::uint16_t mode) {
  putBe32(bytes, offset, kOwnerId);
  putBe32(bytes, offset + 4, kGroupId);
  putBe16(bytes, offset + 10, mode);
}

void putName(MutableByteSpan bytes, std::size_t offset, std::u16string_view name) {
  putBe16(bytes, offset, static_cast<std::uint16_t>(name.size()));
  for (std::size_t i = 0; i < name.size(); ++i) putBe16(bytes, offset + 2 + 2 * i, static_cast<std::uint16_t>(name[i]));
}

// The volume order: big-endian through the byte helpers, or the little-endian order Intel Macs write.
void putJournal32(MutableByteSpan bytes, std::size_t offset, std::uint32_t value, bool little) {
  if (little) {
    putLe32(bytes, offset, value);
  } else {
    putBe32(bytes, offset, value);
  }
}
void putJournal64(MutableByteSpan bytes, std::size_t offset, std::uint64_t value, bool little) {
  if (little) {
    putLe64(bytes, offset, value);
  } else {
    putBe64(bytes, offset, value);
  }
}

char16_t foldAscii(char16_t unit) { return (unit >= u'A' && unit <= u'Z') ? static_cast<char16_t>(unit + 32) : unit; }
}  // namespace

void putFork(MutableByteSpan bytes, std::size_t offset, const Fork& fork) {
  putBe64(bytes, offset, fork.logicalSize);
  putBe32(bytes, offset + 8, fork.clumpSize);
  putBe32(bytes, offset + 12, fork.totalBlocks);
  for (std::size_t i = 0; i < kExtentsPerRecord; ++i) {
    putBe32(bytes, offset + 16 + 8 * i, fork.extents[i].startBlock);
    putBe32(bytes, offset + 20 + 8 * i, fork.extents[i].blockCount);
  }
}

std::array<std::byte, kVolumeHeaderSize> encodeVolumeHeader(const VolumeHeader& header) {
  std::array<std::byte, kVolumeHeaderSize> bytes{};
  const MutableByteSpan b(bytes);
  const bool journaled = (header.attributes & kAttributeJournaled) != 0;
  putBe16(b, 0, header.hfsx ? kSignatureHfsx : kSignatureHfsPlus);
  putBe16(b, 2, header.hfsx ? 5 : 4);
  putBe32(b, 4, header.attributes);
  putBe32(b, 8, journaled ? kLastMountedJournaled : kLastMountedHfsPlus);
  putBe32(b, 12, header.journalInfoBlock);
  putBe32(b, 16, header.dates.create);
  putBe32(b, 20, header.dates.contentMod);
  putBe32(b, 24, header.dates.backup);
  putBe32(b, 28, header.dates.access);  // checkedDate
  putBe32(b, 32, header.fileCount);
  putBe32(b, 36, header.folderCount);
  putBe32(b, 40, header.blockSize);
  putBe32(b, 44, header.totalBlocks);
  putBe32(b, 48, header.freeBlocks);
  putBe32(b, 52, header.nextAllocation);
  putBe32(b, 56, header.blockSize * 16);  // rsrcClumpSize
  putBe32(b, 60, header.blockSize * 16);  // dataClumpSize
  putBe32(b, 64, header.nextCatalogId);
  putBe32(b, 68, 1);                    // writeCount
  putBe64(b, 72, 1);                    // encodingsBitmap: MacRoman
  putFork(b, 112, header.allocationFile);
  putFork(b, 192, header.extentsFile);
  putFork(b, 272, header.catalogFile);
  putFork(b, 352, header.attributesFile);
  return bytes;
}

std::vector<std::byte> catalogKey(std::uint32_t parentId, std::u16string_view name) {
  std::vector<std::byte> key(catalogKeySize(name.size()));
  const MutableByteSpan b(key);
  putBe16(b, 0, static_cast<std::uint16_t>(key.size() - 2));
  putBe32(b, 2, parentId);
  putName(b, 6, name);
  return key;
}

std::vector<std::byte> folderRecord(std::uint32_t folderId, std::uint32_t valence, const Dates& dates) {
  std::vector<std::byte> record(kFolderRecordSize);
  const MutableByteSpan b(record);
  putBe16(b, 0, kFolderRecord);
  putBe32(b, 4, valence);
  putBe32(b, 8, folderId);
  putDates(b, 12, dates);
  putPermissions(b, 32, kFolderMode);
  return record;
}

std::vector<std::byte> fileRecord(std::uint32_t fileId, const Dates& dates, const Fork& dataFork) {
  std::vector<std::byte> record(kFileRecordSize);
  const MutableByteSpan b(record);
  putBe16(b, 0, kFileRecord);
  putBe16(b, 2, kThreadExistsFlag);
  putBe32(b, 8, fileId);
  putDates(b, 12, dates);
  putPermissions(b, 32, kFileMode);
  putFork(b, 88, dataFork);
  return record;
}

std::vector<std::byte> threadRecord(std::uint16_t type, std::uint32_t parentId, std::u16string_view name) {
  std::vector<std::byte> record(threadRecordSize(name.size()));
  const MutableByteSpan b(record);
  putBe16(b, 0, type);
  putBe32(b, 4, parentId);
  putName(b, 8, name);
  return record;
}

std::vector<std::byte> extentsKey(std::uint32_t fileId, std::uint32_t startBlock) {
  std::vector<std::byte> key(kExtentsKeySize);
  const MutableByteSpan b(key);
  putBe16(b, 0, kExtentsKeySize - 2);
  putBe32(b, 4, fileId);  // forkType 0 (data) and the pad byte stay zero
  putBe32(b, 8, startBlock);
  return key;
}

std::vector<std::byte> extentsRecord(const std::array<Extent, kExtentsPerRecord>& extents) {
  std::vector<std::byte> record(kExtentsRecordSize);
  const MutableByteSpan b(record);
  for (std::size_t i = 0; i < kExtentsPerRecord; ++i) {
    putBe32(b, 8 * i, extents[i].startBlock);
    putBe32(b, 8 * i + 4, extents[i].blockCount);
  }
  return record;
}

int compareCatalogNames(std::u16string_view a, std::u16string_view b, bool binary) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const char16_t x = binary ? a[i] : foldAscii(a[i]);
    const char16_t y = binary ? b[i] : foldAscii(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

std::uint32_t journalChecksum(ByteSpan bytes) {
  std::uint32_t sum = 0;
  // Shift-and-xor with signed-looking wraparound; unsigned arithmetic gives the same bits.
  for (std::byte value : bytes) sum = (sum * 256u) ^ (sum + static_cast<std::uint32_t>(value));
  return ~sum;
}

std::array<std::byte, kJournalHeaderSize> encodeJournalHeader(const JournalHeader& header) {
  std::array<std::byte, kJournalHeaderSize> bytes{};
  const MutableByteSpan b(bytes);
  const bool little = header.littleEndian;
  putJournal32(b, 0, kJournalMagic, little);
  putJournal32(b, 4, kJournalEndian, little);
  putJournal64(b, 8, header.start, little);
  putJournal64(b, 16, header.end, little);
  putJournal64(b, 24, header.size, little);
  putJournal32(b, 32, header.blockListHeaderSize, little);
  putJournal32(b, 40, header.headerSize, little);
  putJournal32(b, 36, journalChecksum(ByteSpan(bytes)), little);
  return bytes;
}

std::array<std::byte, kJournalInfoBlockSize> encodeJournalInfoBlock(std::uint64_t journalByteOffset,
                                                                    std::uint64_t journalBytes) {
  std::array<std::byte, kJournalInfoBlockSize> bytes{};
  const MutableByteSpan b(bytes);
  putBe32(b, 0, kJournalInFileSystem);
  putBe64(b, 36, journalByteOffset);
  putBe64(b, 44, journalBytes);
  return bytes;
}

}  // namespace nua::imagekit::hfs
