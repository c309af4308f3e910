// The CRC-32 of GUID partition tables and PNG chunks (reflected polynomial 0xEDB88320).
#pragma once

#include <cstdint>

#include "base/bytes.h"

namespace nua::imagekit {

// CRC-32 of `bytes`, continuing from `previous` (the result of an earlier call, 0 to start).
[[nodiscard]] std::uint32_t crc32(ByteSpan bytes, std::uint32_t previous = 0);

}  // namespace nua::imagekit
