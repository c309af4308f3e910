#include "app/scan_request.h"

#include <array>

namespace nua {

std::optional<std::int32_t> scanModeNamed(const std::string& name) {
  static constexpr std::array<const char*, 6> kNames{"files",           "files-advanced", "photos",
                                                     "photos-advanced", "partitions",     "formatted"};
  for (std::size_t i = 0; i < kNames.size(); ++i)
    if (name == kNames[i]) return static_cast<std::int32_t>(i);
  return std::nullopt;
}

}  // namespace nua
