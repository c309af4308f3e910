// A small baseline JPEG encoder for the demo's photos: JFIF, YCbCr 4:4:4, 8x8 DCT, quantisation by
// the usual tables scaled to a quality, and fixed-length (8-bit AC, 4-bit DC) Huffman tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "imagekit/demo_photo.h"

namespace nua::imagekit {

// Encodes the image; `quality` 1..100 as in the common encoders. An empty image gives an empty result.
[[nodiscard]] std::vector<std::byte> encodeJpeg(const RgbImage& image, int quality);

}  // namespace nua::imagekit
