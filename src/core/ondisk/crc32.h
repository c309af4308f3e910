// The CRC-32 of GPT headers and entry arrays (polynomial 0xEDB88320, reflected, inverted in and out).
#pragma once

#include <cstdint>

#include "base/bytes.h"

namespace nua {

// CRC-32 of `bytes`; pass an earlier result as `previous` to continue over more bytes.
[[nodiscard]] std::uint32_t crc32(ByteSpan bytes, std::uint32_t previous = 0);

}  // namespace nua
