#include "session/session_record.h"

#include <algorithm>

namespace nua {

Parsed<SessionRecord> parseSessionRecord(ByteSpan b) {
  if (b.size() < kSessionRecordSize)
    return Parsed<SessionRecord>::failure(parseReason("session record", "record", b.size(), "cut short before 96 bytes"));
  SessionRecord r;
  r.fileSize = be64(b, kHPDirFileSize);
  r.blockBaseSector = be32(b, kHPDirBlockBaseSector);
  r.createDate = be32(b, kHPDirCreateDate);
  r.modDate = be32(b, kHPDirModDate);
  r.parentID = be32(b, kHPDirParentID);
  r.fileID = be32(b, kHPDirFileID);
  r.fileCount = be32(b, kHPDirFileCount);
  r.sectorsPerBlock = be32(b, kHPDirSectorsPerBlock);
  r.childrenCount = be32(b, kHPDirChildrenCount);
  r.childListCount = be32(b, kHPDirChildListCount);
  r.dataExtCount = be32(b, kHPDirDataExtCount);
  r.fileNameLength = be16(b, kHPDirFileNameLength);
  r.pathNameLength = be16(b, kHPDirPathNameLength);
  r.fileType = be16(b, kHPDirFileType);
  r.selected = u8(b, kHPDirSelected);
  r.isFATEntry = u8(b, kHPDirIsFATEntry);
  r.complete = u8(b, kHPDirComplete);
  r.deleted = u8(b, kHPDirDeleted);
  r.selfPointer = le64(b, kHPDirSelfPointer);
  r.parentPointer = le64(b, kHPDirParentPointer);
  return Parsed<SessionRecord>::success(r);
}

void writeSessionRecord(const SessionRecord& r, MutableByteSpan out) {
  std::fill(out.begin(), out.begin() + kSessionRecordSize, std::byte{0});
  putBe64(out, kHPDirFileSize, r.fileSize);
  putBe32(out, kHPDirBlockBaseSector, r.blockBaseSector);
  putBe32(out, kHPDirCreateDate, r.createDate);
  putBe32(out, kHPDirModDate, r.modDate);
  putBe32(out, kHPDirParentID, r.parentID);
  putBe32(out, kHPDirFileID, r.fileID);
  putBe32(out, kHPDirFileCount, r.fileCount);
  putBe32(out, kHPDirSectorsPerBlock, r.sectorsPerBlock);
  putBe32(out, kHPDirChildrenCount, r.childrenCount);
  putBe32(out, kHPDirChildListCount, r.childListCount);
  putBe32(out, kHPDirDataExtCount, r.dataExtCount);
  putBe16(out, kHPDirFileNameLength, r.fileNameLength);
  putBe16(out, kHPDirPathNameLength, r.pathNameLength);
  putBe16(out, kHPDirFileType, r.fileType);
  put8(out, kHPDirSelected, r.selected);
  put8(out, kHPDirIsFATEntry, r.isFATEntry);
  put8(out, kHPDirComplete, r.complete);
  put8(out, kHPDirDeleted, r.deleted);
  putLe64(out, kHPDirSelfPointer, r.selfPointer);
  putLe64(out, kHPDirParentPointer, r.parentPointer);
}

SessionRecord convertNDirToHPDir(const Entry* dir, std::uint32_t childListCount, std::uint64_t parentIdentity) {
  SessionRecord r;
  r.fileSize = dir->fileSize;
  r.blockBaseSector = dir->blockBaseSector;
  r.createDate = dir->createDate;
  r.modDate = dir->modDate;
  r.parentID = dir->parentID;
  r.fileID = dir->fileID;
  r.fileCount = dir->fileCount;
  r.sectorsPerBlock = dir->sectorsPerBlock;
  r.childrenCount = dir->childrenCount;
  r.childListCount = childListCount;
  // Extents of an empty entry would be skipped by a reader that reads them only for a size.
  r.dataExtCount = dir->fileSize == 0 ? 0 : dir->dataExtCount();
  r.fileNameLength = dir->fileNameLength();
  r.pathNameLength = dir->pathNameLength();
  r.fileType = dir->fileType;
  r.selected = dir->selected;
  r.isFATEntry = dir->isFATEntry;
  r.complete = dir->complete;
  r.deleted = dir->deleted;
  r.selfPointer = dir->identity;
  r.parentPointer = parentIdentity;
  return r;
}

void convertHPDirToNDir(const SessionRecord& r, Entry* dir) {
  dir->fileSize = r.fileSize;
  dir->blockBaseSector = r.blockBaseSector;
  dir->createDate = r.createDate;
  dir->modDate = r.modDate;
  dir->parentID = r.parentID;
  dir->fileID = r.fileID;
  dir->fileCount = r.fileCount;
  dir->sectorsPerBlock = static_cast<std::uint8_t>(r.sectorsPerBlock & 0xFF);
  dir->childrenCount = r.childrenCount;
  dir->fileType = r.fileType;
  dir->selected = r.selected;
  dir->isFATEntry = r.isFATEntry;
  dir->complete = r.complete;
  dir->deleted = r.deleted;
}

}  // namespace nua
