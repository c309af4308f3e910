// A recovery session file (".nvs"): the header check and the whole read with its stored volume,
// lists and entry records.
#include <cstddef>
#include <cstdint>

#include "fuzz_image.h"
#include "session/session_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::fuzz::MemoryImage file(data, size);
  if (!file.ok()) return 0;
  (void)nua::checkSessionHeader(file.path());
  (void)nua::readScanInfo(file.path(), nullptr);
  return 0;
}
