// A "mish" block table from a UDIF image's "blkx" resource: one partition's run of sectors as a
// list of chunks, each stored raw, compressed, or as zeros.
#pragma once

#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "container/udif_trailer.h"

namespace nua {

// Table layout (big-endian):
//   0  4 signature "mish"   4  4 version   8  8 sectorNumber   16  8 sectorCount
//  24  8 dataOffset        32  4 buffersNeeded   36  4 blockDescriptors   40 24 reserved
//  64 136 checksum (type, size, 128 bytes)   200  4 numberOfBlockChunks   204 chunks
// Chunk layout, 40 bytes:
//   0  4 entryType   4  4 comment   8  8 sectorNumber (from the table's)   16  8 sectorCount
//  24  8 compressedOffset (from the data fork)   32  8 compressedLength
constexpr std::size_t kUdifBlockTableHeaderSize = 204;
constexpr std::size_t kUdifChunkSize = 40;
constexpr std::uint32_t kUdifBlockTableSignature = 0x6d697368;  // "mish"
constexpr std::uint32_t kUdifSectorSize = 512;

enum class UdifChunkType : std::uint32_t {
  kZeroFill = 0x00000000,
  kRaw = 0x00000001,
  kIgnore = 0x00000002,
  kAdc = 0x80000004,
  kZlib = 0x80000005,
  kBzip2 = 0x80000006,
  kLzfse = 0x80000007,
  kLzma = 0x80000008,
  kComment = 0x7ffffffe,
  kTerminator = 0xffffffff,
};

struct UdifChunk {
  std::uint32_t entryType = 0;
  std::uint64_t sectorNumber = 0;  // absolute: the table's first sector added
  std::uint64_t sectorCount = 0;
  std::uint64_t compressedOffset = 0;  // absolute in the file: the fork and table offsets added
  std::uint64_t compressedLength = 0;
};

struct UdifBlockTable {
  std::uint64_t sectorNumber = 0;
  std::uint64_t sectorCount = 0;
  std::uint64_t dataOffset = 0;
  std::vector<UdifChunk> chunks;  // without comment and terminator entries
};

// Decodes one table. `dataForkOffset` is added to every chunk's offset. Chunks that run outside the
// table's own sectors, or whose sums overflow, make the table a problem naming the chunk.
[[nodiscard]] std::variant<UdifBlockTable, UdifProblem> parseUdifBlockTable(std::span<const std::byte> bytes,
                                                                           std::uint64_t dataForkOffset);

}  // namespace nua
