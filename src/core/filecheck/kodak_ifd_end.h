// The size rule that Kodak's KDC and K25 files share: the image data of IFD 0 when it is the full
// image (tag 254 is 0), else of the SubIFD; tiles and the JPEG tags count as strips.
#pragma once

#include <cstdint>
#include <optional>

#include "filecheck/file_window.h"
#include "filecheck/tiff_ifd.h"

namespace nua {

// The data end, or nothing when the SubIFD table has more than 25 entries or cannot be read.
[[nodiscard]] std::optional<std::uint64_t> kodakImageEnd(FileWindow& window, const TiffIfd& firstIfd, bool bigEndian);

}  // namespace nua
