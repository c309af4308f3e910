#include "container/udif_block_table.h"

#include <string>

#include "base/bytes.h"

namespace nua {
namespace {

std::string hex(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

}  // namespace

std::variant<UdifBlockTable, UdifProblem> parseUdifBlockTable(std::span<const std::byte> bytes,
                                                              std::uint64_t dataForkOffset) {
  if (bytes.size() < kUdifBlockTableHeaderSize)
    return UdifProblem{"block table: " + std::to_string(bytes.size()) + " bytes, shorter than its header"};
  if (be32(bytes, 0) != kUdifBlockTableSignature) return UdifProblem{"block table: no \"mish\" signature"};
  UdifBlockTable table;
  table.sectorNumber = be64(bytes, 8);
  table.sectorCount = be64(bytes, 16);
  table.dataOffset = be64(bytes, 24);
  const std::uint32_t chunkCount = be32(bytes, 200);
  if (chunkCount > (bytes.size() - kUdifBlockTableHeaderSize) / kUdifChunkSize)
    return UdifProblem{"block table: " + std::to_string(chunkCount) + " chunks at 0xc8 do not fit its " +
                       std::to_string(bytes.size()) + " bytes"};
  if (table.sectorNumber > UINT64_MAX / kUdifSectorSize - table.sectorCount ||
      dataForkOffset > UINT64_MAX - table.dataOffset)
    return UdifProblem{"block table: sectorNumber, sectorCount or dataOffset out of range"};
  const std::uint64_t base = dataForkOffset + table.dataOffset;
  for (std::uint32_t i = 0; i < chunkCount; ++i) {
    const std::size_t at = kUdifBlockTableHeaderSize + static_cast<std::size_t>(i) * kUdifChunkSize;
    UdifChunk chunk;
    chunk.entryType = be32(bytes, at);
    if (chunk.entryType == static_cast<std::uint32_t>(UdifChunkType::kTerminator)) break;
    if (chunk.entryType == static_cast<std::uint32_t>(UdifChunkType::kComment)) continue;
    const std::uint64_t relativeSector = be64(bytes, at + 8);
    chunk.sectorCount = be64(bytes, at + 16);
    const std::uint64_t relativeOffset = be64(bytes, at + 24);
    chunk.compressedLength = be64(bytes, at + 32);
    const std::string where = "block table chunk " + std::to_string(i) + " at " + hex(at);
    if (relativeSector > table.sectorCount || chunk.sectorCount > table.sectorCount - relativeSector)
      return UdifProblem{where + ": sectors past the table's " + std::to_string(table.sectorCount)};
    if (relativeOffset > UINT64_MAX - base || chunk.compressedLength > UINT64_MAX - base - relativeOffset)
      return UdifProblem{where + ": compressedOffset out of range"};
    chunk.sectorNumber = table.sectorNumber + relativeSector;
    chunk.compressedOffset = base + relativeOffset;
    if (chunk.sectorCount > 0) table.chunks.push_back(chunk);
  }
  return table;
}

}  // namespace nua
