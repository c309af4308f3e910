// The demo's landscape generator.
#include "imagekit/demo_photo.h"

#include <algorithm>
#include <cmath>

namespace nua::imagekit {

RgbImage makePhoto(std::uint32_t width, std::uint32_t height, std::uint64_t seed, std::uint32_t grain) {
  RgbImage image;
  image.width = width;
  image.height = height;
  image.pixels.resize(std::size_t{width} * height * 3);
  const double phase = static_cast<double>(seed % 97) / 97.0 * 6.283;
  const double sunX = 0.2 + 0.6 * static_cast<double>(seed % 13) / 13.0;
  const double warm = static_cast<double>(seed % 7) / 7.0;
  std::uint64_t state = seed * 0x9E3779B97F4A7C15ULL + 7;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      const double ridge = 0.55 + 0.08 * std::sin(u * 9.0 + phase) + 0.04 * std::sin(u * 23.0 + 2 * phase);
      double r, g, b;
      if (v < ridge) {  // sky, lighter towards the horizon, with a sun
        r = 90 + 120 * v + 60 * warm;
        g = 140 + 90 * v;
        b = 230 - 40 * v;
        const double d = std::hypot(u - sunX, (v - 0.22) * height / width);
        if (d < 0.06) {
          r = 255;
          g = 235;
          b = 160;
        }
      } else {  // hills, darker further down
        const double depth = (v - ridge) / (1.0 - ridge + 1e-9);
        r = 60 + 50 * warm - 30 * depth;
        g = 130 - 50 * depth + 20 * std::sin(u * 40.0 + v * 15.0);
        b = 50 - 20 * depth;
      }
      state = state * 6364136223846793005ULL + 1442695040888963407ULL;
      const double noise = grain == 0 ? 0.0 : static_cast<double>((state / 0x100000000ULL) % (2 * grain + 1)) - grain;
      const std::size_t at = (std::size_t{y} * width + x) * 3;
      image.pixels[at] = static_cast<std::uint8_t>(std::clamp(r + noise, 0.0, 255.0));
      image.pixels[at + 1] = static_cast<std::uint8_t>(std::clamp(g + noise, 0.0, 255.0));
      image.pixels[at + 2] = static_cast<std::uint8_t>(std::clamp(b + noise, 0.0, 255.0));
    }
  }
  return image;
}

}  // namespace nua::imagekit
