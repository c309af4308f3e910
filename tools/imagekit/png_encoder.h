// A PNG writer for the demo's photos: 8-bit RGB, no filtering, and a zlib stream of stored
// (uncompressed) deflate blocks, so no compression library is needed and the size is predictable.
#pragma once

#include <cstddef>
#include <vector>

#include "imagekit/demo_photo.h"

namespace nua::imagekit {

// Encodes the image as signature, IHDR, IDAT and IEND with their CRCs. An empty image gives an empty result.
[[nodiscard]] std::vector<std::byte> encodePng(const RgbImage& image);

}  // namespace nua::imagekit
