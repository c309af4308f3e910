// The 96-byte entry record of session files.
#include <cstddef>
#include <cstdint>

#include "session/session_record.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  (void)nua::parseSessionRecord(nua::ByteSpan(reinterpret_cast<const std::byte*>(data), size));
  return 0;
}
