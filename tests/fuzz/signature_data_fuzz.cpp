// A signature data file ("Sig_FR.dat" and its siblings): the keyed container and the catalog in it.
#include <cstddef>
#include <cstdint>

#include "signature/sig_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  (void)nua::decodeSigRootArray(nua::ByteSpan(reinterpret_cast<const std::byte*>(data), size));
  return 0;
}
