// The plan of an HFS+ volume before any byte is written: entries with CNIDs, dates and content, the
// block layout of every metadata file and data fork, and which stale nodes go where.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "imagekit/hfs_format.h"
#include "imagekit/hfs_writer.h"

namespace nua::imagekit::hfs {

struct PlannedEntry {
  std::string path;  // from the root down, no leading "/"; "" for the root
  std::string name;
  std::u16string name16;
  std::uint32_t cnid = 0;
  std::uint32_t parentCnid = 0;
  std::size_t parentIndex = 0;
  bool folder = false;
  bool deleted = false;
  std::vector<std::byte> content;
  std::uint32_t fragments = 1;
  Dates dates;
  std::uint32_t liveValence = 0;
  std::uint32_t allValence = 0;
  std::vector<Extent> extents;
};

struct PlannedFile {  // a metadata file: its extents and size
  std::vector<Extent> extents;
  std::uint32_t totalNodes = 0;
  std::uint64_t bytes = 0;
};

struct VolumePlan {
  std::vector<PlannedEntry> entries;  // entries[0] is the root folder
  std::uint32_t blockSize = 0;
  std::uint32_t totalBlocks = 0;
  std::uint32_t reservedStartBlocks = 0;
  std::uint32_t reservedEndBlocks = 0;
  PlannedFile allocationFile, extentsFile, catalogFile, attributesFile;
  std::uint32_t journalInfoBlock = 0;
  std::uint32_t journalFirstBlock = 0;
  std::uint64_t journalBytes = 0;
  std::uint32_t journalHeaderBytes = 512;
  std::uint32_t blockListHeaderBytes = 4096;
  std::uint32_t staleNodeBlock = 0;  // first block of the stale nodes left in free space
  std::uint32_t staleCatalogLeaves = 0;
  std::uint32_t staleExtentsLeaves = 0;
  std::uint32_t nextCatalogId = kFirstUserId;
  std::uint32_t fileCount = 0;
  std::uint32_t folderCount = 0;
  bool hasDeleted = false;
};

// Catalog records in tree order, as (entry index, kind) pairs.
enum class RecordKind { kFolder, kFile, kThread };
struct CatalogRecordRef {
  std::size_t entry = 0;
  RecordKind kind = RecordKind::kFolder;
};
[[nodiscard]] std::vector<CatalogRecordRef> catalogOrder(const VolumePlan& plan, bool includeDeleted, bool binary);
// Extents-overflow records as (entry index, first extent index), in tree order.
[[nodiscard]] std::vector<std::pair<std::size_t, std::size_t>> overflowOrder(const VolumePlan& plan,
                                                                             bool includeDeleted);

// Checks the volumeSpec and lays the volume out; false with `error` set when invalid.
[[nodiscard]] bool planVolume(const HfsVolumeSpec& volumeSpec, VolumePlan& plan, std::string& error);

// Byte offset inside a fork of `extents` to the volume-relative byte offset.
[[nodiscard]] std::uint64_t forkByteToVolume(const std::vector<Extent>& extents, std::uint32_t blockSize,
                                             std::uint64_t forkByte);

}  // namespace nua::imagekit::hfs
