// The few HFS and HFS Plus fields the partition list and discovery read to name and judge a volume
// without opening it: volume header, master directory block, B-tree node descriptor and header
// record, and the root folder's catalog record. Big-endian throughout. The scan engine has its own
// full decoders above this layer; these stay in a namespace of their own.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua::peek {

constexpr std::uint16_t kHfsPlusSignature = 18475;  // "H+"
constexpr std::uint16_t kHfsxSignature = 18520;     // "HX"
constexpr std::uint16_t kHfsWrapperSignature = 16964;  // "BD"
constexpr std::uint32_t kJournaledAttribute = 0x2000;

[[nodiscard]] constexpr bool isHfsPlusSignature(std::uint16_t s) { return s == kHfsPlusSignature || s == kHfsxSignature; }
// An HFS+ volume header or the master directory block of an HFS wrapper around one.
[[nodiscard]] constexpr bool isHfsVolumeSignature(std::uint16_t s) { return isHfsPlusSignature(s) || s == kHfsWrapperSignature; }
// Where the alternate header of a volume of `volumeBytes` bytes starts: 1024 bytes before its end.
// 0 for a volume too small to hold both headers.
[[nodiscard]] constexpr std::uint64_t alternateHeaderByte(std::uint64_t volumeBytes) {
  return volumeBytes >= 2048 ? volumeBytes - 1024 : 0;
}

struct ExtentDescriptor {
  std::uint32_t startBlock = 0;
  std::uint32_t blockCount = 0;
};

struct ForkExtents {
  std::uint32_t totalBlocks = 0;
  std::array<ExtentDescriptor, 8> extents{};
};

// Volume header, 512 bytes at byte 1024 of the volume: 0 u16 signature; 4 u32 attributes;
// 40 u32 block size in bytes; 192 extents file fork; 272 catalog file fork. A fork is 80 bytes:
// 12 u32 total blocks, 16 eight extents of (u32 start block, u32 block count).
constexpr std::size_t kVolumeHeaderSize = 512;
struct VolumeHeader {
  std::uint16_t signature = 0;
  std::uint32_t attributes = 0;
  std::uint32_t blockSize = 0;
  ForkExtents extentsFile;
  ForkExtents catalogFile;
};
[[nodiscard]] Parsed<VolumeHeader> parseVolumeHeader(ByteSpan bytes);

// Master directory block of an HFS (wrapper) volume, 162 bytes at byte 1024: 0 u16 drSigWord;
// 20 u32 drAlBlkSiz; 28 u16 drAlBlSt; 36 u8 name length; 37 char[27] drVN; 124 u16 drEmbedSigWord;
// 126 u16 xdrStABN; 128 u16 xdrNumABlks.
constexpr std::size_t kMasterDirectoryBlockSize = 162;
struct WrapperHeader {
  std::uint16_t drSigWord = 0;
  std::uint32_t drAlBlkSiz = 0;
  std::uint16_t drAlBlSt = 0;
  std::string drVN;  // up to the stated length, a NUL, or 27 bytes
  std::uint16_t drEmbedSigWord = 0;
  std::uint16_t xdrStABN = 0;
  std::uint16_t xdrNumABlks = 0;
};
[[nodiscard]] Parsed<WrapperHeader> parseWrapperHeader(ByteSpan bytes);

// Node descriptor, 14 bytes at the start of every node: 0 u32 fLink; 4 u32 bLink; 8 i8 kind;
// 9 u8 height; 10 u16 numRecords.
constexpr std::size_t kNodeDescriptorSize = 14;
struct NodeDescriptor {
  std::uint32_t fLink = 0;
  std::uint32_t bLink = 0;
  std::int8_t kind = 0;
  std::uint8_t height = 0;
  std::uint16_t numRecords = 0;
};
[[nodiscard]] Parsed<NodeDescriptor> parseNodeDescriptor(ByteSpan bytes);
// The header node test: bLink 0, kind 1, height 0, three records.
[[nodiscard]] bool isHeaderNode(const NodeDescriptor& d);

// Header record, at byte 14 of the header node: 2 u32 rootNode; 10 u32 firstLeafNode; 18 u16 nodeSize.
constexpr std::size_t kHeaderRecordSize = 106;
struct HeaderRecord {
  std::uint32_t rootNode = 0;
  std::uint32_t firstLeafNode = 0;
  std::uint16_t nodeSize = 0;
};
[[nodiscard]] Parsed<HeaderRecord> parseHeaderRecord(ByteSpan bytes);

// The name of the root folder from the first record of the first catalog leaf: the node must be a
// leaf (kind -1, height 1), the key's parent 1, and the record a folder (type 1) with ID 2. The key
// is 0 u16 keyLength, 2 u32 parentID, 6 u16 nameLength, 8 UTF-16BE name; the folder record follows
// at 14 + keyLength + 2 with 0 i16 recordType and 8 u32 folderID. Gives the name as UTF-8.
[[nodiscard]] Parsed<std::string> parseRootFolderName(ByteSpan leafNode);

}  // namespace nua::peek
