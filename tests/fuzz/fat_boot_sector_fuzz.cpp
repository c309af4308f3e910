// The FAT boot sector as discovery reads it, and the type it derives from the counts.
#include <cstddef>
#include <cstdint>

#include "media/fat_boot_peek.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto boot = nua::parseFatBootSector(nua::ByteSpan(reinterpret_cast<const std::byte*>(data), size));
  if (boot) (void)nua::fatTypeOf(*boot);
  return 0;
}
