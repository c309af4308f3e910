// HEIC photos decoded to RGBA pixels, where the program was built with libheif.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace nua {

struct RgbaImage {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;  // rows of width * 4 bytes, top to bottom
};

// Whether HEIC decoding is built in.
[[nodiscard]] bool heicDecodingAvailable();
// The primary image of a HEIC/HEIF file; nullopt when it cannot be decoded (or without libheif).
[[nodiscard]] std::optional<RgbaImage> decodeHeic(std::span<const std::byte> data);

}  // namespace nua
