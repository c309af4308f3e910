// Pixels for the demo's photos: an RGB raster with a sky, hills, a sun and grain, different per seed,
// so the JPEG and PNG files the demo writes look like pictures and hash differently.
#pragma once

#include <cstdint>
#include <vector>

namespace nua::imagekit {

struct RgbImage {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> pixels;  // row by row, three bytes (red, green, blue) per pixel
};

// A landscape of the given size; `grain` (0..64) adds noise, which makes compressed files larger.
[[nodiscard]] RgbImage makePhoto(std::uint32_t width, std::uint32_t height, std::uint64_t seed, std::uint32_t grain);

}  // namespace nua::imagekit
