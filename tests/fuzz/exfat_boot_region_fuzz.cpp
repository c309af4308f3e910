// The exFAT boot region as the engine reads it: the boot sector's checks and the region checksum.
#include <cstddef>
#include <cstdint>

#include "ondisk/exfat_boot_sector.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::ByteSpan bytes(reinterpret_cast<const std::byte*>(data), size);
  const auto region = nua::parseExfatBootRegion(bytes);
  if (region) (void)region->bytesPerCluster();
  (void)nua::parseExfatBootSector(bytes);
  return 0;
}
