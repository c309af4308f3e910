// SessionRecord: the fixed 96-byte big-endian form of one Entry in a session file, with the conversions
// between the two. The name, path and extents follow the record in the stream; see session_reader.cpp and
// session_writer.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"
#include "records/entry.h"

namespace nua {

inline constexpr std::size_t kSessionRecordSize = 96;

// Field offsets. Every number is big-endian except the two identities, which keep the writer's host
// order (little-endian). Bytes 8-23, 64-67 and 78-79 are unused: written as zero, never read.
inline constexpr std::size_t kHPDirFileSize = 0;          // u64
inline constexpr std::size_t kHPDirBlockBaseSector = 24;  // u32
inline constexpr std::size_t kHPDirCreateDate = 28;       // u32, raw HFS Plus seconds or packed DOS
inline constexpr std::size_t kHPDirModDate = 32;          // u32
inline constexpr std::size_t kHPDirParentID = 36;         // u32
inline constexpr std::size_t kHPDirFileID = 40;           // u32
inline constexpr std::size_t kHPDirFileCount = 44;        // u32
inline constexpr std::size_t kHPDirSectorsPerBlock = 48;  // u32, the u8 widened
inline constexpr std::size_t kHPDirChildrenCount = 52;    // u32, all entries below
inline constexpr std::size_t kHPDirChildListCount = 56;   // u32, records that follow as direct children
inline constexpr std::size_t kHPDirDataExtCount = 60;     // u32, extent pairs behind the record
inline constexpr std::size_t kHPDirFileNameLength = 68;   // u16, UTF-16 units
inline constexpr std::size_t kHPDirPathNameLength = 70;   // u16, UTF-16 units (path follows for folders only)
inline constexpr std::size_t kHPDirFileType = 72;         // u16, 1 folder, 2 file
inline constexpr std::size_t kHPDirSelected = 74;         // u8
inline constexpr std::size_t kHPDirIsFATEntry = 75;       // u8
inline constexpr std::size_t kHPDirComplete = 76;         // u8
inline constexpr std::size_t kHPDirDeleted = 77;          // u8
inline constexpr std::size_t kHPDirSelfPointer = 80;      // u64 little-endian: the entry's identity
inline constexpr std::size_t kHPDirParentPointer = 88;    // u64 little-endian: its parent's identity, 0 for none

struct SessionRecord {
  std::uint64_t fileSize = 0;
  std::uint32_t blockBaseSector = 0;
  std::uint32_t createDate = 0;
  std::uint32_t modDate = 0;
  std::uint32_t parentID = 0;
  std::uint32_t fileID = 0;
  std::uint32_t fileCount = 0;
  std::uint32_t sectorsPerBlock = 0;
  std::uint32_t childrenCount = 0;
  std::uint32_t childListCount = 0;
  std::uint32_t dataExtCount = 0;
  std::uint16_t fileNameLength = 0;
  std::uint16_t pathNameLength = 0;
  std::uint16_t fileType = 0;
  std::uint8_t selected = 0;
  std::uint8_t isFATEntry = 0;
  std::uint8_t complete = 0;
  std::uint8_t deleted = 0;
  std::uint64_t selfPointer = 0;
  std::uint64_t parentPointer = 0;
};

// Decodes a record. Fewer than 96 bytes is refused; the values themselves are judged by the stream
// reader, which knows what may follow.
[[nodiscard]] Parsed<SessionRecord> parseSessionRecord(ByteSpan bytes);
// Encodes into the first 96 bytes of out (which must hold them); unused bytes become zero.
void writeSessionRecord(const SessionRecord& record, MutableByteSpan out);

// The record of dir as written under a parent with identity parentIdentity, with childListCount
// children. An entry of size 0 gets no extents, so the count written is 0 and nothing follows it.
[[nodiscard]] SessionRecord convertNDirToHPDir(const Entry* dir, std::uint32_t childListCount,
                                            std::uint64_t parentIdentity);
// Sets every field of dir that the record holds except the counts childListCount and dataExtCount,
// the two lengths and the identities; sectorsPerBlock keeps the low byte.
void convertHPDirToNDir(const SessionRecord& record, Entry* dir);

}  // namespace nua
