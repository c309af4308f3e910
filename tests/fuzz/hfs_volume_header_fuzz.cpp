// The HFS+ volume header and the HFS wrapper's master directory block over arbitrary bytes.
#include <cstddef>
#include <cstdint>

#include "ondisk/master_directory_block.h"
#include "ondisk/volume_information_block.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::ByteSpan bytes(reinterpret_cast<const std::byte*>(data), size);
  (void)nua::parseVolumeInformationBlock(bytes);
  (void)nua::parseMasterDirectoryBlock(bytes);
  return 0;
}
