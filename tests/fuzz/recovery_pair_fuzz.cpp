// The crash-recovery pair: the first 8 bytes (when there are 8) are the Info file, the rest the main
// file with its state, tree and appended records.
#include <cstddef>
#include <cstdint>

#include "fuzz_image.h"
#include "session/recovery_pair_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::size_t infoBytes = size >= 8 ? 8 : 0;
  const nua::fuzz::MemoryImage info(data, infoBytes);
  const nua::fuzz::MemoryImage main(data + infoBytes, size - infoBytes);
  if (!info.ok() || !main.ok()) return 0;
  (void)nua::openScanInfoAutoRecovery({main.path(), info.path()});
  return 0;
}
