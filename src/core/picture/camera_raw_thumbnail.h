// The JPEG that cameras embed in their RAW files, for showing a RAW photo without developing it.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace nua {

// Whether the lower-cased extension names a camera RAW type handled here.
[[nodiscard]] bool isCameraRawFileType(std::string_view extension);

// The largest embedded JPEG of a RAW file, found by LibRaw; empty when there is none or the bytes are
// no RAW file LibRaw knows. Never reads outside `data`.
[[nodiscard]] std::vector<std::byte> embeddedJpegOfRaw(std::span<const std::byte> data);

}  // namespace nua
