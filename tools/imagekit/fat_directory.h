// Directory entries of a FAT volume the kit has made: the walk that reads them back (live and deleted,
// with their long names) and the slots whose dates the builder rewrites for repeatable images.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "imagekit/fat_geometry.h"

namespace nua::imagekit {

// Short entry fields, little-endian:
//   0 char[8] base name (0xE5 first byte: deleted; 0x00: end)   8 char[3] extension   11 u8 attributes
//   12 u8 case flags (0x08 base lower, 0x10 extension lower)   13 u8 creation tenths
//   14 u16 creation time   16 u16 creation date   18 u16 access date   20 u16 first cluster high
//   22 u16 write time   24 u16 write date   26 u16 first cluster low   28 u32 size
// Long-name slots (attributes 0x0F) carry 13 UTF-16 units at 1 (5), 14 (6) and 28 (2).
constexpr std::uint8_t kFatAttrDirectory = 0x10;
constexpr std::uint8_t kFatAttrVolumeLabel = 0x08;
constexpr std::uint8_t kFatAttrLongName = 0x0F;
constexpr std::uint8_t kFatDeletedMark = 0xE5;

struct FatDirEntry {
  std::string name;  // long name when there is one, else the short name with its case flags applied
  std::string shortName;  // "BASE.EXT" as stored, first byte '?' when deleted
  std::uint8_t attributes = 0;
  std::uint32_t firstCluster = 0;
  std::uint32_t size = 0;
  bool deleted = false;
  std::uint32_t createDate = 0;  // creation date * 0x10000 + creation time
  std::uint32_t modDate = 0;  // write date * 0x10000 + write time
  std::uint64_t slotByteOffset = 0;  // where the short entry sits in the volume

  [[nodiscard]] bool isFolder() const { return (attributes & kFatAttrDirectory) != 0; }
};

struct FatWalkEntry {
  std::string path;  // "/Folder/name", built from the names the walk found
  FatDirEntry entry;
  std::vector<std::uint32_t> clusters;  // live: the table chain; deleted: what `deletedClusters` gave
  bool inDeletedFolder = false;
};

// Chooses the clusters of a deleted entry, which the table no longer holds: (slot offset, first cluster).
using DeletedClusterLookup = std::function<std::vector<std::uint32_t>(std::uint64_t, std::uint32_t)>;

struct FatWalk {
  std::vector<FatWalkEntry> entries;  // parents before children
  std::vector<std::uint64_t> shortSlots;  // every short entry visited, dot entries and label included
  std::vector<std::string> notes;  // loops and unreadable folders met on the way
};

// Walks the tree from the root. With `includeDeleted`, deleted entries are listed and deleted folders
// entered through `deletedClusters` when their first cluster still starts with a dot entry. A folder
// already entered, a chain that loops or a depth past 32 ends that branch with a note.
[[nodiscard]] FatWalk walkFatTree(ByteSpan volume, const FatGeometry& geometry, bool includeDeleted,
                                  const DeletedClusterLookup& deletedClusters);

// Rewrites the creation, access and write stamps of every slot in `slots` to values made from `seed`,
// so that two builds of the same scenario are byte-identical whatever the clock said.
void stampFatDates(MutableByteSpan volume, const std::vector<std::uint64_t>& slots, std::uint64_t seed);

}  // namespace nua::imagekit
