#include "ondisk/guid_partition_table_header.h"

#include <vector>

#include "ondisk/crc32.h"

namespace nua {

Parsed<GUIDPartitionTableHeader> parseGUIDPartitionTableHeader(ByteSpan bytes) {
  if (bytes.size() < kGUIDPartitionTableHeaderSize)
    return Parsed<GUIDPartitionTableHeader>::failure(
        parseReason("GPT header", "sizeOfPartitionEntry", 84, "past the end of the sector"));
  GUIDPartitionTableHeader header;
  header.signature = be64(bytes, 0);
  header.headerSize = le32(bytes, 12);
  header.headerCrc32 = le32(bytes, 16);
  header.myLba = le64(bytes, 24);
  header.alternateLba = le64(bytes, 32);
  header.partitionEntryLba = le64(bytes, 72);
  header.numberOfPartitionEntries = le32(bytes, 80);
  header.sizeOfPartitionEntry = le32(bytes, 84);
  header.partitionEntryArrayCrc32 = le32(bytes, 88);
  return Parsed<GUIDPartitionTableHeader>::success(header);
}

bool gptHeaderCrcMatches(const GUIDPartitionTableHeader& header, ByteSpan sector) {
  if (header.headerSize < kGUIDPartitionTableHeaderSize || header.headerSize > sector.size()) return false;
  std::vector<std::byte> copy(sector.begin(), sector.begin() + header.headerSize);
  putLe32(copy, 16, 0);
  return crc32(copy) == header.headerCrc32;
}

bool isWalkableGptHeader(const GUIDPartitionTableHeader& header, std::uint32_t sectorSize, std::string* reason) {
  const char* why = nullptr;
  std::size_t offset = 0;
  if (header.signature != kGptSignature) {
    why = "is not \"EFI PART\"";
  } else if (header.numberOfPartitionEntries == 0) {
    why = "is 0", offset = 80;
  } else if (header.sizeOfPartitionEntry < 128 || header.sizeOfPartitionEntry > sectorSize) {
    why = "is outside 128 to the sector size", offset = 84;
  }
  if (why && reason)
    *reason = parseReason("GPT header", offset == 0 ? "signature" : offset == 80 ? "numberOfPartitionEntries"
                                                                                   : "sizeOfPartitionEntry",
                           offset, why);
  return why == nullptr;
}

}  // namespace nua
