// The signature format checks through their dispatch: the input is a device whose sector 1 holds a
// candidate file, and every check type is run on it with the MP3 filter and the InDesign rewrite.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "formats/format_dispatch.h"
#include "formats/image_probe.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint32_t kSector = 512;
  const nua::ByteSpan input(reinterpret_cast<const std::byte*>(data), size);
  (void)nua::formats::probeImage(input);
  // One sector in front, the file, and the rest of its last sector: the device ends where the file does.
  std::vector<std::byte> device(kSector + (size + kSector - 1) / kSector * kSector);
  std::copy(input.begin(), input.end(), device.begin() + kSector);
  const std::uint16_t firstTwo = size >= 2 ? nua::be16(input, 0) : 0;
  nua::MemorySectorSource source(std::move(device), kSector);
  nua::FormatContext context;
  context.bytesPerSector = kSector;
  context.deviceEndSector = source.sectorCount();
  for (std::uint32_t type = 2; type <= 47; ++type) {
    nua::FormatRow row;
    row.typeOfFile = type;
    row.extension = type == 47 ? "indb" : "x";
    bool skippedOnce = false;
    (void)nua::formats::runCheckForSig(source, context, row, firstTwo, skippedOnce, 1);
  }
  return 0;
}
