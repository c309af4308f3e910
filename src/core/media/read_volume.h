// ReadVolume: a stateless reader by path, for the file checks and for discovery, which read a few
// sectors of a device they hold no object for.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/ui_bridge.h"

namespace nua {

class ReadVolume {
 public:
  // Opens `volumePath` read-only, reads size x bytesPerSector bytes at sector x bytesPerSector into the
  // front of `buffer`, closes. On failure shows "!Error" through `ui` (when given) and returns false.
  // A buffer too small for the request is refused without reading.
  [[nodiscard]] static bool readSaveSector(std::uint64_t sector, std::uint32_t size, std::uint32_t bytesPerSector,
                                           std::span<std::byte> buffer, const std::string& volumePath,
                                           UiBridge* ui);
};

// The discovery form of the same read: no alert, a failure only means the device is not usable.
[[nodiscard]] bool readSaveSectorQuietly(std::uint64_t sector, std::uint32_t size, std::uint32_t bytesPerSector,
                                         std::span<std::byte> buffer, const std::string& volumePath);

}  // namespace nua
