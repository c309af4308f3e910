// The photos of the demo disk, shared with its tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nua::imagekit {

struct DemoPhoto {
  std::string path;  // ".png" makes a PNG, anything else a JPEG
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t grain = 0;  // noise, which grows a JPEG
  bool deleted = false;
};

// The file bytes of one photo, JPEG or PNG by its name.
[[nodiscard]] std::vector<std::byte> demoPhotoBytes(const DemoPhoto& photo, std::uint64_t seed);

}  // namespace nua::imagekit
