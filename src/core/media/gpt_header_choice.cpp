#include "media/gpt_header_choice.h"

#include <vector>

#include "ondisk/crc32.h"

namespace nua {
namespace {

struct ReadHeader {
  GUIDPartitionTableHeader header;
  bool whole = false;  // both CRCs match and the header names its own LBA
};

std::optional<ReadHeader> readHeaderAt(const ByteReader& read, std::uint64_t lba, std::uint64_t lbaSize) {
  if (lba > UINT64_MAX / lbaSize) return std::nullopt;
  std::vector<std::byte> sector(static_cast<std::size_t>(lbaSize), std::byte{0});
  if (!read(lba * lbaSize, sector)) return std::nullopt;
  const auto decoded = parseGUIDPartitionTableHeader(sector);
  if (!decoded || !isWalkableGptHeader(*decoded, static_cast<std::uint32_t>(lbaSize))) return std::nullopt;
  ReadHeader out{*decoded, false};
  if (!gptHeaderCrcMatches(out.header, sector) || out.header.myLba != lba) return out;
  const std::uint64_t arrayBytes =
      std::uint64_t{out.header.numberOfPartitionEntries} * out.header.sizeOfPartitionEntry;
  if (arrayBytes > kMaxCheckedGptArrayBytes || out.header.partitionEntryLba > UINT64_MAX / lbaSize) return out;
  std::vector<std::byte> array(static_cast<std::size_t>(arrayBytes), std::byte{0});
  if (!read(out.header.partitionEntryLba * lbaSize, array)) return out;
  out.whole = crc32(array) == out.header.partitionEntryArrayCrc32;
  return out;
}

}  // namespace

std::optional<GptHeaderChoice> chooseGptHeader(const ByteReader& read, std::uint64_t diskBytes,
                                               std::uint32_t sectorSize) {
  std::optional<GptHeaderChoice> damagedPrimary;
  for (std::uint64_t lbaSize : {std::uint64_t{sectorSize}, std::uint64_t{4096}, std::uint64_t{512}}) {
    if (lbaSize < 512 || lbaSize > 4096) continue;
    if (const auto primary = readHeaderAt(read, 1, lbaSize)) {
      if (primary->whole) return GptHeaderChoice{primary->header, lbaSize, "primary"};
      if (!damagedPrimary) damagedPrimary = GptHeaderChoice{primary->header, lbaSize, "primary (CRC mismatch)"};
    }
  }
  for (std::uint64_t lbaSize : {std::uint64_t{sectorSize}, std::uint64_t{4096}, std::uint64_t{512}}) {
    if (lbaSize < 512 || lbaSize > 4096 || diskBytes / lbaSize < 3) continue;
    if (const auto backup = readHeaderAt(read, diskBytes / lbaSize - 1, lbaSize); backup && backup->whole)
      return GptHeaderChoice{backup->header, lbaSize, "backup"};
  }
  return damagedPrimary;
}

}  // namespace nua
