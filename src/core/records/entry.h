// The record of one recovered entry and node of the result tree. Records are made and freed only by
// a EntryArena, which also owns their name blocks; the operations on them live in entry_ops.h.
#pragma once

#include <cstdint>
#include <vector>

namespace nua {

class EntryViewHelper;
class EntryTable;

// One extent of a file: blocks of the entry's allocation block size (sectors for signature finds).
struct ExtP {
  std::uint32_t startBlock = 0;
  std::uint32_t blockCount = 0;
};

// A group of up to eight extents found in the journal, continuing the file from keyStartBlock.
// `count` is one above the extents in `list` once the first has been added (see addDataExtCompEXTP).
struct ExtCompP {
  std::uint32_t keyStartBlock = 0;
  std::uint32_t count = 0;
  std::vector<ExtP> list;
};

// UTF-16 text (host order) of exactly `length` units, not terminated. The units belong to the
// EntryArena that set them; length 0 means "no name" and then `units` may be null.
struct NameBlock {
  const char16_t* units = nullptr;
  std::uint16_t length = 0;
};

struct Entry {
  EntryViewHelper* viewHelper = nullptr;
  std::uint64_t fileSize = 0;  // file: logical size of the data fork; folder: sum of the files below
  std::uint32_t createDate = 0;  // raw HFS Plus seconds since 1904 (FAT: packed DOS date and time)
  std::uint32_t modDate = 0;
  std::uint32_t parentID = 0;
  std::uint32_t fileID = 0;
  EntryTable* childBTree = nullptr;    // table that folder children go into by fileID
  EntryTable* advScanBTree = nullptr;  // the same for the advanced scan
  std::uint32_t fileCount = 0;      // files in the subtree; a file holds 1
  std::uint32_t childrenCount = 0;  // all entries anywhere below this one
  std::vector<Entry*> childList;    // the children in order of arrival; owns them (through the arena)
  std::vector<Entry*> deletedList;  // children that are deleted or lead to one; owns no records
  std::uint32_t blockBaseSector = 0;  // sector of allocation block 0, added to every extent when read
  std::uint32_t extraBytesToMove = 0;
  std::uint16_t repeatCount = 0;  // later entries with this same name in the parent
  std::uint16_t fileType = 0;     // 1 folder, 2 file
  Entry* parent = nullptr;       // null for the root and for an entry not yet attached
  std::uint8_t showDeletedOnly = 0;  // 1 while childList and deletedList stand swapped
  std::uint8_t sectorsPerBlock = 0;
  std::uint8_t selected = 0;
  std::uint8_t isFATEntry = 0;
  std::uint8_t complete = 0;  // file: the extents in hand cover fileSize
  std::uint8_t deleted = 0;   // deleted, lost or carved, or a folder on the way to one
  // Deleted file: some of its blocks are allocated to the volume's live data now, so its extents no
  // longer hold only its own bytes. Known while the result is in memory; not kept in session files.
  std::uint8_t blocksInUse = 0;
  std::vector<ExtP> dataExt;  // data extents in file order
  std::uint32_t dataExtCompCount = 0;  // one above the groups in dataExtComp once the first is added
  std::vector<ExtCompP> dataExtComp;   // extent groups from the journal, not yet placed
  NameBlock fileName;
  NameBlock pathName;   // the parent's path as text
  NameBlock extension;  // a name extension, for signature finds
  std::uint64_t identity = 0;  // unique within the arena for the life of the result; 0 on a free slot

  [[nodiscard]] std::uint32_t childListCount() const { return static_cast<std::uint32_t>(childList.size()); }
  [[nodiscard]] std::uint32_t deletedListCount() const { return static_cast<std::uint32_t>(deletedList.size()); }
  [[nodiscard]] std::uint32_t dataExtCount() const { return static_cast<std::uint32_t>(dataExt.size()); }
  [[nodiscard]] std::uint16_t fileNameLength() const { return fileName.length; }
  [[nodiscard]] std::uint16_t pathNameLength() const { return pathName.length; }
  [[nodiscard]] std::uint16_t extensionLength() const { return extension.length; }
};

// A result holds millions of records, so the record must stay small.
static_assert(sizeof(Entry) <= 256, "Entry grew past its memory budget");

}  // namespace nua
