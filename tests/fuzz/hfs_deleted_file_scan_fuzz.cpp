// A whole small image scanned for deleted HFS+ files: the live catalog by id, then the journal's
// copies of catalog and extents leaves.
#include <cstddef>
#include <cstdint>

#include "app/scan_entries.h"
#include "app/scan_run.h"
#include "fuzz_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::fuzz::MemoryImage image(data, size);
  if (!image.ok() || image.sectors() < 3) return 0;
  auto volume = nua::Volume::initWithDictionary(nua::fuzz::wholeImageVolume(image, "Apple_HFS"), nua::MediaContext{});
  nua::scanForDeletedFiles(*volume, nua::ScanArguments{std::int64_t{1}, std::int64_t{0}}, nua::ScanRunSink::none());
  return 0;
}
