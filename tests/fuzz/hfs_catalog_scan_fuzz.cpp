// A whole small image scanned as an HFS+ partition by the standard tree scan and by the advanced
// scan, whose node search looks for catalog leaves across the whole volume.
#include <cstddef>
#include <cstdint>

#include "app/scan_entries.h"
#include "app/scan_run.h"
#include "fuzz_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::fuzz::MemoryImage image(data, size);
  if (!image.ok() || image.sectors() < 3) return 0;
  for (const char* mode : {"Normal Scan", "Advanced Scan"}) {
    auto volume = nua::Volume::initWithDictionary(nua::fuzz::wholeImageVolume(image, "Apple_HFS"), nua::MediaContext{});
    nua::startMakingTree(*volume, nua::ScanArguments{std::string(mode), std::int64_t{0}}, nua::ScanRunSink::none());
  }
  return 0;
}
