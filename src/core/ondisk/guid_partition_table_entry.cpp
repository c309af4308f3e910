#include "ondisk/guid_partition_table_entry.h"

#include <cstdio>

namespace nua {

Parsed<GUIDPartitionTableEntry> parseGUIDPartitionTableEntry(ByteSpan bytes) {
  if (bytes.size() < kGUIDPartitionTableEntrySize)
    return Parsed<GUIDPartitionTableEntry>::failure(
        parseReason("GPT entry", "partition name", 56, "past the end of the entry"));
  GUIDPartitionTableEntry entry;
  entry.typeHigh = be64(bytes, 0);
  entry.typeLow = be64(bytes, 8);
  entry.firstLba = le64(bytes, 32);
  entry.lastLba = le64(bytes, 40);
  for (std::size_t i = 0; i < kGptNameUnits; ++i) entry.name.push_back(static_cast<char16_t>(le16(bytes, 56 + 2 * i)));
  // The name field is padded with NUL units; they are not part of the name.
  while (!entry.name.empty() && entry.name.back() == u'\0') entry.name.pop_back();
  return Parsed<GUIDPartitionTableEntry>::success(entry);
}

std::string gptTypeText(ByteSpan g) {
  if (g.size() < 16) return {};
  char text[40];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%04X%08X", le32(g, 0), le16(g, 4), le16(g, 6), be16(g, 8),
                be16(g, 10), be32(g, 12));
  return text;
}

}  // namespace nua
