#include "ondisk/partition_map.h"

namespace nua {
namespace {

std::string cString(ByteSpan bytes, std::size_t offset, std::size_t width) {
  std::string text;
  for (std::size_t i = 0; i < width && u8(bytes, offset + i) != 0; ++i) text.push_back(static_cast<char>(u8(bytes, offset + i)));
  return text;
}

}  // namespace

Parsed<PartitionMap> parsePartitionMap(ByteSpan bytes) {
  if (bytes.size() < 80)
    return Parsed<PartitionMap>::failure(parseReason("partition map entry", "type", 48, "past the end of the block"));
  PartitionMap entry;
  entry.signature = be16(bytes, 0);
  entry.mapEntries = be32(bytes, 4);
  entry.startSector = be32(bytes, 8);
  entry.sizeInSectors = be32(bytes, 12);
  entry.name = cString(bytes, 16, 32);
  entry.type = cString(bytes, 48, 32);
  return Parsed<PartitionMap>::success(entry);
}

Parsed<DriverDescriptor> parseDriverDescriptor(ByteSpan bytes) {
  if (bytes.size() < kDriverDescriptorSize)
    return Parsed<DriverDescriptor>::failure(
        parseReason("driver descriptor", "block count", 4, "past the end of the block"));
  return Parsed<DriverDescriptor>::success({be16(bytes, 0), be16(bytes, 2), be32(bytes, 4)});
}

}  // namespace nua
