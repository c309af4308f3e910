// exFAT directory bytes as the walk reads them: an entry set at every 32-byte slot, and the root's
// table and label entries.
#include <cstddef>
#include <cstdint>

#include "exfat/exfat_timestamp.h"
#include "ondisk/exfat_directory_entry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::ByteSpan bytes(reinterpret_cast<const std::byte*>(data), size);
  for (std::size_t at = 0; at < size; at += nua::kExfatDirectoryEntrySize) {
    const nua::ByteSpan rest = bytes.subspan(at);
    if (const auto set = nua::parseExfatEntrySet(rest)) {
      (void)nua::exfatTimestampToHFSSeconds(set->create);
      (void)nua::exfatTimestampToHFSSeconds(set->lastModified);
    }
    (void)nua::parseExfatClusterTableEntry(rest);
    (void)nua::parseExfatVolumeLabel(rest);
  }
  return 0;
}
